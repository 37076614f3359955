// The service UserGroup: information about users.
// Owner: soap/; a request's thread alone.
#include "soap/soap_server.h"

namespace devserver::soap {
namespace {

std::string user_element(const User& user) {
    return "<User ID=\"" + std::to_string(user.id) + "\" Sid=\"\" Name=\"" + xml::escape(user.title) +
           "\" LoginName=\"" + xml::escape(user.login) + "\" Email=\"" + xml::escape(user.email) +
           "\" Notes=\"\" IsSiteAdmin=\"False\" IsDomainGroup=\"False\" Flags=\"0\"/>";
}

std::string wrapped(const std::string& name, const std::string& inner) {
    return "<" + name + ">" + inner + "</" + name + ">";
}

}  // namespace

std::optional<http::Response> user_group(const Call& call) {
    const auto& name = call.operation.name();
    if (name == "GetCurrentUserInfo")
        return answer(call.operation, wrapped("GetUserInfo", user_element(call.user)));
    if (name == "GetUserInfo") {
        auto login = call.operation.parameter("userLoginName");
        if (!login || login->empty()) throw missing_parameter("userLoginName");
        auto user = call.store.user_by_name(*login);
        if (!user) throw SoapFault("User cannot be found.", 0x81020054);
        return answer(call.operation, wrapped("GetUserInfo", user_element(*user)));
    }
    if (name == "GetUserCollectionFromSite" || name == "GetAllUserCollectionFromWeb") {
        std::string users;
        for (const auto& user : call.store.users()) users += user_element(user);
        auto element = name == "GetUserCollectionFromSite" ? name : std::string("GetUserCollectionFromWeb");
        return answer(call.operation, wrapped(element, wrapped("Users", users)));
    }
    return std::nullopt;
}

}  // namespace devserver::soap
