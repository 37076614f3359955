// Users of the site, as the REST interface shows them.
// Owner: rest/; a request's thread alone.
#include "base/crypto.h"
#include "base/text.h"
#include "rest/resource.h"

namespace devserver::rest {
namespace {

constexpr Link kUserLinks[] = {{"Alerts", false, true}, {"Groups", false, true}};

class UserResource : public Resource {
public:
    UserResource(User user, std::string id) : m_user(std::move(user)), m_id(std::move(id)) {}
    Outcome get(Context&) override { return Outcome::Of(Node::Of(UserEntity(m_user, m_id)), "User"); }

private:
    User m_user;
    std::string m_id;
};

class UsersResource : public Resource {
public:
    ResourcePtr child(Context& context, const Segment& segment) override {
        std::optional<User> user;
        if (segment.Is("getById")) {
            user = context.store.UserById(ParseInteger(segment.text("id")).value_or(0));
        } else if (segment.Is("getByName") || segment.Is("getByEmail") || segment.Is("getByLoginName")) {
            user = context.store.UserByName(segment.arguments.empty() ? "" : segment.arguments[0].value.text);
        } else {
            return nullptr;
        }
        if (!user) throw odata::UserNotFound();
        return MakeUser(*user, UserId(user->id));
    }
    Outcome get(Context& context) override {
        auto feed =
            FeedOf(context.store.users(), [](const User& user) { return UserEntity(user, UserId(user.id)); });
        return Outcome::Of(Node::Of(ApplyFeedOptions(context, std::move(feed))), "SiteUsers");
    }
};

}  // namespace

std::string UserId(Id user) {
    return "Web/GetUserById(" + std::to_string(user) + ")";
}

Node UserNode(const Context& context, Id user, const std::string& id) {
    auto record = context.store.UserById(user);
    return record ? Node::Of(UserEntity(*record, id)) : Node::Nothing();
}

Entity UserEntity(const User& user, std::string id) {
    Entity entity;
    entity.type = "SP.User";
    entity.id = std::move(id);
    entity.links = kUserLinks;
    entity.resolve = [](std::string_view) {
        return Node::Of(FeedOf(std::vector<int>{}, [](int) { return Entity{}; }));
    };
    entity.Add("Id", Value::Int32(user.id));
    entity.Add("IsHiddenInUI", Value::boolean(false));
    entity.Add("LoginName", Value::OfText(user.login));
    entity.Add("Title", Value::OfText(user.title));
    entity.Add("PrincipalType", Value::Int32(1));
    entity.Add("Email", Value::OfText(user.email));
    entity.Add("Expiration", Value::OfText(""));
    entity.Add("IsEmailAuthenticationGuestUser", Value::boolean(false));
    entity.Add("IsShareByEmailGuestUser", Value::boolean(false));
    entity.Add("IsSiteAdmin", Value::boolean(false));
    entity.Add("UserId",
               Value::OfComplex({"SP.UserIdInfo",
                                 {{"NameId", Value::OfText("1003" + Sha256Hex(user.login).substr(0, 12))},
                                  {"NameIdIssuer", Value::OfText("urn:federation:microsoftonline")}}}));
    entity.Add("UserPrincipalName", Value::OfText(user.email));
    return entity;
}

ResourcePtr MakeUser(const User& user, std::string id) {
    return std::make_unique<UserResource>(user, std::move(id));
}
ResourcePtr MakeUsers() {
    return std::make_unique<UsersResource>();
}

}  // namespace devserver::rest
