// A working connection to one site: the HTTP connection, the backend's web and the host's files cache.
// Shared by all names of a site, no lock; runs on whatever thread binds a name.
#pragma once

#include <memory>
#include <string>

#include "hostapi/iafs.h"
#include "http/session.h"
#include "platform/com_ptr.h"
#include "session/open_documents.h"
#include "sharepoint/object.h"

class AccountData;
class FileSystemContext;
class PluginContext;

class Session {
public:
    // Connects, signing in when the server asks, and writes what was gained back into the account, which
    // stays as it was on failure. Throws HResultException, ApiException, Http::HttpException; E_CANCELED when
    // the user declines.
    static std::shared_ptr<Session> Create(AccountData& io_account_data, PluginContext& plugin,
                                           TMK::IAFS_BindContext* context);

    // Whether a URL is served by SharePoint at all, without any prompt.
    static bool IsSharePoint(const std::u16string& url);

    // Removes the stored sign-in of an account that has no session.
    static HRESULT SignOut(PluginContext* pVInst, AccountData* pAcData);

    virtual ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    ComPtr<FileSystemContext> GetFileSystem() const;
    ComPtr<TMK::IAFS_FilesCache> GetFilesCache() const;
    std::shared_ptr<SharePoint::Object> GetWeb() const;
    // Scheme, host and port.
    std::u16string GetPath() const;
    // The URL of the web.
    std::u16string GetWebUrl() const;
    OpenDocuments& GetOpenDocuments() { return *m_open_documents; }

    // Makes the system forget the user. Throws ApiException when the stored cookies can't be cleared.
    void SignOut();

private:
    Session();

    void Connect(const AccountData& account, PluginContext& plugin, Http::Session::Credentials& credentials);
    void SetSignInCallbacks(const AccountData& account, PluginContext& plugin,
                            Http::Session::Credentials& credentials);
    void SetFormsCallback(PluginContext& plugin);
    void CreateWeb(const AccountData& account);
    void WriteBack(AccountData& account, const Http::Session::Credentials& credentials) const;

    ComPtr<FileSystemContext> m_file_system;
    ComPtr<TMK::IAFS_BindContext> context;
    ComPtr<TMK::IAFS_FilesCache> m_files_cache;
    std::shared_ptr<Http::Session> m_http;
    std::shared_ptr<SharePoint::Object> m_web;
    std::shared_ptr<OpenDocuments> m_open_documents;
};
