// Who reaches the server and its data folder.
// Owner: devserver/app and devserver/http.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/harness.h"

namespace devserver::test {
namespace {

TEST(Access, RequestsByAnUnknownHostNameAreRefused) {
    ServerProcess server({"--host-name", "box.test"});
    const auto ask = [&](const std::string& host) {
        return server.raw("POST /_dev/token?user=alice HTTP/1.1\r\nHost: " + host +
                          "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    };
    EXPECT_TRUE(ask("box.test").starts_with("HTTP/1.1 200"));
    const auto refused = ask("evil.example:" + std::to_string(server.port()));
    EXPECT_TRUE(refused.starts_with("HTTP/1.1 400")) << refused;
    EXPECT_EQ(refused.find("access_token"), std::string::npos);
}

TEST(Access, AdminCallsFromPagesOfOtherOriginsAreRefused) {
    ServerProcess server({});
    const auto ask = [&](const std::string& origin) {
        return server
            .Send({.method = "POST",
                   .path = "/_dev/token?user=alice",
                   .headers = {"Origin: " + origin},
                   .body = ""})
            .status;
    };
    EXPECT_EQ(ask(server.url()), 200);
    for (const std::string origin :
         {"http://evil.example", "null", "http://127.0.0.1:1", "https://localhost"})
        EXPECT_EQ(ask(origin), 403) << origin;
}

TEST(Access, ASecondProcessOnADataFolderEndsAndTheFirstGoesOn) {
    ServerProcess server({});
    Client alice(server, "alice");
    std::string error;
    EXPECT_EQ(RunToEnd({"--data", server.DataFolder()}, error), 1);
    EXPECT_NE(error.find("in use by another process"), std::string::npos) << error;
    EXPECT_EQ(alice.get("/sites/team/_api/web").status, 200);
    server.Stop();
    ServerProcess next({}, server.DataFolder());
    EXPECT_EQ(Client(next, "alice").get("/sites/team/_api/web").status, 200);
}

// 192.0.2.1 is nobody's address: the warning comes, and listening fails.
TEST(Access, ListeningBeyondThisMachineWithKnownPasswordsDrawsAWarning) {
    TemporaryFolder folder;
    std::vector<std::string> arguments = {"--data", folder.path(), "--host", "192.0.2.1"};
    std::string error;
    EXPECT_EQ(RunToEnd(arguments, error), 1);
    EXPECT_NE(error.find("passwords of the default users"), std::string::npos) << error;
    EXPECT_EQ(error.find("--admin"), std::string::npos) << error;
    arguments.insert(arguments.end(), {"--admin", "--user", "dora:secret"});
    EXPECT_EQ(RunToEnd(arguments, error), 1);
    EXPECT_EQ(error.find("default users"), std::string::npos) << error;
    EXPECT_NE(error.find("--admin"), std::string::npos) << error;
}

TEST(Access, ARefusedSeedIsNamedWithTheReasonAndLeavesNothing) {
    TemporaryFolder seed, data;
    seed.Write("a.pdf", "content");
    seed.Write("x*y.pdf", "content");
    std::string error;
    EXPECT_EQ(RunToEnd({"--data", data.path(), "--seed", seed.path()}, error), 1);
    EXPECT_NE(error.find(seed.path() + "/x*y.pdf"), std::string::npos) << error;
    EXPECT_NE(error.find("a name that a site doesn't take"), std::string::npos) << error;
    std::filesystem::remove(seed.path() + "/x*y.pdf");
    ServerProcess server({"--seed", seed.path()}, data.path());
    EXPECT_EQ(Client(server, "alice").get(FileUrl("a.pdf") + "/$value").body, "content");
}

}  // namespace
}  // namespace devserver::test
