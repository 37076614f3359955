// The operations that the host asks for by name, and the properties of items.
#include "afs/document/cache_callback.h"
#include "afs/file_system.h"
#include "base/failure.h"
#include "base/operation_scope.h"
#include "base/text/ignore_case.h"
#include "hostapi/irgc.h"
#include "session/account_data.h"

namespace {

constexpr DWORD kLocalFileOpenFlags = 0xA00;
constexpr LONG kAnyQualifier = -1;

// The elements of a safe array of variants, copied out; the array is locked only meanwhile. Throws
// HResultException for anything else and for fewer than `least` elements.
std::vector<Variant> ReadVariants(const VARIANT& data, size_t least) {
    TRACE_NAME("FileSystem::Exec");
    CHECK_THROW(data.vt == (VT_ARRAY | VT_VARIANT) && data.parray != nullptr, HResultException, E_INVALIDARG);
    CHECK_THROW(SafeArrayGetDim(data.parray) == 1, HResultException, E_INVALIDARG);
    LONG lower = 0;
    LONG upper = -1;
    CHECK_RESULT_THROW(SafeArrayGetLBound(data.parray, 1, &lower));
    CHECK_RESULT_THROW(SafeArrayGetUBound(data.parray, 1, &upper));
    CHECK_THROW(upper >= lower && static_cast<size_t>(upper - lower) + 1 >= least, HResultException,
                E_INVALIDARG);
    std::vector<Variant> elements;
    for (LONG index = lower; index <= upper; ++index) {
        CHECK_RESULT_THROW(SafeArrayGetElement(data.parray, &index, elements.emplace_back().put()));
    }
    return elements;
}

// The name in an element, of the same session as `other`. Throws HResultException E_INVALIDARG.
ComPtr<Name> ReadName(const FileSystem& file_system, const Variant& element, const Name& other) {
    TRACE_NAME("FileSystem::Exec");
    CHECK_THROW(element.vt == VT_UNKNOWN && element.punkVal != nullptr, HResultException, E_INVALIDARG);
    const ComPtr<TMK::IAFS_Name> host_name = ComPtr<IUnknown>(element.punkVal).as<TMK::IAFS_Name>();
    ComPtr<Name> name = file_system.GetName(host_name.get());
    CHECK_THROW(name != nullptr, HResultException, E_INVALIDARG);
    CHECK_THROW(name->GetSession() == other.GetSession(), HResultException, E_INVALIDARG);
    return name;
}

LONG ReadQualifier(const Variant& element) {
    TRACE_NAME("FileSystem::Exec");
    CHECK_THROW(element.vt == VT_BOOL || element.vt == VT_I4 || element.vt == VT_INT, HResultException,
                E_INVALIDARG);
    if (element.vt == VT_BOOL) return element.boolVal != VARIANT_FALSE ? 1 : 0;
    return element.lVal;
}

}  // namespace

HRESULT FileSystem::Exec(TMK::IAFS_Name* i_name, LPCWSTR i_operation_name, const VARIANT& i_data, VARIANT*,
                         IUnknown*, TMK::ITMK_CancelFlag* i_cancel_flag) {
    TRACE_ENTRY("FileSystem::Exec");
    try {
        const OperationScope operation_scope(i_cancel_flag);
        CHECK_RETURN(!IsCanceled(i_cancel_flag), E_CANCELED);
        CHECK_RETURN(i_operation_name != nullptr, E_INVALIDARG);
        if (EqualIgnoringCase(i_operation_name, u"SignOut")) return ExecSignOut(i_name, i_data);
        if (EqualIgnoringCase(i_operation_name, u"CreateCacheOnLocalFile"))
            return ExecCreateCacheOnLocalFile(i_name, i_data);
        if (EqualIgnoringCase(i_operation_name, u"DeleteFileCacheEntry"))
            return ExecDeleteFileCacheEntry(i_name, i_data);
        if (EqualIgnoringCase(i_operation_name, u"SetPreference")) {
            const std::vector<Variant> data = ReadVariants(i_data, 2);
            return SetPreference(data[0], data[1]);
        }
        CHECK_RETURN_TEXT(false, E_INVALIDARG, u"E_INVALIDARG");
        return E_INVALIDARG;
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::ExecSignOut(TMK::IAFS_Name* i_name, const VARIANT& i_data) {
    TRACE_ENTRY("FileSystem::ExecSignOut");
    if (i_name) {
        const ComPtr<Name> local_name = GetName(i_name);
        CHECK_RETURN(local_name != nullptr, E_INVALIDARG);
        local_name->GetSession()->SignOut();
        TRACE_RETURN(S_OK);
    }
    CHECK_RETURN_TEXT(i_data.vt == VT_UNKNOWN, E_INVALIDARG, u"(i_data.vt == VT_UNKNOWN)");
    const ComPtr<AccountData> account_data = AccountData::FromObject(i_data.punkVal);
    CHECK_RETURN(account_data != nullptr, E_INVALIDARG);
    CHECK_RETURN(m_plugin != nullptr, E_FAIL);
    CHECK_RETURN(m_plugin->m_tmk_inst != nullptr, E_FAIL);
    CHECK_RESULT(Session::SignOut(m_plugin.get(), account_data.get()));
    TRACE_RETURN(S_OK);
}

HRESULT FileSystem::ExecCreateCacheOnLocalFile(TMK::IAFS_Name* i_name, const VARIANT& i_data) {
    TRACE_ENTRY("FileSystem::ExecCreateCacheOnLocalFile");
    CHECK_RETURN(i_name != nullptr, E_INVALIDARG);
    const ComPtr<Name> local_name = GetName(i_name);
    CHECK_RETURN(local_name != nullptr, E_INVALIDARG);
    const std::vector<Variant> data = ReadVariants(i_data, 2);
    const ComPtr<Name> cached_name = ReadName(*this, data[0], *local_name);
    CHECK_RETURN(data[1].vt == VT_BSTR && data[1].bstrVal != nullptr, E_INVALIDARG);
    CHECK_RETURN(data.size() < 3 || data[2].vt == VT_BOOL, E_INVALIDARG);
    const ComPtr<TMK::IAFS_FilesCache> files_cache = local_name->GetSession()->GetFilesCache();
    CHECK_RETURN(files_cache != nullptr, E_FAIL);
    const auto callback = MakeObject<CacheCallback>(*local_name);
    CHECK_RESULT(files_cache->AddEntryFromFile(cached_name.get(), data[1].bstrVal, callback.get(),
                                               kLocalFileOpenFlags,
                                               data.size() < 3 ? VARIANT_FALSE : data[2].boolVal));
    TRACE_RETURN(S_OK);
}

HRESULT FileSystem::ExecDeleteFileCacheEntry(TMK::IAFS_Name* i_name, const VARIANT& i_data) {
    TRACE_ENTRY("FileSystem::ExecDeleteFileCacheEntry");
    CHECK_RETURN(i_name != nullptr, E_INVALIDARG);
    const ComPtr<Name> local_name = GetName(i_name);
    CHECK_RETURN(local_name != nullptr, E_INVALIDARG);
    const std::vector<Variant> data = ReadVariants(i_data, 1);
    const ComPtr<Name> cached_name = ReadName(*this, data[0], *local_name);
    const LONG qualifier = data.size() < 2 ? kAnyQualifier : ReadQualifier(data[1]);
    const ComPtr<TMK::IAFS_FilesCache> files_cache = local_name->GetSession()->GetFilesCache();
    CHECK_RETURN(files_cache != nullptr, E_FAIL);
    CHECK_RESULT(files_cache->DeleteEntryEx(cached_name.get(), qualifier));
    TRACE_RETURN(S_OK);
}

HRESULT FileSystem::get_Prop(TMK::IAFS_Name* name, LPCWSTR prop_name, VARIANT* out_value) {
    TRACE_ENTRY("FileSystem::get_Prop");
    try {
        const OperationScope operation_scope(nullptr);
        CHECK_RETURN(out_value != nullptr, E_POINTER);
        VariantInit(out_value);
        CHECK_RETURN(prop_name != nullptr, E_INVALIDARG);
        if (EqualIgnoringCase(prop_name, u"CheckedOut")) return GetCheckedOut(name, out_value);
        if (EqualIgnoringCase(prop_name, u"Thumbnail")) return GetThumbnail(name, out_value);
        if (EqualIgnoringCase(prop_name, u"CheckedOutTo"))
            return GetText(name, &SharePoint::Information::m_checkout_user, out_value);
        if (EqualIgnoringCase(prop_name, u"ModifiedBy"))
            return GetText(name, &SharePoint::Information::m_last_author, out_value);
        if (EqualIgnoringCase(prop_name, u"Version"))
            return GetText(name, &SharePoint::Information::m_version, out_value);
        if (EqualIgnoringCase(prop_name, u"UnreadReason")) return GetUnreadReason(name, out_value);
        if (EqualIgnoringCase(prop_name, u"Preferences")) return GetPreferences(out_value);
        CHECK_RETURN_TEXT(EqualIgnoringCase(prop_name, u"CanCreateCacheOnLocalFile"), E_INVALIDARG,
                          u"E_INVALIDARG");
        *out_value = Variant(true).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::GetBoundFile(const char* trace_function, TMK::IAFS_Name* name,
                                 std::shared_ptr<SharePoint::File>& file) {
    CHECK_RETURN(name != nullptr, E_INVALIDARG);
    const ComPtr<Name> local_name = GetName(name);
    CHECK_RETURN(local_name != nullptr, E_INVALIDARG);
    CHECK_RETURN(local_name->BindObject() != nullptr, E_INVALIDARG);
    file = local_name->GetObject()->AsFile();
    CHECK_RETURN_TEXT(file != nullptr, E_INVALIDARG, u"local_name->GetObject()->AsFile() != nullptr");
    return S_OK;
}

HRESULT FileSystem::GetCheckedOut(TMK::IAFS_Name* name, VARIANT* out_value) {
    TRACE_ENTRY("FileSystem::GetCheckedOut");
    std::shared_ptr<SharePoint::File> file;
    if (const HRESULT failure = GetBoundFile(trace_function, name, file); FAILED(failure)) return failure;
    *out_value = Variant(file->GetCheckOutState(nullptr) == SharePoint::File::CheckOutState::me).detach();
    TRACE_RETURN(S_OK);
}

// What was last told of a document; the server is asked only when nothing is known of it yet.
HRESULT FileSystem::GetText(TMK::IAFS_Name* name, std::u16string SharePoint::Information::*text,
                            VARIANT* out_value) {
    TRACE_ENTRY("FileSystem::GetText");
    std::shared_ptr<SharePoint::File> file;
    if (const HRESULT failure = GetBoundFile(trace_function, name, file); FAILED(failure)) return failure;
    const SharePoint::Information information = GetName(name)->GetObject()->GetInformation();
    *out_value = Variant(std::u16string_view(information.*text)).detach();
    TRACE_RETURN(S_OK);
}

// docs/compatibility.md: A listing that can't be read is empty
HRESULT FileSystem::GetUnreadReason(TMK::IAFS_Name* name, VARIANT* out_value) {
    TRACE_ENTRY("FileSystem::GetUnreadReason");
    CHECK_RETURN(name != nullptr, E_INVALIDARG);
    const ComPtr<Name> local_name = GetName(name);
    CHECK_RETURN(local_name != nullptr, E_INVALIDARG);
    *out_value = Variant(std::u16string_view(local_name->GetUnreadReason())).detach();
    TRACE_RETURN(S_OK);
}

HRESULT FileSystem::GetThumbnail(TMK::IAFS_Name* name, VARIANT* out_value) {
    TRACE_ENTRY("FileSystem::GetThumbnail");
    std::shared_ptr<SharePoint::File> file;
    if (const HRESULT failure = GetBoundFile(trace_function, name, file); FAILED(failure)) return failure;
    std::string bytes;
    file->GetThumbnail(bytes);
    const auto memoryStreamCOM = ComPtr<IStream>::attach(
        SHCreateMemStream(reinterpret_cast<const BYTE*>(bytes.data()), static_cast<UINT>(bytes.size())));
    CHECK_RETURN(memoryStreamCOM != nullptr, E_FAIL);
    CHECK_RETURN(m_plugin != nullptr, E_FAIL);
    CHECK_RETURN(m_plugin->m_tmk_inst != nullptr, E_FAIL);
    ComPtr<TMK::IRGC_Inst> pRGCInst;
    CHECK_RESULT_TEXT(
        m_plugin->m_tmk_inst->GetExtension(u"RGC", reinterpret_cast<IUnknown**>(pRGCInst.put())),
        u"m_plugin->m_tmk_inst->GetExtension(L\"RGC\", (IUnknown**)&pRGCInst)");
    CHECK_RETURN(pRGCInst != nullptr, E_FAIL);
    ComPtr<TMK::IRGC_Image> image;
    CHECK_RESULT(pRGCInst->CreateEmptyImage(image.put()));
    CHECK_RESULT(image->LoadFromIStream(memoryStreamCOM.get(), 0));
    UINT nPagesCount = 0;
    CHECK_RESULT(image->get_PagesCount(&nPagesCount));
    CHECK_RETURN_TEXT(nPagesCount == 1, E_FAIL, u"(nPagesCount == 1)");
    ComPtr<TMK::IRGC_Page> page;
    CHECK_RESULT(image->GetPage(0, nullptr, page.put()));
    out_value->vt = VT_UNKNOWN;
    out_value->punkVal = page.detach();
    TRACE_RETURN(S_OK);
}
