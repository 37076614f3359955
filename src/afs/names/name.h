// What the host's opaque name of an item is here: a URL, the session that reaches it, and, once asked for,
// the server object behind it. Used by one thread at a time; GetObject is for any.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "base/scaffolding.h"
#include "hostapi/iafs.h"
#include "session/session.h"
#include "sharepoint/object.h"

class AccountData;
class PluginContext;

class Name final : public cCoClassUnknownT<Name, TMK::IAFS_Name> {
public:
    using BindObjectType = SharePoint::Web::BindObjectType;
    using ObjectPtr = std::shared_ptr<SharePoint::Object>;

    // From a URL or a path relative to `parent`; nothing is asked of the server. Throws HResultException:
    // E_INVALIDARG for a URL outside the parent's web, 0x803D0020 for a path with forbidden characters.
    static ComPtr<Name> Create(const std::u16string& string, Name& parent);
    // For a server object found through `other`.
    static ComPtr<Name> Create(const ObjectPtr& object, const Name& other);
    // The first name of a place, with its session. Throws what Session::Create throws.
    static ComPtr<Name> CreateRoot(AccountData& account_data, PluginContext& plugin,
                                   TMK::IAFS_BindContext* context);

    // The absolute URL of a web address, a sharing link or a UNC form; E_INVALIDARG for anything else.
    static std::u16string GetAbsoluteUrl(const std::u16string& string);
    static std::u16string GetAbsoluteUrl(const Session& session, const SharePoint::Object& object);

    explicit Name(std::shared_ptr<Session> session) : m_session(std::move(session)) {}

    HRESULT get_FileSys(TMK::IAFS_FileSys** out_file_system) override;

    // The server object behind the name, null when it isn't there or is of another kind. Without
    // `use_cached`, or when none is held, the server is asked.
    ObjectPtr BindObject(BindObjectType type = BindObjectType::any, bool use_cached = true);
    ObjectPtr GetObject() const;
    // Takes the server's spelling of the URL along. Throws HResultException E_INVALIDARG for null.
    void SetObject(const ObjectPtr& object);
    const std::u16string& GetUrl() const { return m_url; }
    const std::shared_ptr<Session>& GetSession() const { return m_session; }
    // Null for the web itself and for a URL without a parent.
    ComPtr<Name> GetParent() const;
    DWORD GetAttributes() const { return m_attributes; }
    // Why the folder's last listing could not be read and was empty for that; empty for one that could.
    std::u16string GetUnreadReason() const;
    void SetUnreadReason(std::u16string reason);

private:
    std::shared_ptr<Session> m_session;
    mutable std::mutex m_object_lock;  // the main thread looks while a worker binds
    ObjectPtr m_object;
    std::u16string m_unread_reason;
    std::u16string m_url;
    DWORD m_attributes = 0;
};
