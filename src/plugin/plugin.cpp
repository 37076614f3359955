// The life cycle, the one place that knows all children of the Plugin. Main thread only.
#include "plugin/plugin.h"

#include "afs/file_system.h"
#include "base/failure.h"
#include "base/resources.h"
#include "integration/events_handler.h"

const GUID Plugin::kClassId{0x666BE179, 0xFF02, 0x4C8B, {0x96, 0x90, 0x04, 0x1D, 0xA9, 0x18, 0x76, 0xE1}};

namespace {

constexpr DWORD kInfoBarPriority = 100;
constexpr DWORD kInfoBarColour = 0xF1C281;
constexpr ResourceId kIconImages[] = {IDR_ICON_16_PNG, IDR_ICON_24_PNG, IDR_ICON_32_PNG, IDR_ICON_48_PNG};

// Empty when the host can't make one; an image that fails is skipped.
ComPtr<TMK::IUIX_Icon> BuildIcon(TMK::IUIX_Inst& uix) {
    ComPtr<TMK::IUIX_MultiSizeIcon> making;
    if (FAILED(uix.CreateMultiSizeIcon(making.put())) || !making) return {};
    for (const ResourceId id : kIconImages) {
        const ComPtr<IStream> stream = LoadResourceStream(id, u"PNG");
        ComPtr<TMK::IUIX_Image> image;
        if (stream && SUCCEEDED(uix.CreateImage(stream.get(), image.put())) && image)
            making->AddImage(image.get());
    }
    ComPtr<TMK::IUIX_Icon> icon;
    if (FAILED(making->Finish(icon.put()))) icon.reset();
    return icon;
}

}  // namespace

ComPtr<EventsHandler> Plugin::Events() const {
    const std::lock_guard lock(m_events_lock);
    return ComPtr<EventsHandler>(static_cast<EventsHandler*>(m_events_handler.get()));
}

void Plugin::SetEvents(ComPtr<TMK::IEventHandler> events) {
    const std::lock_guard lock(m_events_lock);
    std::swap(m_events_handler, events);
}

HRESULT Plugin::Setup(TMK::ITMK_Inst* pInst) {
    TRACE_ENTRY("Plugin::Setup");
    CHECK_RETURN(pInst != nullptr, E_INVALIDARG);
    m_tmk_inst = ComPtr<TMK::ITMK_Inst>(pInst);
    CHECK_RESULT_TEXT(m_tmk_inst->GetExtension(u"AFS", reinterpret_cast<IUnknown**>(m_afs_inst.put())),
                      u"m_tmk_inst->GetExtension(L\"AFS\", (IUnknown**)&m_afs_inst)");
    CHECK_RESULT_TEXT(m_tmk_inst->GetExtension(u"AUX", reinterpret_cast<IUnknown**>(m_aux_inst.put())),
                      u"m_tmk_inst->GetExtension(L\"AUX\", (IUnknown**)&m_aux_inst)");
    CHECK_RESULT_TEXT(m_tmk_inst->GetExtension(u"UIX", reinterpret_cast<IUnknown**>(m_uix_inst.put())),
                      u"m_tmk_inst->GetExtension(L\"UIX\", (IUnknown**)&m_uix_inst)");
    m_icon = BuildIcon(*m_uix_inst);
    TRACE_RETURN(S_OK);
}

HRESULT Plugin::RegisterExts() {
    TRACE_ENTRY("Plugin::RegisterExts");
    try {
        m_file_system = MakeObject<FileSystem>(*this, m_afs_inst.get());
        CHECK_RETURN(m_afs_inst != nullptr, E_FAIL);
        CHECK_RESULT(m_afs_inst->RegisterFileSys(m_file_system.get()));
        TRACE_RETURN(S_OK);
    } catch (const std::bad_alloc&) {
        CHECK_RETURN(m_file_system != nullptr, E_OUTOFMEMORY);
        return E_OUTOFMEMORY;
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT Plugin::FinalizeRegistering() {
    TRACE_ENTRY("Plugin::FinalizeRegistering");
    try {
        if (!m_tmk_inst) TRACE_RETURN(S_OK);
        if (const ComPtr<IStream> catalogue = LoadResourceStream(IDR_LOCALIZATION_XML, u"XML")) {
            m_tmk_inst->LoadLocalization(catalogue.get());
        }
        m_tmk_inst->Str2ID(u"ibar.sharepoint", VARIANT_TRUE, &m_info_bar_id);
        m_tmk_inst->RegisterInfoBarType(u"ibar.sharepoint", u"$$$.sp.ibar.sharepoint.title",
                                        u"$$$.sp.ibar.sharepoint.description", kInfoBarPriority,
                                        kInfoBarColour, m_icon.get());
    } catch (...) {
        LOG_LINE(Log::error, u"registering is not complete");
    }
    TRACE_RETURN(S_OK);
}

HRESULT Plugin::Init() {
    TRACE_ENTRY("Plugin::Init");
    try {
        CHECK_RESULT(InitSettings());
        m_preferences_manager.Load();
        const Preferences& preferences = m_preferences_manager.m_preferences;
        Log::ApplyPreferences(static_cast<int32_t>(preferences.log_level),
                              static_cast<int32_t>(preferences.days_to_store_logs));
        SetEvents(MakeObject<EventsHandler>(*this));
        CHECK_RESULT_TEXT(Events()->Init(), u"m_events_handler->Init()");
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT Plugin::InitSettings() {
    TRACE_ENTRY("Plugin::InitSettings");
    CHECK_RETURN(m_tmk_inst != nullptr, E_FAIL);
    ComPtr<TMK::ITMK_Cab> settings;
    CHECK_RESULT_TEXT(m_tmk_inst->GetPluginSettings(this, VARIANT_TRUE, settings.put()),
                      u"m_tmk_inst->GetPluginSettings(this, VARIANT_TRUE, &settings)");
    if (settings) {
        const ResourceData shape = FindResourceData(IDR_SETTINGS_CAB_XML, u"XML");
        settings->SetTemplate2(shape.data, static_cast<LONG>(shape.size), u"Root");
    }
    TRACE_RETURN(S_OK);
}

HRESULT Plugin::Unload() {
    TRACE_ENTRY("Plugin::Unload");
    try {
        if (m_afs_inst && m_file_system) m_afs_inst->UnregisterFileSys(m_file_system.get());
        if (m_file_system) m_file_system->Detach();
        if (const ComPtr<EventsHandler> events = Events()) events->Shutdown();
        m_file_system.reset();
        m_afs_inst.reset();
        m_aux_inst.reset();
        m_tmk_inst.reset();
        m_uix_inst.reset();
        SetEvents({});
    } catch (...) {
        LOG_LINE(Log::error, u"unloading is not complete");
    }
    TRACE_EXIT(u"S_OK");
    Log::Close();
    return S_OK;
}

void Plugin::OnFileStateChanged(File* file) {
    if (const ComPtr<EventsHandler> events = Events()) events->UpdateCommandItems(file);
}

std::shared_ptr<Ui::OpenSaveDialogs> Plugin::GetOpenSaveDialogs() const {
    const ComPtr<EventsHandler> events = Events();
    return events ? events->GetOpenSaveDialogs() : nullptr;
}
