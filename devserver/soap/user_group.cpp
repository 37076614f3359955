// The service UserGroup: information about users.
// Owner: soap/; a request's thread alone.
#include "soap/soap_server.h"

namespace devserver::soap {
namespace {

std::string UserElement(const User& user) {
    return "<User ID=\"" + std::to_string(user.id) + "\" Sid=\"\" Name=\"" + xml::Escape(user.title) +
           "\" LoginName=\"" + xml::Escape(user.login) + "\" Email=\"" + xml::Escape(user.email) +
           "\" Notes=\"\" IsSiteAdmin=\"False\" IsDomainGroup=\"False\" Flags=\"0\"/>";
}

std::string Wrapped(const std::string& name, const std::string& inner) {
    return "<" + name + ">" + inner + "</" + name + ">";
}

}  // namespace

std::optional<http::Response> UserGroup(const Call& call) {
    const auto& name = call.operation.name();
    if (name == "GetCurrentUserInfo")
        return Answer(call.operation, Wrapped("GetUserInfo", UserElement(call.user)));
    if (name == "GetUserInfo") {
        auto login = call.operation.parameter("userLoginName");
        if (!login || login->empty()) throw MissingParameter("userLoginName");
        auto user = call.store.UserByName(*login);
        if (!user) throw SoapFault("User cannot be found.", 0x81020054);
        return Answer(call.operation, Wrapped("GetUserInfo", UserElement(*user)));
    }
    if (name == "GetUserCollectionFromSite" || name == "GetAllUserCollectionFromWeb") {
        std::string users;
        for (const auto& user : call.store.users()) users += UserElement(user);
        auto element = name == "GetUserCollectionFromSite" ? name : std::string("GetUserCollectionFromWeb");
        return Answer(call.operation, Wrapped(element, Wrapped("Users", users)));
    }
    return std::nullopt;
}

}  // namespace devserver::soap
