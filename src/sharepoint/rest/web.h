// A web of a modern site over its REST interface: finds, lists and makes objects, and serves them the current
// user, the edit right and the request digest. Shared; any thread may call, only the digest is guarded.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "http/session.h"
#include "sharepoint/address_forms.h"
#include "sharepoint/change.h"
#include "sharepoint/json.h"
#include "sharepoint/look_up.h"
#include "sharepoint/object.h"
#include "sharepoint/places.h"
#include "sharepoint/request_digest.h"

namespace SharePointRestAPI {

class Web final : public SharePoint::Object,
                  public SharePoint::Web,
                  public std::enable_shared_from_this<Web> {
public:
    // The web that the object behind `object_url` belongs to. HResultException E_INVALIDARG for a URL of
    // another server or one without a web; HttpException, ApiException, Exception.
    static std::shared_ptr<Web> Create(std::shared_ptr<Http::Session> http, const std::u16string& object_url);

    // SP.Web.GetWebUrlFromPageUrl: the path of the web that `object_path` lies in.
    static bool GetWebPath(Http::Session& http, const std::u16string& object_path,
                           std::u16string& out_web_path);

    // For Create; nothing but the web's path is known.
    Web(std::shared_ptr<Http::Session> http, const std::u16string& path)
        : SharePoint::Object(path), m_http(std::move(http)) {}

    std::shared_ptr<SharePoint::Folder> AsFolder() override { return shared_from_this(); }
    std::shared_ptr<SharePoint::Web> AsWeb() override { return shared_from_this(); }
    std::shared_ptr<SharePoint::Web> GetWeb() override { return shared_from_this(); }
    bool CanEdit() override { return false; }
    const SharePoint::Information& UpdateInformation() override;
    void Rename(const std::u16string&) override {
        SharePoint::RefuseChangeOfWeb("SharePointRestAPI::Web::Rename", u"renaming");
    }
    void Delete() override { SharePoint::RefuseChangeOfWeb("SharePointRestAPI::Web::Delete", u"deleting"); }
    std::vector<std::shared_ptr<SharePoint::Object>> Enumerate(std::u16string* out_unread = nullptr) override;
    // Folders first, then files. A file that is checked out costs one more request.
    std::vector<std::shared_ptr<SharePoint::Object>> Enumerate(const std::u16string& path,
                                                               std::u16string* out_unread = nullptr);
    std::shared_ptr<SharePoint::Object> BindObject(const std::u16string& url, BindObjectType type) override;
    bool IsFileKnownMissing(const std::u16string& url) override;
    std::shared_ptr<SharePoint::Object> CreateFile(const std::u16string& url) override;
    std::shared_ptr<SharePoint::Object> CreateFolder(const std::u16string& url) override;
    bool CreateFolderNoBind(const std::u16string& url);

    // What the server says of an item of this web; paths are relative to the server root. False when it isn't
    // there; the out arguments may be null.
    bool UpdateInformation(const std::u16string& path, SharePoint::Information* out_information,
                           bool* out_is_folder);
    // True also for a document that isn't there: it may be made.
    bool CanEdit(const std::u16string& path);
    // The login, empty when unknown.
    std::u16string GetCurrentUser();
    // The server's form digest for changes, empty on failure. HttpException.
    std::u16string GetDigest();

    // Sends a request that changes the site, in a form that the server takes. A digest that the server
    // refuses is replaced, also in `digest`. Any status; the body may have been read when it is a refusal.
    Http::Response SendChange(const char16_t* verb, const std::u16string& address, std::u16string& digest,
                              const SharePoint::ChangeBody& body = {});

    bool ForgetOldDigest() { return m_digest.DropReused(); }
    // Forgets a digest that the server refused.
    void DropDigest(const std::u16string& digest) { m_digest.Drop(digest); }
    Http::Session& GetHttp() const { return *m_http; }
    SharePoint::AddressForms& GetForms() { return m_forms; }
    // Percent-encoded path of the web, the start of the URLs of its requests.
    std::u16string EncodedPath() const;

    // The steps of BindObject.
    SharePoint::WebPlace GetPlace() const { return {m_http->GetUri(), m_information.m_path}; }
    bool ReadFileLink(const std::u16string& url, SharePoint::Information& out_information,
                      bool& out_is_folder);
    bool ReadInformation(const std::u16string& path, SharePoint::Information& out_information,
                         bool& out_is_folder);
    std::shared_ptr<SharePoint::Object> MakeObject(SharePoint::Information information, bool is_folder);

private:
    // What a folder holds beyond the server's threshold, page by page; nothing and the reason when a page
    // can't be read.
    std::u16string ReadPages(const std::u16string& path,
                             std::vector<std::shared_ptr<SharePoint::Object>>& out_objects);
    // Why an answer isn't the wanted one: the server's own sentence, or else its status.
    static std::u16string DescribeRefusal(const Http::Response& response, const Json::Value& answer);
    // One row of a page; null when it is no item.
    std::shared_ptr<SharePoint::Object> ParseRow(const Json::Value& row);
    Http::Response AskForItem(const std::u16string& address, Json::Document& out_answer);
    // The item at one address; false when there is none.
    bool ReadItem(const std::u16string& address, SharePoint::Information* out_information,
                  bool* out_is_folder);
    // Reads an item; asks for the holder of a check-out.
    bool ParseItem(const Json::Value& json, SharePoint::Information& out_information, bool& out_is_folder);
    std::u16string FindCheckOutUser(const std::u16string& path);
    // Nothing when the answer has no user.
    std::optional<std::u16string> AskForCheckOutUser(const std::u16string& encoded_path);

    std::shared_ptr<Http::Session> m_http;
    SharePoint::DigestKeeper m_digest;
    SharePoint::AddressForms m_forms;
    SharePoint::Told<SharePoint::Item> m_item;
    SharePoint::Told<bool> m_can_edit;
};

}  // namespace SharePointRestAPI
