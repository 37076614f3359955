// Users of the site, as the REST interface shows them.
// Owner: rest/; a request's thread alone.
#include "base/crypto.h"
#include "base/text.h"
#include "rest/resource.h"

namespace devserver::rest {
namespace {

constexpr Link user_links[] = {{"Alerts", false, true}, {"Groups", false, true}};

class UserResource : public Resource {
public:
    UserResource(User user, std::string id) : m_user(std::move(user)), m_id(std::move(id)) {}
    Outcome get(Context&) override { return Outcome::of(Node::of(user_entity(m_user, m_id)), "User"); }

private:
    User m_user;
    std::string m_id;
};

class UsersResource : public Resource {
public:
    ResourcePtr child(Context& context, const Segment& segment) override {
        std::optional<User> user;
        if (segment.is("getById")) {
            user = context.store.user_by_id(parse_integer(segment.text("id")).value_or(0));
        } else if (segment.is("getByName") || segment.is("getByEmail") || segment.is("getByLoginName")) {
            user =
                context.store.user_by_name(segment.arguments.empty() ? "" : segment.arguments[0].value.text);
        } else {
            return nullptr;
        }
        if (!user) throw odata::user_not_found();
        return make_user(*user, user_id(user->id));
    }
    Outcome get(Context& context) override {
        auto feed = feed_of(context.store.users(),
                            [](const User& user) { return user_entity(user, user_id(user.id)); });
        return Outcome::of(Node::of(apply_feed_options(context, std::move(feed))), "SiteUsers");
    }
};

}  // namespace

std::string user_id(Id user) {
    return "Web/GetUserById(" + std::to_string(user) + ")";
}

Node user_node(const Context& context, Id user, const std::string& id) {
    auto record = context.store.user_by_id(user);
    return record ? Node::of(user_entity(*record, id)) : Node::nothing();
}

Entity user_entity(const User& user, std::string id) {
    Entity entity;
    entity.type = "SP.User";
    entity.id = std::move(id);
    entity.links = user_links;
    entity.resolve = [](std::string_view) {
        return Node::of(feed_of(std::vector<int>{}, [](int) { return Entity{}; }));
    };
    entity.add("Id", Value::int32(user.id));
    entity.add("IsHiddenInUI", Value::boolean(false));
    entity.add("LoginName", Value::of_text(user.login));
    entity.add("Title", Value::of_text(user.title));
    entity.add("PrincipalType", Value::int32(1));
    entity.add("Email", Value::of_text(user.email));
    entity.add("Expiration", Value::of_text(""));
    entity.add("IsEmailAuthenticationGuestUser", Value::boolean(false));
    entity.add("IsShareByEmailGuestUser", Value::boolean(false));
    entity.add("IsSiteAdmin", Value::boolean(false));
    entity.add("UserId",
               Value::of_complex({"SP.UserIdInfo",
                                  {{"NameId", Value::of_text("1003" + sha256_hex(user.login).substr(0, 12))},
                                   {"NameIdIssuer", Value::of_text("urn:federation:microsoftonline")}}}));
    entity.add("UserPrincipalName", Value::of_text(user.email));
    return entity;
}

ResourcePtr make_user(const User& user, std::string id) {
    return std::make_unique<UserResource>(user, std::move(id));
}
ResourcePtr make_users() {
    return std::make_unique<UsersResource>();
}

}  // namespace devserver::rest
