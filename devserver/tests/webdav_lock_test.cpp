// Write locks over WebDAV: other users, tokens, refresh, restarts, and check-outs as locks.
// Owner: devserver/dav.
#include <gtest/gtest.h>
#include <unistd.h>

#include <pugixml.hpp>

#include "tests/harness.h"

namespace devserver::test {
namespace {

constexpr const char* kLockBody =
    "<D:lockinfo xmlns:D='DAV:'><D:lockscope><D:exclusive/></D:lockscope><D:locktype><D:write/></D:locktype>"
    "<D:owner>somebody</D:owner></D:lockinfo>";

class WebDavLocks : public ::testing::Test {
protected:
    WebDavLocks() { seed.Write("a.pdf", "first"); }

    std::vector<std::string> options() const { return GenerationOptions("2013", {"--seed", seed.path()}); }
    static std::string Lock(const Client& client, const std::string& name, int status = 200) {
        auto reply = client.Ask("LOCK", name, {"Timeout: Second-600"}, kLockBody);
        EXPECT_EQ(reply.status, status) << reply.body;
        auto token = reply.header("Lock-Token");
        EXPECT_EQ(reply.body.find("opaquelocktoken:") != std::string::npos, !token.empty());
        return token;
    }
    static pugi::xml_document state(const Client& client, const std::string& name) {
        pugi::xml_document document;
        document.load_string(client.Ask("PROPFIND", name, {"Depth: 0"}).body.c_str());
        return document;
    }
    static std::string owner(const pugi::xml_document& document) {
        return document.select_node("//D:lockdiscovery/D:activelock/D:owner").node().child_value();
    }

    TemporaryFolder seed;
};

TEST_F(WebDavLocks, ALockBlocksOthersAndItsOwnerSendsTheToken) {
    ServerProcess server(options());
    Client alice(server, "alice"), bob(server, "bob");
    auto token = Lock(alice, "a.pdf");
    auto shown = "If: (" + token + ")";
    for (const char* method : {"PUT", "DELETE", "PROPPATCH"}) {
        auto body = method[0] != 'P' ? std::nullopt
                    : method[1] == 'U'
                        ? std::optional<std::string>("x")
                        : "<D:propertyupdate xmlns:D='DAV:'><D:set><D:prop><x xmlns='u'/></D:prop></D:set>"
                          "</D:propertyupdate>";
        EXPECT_EQ(bob.Ask(method, "a.pdf", {}, body).status, 423) << method;
        EXPECT_EQ(bob.Ask(method, "a.pdf", {shown}, body).status, 423) << method << " with a stolen token";
        EXPECT_EQ(alice.Ask(method, "a.pdf", {}, body).status, 423) << method << " without the token";
    }
    EXPECT_EQ(bob.Ask("LOCK", "a.pdf", {}, kLockBody).status, 423);
    EXPECT_EQ(bob.Ask("UNLOCK", "a.pdf", {"Lock-Token: " + token}).status, 403);
    EXPECT_EQ(bob.Ask("GET", "a.pdf").body, "first") << "reading is free";
    EXPECT_EQ(bob.Ask("COPY", "a.pdf", {"Destination: " + DocumentPath("b.pdf")}).status, 201);
    EXPECT_EQ(bob.Change("PUT", OlderFileUrl("a.pdf") + "/$value", "x").status, 423) << "over every protocol";
    EXPECT_EQ(bob.Change("POST", OlderFileUrl("a.pdf") + "/CheckOut()").status, 423);
    EXPECT_EQ(alice.Ask("PUT", "a.pdf", {shown}, "second").status, 200);
    EXPECT_EQ(owner(state(bob, "a.pdf")), "somebody");
    EXPECT_EQ(owner(state(bob, "b.pdf")), "") << "a copy isn't locked";
    EXPECT_EQ(alice.Ask("UNLOCK", "a.pdf", {"Lock-Token: <opaquelocktoken:other>"}).status, 409);
    EXPECT_EQ(alice.Ask("UNLOCK", "a.pdf", {"Lock-Token: " + token}).status, 204);
    EXPECT_EQ(bob.Ask("PUT", "a.pdf", {}, "third").status, 200);
    EXPECT_EQ(alice.Ask("PUT", "a.pdf", {shown}, "x").status, 412) << "the condition no longer holds";
    EXPECT_EQ(bob.Ask("GET", "a.pdf").body, "third");
}

TEST_F(WebDavLocks, LocksAreRefreshedSurviveARestartAndExpire) {
    TemporaryFolder data;
    std::string token;
    {
        ServerProcess server(options(), data.path());
        Client alice(server, "alice"), bob(server, "bob");
        token = Lock(alice, "a.pdf");
        auto refreshed = alice.Ask("LOCK", "a.pdf", {"If: (" + token + ")", "Timeout: Second-5000"});
        EXPECT_EQ(refreshed.status, 200);
        EXPECT_NE(refreshed.body.find("Second-5000"), std::string::npos);
        EXPECT_EQ(alice.Ask("LOCK", "a.pdf", {"If: (<opaquelocktoken:other>)"}).status, 412);
        EXPECT_EQ(bob.Ask("LOCK", "a.pdf", {"If: (" + token + ")"}).status, 403);
    }
    ServerProcess server(options(), data.path());
    Client alice(server, "alice"), bob(server, "bob");
    EXPECT_EQ(bob.Ask("PUT", "a.pdf", {}, "x").status, 423);
    EXPECT_EQ(alice.Ask("LOCK", "a.pdf", {"If: (" + token + ")", "Timeout: Second-1"}).status, 200);
    int status = 423;
    for (int i = 0; i < 100 && status == 423; ++i) {
        status = bob.Ask("PUT", "a.pdf", {}, "x").status;
        ::usleep(100'000);
    }
    EXPECT_EQ(status, 200) << "the lock ended by itself";
}

TEST_F(WebDavLocks, LockingAMissingFileMakesAnEmptyDocument) {
    ServerProcess server(options());
    Client alice(server, "alice"), bob(server, "bob");
    auto token = Lock(alice, "new.pdf", 201);
    EXPECT_EQ(bob.Ask("GET", "new.pdf").body, "");
    EXPECT_EQ(bob.Ask("PUT", "new.pdf", {}, "x").status, 423);
    EXPECT_EQ(alice.Ask("PUT", "new.pdf", {"If: (" + token + ")"}, "mine").status, 200);
    EXPECT_EQ(alice.Ask("MKCOL", "folder").status, 201);
    EXPECT_EQ(alice.Ask("LOCK", "folder", {}, kLockBody).status, 405);
    EXPECT_EQ(alice.Ask("LOCK", "none/x.pdf", {}, kLockBody).status, 409);
    EXPECT_EQ(alice
                  .Ask("LOCK", "a.pdf", {},
                       "<D:lockinfo xmlns:D='DAV:'><D:lockscope><D:shared/></D:lockscope></D:lockinfo>")
                  .status,
              412);
    EXPECT_EQ(alice.Ask("LOCK", "a.pdf", {}, "<D:lockinfo").status, 400);
    EXPECT_EQ(
        alice.Ask("MOVE", "new.pdf", {"If: (" + token + ")", "Destination: " + DocumentPath("m.pdf")}).status,
        201);
    EXPECT_EQ(bob.Ask("PUT", "m.pdf", {}, "free").status, 200) << "a lock doesn't travel";
}

TEST_F(WebDavLocks, ACheckOutShowsAsALockOfItsHolder) {
    ServerProcess server(options());
    Client alice(server, "alice"), bob(server, "bob");
    EXPECT_EQ(alice.Change("POST", OlderFileUrl("a.pdf") + "/CheckOut()").status, 200);
    EXPECT_EQ(owner(state(bob, "a.pdf")), "i:0#.f|membership|alice@contoso.example");
    auto refused = bob.Ask("PUT", "a.pdf", {}, "x");
    EXPECT_EQ(refused.status, 423);
    EXPECT_NE(refused.header("X-MSDAVEXT_Error").find("alice@contoso.example"), std::string::npos);
    EXPECT_EQ(bob.Ask("LOCK", "a.pdf", {}, kLockBody).status, 423);
    std::string token = state(alice, "a.pdf").select_node("//D:locktoken/D:href").node().child_value();
    EXPECT_EQ(alice.Ask("UNLOCK", "a.pdf", {"Lock-Token: <" + token + ">"}).status, 403);
    EXPECT_EQ(alice.Ask("PUT", "a.pdf", {}, "mine").status, 200) << "the holder needs no token";
    EXPECT_EQ(alice.Change("POST", OlderFileUrl("a.pdf") + "/CheckIn(comment='',checkintype=1)").status, 200);
    EXPECT_EQ(owner(state(bob, "a.pdf")), "");
    EXPECT_EQ(bob.Ask("PUT", "a.pdf", {}, "x").status, 200);
}

}  // namespace
}  // namespace devserver::test
