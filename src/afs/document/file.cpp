// The object itself: its making, copying, plain properties, and what all its operations share.
#include "afs/document/file.h"

#include "afs/document/file_stream.h"
#include "base/failure.h"
#include "base/main_thread.h"
#include "base/out_values.h"
#include "base/plugin_context.h"
#include "base/text/ignore_case.h"
#include "dialogs/message_box.h"

namespace {

bool IsNamed(LPCWSTR name, std::u16string_view wanted) {
    return name && EqualIgnoringCase(name, wanted);
}

}  // namespace

File::File(Name& name, DWORD open_flags) : m_name(&name), m_flags(open_flags) {
    TRACE_NAME("File::File");
    const ComPtr<FileSystemContext> file_system = m_name->GetSession()->GetFileSystem();
    m_plugin = ComPtr<PluginContext>(file_system ? file_system->GetPlugin() : nullptr);
    CHECK_THROW(m_plugin != nullptr && m_plugin->m_tmk_inst != nullptr, HResultException, E_FAIL);
    m_inst = m_plugin->m_tmk_inst;
}

// A clone shares the entry and knows no plug-in.
File::File(const File& other, bool)
    : m_name(other.m_name),
      m_inst(other.m_inst),
      m_cache(other.GetCache()),
      m_flags(other.m_flags),
      m_keep_checked_out(other.m_keep_checked_out),
      m_dirty(other.m_dirty),
      m_check_out_state(other.m_check_out_state.load()),
      m_modified_time(other.m_modified_time),
      m_tags(other.m_tags),
      m_tags_step(other.m_tags_step),
      m_is_outdated(other.m_is_outdated),
      m_document(other.m_document),
      m_copy(other.m_copy) {}

File::~File() {
    TRACE_ENTRY("File::~File");
    const std::lock_guard lock(m_cache_lock);
    if (m_cache) {
        if (const auto files_cache = m_name->GetSession()->GetFilesCache())
            files_cache->ReleaseCache(this, 0);
    }
    m_cache.reset();
    m_inst.reset();
    m_plugin.reset();
    m_name.reset();
    TRACE_EXIT(u"");
}

SharePoint::File& File::ServerFile() const {
    TRACE_NAME("File::ServerFile");
    CHECK_THROW_TEXT(m_name->GetObject() != nullptr && m_name->GetObject()->AsFile() != nullptr,
                     u"m_name->GetObject() != nullptr", HResultException, E_SP_NOT_FOUND);
    return *m_name->GetObject()->AsFile();  // the object itself stays held by the name
}

NamingText File::Text(const char16_t* text_id, const std::u16string& second) const {
    return {Ui::FormatString(m_inst.get(), text_id, Title(), second)};
}

Preferences File::Prefs() const {
    TRACE_NAME("File::Prefs");
    CHECK_THROW(m_plugin != nullptr, HResultException, E_FAIL);
    return m_plugin->m_preferences_manager.Get();
}

void File::ChangePreferences(const std::function<void(Preferences&)>& change) const {
    TRACE_NAME("File::ChangePreferences");
    CHECK_THROW(m_plugin != nullptr, HResultException, E_FAIL);
    const HRESULT result = CallOnMainThread(m_inst.get(), [&] {
        m_plugin->m_preferences_manager.Change(change);
        return S_OK;
    });
    if (FAILED(result)) LOG_LINE(Log::error, u"the preferences are not saved: (HRESULT)%d", result);
}

// The choice becomes what is done without asking.
void File::DontAskAgain(uint32_t Preferences::*preference, uint32_t choice) const {
    ChangePreferences([&](Preferences& all) {
        all.*preference = (all.*preference & ~static_cast<uint32_t>(Preferences::show_message_box)) | choice;
    });
}

void File::TellStateChanged() {
    if (m_plugin) m_plugin->OnFileStateChanged(this);
}

std::u16string File::Holder() const {
    const std::lock_guard lock(m_holder_lock);
    return m_checked_out_to;
}

void File::SetHolder(std::u16string holder) {
    const std::lock_guard lock(m_holder_lock);
    m_checked_out_to.swap(holder);
}

ComPtr<TMK::IAFS_CacheEntry> File::GetCache() const {
    const std::lock_guard lock(m_cache_lock);
    return m_cache;
}

void File::GetCheckedOutState(CheckOutState& out_state, std::u16string* out_user) const {
    TRACE_ENTRY("File::GetCheckedOutState");
    CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
    out_state = m_check_out_state;
    if (out_user) *out_user = Holder();
    TRACE_EXIT(static_cast<uint32_t>(out_state));
}

bool File::CanEdit(bool use_cached) {
    TRACE_ENTRY("File::CanEdit");
    if (!use_cached) {
        CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
        const bool before = m_can_edit.exchange(m_name->GetObject()->CanEdit());
        if (before != m_can_edit) TellStateChanged();
    }
    TRACE_EXIT(m_can_edit ? 1 : 0);
    return m_can_edit;
}

HRESULT File::get_Name(TMK::IAFS_Name** out_name) {
    TRACE_ENTRY("File::get_Name");
    RETURN_VALUE(out_name, m_name.copy());
}

HRESULT File::get_OpenFlags(DWORD* out_open_flags) {
    TRACE_ENTRY("File::get_OpenFlags");
    RETURN_VALUE(out_open_flags, m_flags);
}

HRESULT File::get_IoMode(DWORD* out_io_mode) {
    TRACE_ENTRY("File::get_IoMode");
    RETURN_VALUE(out_io_mode, 0);
}

HRESULT File::Clone(TMK::IAFS_File** out_clone) {
    TRACE_ENTRY("File::Clone");
    try {
        CHECK_RETURN(out_clone != nullptr, E_POINTER);
        *out_clone = nullptr;
        CHECK_RETURN((m_flags & TMK::AFS_OpenFile_Read) != 0, E_SP_WRONG_MODE);
        *out_clone = ComPtr<File>(new File(*this, true)).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT File::IsCloneOf(TMK::IAFS_File* other, VARIANT_BOOL* out_is_clone) {
    TRACE_ENTRY("File::IsCloneOf");
    CHECK_RETURN(out_is_clone != nullptr, E_POINTER);
    *out_is_clone = VARIANT_FALSE;
    ComPtr<TMK::IAFS_Name> name;
    if (other && SUCCEEDED(other->get_Name(name.put())) && name.get() == m_name.get())
        *out_is_clone = VARIANT_TRUE;
    TRACE_RETURN(S_OK);
}

HRESULT File::GetStream(IStream** o_stream) {
    TRACE_ENTRY("File::GetStream");
    try {
        CHECK_RETURN(o_stream != nullptr, E_POINTER);
        *o_stream = MakeObject<fsFileStreamBase>(*this).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT File::get_Prop(LPCWSTR name, VARIANT* out_value) {
    TRACE_ENTRY("File::get_Prop");
    try {
        CHECK_RETURN(out_value != nullptr, E_POINTER);
        VariantInit(out_value);
        if (IsNamed(name, u"VirtualPDF")) TRACE_RETURN(E_NOTIMPL);
        if (IsNamed(name, u"TempFileName")) {
            const auto cache = GetCache();
            CHECK_RETURN_TEXT(cache != nullptr, E_FAIL, u"m_cache != nullptr");
            Bstr path;
            CHECK_RESULT_TEXT(cache->get_TempFileName(path.put()), u"m_cache->get_TempFileName(&path)");
            out_value->vt = VT_BSTR;
            out_value->bstrVal = path.detach();
        } else if (IsNamed(name, u"KeepCheckedOut")) {
            *out_value = Variant(m_keep_checked_out).detach();
        } else {
            CHECK_RETURN_TEXT(IsNamed(name, u"CheckedOut"), E_INVALIDARG, u"E_INVALIDARG");
            *out_value = Variant(ServerFile().GetCheckOutState(nullptr) == CheckOutState::me).detach();
        }
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT File::put_Prop(LPCWSTR name, const VARIANT& value) {
    TRACE_ENTRY("File::put_Prop");
    CHECK_RETURN_TEXT(IsNamed(name, u"KeepCheckedOut"), E_INVALIDARG, u"E_INVALIDARG");
    m_keep_checked_out = value.boolVal != VARIANT_FALSE;
    TRACE_RETURN(S_OK);
}
