#include "afs/names/name.h"

#include "base/failure.h"
#include "base/out_values.h"
#include "base/plugin_context.h"
#include "base/url.h"
#include "session/account_data.h"

namespace {

constexpr uint32_t kHiddenOnServer = 2;

// The URL of the web that a reference has to lie in: a sharing link only has to be of the same server.
std::u16string GetReferenceWebUrl(const Session& session, bool is_direct_url) {
    return is_direct_url ? session.GetWebUrl() : session.GetPath();
}

void CheckLiesInWeb(const std::u16string& string, const std::u16string& absolute, Name& parent) {
    TRACE_NAME("Name::Create");
    const bool is_direct_url = IsDirectUrl(string);
    const CompareUrlsResult result =
        CompareUrls(GetReferenceWebUrl(*parent.GetSession(), is_direct_url), absolute);
    if (result == CompareUrlsResult::equal || result == CompareUrlsResult::url1_is_parent) return;
    LOG_LINE(Log::warning,
             u"Cannot create name for URL '%s' (absolute '%s'), is_direct_url=%d, is_file_link_url=%d, "
             u"comparison to "
             u"web URL '%s' returned %d",
             MaskForLog(string), MaskForLog(absolute), is_direct_url, IsFileLinkUrl(string),
             MaskForLog(GetReferenceWebUrl(*parent.GetSession(), is_direct_url)), static_cast<int>(result));
    THROW_TRACED(HResultException, E_INVALIDARG);
}

std::u16string GetUrlBelow(const std::u16string& url, Name& parent) {
    TRACE_NAME("Name::Create");
    CHECK_THROW(IsValidFileOrFolderUrlPath(url), HResultException, E_SP_INVALID_NAME);
    const Name::ObjectPtr parent_object = parent.BindObject();
    CHECK_THROW(parent_object != nullptr, HResultException, E_INVALIDARG);
    std::u16string absolute = parent.GetSession()->GetPath() + u"/" + parent_object->GetInformation().m_path;
    if (absolute.back() != u'/') absolute += u'/';
    return absolute + (url.starts_with(u'/') ? url.substr(1) : url);
}

}  // namespace

ComPtr<Name> Name::Create(const std::u16string& string, Name& parent) {
    TRACE_ENTRY("Name::Create");
    const bool is_url = IsDirectUrl(string) || IsFileLinkUrl(string);
    const std::u16string absolute = is_url ? string : WebDavPathToUrl(string);
    if (!absolute.empty()) CheckLiesInWeb(string, absolute, parent);
    auto name = MakeObject<Name>(parent.m_session);
    name->m_url = absolute.empty() ? GetUrlBelow(string, parent) : absolute;
    TRACE_EXIT(MaskForLog(name->m_url));
    return name;
}

ComPtr<Name> Name::Create(const ObjectPtr& object, const Name& other) {
    TRACE_ENTRY("Name::Create");
    CHECK_THROW(object && object->GetWeb() == other.m_session->GetWeb()->AsWeb(), HResultException,
                E_INVALIDARG);
    auto name = MakeObject<Name>(other.m_session);
    name->SetObject(object);
    TRACE_EXIT(MaskForLog(name->m_url));
    return name;
}

ComPtr<Name> Name::CreateRoot(AccountData& account_data, PluginContext& plugin,
                              TMK::IAFS_BindContext* context) {
    TRACE_ENTRY("Name::CreateRoot");
    account_data.SetUrl(GetAbsoluteUrl(account_data.GetUrl()));
    auto name = MakeObject<Name>(Session::Create(account_data, plugin, context));
    name->SetObject(name->m_session->GetWeb());
    TRACE_EXIT(MaskForLog(name->m_url));
    return name;
}

std::u16string Name::GetAbsoluteUrl(const std::u16string& string) {
    TRACE_ENTRY("Name::GetAbsoluteUrl");
    std::u16string absolute = IsDirectUrl(string) || IsFileLinkUrl(string) ? string : WebDavPathToUrl(string);
    CHECK_THROW(!absolute.empty(), HResultException, E_INVALIDARG);
    TRACE_EXIT(MaskForLog(absolute));
    return absolute;
}

std::u16string Name::GetAbsoluteUrl(const Session& session, const SharePoint::Object& object) {
    const std::u16string& path = object.GetInformation().m_path;
    return path.empty() ? session.GetPath() : session.GetPath() + u"/" + path;
}

HRESULT Name::get_FileSys(TMK::IAFS_FileSys** out_file_system) {
    TRACE_ENTRY("Name::get_FileSys");
    RETURN_VALUE(out_file_system, m_session->GetFileSystem().copy());
}

std::u16string Name::GetUnreadReason() const {
    const std::lock_guard lock(m_object_lock);
    return m_unread_reason;
}

void Name::SetUnreadReason(std::u16string reason) {
    const std::lock_guard lock(m_object_lock);
    m_unread_reason = std::move(reason);
}

Name::ObjectPtr Name::GetObject() const {
    const std::lock_guard lock(m_object_lock);
    return m_object;
}

Name::ObjectPtr Name::BindObject(BindObjectType type, bool use_cached) {
    TRACE_ENTRY("Name::BindObject");
    const ObjectPtr held = GetObject();
    if (held && use_cached) {
        const bool wrong_kind = (type == BindObjectType::file && !held->AsFile()) ||
                                (type == BindObjectType::folder && !held->AsFolder());
        TRACE_EXIT(wrong_kind ? u"nullptr" : u"cached object");
        return wrong_kind ? nullptr : held;
    }
    ObjectPtr object = m_session->GetWeb()->AsWeb()->BindObject(m_url, type);
    if (object) SetObject(object);
    TRACE_EXIT(object ? u"bound object" : u"nullptr");
    return object;
}

void Name::SetObject(const ObjectPtr& object) {
    TRACE_ENTRY("Name::SetObject");
    CHECK_THROW(object, HResultException, E_INVALIDARG);
    {
        const std::lock_guard lock(m_object_lock);
        m_object = object;
    }
    m_url = GetAbsoluteUrl(*m_session, *object);
    m_attributes = object->AsFolder() ? DWORD{TMK::AFS_FileAttribute_Folder} : 0;
    if (object->GetInformation().m_attributes & kHiddenOnServer)
        m_attributes |= TMK::AFS_FileAttribute_Hidden;
    TRACE_EXIT(u"");
}

ComPtr<Name> Name::GetParent() const {
    TRACE_ENTRY("Name::GetParent");
    if (const ObjectPtr held = GetObject(); held && held->AsWeb()) {
        TRACE_EXIT(u"nullptr (this name is Web)");
        return {};
    }
    const std::u16string parent_url = GetUrlParent(m_url);
    if (parent_url.empty()) {
        TRACE_EXIT(u"nullptr (no parent string)");
        return {};
    }
    auto parent = MakeObject<Name>(m_session);
    parent->m_url = parent_url;
    TRACE_EXIT(MaskForLog(parent_url));
    return parent;
}
