#include "tests/contract/contract_site.h"

#include <algorithm>
#include <stdexcept>

#include "base/text/encoding.h"
#include "base/url.h"
#include "sharepoint/legacy/web.h"
#include "sharepoint/rest/web.h"
#include "tests/contract/sign_in.h"

namespace contract {

namespace {

std::vector<std::string> ServerOptions(Generation generation) {
    std::vector<std::string> options{"--generation", OptionOf(generation)};
    if (generation == Generation::modern) return options;
    const std::vector<std::string> older = OlderServerOptions();
    options.insert(options.end(), older.begin(), older.end());
    return options;
}

std::shared_ptr<Http::Session> Connect(const std::string& url,
                                       const Http::Session::Credentials& credentials) {
    std::u16string scheme, host;
    uint16_t port = 0;
    Http::Session::CrackUri(FromUtf8(url).c_str(), &scheme, &host, &port, nullptr, nullptr);
    return Http::Session::Create(scheme, host, port, credentials, {});
}

}  // namespace

const char* OptionOf(Generation generation) {
    if (generation == Generation::modern) return "modern";
    return generation == Generation::y2013 ? "2013" : "2010";
}

Contract::Contract() : m_server(ServerOptions(GetParam())) {}

SharePoint::Web& Contract::Site(const std::string& user) {
    std::shared_ptr<SharePoint::Web>& web = m_webs[user];
    if (!web) {
        const auto credentials = IsRest() ? Http::Session::Credentials() : CredentialsOf(user);
        const auto http = Connect(OriginFor(user), credentials);
        if (IsRest()) {
            http->SetAuthToken(FromUtf8(m_server.Token(user)));
        } else {
            SignIn(*http, m_server, user);
        }
        const std::u16string url = FromUtf8(OriginFor(user) + "/sites/team");
        if (IsRest()) {
            web = SharePointRestAPI::Web::Create(http, url);
        } else {
            web = SharePoint2013::Web::Create(http, url);
        }
        if (!web) throw std::runtime_error("no site");
    }
    return *web;
}

std::u16string Contract::Path(const std::string& item) {
    return FromUtf8(DevServer::PathOf(item)).substr(1);
}

std::string Contract::OriginFor(const std::string& user) const {
    const std::string& origin = m_server.Origin();
    return user == "alice" ? origin : "http://localhost" + origin.substr(origin.rfind(':'));
}

std::u16string Contract::Url(const std::string& item, const std::string& user) const {
    return FromUtf8(OriginFor(user) + DevServer::PathOf(item));
}

std::shared_ptr<SharePoint::Object> Contract::Find(const std::string& item, const std::string& user,
                                                   SharePoint::Web::BindObjectType type) {
    return Site(user).BindObject(Url(item, user), type);
}

std::shared_ptr<SharePoint::File> Contract::FindFile(const std::string& item, const std::string& user) {
    const auto object = Find(item, user, SharePoint::Web::BindObjectType::file);
    if (!object || !object->AsFile()) throw std::runtime_error("no document " + item);
    return object->AsFile();
}

void Contract::Make(const std::string& item, const std::string& bytes, const std::string& user) {
    const auto object = Site(user).CreateFile(Url(item, user));
    if (!object || !object->AsFile()) throw std::runtime_error("can't make " + item);
    Write(*object->AsFile(), bytes);
}

void Contract::Write(SharePoint::File& file, const std::string& bytes) {
    Http::Request upload = file.Write(bytes.size());
    for (size_t at = 0; at < bytes.size();) at += upload.Write(bytes.data() + at, bytes.size() - at);
    upload.End();
}

std::string Contract::Read(SharePoint::File& file) {
    std::string bytes;
    file.Read().ReadBody(bytes);
    return bytes;
}

std::vector<std::string> Contract::Children(const std::string& folder) {
    const auto object = Find(folder);
    if (!object || !object->AsFolder()) throw std::runtime_error("no folder " + folder);
    std::vector<std::string> names;
    for (const auto& child : object->AsFolder()->Enumerate())
        names.push_back(ToUtf8(child->GetInformation().m_name) + (child->AsFolder() ? "/" : ""));
    std::sort(names.begin(), names.end());
    return names;
}

StoredDocument Contract::Look(const std::string& item) const {
    StoredDocument document = m_server.Find(item);
    document.comment = UrlDecode(document.comment);
    return document;
}

void Contract::DefineColumn(const std::string& json) const {
    m_server.Admin("column", json);
}

}  // namespace contract
