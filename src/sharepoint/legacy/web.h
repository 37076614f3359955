// A web of a SharePoint 2010 or 2013 server: items over WebDAV, names and users over SOAP, and the current
// user over FrontPage RPC where SOAP gives none. Shared; any thread may call, only the digest is guarded.
#pragma once

#include <memory>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "http/session.h"
#include "sharepoint/object.h"
#include "sharepoint/request_digest.h"

namespace SharePoint2013 {

class Web final : public SharePoint::Object,
                  public SharePoint::Web,
                  public std::enable_shared_from_this<Web> {
public:
    // The web that the object behind `object_url` belongs to. HResultException E_INVALIDARG for a URL of
    // another server, and when the server names no web for it.
    static std::shared_ptr<Web> Create(std::shared_ptr<Http::Session> http, const std::u16string& object_url);
    // Whether the server behind `url` (a path) is one of version 15 or later. False without a session.
    static bool IsCompatible(const std::shared_ptr<Http::Session>& http, const std::u16string& url);
    // Asks for the path of the web that `object_path` lies in.
    static bool GetWebPath(Http::Session& http, const std::u16string& object_path,
                           std::u16string& out_web_path);

    std::shared_ptr<SharePoint::File> AsFile() override { return nullptr; }
    std::shared_ptr<SharePoint::Folder> AsFolder() override { return shared_from_this(); }
    std::shared_ptr<SharePoint::Web> AsWeb() override { return shared_from_this(); }
    bool CanEdit() override { return false; }
    std::shared_ptr<SharePoint::Web> GetWeb() override { return shared_from_this(); }
    const SharePoint::Information& UpdateInformation() override;
    void Rename(const std::u16string& new_path) override;
    void Delete() override;

    std::vector<std::shared_ptr<SharePoint::Object>> Enumerate() override;
    std::shared_ptr<SharePoint::Object> BindObject(const std::u16string& url, BindObjectType type) override;
    bool IsFileKnownMissing(const std::u16string& url) override;
    std::shared_ptr<SharePoint::Object> CreateFile(const std::u16string& url) override;
    std::shared_ptr<SharePoint::Object> CreateFolder(const std::u16string& url) override;

    // Asks for an item, and with `get_children` for what lies in it, which is returned in the server's order.
    // `out_information` receives the item itself and may be null. Paths are relative to the server root.
    // HttpException.
    std::vector<std::shared_ptr<SharePoint::Object>> Enumerate(const std::u16string& path, bool get_children,
                                                               SharePoint::Information* out_information);
    // HttpException; what isn't XML leaves the document empty.
    void SendPropfind(pugi::xml_document& out_document, const std::u16string& path, bool get_children);
    // "MOVE" or "COPY"; what is at the target is replaced. HttpException; a partial failure is only logged.
    void SendMoveOrCopy(const char16_t* verb, const std::u16string& path, const std::u16string& new_path);
    bool CreateFolderNoBind(const std::u16string& url);

    // The login, empty when unknown.
    std::u16string GetCurrentUser();
    // The same by SOAP alone.
    std::u16string GetCurrentUserSoap2010();
    // "Name <mail>" or what of it is known; the login's own name when nothing is.
    std::u16string GetUserDisplayName(const std::u16string& login);
    // The server's form digest, for the library's columns alone; empty on failure. HttpException.
    std::u16string GetDigest2013();

    Http::Session& GetHttp() const { return *m_http; }
    // Percent-encoded path of the web.
    std::u16string EncodedPath() const;

private:
    explicit Web(std::shared_ptr<Http::Session> http) : m_http(std::move(http)) {}

    // What the server says of an item; false when it isn't there.
    bool ReadInformation(const std::u16string& path, SharePoint::Information& out_information,
                         bool& out_is_folder);
    bool ReadFileLink(const std::u16string& url, SharePoint::Information& out_information);
    std::shared_ptr<SharePoint::Object> MakeObject(SharePoint::Information information, bool is_folder);
    bool CreateMissingFolders(std::u16string path, const std::vector<std::u16string>& missing);
    bool SendMkcol(const std::u16string& path);

    std::shared_ptr<Http::Session> m_http;
    SharePoint::DigestKeeper m_digest;
};

}  // namespace SharePoint2013
