// Signing in: tokens, device codes, refresh tokens, rights of users.
// Owner: devserver/auth.
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace devserver::test {
namespace {

constexpr const char* kAuthority = "/organizations/oauth2/v2.0/";

Reply PostForm(const ServerProcess& server, const std::string& path, const std::string& form) {
    return server.Send({.method = "POST", .path = path, .body = form});
}

std::string Text(const rapidjson::Document& json, const char* name) {
    return json.IsObject() && json.HasMember(name) && json[name].IsString() ? json[name].GetString() : "";
}

std::string DeviceGrant(const std::string& code) {
    return "grant_type=urn:ietf:params:oauth:grant-type:device_code&client_id=app&device_code=" + code;
}

int StatusWithToken(const ServerProcess& server, const std::string& token) {
    return server
        .Send(
            {.method = "GET", .path = "/sites/team/_api/web", .headers = {"Authorization: Bearer " + token}})
        .status;
}

TEST(SignIn, RequestsWithoutAKnownTokenAreChallenged) {
    ServerProcess server({});
    for (const char* header :
         {"X-Nothing: 1", "Authorization: Bearer nonsense", "Authorization: Basic YTph"}) {
        auto reply = server.Send({.method = "GET", .path = "/sites/team/_api/web", .headers = {header}});
        EXPECT_EQ(reply.status, 401) << header;
        auto challenge = reply.header("WWW-Authenticate");
        EXPECT_TRUE(challenge.starts_with("Bearer realm=\"")) << challenge;
        EXPECT_NE(challenge.find("client_id=\"00000003-0000-0ff1-ce00-000000000000\""), std::string::npos);
    }
    EXPECT_EQ(server.Send({.method = "GET", .path = "/sites/team/Shared%20Documents/x.pdf"}).status, 401);
}

TEST(SignIn, AnExpiredTokenIsRefused) {
    ServerProcess server({});
    auto reply = PostForm(server, "/_dev/token?user=alice&lifetime=-1", "");
    EXPECT_EQ(StatusWithToken(server, Text(reply.json(), "access_token")), 401);
    Client alice(server, "alice");
    EXPECT_EQ(StatusWithToken(server, alice.token()), 200);
    PostForm(server, "/_dev/expire-tokens", "");
    EXPECT_EQ(StatusWithToken(server, alice.token()), 401);
}

TEST(SignIn, ADeviceCodeIsPendingUntilAPersonEntersIt) {
    ServerProcess server({});
    auto start = PostForm(server, std::string(kAuthority) + "devicecode", "client_id=app&scope=files").json();
    auto code = Text(start, "device_code"), user_code = Text(start, "user_code");
    ASSERT_FALSE(code.empty());
    EXPECT_EQ(Text(start, "verification_uri"), server.url() + "/devicelogin");
    auto token_url = std::string(kAuthority) + "token";
    auto pending = PostForm(server, token_url, DeviceGrant(code));
    EXPECT_EQ(pending.status, 400);
    EXPECT_EQ(Text(pending.json(), "error"), "authorization_pending");

    auto wrong =
        PostForm(server, "/devicelogin", "user_code=" + user_code + "&username=alice&password=wrong");
    EXPECT_EQ(wrong.body.find("You are signed in"), std::string::npos);
    EXPECT_NE(Text(PostForm(server, token_url, DeviceGrant(code)).json(), "error"), "");
    auto right =
        PostForm(server, "/devicelogin", "user_code=" + user_code + "&username=alice&password=alice");
    EXPECT_NE(right.body.find("You are signed in"), std::string::npos);

    auto granted = PostForm(server, token_url, DeviceGrant(code)).json();
    EXPECT_EQ(StatusWithToken(server, Text(granted, "access_token")), 200);
    auto again = PostForm(server, token_url, DeviceGrant(code));
    EXPECT_EQ(Text(again.json(), "error"), "invalid_grant") << "a code works once";
}

TEST(SignIn, PollingTooOftenIsSlowedDownAndADeclinedCodeEnds) {
    ServerProcess server({});
    auto start = PostForm(server, std::string(kAuthority) + "devicecode", "client_id=app&scope=x").json();
    auto code = Text(start, "device_code");
    std::string error;
    for (int i = 0; i < 20 && error != "slow_down"; ++i)
        error = Text(PostForm(server, std::string(kAuthority) + "token", DeviceGrant(code)).json(), "error");
    EXPECT_EQ(error, "slow_down");
    PostForm(server, "/devicelogin",
             "decision=decline&user_code=" + Text(start, "user_code") + "&username=alice&password=alice");
    EXPECT_EQ(Text(PostForm(server, std::string(kAuthority) + "token", DeviceGrant(code)).json(), "error"),
              "authorization_declined");
}

TEST(SignIn, RefreshTokensRotate) {
    ServerProcess server({"--approve", "bob", "--token-lifetime", "77"});
    auto start = PostForm(server, std::string(kAuthority) + "devicecode", "client_id=app&scope=x").json();
    auto first =
        PostForm(server, std::string(kAuthority) + "token", DeviceGrant(Text(start, "device_code"))).json();
    ASSERT_TRUE(first.HasMember("expires_in"));
    EXPECT_EQ(first["expires_in"].GetInt(), 77);
    auto refresh = "grant_type=refresh_token&client_id=app&refresh_token=" + Text(first, "refresh_token");
    auto second = PostForm(server, std::string(kAuthority) + "token", refresh);
    ASSERT_EQ(second.status, 200);
    EXPECT_EQ(StatusWithToken(server, Text(second.json(), "access_token")), 200);
    EXPECT_NE(Text(second.json(), "refresh_token"), Text(first, "refresh_token"));
    EXPECT_EQ(Text(PostForm(server, std::string(kAuthority) + "token", refresh).json(), "error"),
              "invalid_grant");
}

TEST(SignIn, PasswordsAndGrantTypesAreChecked) {
    ServerProcess server({});
    auto url = std::string(kAuthority) + "token";
    EXPECT_EQ(PostForm(server, url, "grant_type=password&client_id=a&username=alice&password=alice").status,
              200);
    EXPECT_EQ(Text(PostForm(server, url, "grant_type=password&client_id=a&username=alice&password=x").json(),
                   "error"),
              "invalid_grant");
    EXPECT_EQ(Text(PostForm(server, url, "grant_type=client_credentials").json(), "error"),
              "unsupported_grant_type");
    EXPECT_EQ(Text(PostForm(server, url, "").json(), "error"), "invalid_request");
}

TEST(SignIn, RightsDecideWhatAUserMayDo) {
    TemporaryFolder seed;
    seed.Write("a.pdf", "content");
    ServerProcess server(
        {"--seed", seed.path(), "--user", "alice:a", "--user", "carol:c:read", "--user", "dave:d:none"});
    Client carol(server, "carol"), dave(server, "dave");
    EXPECT_EQ(carol.get(FileUrl("a.pdf") + "/$value").body, "content");
    EXPECT_EQ(carol.Change("POST", FileUrl("a.pdf") + "/CheckOut()").status, 403);
    auto refused = carol.Change("PUT", FileUrl("a.pdf") + "/$value", "changed");
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(ErrorNumber(refused), -2147024891);
    EXPECT_EQ(carol.get(FileUrl("a.pdf") + "/$value").body, "content");
    auto permissions = carol.get(FileUrl("a.pdf") + "/ListItemAllFields/EffectiveBasePermissions").json();
    auto low = std::stoull(permissions["d"]["EffectiveBasePermissions"]["Low"].GetString());
    EXPECT_EQ(low & 0xE, 0u) << "no right to add, edit or delete";
    EXPECT_EQ(dave.get("/sites/team/_api/web").status, 403);
    EXPECT_EQ(dave.get("/sites/team/Shared%20Documents/a.pdf").status, 403);
}

}  // namespace
}  // namespace devserver::test
