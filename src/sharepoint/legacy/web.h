// A web of a SharePoint 2010 or 2013 server: items over WebDAV, names and users over SOAP, and the current
// user over FrontPage RPC where SOAP gives none. Shared; any thread may call, only the digest is guarded.
#pragma once

#include <memory>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "http/session.h"
#include "sharepoint/address_forms.h"
#include "sharepoint/look_up.h"
#include "sharepoint/object.h"
#include "sharepoint/places.h"
#include "sharepoint/request_digest.h"

namespace SharePoint2013 {

// The oldest major version of a server for which IsCompatible is true.
inline constexpr int kOldestCompatibleVersion = 15;

class Web final : public SharePoint::Object,
                  public SharePoint::Web,
                  public std::enable_shared_from_this<Web> {
public:
    // Whether the server behind `url` (a path) is one of version 15 or later. False without a session.
    static bool IsCompatible(const std::shared_ptr<Http::Session>& http, const std::u16string& url);
    // The web that the object behind `object_url` belongs to. HResultException E_INVALIDARG for a URL of
    // another server, and when the server names no web for it.
    static std::shared_ptr<Web> Create(std::shared_ptr<Http::Session> http, const std::u16string& object_url);
    // Asks for the path of the web that `object_path` lies in.
    static bool GetWebPath(Http::Session& http, const std::u16string& object_path,
                           std::u16string& out_web_path);
    // For Create; nothing but the web's path is known.
    Web(std::shared_ptr<Http::Session> http, const std::u16string& path)
        : SharePoint::Object(path), m_http(std::move(http)) {}

    const SharePoint::Information& UpdateInformation() override;
    std::vector<std::shared_ptr<SharePoint::Object>> Enumerate(std::u16string* out_unread = nullptr) override;
    // Asks for an item, and with `get_children` for what lies in it, which is returned in the server's order.
    // `out_information` receives the item itself and may be null. Paths are relative to the server root.
    // HttpException.
    std::vector<std::shared_ptr<SharePoint::Object>> Enumerate(const std::u16string& path, bool get_children,
                                                               SharePoint::Information* out_information,
                                                               std::u16string* out_unread = nullptr);
    // HttpException; what isn't XML leaves the document empty.
    void SendPropfind(pugi::xml_document& out_document, const std::u16string& path, bool get_children);
    std::shared_ptr<SharePoint::Object> BindObject(const std::u16string& url, BindObjectType type) override;
    bool IsFileKnownMissing(const std::u16string& url) override;
    std::shared_ptr<SharePoint::Object> CreateFile(const std::u16string& url) override;
    std::shared_ptr<SharePoint::Object> CreateFolder(const std::u16string& url) override;
    bool CreateFolderNoBind(const std::u16string& url);
    // "MOVE" or "COPY"; what is at the target is replaced. HttpException; a partial failure is only logged.
    void SendMoveOrCopy(const char16_t* verb, const std::u16string& path, const std::u16string& new_path);
    void Rename(const std::u16string&) override {
        SharePoint::RefuseChangeOfWeb("SharePoint2013::Web::Rename", u"renaming");
    }
    void Delete() override { SharePoint::RefuseChangeOfWeb("SharePoint2013::Web::Delete", u"deleting"); }

    std::shared_ptr<SharePoint::Folder> AsFolder() override { return shared_from_this(); }
    std::shared_ptr<SharePoint::Web> AsWeb() override { return shared_from_this(); }
    std::shared_ptr<SharePoint::Web> GetWeb() override { return shared_from_this(); }
    bool CanEdit() override { return false; }

    // The login, empty when unknown.
    std::u16string GetCurrentUser();
    // The same by SOAP alone.
    std::u16string GetCurrentUserSoap2010();
    // "Name <mail>" or what of it is known; the login's own name when nothing is.
    std::u16string GetUserDisplayName(const std::u16string& login);
    // The server's form digest, for the library's columns alone; empty on failure. HttpException.
    std::u16string GetDigest2013();

    // Forgets a digest that the server refused.
    void DropDigest(const std::u16string& digest) { m_digest.Drop(digest); }
    Http::Session& GetHttp() const { return *m_http; }
    SharePoint::AddressForms& GetForms() { return m_forms; }
    // Percent-encoded path of the web.
    std::u16string EncodedPath() const;

    // The steps of BindObject. A link always leads to a file.
    bool ReadInformation(const std::u16string& path, SharePoint::Information& out_information,
                         bool& out_is_folder);
    bool ReadFileLink(const std::u16string& url, SharePoint::Information& out_information,
                      bool& out_is_folder);
    std::shared_ptr<SharePoint::Object> MakeObject(SharePoint::Information information, bool is_folder);
    SharePoint::WebPlace GetPlace() const { return {m_http->GetUri(), m_information.m_path}; }

private:
    bool SendMkcol(const std::u16string& path);

    std::shared_ptr<Http::Session> m_http;
    SharePoint::DigestKeeper m_digest;
    SharePoint::AddressForms m_forms;
    SharePoint::Told<SharePoint::Item> m_item;
};

}  // namespace SharePoint2013
