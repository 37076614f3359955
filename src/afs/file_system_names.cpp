// Names of the file system: strings to names and back, kinship, binding to places.
#include "afs/file_system.h"
#include "base/failure.h"
#include "base/operation_scope.h"
#include "base/out_values.h"
#include "base/url.h"
#include "session/account_data.h"
#include "session/sharepoint_checker.h"

namespace {

constexpr DWORD kMakingFlags = 1;  // flag words up to this one make a name

BSTR AllocateWithoutTrailingSlash(std::u16string text) {
    if (text.ends_with(u'/')) text.pop_back();
    return AllocateString(text);
}

// Throws what Name::Create throws, and HResultException E_INVALIDARG for a URL that can't be compared.
ComPtr<Name> NameFromString(const std::u16string& string, const ComPtr<Name>& local_parent) {
    TRACE_NAME("FileSystem::StringToName");
    const std::u16string absolute =
        IsDirectUrl(string) || IsFileLinkUrl(string) ? string : WebDavPathToUrl(string);
    if (!absolute.empty()) {
        const CompareUrlsResult compare_string_with_others_url_result =
            CompareUrls(absolute, local_parent->GetUrl());
        CHECK_THROW(compare_string_with_others_url_result != CompareUrlsResult::error, HResultException,
                    E_INVALIDARG);
        if (compare_string_with_others_url_result == CompareUrlsResult::equal) return local_parent;
    }
    return Name::Create(string, *local_parent);
}

}  // namespace

HRESULT FileSystem::StringToName(LPCWSTR string, DWORD flags, TMK::IAFS_Name* parent,
                                 TMK::IAFS_Name** out_name) {
    TRACE_ENTRY("FileSystem::StringToName");
    try {
        if (out_name) *out_name = nullptr;
        CHECK_RETURN(string != nullptr, E_INVALIDARG);
        if (flags & TMK::AFS_String2Name_FullTest) {
            if (Utility::SharepointChecker::IsSharePoint(string)) TRACE_RETURN(S_OK);
            LOG_LINE(Log::warning,
                     u"AFS_String2Name_FullTest with flags=%u failed - not SharePoint path '%s'", flags,
                     MaskForLog(string));
            TRACE_RETURN(E_INVALIDARG);
        }
        if (flags & TMK::AFS_String2Name_Test) {
            LOG_LINE(Log::warning, u"AFS_String2Name_Test with flags=%u and path='%s' always fails", flags,
                     MaskForLog(string));
            TRACE_RETURN(E_INVALIDARG);
        }
        if (flags > kMakingFlags) TRACE_RETURN(S_OK);
        CHECK_RETURN(out_name != nullptr, E_POINTER);
        if (!parent) {
            LOG_LINE(Log::warning, u"parent=0, flags=%u, path='%s' - fail", flags, MaskForLog(string));
            TRACE_RETURN(E_INVALIDARG);
        }
        const ComPtr<Name> local_parent = GetName(parent);
        CHECK_RETURN(local_parent != nullptr, E_INVALIDARG);
        *out_name = NameFromString(string, local_parent).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::NameToString(TMK::IAFS_Name* name, DWORD flags, TMK::IAFS_Name* parent,
                                 BSTR* out_string) {
    TRACE_ENTRY("FileSystem::NameToString");
    try {
        if (out_string) *out_string = nullptr;
        CHECK_RETURN(name != nullptr, E_INVALIDARG);
        CHECK_RETURN(out_string != nullptr, E_POINTER);
        const ComPtr<Name> local_name = GetName(name);
        CHECK_RETURN(local_name != nullptr, E_INVALIDARG);
        const ComPtr<Name> local_parent = GetName(parent);
        CHECK_RETURN(parent == nullptr || local_parent != nullptr, E_INVALIDARG);
        std::u16string string = local_name->GetUrl();
        if (local_parent) {
            CHECK_RETURN_TEXT(
                CompareUrls(local_parent->GetUrl(), local_name->GetUrl(), &string) ==
                    CompareUrlsResult::url1_is_parent,
                E_INVALIDARG,
                u"CompareUrls(local_parent->GetUrl().c_str(), local_name->GetUrl().c_str(), &string) == "
                u"CompareUrlsResult::url1_is_parent");
        } else if (flags & TMK::AFS_Name2String_Relative) {
            const std::u16string web_url = local_name->GetSession()->GetWebUrl();
            CHECK_RETURN_TEXT(
                CompareUrls(web_url, local_name->GetUrl(), &string) == CompareUrlsResult::url1_is_parent,
                E_INVALIDARG,
                u"CompareUrls(web_url.c_str(), local_name->GetUrl().c_str(), &string) == "
                u"CompareUrlsResult::url1_is_parent");
        }
        *out_string = AllocateWithoutTrailingSlash(std::move(string));
        CHECK_RETURN(*out_string != nullptr, E_OUTOFMEMORY);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::NameGetParent(TMK::IAFS_Name* name, TMK::IAFS_Name** out_parent) {
    TRACE_ENTRY("FileSystem::NameGetParent");
    try {
        if (out_parent) *out_parent = nullptr;
        CHECK_RETURN(name != nullptr, E_INVALIDARG);
        CHECK_RETURN(out_parent != nullptr, E_POINTER);
        const ComPtr<Name> local_name = GetName(name);
        CHECK_RETURN(local_name != nullptr, E_INVALIDARG);
        *out_parent = local_name->GetParent().detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::NameIsChildOf(TMK::IAFS_Name* name, TMK::IAFS_Name* parent, VARIANT_BOOL* out_is_child) {
    TRACE_ENTRY("FileSystem::NameIsChildOf");
    try {
        CHECK_RETURN(name != nullptr, E_INVALIDARG);
        CHECK_RETURN(out_is_child != nullptr, E_POINTER);
        *out_is_child = VARIANT_FALSE;
        const ComPtr<Name> local_name = GetName(name);
        CHECK_RETURN(local_name != nullptr, E_INVALIDARG);
        const ComPtr<Name> local_parent = GetName(parent);
        CHECK_RETURN_TEXT(local_parent != nullptr, E_INVALIDARG,
                          u"parent == nullptr || local_parent != nullptr");
        if (CompareUrls(local_parent->GetUrl(), local_name->GetUrl()) != CompareUrlsResult::url1_is_parent) {
            TRACE_RETURN(S_OK);
        }
        const auto web = local_parent->GetSession()->GetWeb()->AsWeb();
        if (const Name::ObjectPtr held = local_name->GetObject()) {
            *out_is_child = ToVariantBool(held->GetWeb() == web);
        } else if (const Name::ObjectPtr found =
                       web->BindObject(local_name->GetUrl(), SharePoint::Web::BindObjectType::any)) {
            local_name->SetObject(found);
            *out_is_child = VARIANT_TRUE;
        }
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::NamesAreEqual(TMK::IAFS_Name* name1, TMK::IAFS_Name* name2, VARIANT_BOOL* out_are_equal) {
    TRACE_ENTRY("FileSystem::NamesAreEqual");
    try {
        CHECK_RETURN(out_are_equal != nullptr, E_POINTER);
        *out_are_equal = ToVariantBool(name1 == name2);
        if (name1 == name2 || !name1 || !name2) TRACE_RETURN(S_OK);
        const ComPtr<Name> local_name1 = GetName(name1);
        CHECK_RETURN(local_name1 != nullptr, E_INVALIDARG);
        const ComPtr<Name> local_name2 = GetName(name2);
        CHECK_RETURN(local_name2 != nullptr, E_INVALIDARG);
        *out_are_equal = ToVariantBool(CompareUrls(local_name1->GetUrl(), local_name2->GetUrl()) ==
                                       CompareUrlsResult::equal);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::BindToPath(LPCWSTR path, TMK::IAFS_BindContext* context, DWORD, IUnknown*,
                               TMK::ITMK_CancelFlag* cancel_flag, TMK::IAFS_Name** out_host_name) {
    TRACE_ENTRY("FileSystem::BindToPath");
    try {
        const OperationScope operation_scope(cancel_flag);
        if (out_host_name) *out_host_name = nullptr;
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN(path != nullptr, E_INVALIDARG);
        CHECK_THROW(context != nullptr, HResultException, E_INVALIDARG,
                    u"Cannot bind path with null context");
        CHECK_RETURN(out_host_name != nullptr, E_POINTER);
        CHECK_RETURN(m_plugin != nullptr, E_FAIL);
        ComPtr<TMK::IAFS_AccountData> stored;
        const HRESULT context_to_account_result =
            context->QueryInterface(TMK::IAFS_AccountData::kIid, reinterpret_cast<void**>(stored.put()));
        if (const ComPtr<AccountData> account = AccountData::FromObject(stored.get())) {
            *out_host_name = Name::CreateRoot(*account, *m_plugin, context).detach();
            TRACE_RETURN(S_OK);
        }
        CHECK_RETURN(SUCCEEDED(context_to_account_result) || context_to_account_result == E_NOINTERFACE,
                     context_to_account_result);
        const auto account =
            MakeObject<AccountData>(*m_plugin, path, m_plugin->m_preferences_manager.Get().api_version);
        const ComPtr<Name> name = Name::CreateRoot(*account, *m_plugin, context);
        CHECK_RETURN(name != nullptr, E_FAIL);
        account->SetUrl(name->GetSession()->GetWebUrl());
        *out_host_name = name.copy();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::BindToObject(IUnknown* object, TMK::IAFS_BindContext* bind_context, DWORD, IUnknown*,
                                 TMK::ITMK_CancelFlag* cancel_flag, TMK::IAFS_Name** out_host_name) {
    TRACE_ENTRY("FileSystem::BindToObject");
    try {
        const OperationScope operation_scope(cancel_flag);
        if (out_host_name) *out_host_name = nullptr;
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN(out_host_name != nullptr, E_POINTER);
        CHECK_RETURN(object != nullptr, E_INVALIDARG);
        const ComPtr<AccountData> account_data = AccountData::FromObject(object);
        CHECK_RETURN(account_data != nullptr, E_INVALIDARG);
        CHECK_RETURN(m_plugin != nullptr && m_plugin->m_tmk_inst != nullptr, E_FAIL);
        ComPtr<TMK::IAFS_BindContext> context(bind_context);
        if (!context) {
            CHECK_RESULT_TEXT(m_plugin->m_tmk_inst->CreateStdBindContext(context.put()),
                              u"m_tmk_inst->CreateStdBindContext(&context)");
        }
        *out_host_name = Name::CreateRoot(*account_data, *m_plugin, context.get()).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::BindFlush(TMK::IAFS_Name* name, DWORD, IUnknown*,
                              TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("FileSystem::BindFlush");
    try {
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN(name != nullptr, E_INVALIDARG);
        const ComPtr<Name> local_name = GetName(name);
        CHECK_RETURN(local_name != nullptr, E_INVALIDARG);
        const ComPtr<TMK::IAFS_FilesCache> files_cache = local_name->GetSession()->GetFilesCache();
        CHECK_RETURN(files_cache != nullptr, E_FAIL);
        CHECK_RESULT_TEXT(
            files_cache->FlushAllCaches(out_error_details, cancel_flag, VARIANT_FALSE),
            u"local_name->GetSession()->GetFilesCache()->FlushAllCaches(out_error_details, cancel_flag, "
            u"VARIANT_FALSE)");
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT FileSystem::BindClose() {
    TRACE_ENTRY("FileSystem::BindClose");
    TRACE_RETURN(S_OK);
}
