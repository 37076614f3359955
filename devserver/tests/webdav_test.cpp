// WebDAV on the older generations: listings, changes, conditions, properties and rights.
// Owner: devserver/dav.
#include <gtest/gtest.h>

#include <pugixml.hpp>

#include "base/text.h"
#include "tests/harness.h"

namespace devserver::test {
namespace {

class WebDav : public ::testing::Test {
protected:
    WebDav() {
        seed.Write("a.pdf", "first");
        seed.Write("folder/b.pdf", "second");
        seed.Write("folder/deep/c.pdf", "third");
    }

    std::vector<std::string> options(const std::string& generation = "2013") const {
        return GenerationOptions(generation, {"--seed", seed.path()});
    }
    static std::string content(const Client& client, const std::string& name) {
        auto reply = client.Ask("GET", name);
        return reply.status == 200 ? reply.body : "status " + std::to_string(reply.status);
    }
    // The D:response elements of a listing.
    static pugi::xml_document listing(const Client& client, const std::string& name, const std::string& depth,
                                      std::optional<std::string> body = {}) {
        auto reply = client.Ask("PROPFIND", name, {"Depth: " + depth}, std::move(body));
        EXPECT_EQ(reply.status, 207) << reply.body;
        pugi::xml_document document;
        EXPECT_TRUE(document.load_string(reply.body.c_str())) << reply.body;
        return document;
    }
    static pugi::xml_node properties(const pugi::xml_document& document, int index = 0) {
        auto response = document.child("D:multistatus").child("D:response");
        for (; index > 0; --index) response = response.next_sibling("D:response");
        return response.child("D:propstat").child("D:prop");
    }
    static std::string To(const std::string& name) { return "Destination: " + DocumentPath(name); }

    TemporaryFolder seed;
};

TEST_F(WebDav, AListingHasThePropertiesByTheirNames) {
    ServerProcess server(options());
    Client alice(server, "alice");
    auto document = listing(alice, "folder", "1");
    auto root = document.child("D:multistatus");
    EXPECT_STREQ(root.attribute("xmlns:D").value(), "DAV:");
    EXPECT_STREQ(root.attribute("xmlns:Z").value(), "urn:schemas-microsoft-com:");
    EXPECT_STREQ(root.attribute("xmlns:Office").value(), "urn:schemas-microsoft-com:office:office");
    auto itself = properties(document, 0), sub = properties(document, 1), file = properties(document, 2);
    EXPECT_FALSE(properties(document, 3)) << "the depth is one";
    for (const auto& [node, name] : {std::pair(itself, "folder"), std::pair(sub, "deep")}) {
        EXPECT_STREQ(node.child_value("D:displayname"), name);
        EXPECT_STREQ(node.child_value("D:isFolder"), "t");
        EXPECT_TRUE(node.child("D:resourcetype").child("D:collection"));
        EXPECT_EQ(std::stoi(node.child_value("Z:Win32FileAttributes"), nullptr, 16) & 0x10, 0x10);
    }
    EXPECT_STREQ(file.child_value("D:displayname"), "b.pdf");
    EXPECT_FALSE(file.child("D:isFolder"));
    EXPECT_FALSE(file.child("D:resourcetype").first_child());
    EXPECT_STREQ(file.child_value("D:getcontentlength"), "6");
    EXPECT_STREQ(file.child_value("D:getcontenttype"), "application/pdf");
    EXPECT_STREQ(file.child_value("Office:modifiedby"), "i:0#.f|membership|alice@contoso.example");
    EXPECT_TRUE(file.child("D:lockdiscovery")) << "there, and empty";
    EXPECT_FALSE(file.child("D:lockdiscovery").first_child());
    EXPECT_TRUE(std::string(file.child_value("D:creationdate")).ends_with("Z"));
    EXPECT_TRUE(std::string(file.child_value("D:getlastmodified")).ends_with(" GMT"));
    EXPECT_EQ(file.child_value("D:getetag"), alice.Ask("HEAD", "folder/b.pdf").header("ETag"));
    EXPECT_EQ(root.child("D:response").child_value("D:href"), server.url() + DocumentPath("folder"));
    EXPECT_STREQ(root.child("D:response").child("D:propstat").child_value("D:status"), "HTTP/1.1 200 OK");
}

TEST_F(WebDav, MissingPropertiesAreInAPropstatOfTheirOwn) {
    ServerProcess server(options());
    Client alice(server, "alice");
    auto document = listing(alice, "a.pdf", "0",
                            "<x:propfind xmlns:x='DAV:'><x:prop><x:isFolder/><x:getcontentlength/>"
                            "<unknown xmlns='urn:other'/></x:prop></x:propfind>");
    auto first = document.child("D:multistatus").child("D:response").child("D:propstat");
    auto second = first.next_sibling("D:propstat");
    EXPECT_STREQ(first.child("D:prop").child_value("D:getcontentlength"), "5");
    EXPECT_FALSE(first.child("D:prop").child("D:displayname")) << "not asked for";
    EXPECT_TRUE(std::string(second.child_value("D:status")).starts_with("HTTP/1.1 404"));
    EXPECT_TRUE(second.child("D:prop").child("D:isFolder"));
    EXPECT_STREQ(second.child("D:prop").last_child().attribute("xmlns:P").value(), "urn:other");
    auto names = listing(alice, "a.pdf", "0", "<D:propfind xmlns:D='DAV:'><D:propname/></D:propfind>");
    EXPECT_TRUE(properties(names).child("D:getetag"));
    EXPECT_FALSE(properties(names).child("D:getetag").first_child()) << "names alone";
    auto without_itself = listing(alice, "folder", "1,noroot");
    EXPECT_STREQ(properties(without_itself).child_value("D:displayname"), "deep");
}

TEST_F(WebDav, ListingsThatCannotBeServedAreRefusedClearly) {
    ServerProcess server(options());
    Client alice(server, "alice");
    auto endless = alice.Ask("PROPFIND", "folder", {"Depth: infinity"});
    EXPECT_EQ(endless.status, 403);
    EXPECT_NE(endless.body.find("propfind-finite-depth"), std::string::npos);
    EXPECT_EQ(alice.Ask("PROPFIND", "none.pdf", {"Depth: 0"}).status, 404);
    std::string nested;
    for (int i = 0; i < 100'000; ++i) nested += "<a>";
    for (int i = 0; i < 100'000; ++i) nested += "</a>";
    for (const std::string& body :
         {std::string("<D:propfind xmlns:D='DAV:'><D:prop>"), std::string("no xml"),
          std::string("<D:propfind xmlns:D='DAV:'><D:prop><u:x/></D:prop></D:propfind>"),
          std::string("<D:propfind xmlns:D='DAV:'><D:prop><b:x xmlns:b=''/></D:prop></D:propfind>"),
          std::string("<other xmlns='DAV:'/>"), nested})
        EXPECT_EQ(alice.Ask("PROPFIND", "a.pdf", {"Depth: 0"}, body).status, 400) << body.substr(0, 100);
    auto bomb =
        "<!DOCTYPE p [<!ENTITY a 'aaaaaaaa'><!ENTITY b '&a;&a;&a;'>]><D:propfind xmlns:D='DAV:'><D:allprop/>"
        "</D:propfind>";
    EXPECT_EQ(alice.Ask("PROPFIND", "a.pdf", {"Depth: 0"}, bomb).status, 207);
}

TEST_F(WebDav, HrefsAreRelativeByOption) {
    auto arguments = options("2010");
    arguments.push_back("--relative-hrefs");
    ServerProcess server(arguments);
    Client alice(server, "alice");
    auto document = listing(alice, "a.pdf", "0");
    EXPECT_EQ(document.child("D:multistatus").child("D:response").child_value("D:href"),
              DocumentPath("a.pdf"));
}

TEST_F(WebDav, AwkwardNamesSurviveEveryMethod) {
    ServerProcess server(options());
    Client alice(server, "alice");
    for (std::string name : {"it's #1 & more.pdf", "100%25.pdf", "a+b [c]{d}.pdf", "\xC3\xBC\xC3\x9F.pdf",
                             "\xE6\xBC\xA2\xE5\xAD\x97 \xF0\x9F\x98\x80.pdf", "x;y,z=(1)@$!~^`.pdf"}) {
        SCOPED_TRACE(name);
        auto folder = "in " + name;
        EXPECT_EQ(alice.Ask("MKCOL", folder).status, 201);
        EXPECT_EQ(alice.Ask("PUT", folder + "/" + name, {}, "bytes").status, 201);
        auto document = listing(alice, folder, "1");
        EXPECT_STREQ(properties(document, 1).child_value("D:displayname"), name.c_str());
        std::string href = document.child("D:multistatus").first_child().next_sibling().child_value("D:href");
        EXPECT_EQ(PercentDecode(href), server.url() + "/sites/team/Shared Documents/" + folder + "/" + name);
        EXPECT_EQ(alice.Ask("GET", href.substr(server.url().size())).body, "bytes");
        EXPECT_EQ(alice
                      .Ask("MOVE", folder + "/" + name,
                           {"Destination: " + server.url() + DocumentPath(folder + "/m " + name)})
                      .status,
                  201);
        EXPECT_EQ(alice.Ask("COPY", folder + "/m " + name, {To(folder + "/c " + name)}).status, 201);
        EXPECT_EQ(content(alice, folder + "/c " + name), "bytes");
        EXPECT_EQ(content(alice, folder + "/" + name), "status 404");
        EXPECT_EQ(alice.Ask("DELETE", folder).status, 204);
        EXPECT_EQ(alice.Ask("PROPFIND", folder, {"Depth: 0"}).status, 404);
    }
}

TEST_F(WebDav, ChangesAnswerWithTheirStatus) {
    ServerProcess server(options());
    Client alice(server, "alice");
    struct Row {
        const char *method, *name;
        std::vector<std::string> headers = {};
        std::optional<std::string> body = {};
        int status;
    };
    const Row rows[] = {
        {.method = "PUT", .name = "new.pdf", .body = "1", .status = 201},
        {.method = "PUT", .name = "new.pdf", .body = "22", .status = 200},
        {.method = "PUT", .name = "new.pdf", .headers = {"If-None-Match: *"}, .body = "3", .status = 412},
        {.method = "PUT", .name = "new.pdf", .headers = {"If-Match: \"other\""}, .body = "3", .status = 412},
        {.method = "PUT", .name = "new.pdf", .headers = {"If: ([\"other\"])"}, .body = "3", .status = 412},
        {.method = "PUT", .name = "new.pdf", .headers = {"If: (<broken"}, .body = "3", .status = 400},
        {.method = "PUT", .name = "none/new.pdf", .body = "1", .status = 409},
        {.method = "PUT", .name = "folder", .body = "1", .status = 405},
        {.method = "PUT", .name = "a.pdf/b.pdf", .body = "1", .status = 409},
        {.method = "PUT", .name = "bad|name.pdf", .body = "1", .status = 400},
        {.method = "PUT", .name = "/outside.pdf", .body = "1", .status = 403},
        {.method = "MKCOL", .name = "made", .status = 201},
        {.method = "MKCOL", .name = "made", .status = 405},
        {.method = "MKCOL", .name = "new.pdf", .status = 405},
        {.method = "MKCOL", .name = "none/made", .status = 409},
        {.method = "MKCOL",
         .name = "made/with",
         .headers = {"Content-Type: x/y"},
         .body = "body",
         .status = 415},
        {.method = "MOVE", .name = "new.pdf", .headers = {To("a.pdf"), "Overwrite: F"}, .status = 412},
        {.method = "MOVE", .name = "new.pdf", .status = 400},
        {.method = "MOVE",
         .name = "new.pdf",
         .headers = {"Destination: http://elsewhere.example/x.pdf"},
         .status = 502},
        {.method = "MOVE", .name = "new.pdf", .headers = {To("none/x.pdf")}, .status = 409},
        {.method = "MOVE", .name = "folder", .headers = {To("folder/deep/x")}, .status = 403},
        {.method = "COPY", .name = "new.pdf", .headers = {To("new.pdf")}, .status = 403},
        {.method = "COPY", .name = "folder/deep", .headers = {To("folder")}, .status = 403},
        {.method = "MOVE", .name = "none.pdf", .headers = {To("x.pdf")}, .status = 404},
        {.method = "COPY", .name = "new.pdf", .headers = {To("a.pdf"), "Overwrite: T"}, .status = 204},
        {.method = "MOVE", .name = "/sites/team", .headers = {To("site")}, .status = 403},
        {.method = "DELETE", .name = "", .status = 403},
        {.method = "DELETE", .name = "none.pdf", .status = 404},
        {.method = "POST", .name = "a.pdf", .body = "x", .status = 405},
        {.method = "SEARCH", .name = "a.pdf", .status = 501},
    };
    for (const auto& row : rows)
        EXPECT_EQ(alice.Ask(row.method, row.name, row.headers, row.body).status, row.status)
            << row.method << " " << row.name << " " << (row.headers.empty() ? "" : row.headers[0]);
    auto fragment = server.raw("DELETE " + DocumentPath("a.pdf") + "#part HTTP/1.1\r\nHost: localhost\r\n" +
                               alice.authorization() + "\r\n\r\n");
    EXPECT_TRUE(fragment.starts_with("HTTP/1.1 400")) << fragment;
    EXPECT_EQ(content(alice, "a.pdf"), "22") << "the copy replaced it";
    EXPECT_EQ(content(alice, "new.pdf"), "22");
    EXPECT_EQ(content(alice, "folder/deep/c.pdf"), "third");
}

TEST_F(WebDav, FoldersMoveAndCopyWithTheirContents) {
    ServerProcess server(options());
    Client alice(server, "alice");
    EXPECT_EQ(alice.Ask("COPY", "folder", {To("copy")}).status, 201);
    EXPECT_EQ(content(alice, "copy/deep/c.pdf"), "third");
    EXPECT_EQ(alice.Ask("COPY", "folder", {To("shallow"), "Depth: 0"}).status, 201);
    EXPECT_EQ(content(alice, "shallow/b.pdf"), "status 404");
    EXPECT_EQ(alice.Ask("PUT", "copy/extra.pdf", {}, "x").status, 201);
    EXPECT_EQ(alice.Ask("COPY", "folder", {To("copy"), "Overwrite: F"}).status, 412);
    EXPECT_EQ(content(alice, "copy/extra.pdf"), "x");
    EXPECT_EQ(alice.Ask("MOVE", "folder", {To("copy")}).status, 204);
    EXPECT_EQ(content(alice, "copy/extra.pdf"), "status 404") << "the target was replaced, not merged";
    EXPECT_EQ(content(alice, "copy/b.pdf"), "second");
    EXPECT_EQ(content(alice, "folder/b.pdf"), "status 404");
    EXPECT_EQ(alice.Ask("MOVE", "copy/b.pdf", {To("copy/B.pdf")}).status, 201) << "a change of case alone";
    EXPECT_EQ(content(alice, "copy/B.pdf"), "second");
}

TEST_F(WebDav, ALockOrACheckOutInATreeIsNamedAndStopsTheOperation) {
    ServerProcess server(options());
    Client alice(server, "alice");
    server.Send({.method = "POST",
                 .path = "/_dev/checkout?path=/sites/team/Shared%20Documents/folder/deep/c.pdf&user=bob",
                 .body = ""});
    auto moved = alice.Ask("MOVE", "folder", {To("elsewhere")});
    EXPECT_EQ(moved.status, 207);
    EXPECT_NE(moved.body.find("deep/c.pdf"), std::string::npos);
    EXPECT_EQ(content(alice, "folder/b.pdf"), "second") << "nothing moved";
    auto removed = alice.Ask("DELETE", "folder");
    EXPECT_EQ(removed.status, 207);
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(removed.body.c_str()));
    auto response = document.child("D:multistatus").child("D:response");
    EXPECT_EQ(response.child_value("D:href"), server.url() + DocumentPath("folder/deep/c.pdf"));
    EXPECT_TRUE(std::string(response.child_value("D:status")).starts_with("HTTP/1.1 423"));
    EXPECT_FALSE(response.next_sibling("D:response"));
    EXPECT_EQ(content(alice, "folder/deep/c.pdf"), "third");
    EXPECT_EQ(content(alice, "folder/b.pdf"), "status 404") << "what nobody held is gone";
}

TEST_F(WebDav, SitesAndLibrariesCannotBeMovedOrDeleted) {
    ServerProcess server(options());
    Client alice(server, "alice");
    EXPECT_EQ(alice.Ask("PUT", "/Shared%20Documents/root.pdf", {}, "root").status, 201);
    // A deletion would remove what isn't checked out.
    server.Send({.method = "POST",
                 .path = "/_dev/checkout?path=/sites/team/Shared%20Documents/folder/b.pdf&user=bob",
                 .body = ""});
    for (const char* path : {"/", "/sites/team", "/sites/team/Shared%20Documents", "/Shared%20Documents"}) {
        EXPECT_EQ(alice.Ask("DELETE", path).status, 403) << path;
        EXPECT_EQ(alice.Ask("MOVE", path, {To("folder/deep")}).status, 403) << path;
    }
    EXPECT_EQ(alice.Ask("MOVE", "folder/deep", {"Destination: /Shared%20Documents"}).status, 403);
    EXPECT_EQ(content(alice, "a.pdf"), "first");
    EXPECT_EQ(content(alice, "folder/deep/c.pdf"), "third");
    EXPECT_EQ(alice.Ask("GET", "/Shared%20Documents/root.pdf").body, "root");
}

TEST_F(WebDav, PropertiesThatAreSetStayAcrossRestartsAndCopies) {
    std::string body =
        "<D:propertyupdate xmlns:D='DAV:' xmlns:Z='urn:schemas-microsoft-com:' "
        "xmlns:o='urn:o'><D:set><D:prop>"
        "<Z:Win32LastModifiedTime>Wed, 20 Jun 2007 20:29:23 GMT</Z:Win32LastModifiedTime>"
        "<Z:Win32CreationTime>Tue, 19 Jun 2007 20:29:23 GMT</Z:Win32CreationTime>"
        "<Z:Win32FileAttributes>00000021</Z:Win32FileAttributes><o:mine>a &lt; "
        "b<o:in/></o:mine></D:prop></D:set>"
        "</D:propertyupdate>";
    std::string wish =
        "<D:propfind xmlns:D='DAV:'><D:prop><mine xmlns='urn:o'/><D:getlastmodified/>"
        "<D:creationdate/><Z:Win32FileAttributes xmlns:Z='urn:schemas-microsoft-com:'/>"
        "</D:prop></D:propfind>";
    TemporaryFolder data;
    auto check = [&](const Client& client, const std::string& name, bool times) {
        auto document = listing(client, name, "0", wish);
        auto prop = properties(document);
        EXPECT_STREQ(prop.child_value("P:mine"), "a < b") << name;
        EXPECT_TRUE(prop.child("P:mine").last_child().attribute("xmlns:n"))
            << "the inner element keeps its space";
        if (!times) return;
        EXPECT_STREQ(prop.child_value("D:getlastmodified"), "Wed, 20 Jun 2007 20:29:23 GMT");
        EXPECT_STREQ(prop.child_value("D:creationdate"), "2007-06-19T20:29:23Z");
        EXPECT_STREQ(prop.child_value("Z:Win32FileAttributes"), "00000021");
    };
    {
        ServerProcess server(options(), data.path());
        Client alice(server, "alice");
        EXPECT_EQ(alice.Ask("PROPPATCH", "a.pdf", {}, body).status, 207);
        EXPECT_EQ(alice.Ask("COPY", "a.pdf", {To("copy.pdf")}).status, 201);
        check(alice, "a.pdf", true);
    }
    ServerProcess server(options(), data.path());
    Client alice(server, "alice");
    check(alice, "a.pdf", true);
    check(alice, "copy.pdf", false);
    auto refused =
        alice.Ask("PROPPATCH", "a.pdf", {},
                  "<D:propertyupdate xmlns:D='DAV:' xmlns:o='urn:o'><D:remove><D:prop><o:mine/></D:prop>"
                  "</D:remove><D:set><D:prop><D:getetag>x</D:getetag></D:prop></D:set>"
                  "</D:propertyupdate>");
    EXPECT_NE(refused.body.find("HTTP/1.1 403"), std::string::npos);
    EXPECT_NE(refused.body.find("HTTP/1.1 424"), std::string::npos);
    check(alice, "a.pdf", true);
}

TEST_F(WebDav, RightsDecideWhoMayEditAndWhoMayRead) {
    auto arguments = options();
    for (const char* user : {"alice:a", "carol:c:read", "dave:d:none"})
        arguments.insert(arguments.end(), {"--user", user});
    ServerProcess server(arguments);
    Client carol(server, "carol"), dave(server, "dave"), alice(server, "alice");
    EXPECT_EQ(carol.Ask("PROPFIND", "folder", {"Depth: 1"}).status, 207);
    EXPECT_EQ(carol.Ask("OPTIONS", "a.pdf").status, 200);
    EXPECT_EQ(content(carol, "a.pdf"), "first");
    for (const char* method : {"PUT", "MKCOL", "DELETE", "PROPPATCH", "MOVE", "COPY", "LOCK", "UNLOCK"}) {
        auto reply =
            carol.Ask(method, "a.pdf", {To("x.pdf")}, method[0] == 'P' ? std::optional("x") : std::nullopt);
        EXPECT_EQ(reply.status, 403) << method;
        EXPECT_TRUE(reply.header("X-MSDAVEXT_Error").starts_with("917656;")) << method;
    }
    EXPECT_EQ(dave.Ask("PROPFIND", "folder", {"Depth: 1"}).status, 403);
    EXPECT_EQ(dave.Ask("GET", "a.pdf").status, 403);
    EXPECT_EQ(content(alice, "a.pdf"), "first");
    auto unknown =
        server.Send({.method = "PROPFIND", .path = DocumentPath("a.pdf"), .headers = {"Depth: 0"}});
    EXPECT_EQ(unknown.status, 401);
}

struct GenerationRow {
    const char *generation, *version;
    int propfind, contextinfo, batch, soap;
};

class WebDavGenerations : public WebDav, public ::testing::WithParamInterface<GenerationRow> {};

TEST_P(WebDavGenerations, ServeTheirProtocols) {
    const auto& row = GetParam();
    ServerProcess server(options(row.generation));
    Client alice(server, "alice");
    EXPECT_TRUE(
        alice.Ask("HEAD", "a.pdf").header("MicrosoftSharePointTeamServices").starts_with(row.version));
    EXPECT_EQ(alice.Ask("PROPFIND", "a.pdf", {"Depth: 0"}).status, row.propfind);
    EXPECT_EQ(alice.Ask("POST", "/sites/team/_api/contextinfo", {}, "").status, row.contextinfo);
    EXPECT_EQ(alice.Ask("POST", "/sites/team/_api/$batch", {}, "").status, row.batch);
    EXPECT_EQ(alice.Ask("POST", "/sites/team/_vti_bin/Lists.asmx", {}, "").status, row.soap);
    if (row.propfind != 207) return;
    auto choice = alice.Ask("OPTIONS", "a.pdf");
    EXPECT_EQ(choice.header("DAV"), "1,2");
    EXPECT_EQ(choice.header("MS-Author-Via"), "MS-FP/4.0,DAV");
    EXPECT_NE(choice.header("Allow").find("PROPFIND"), std::string::npos);
    EXPECT_FALSE(choice.header("DocumentManagementServer").empty());
}

INSTANTIATE_TEST_SUITE_P(All, WebDavGenerations,
                         ::testing::Values(GenerationRow{.generation = "modern",
                                                         .version = "16.0.",
                                                         .propfind = 405,
                                                         .contextinfo = 200,
                                                         .batch = 403,
                                                         .soap = 405},
                                           GenerationRow{.generation = "2013",
                                                         .version = "15.0.",
                                                         .propfind = 207,
                                                         .contextinfo = 200,
                                                         .batch = 404,
                                                         .soap = 500},
                                           GenerationRow{.generation = "2010",
                                                         .version = "14.0.",
                                                         .propfind = 207,
                                                         .contextinfo = 404,
                                                         .batch = 404,
                                                         .soap = 500}),
                         [](const auto& row) { return "Generation" + std::string(row.param.generation); });

TEST_F(WebDav, TenThousandRowsAreOneAnswer) {
    ServerProcess server(GenerationOptions("2013", {"--seed-count", "big=10000"}));
    Client alice(server, "alice");
    auto document = listing(alice, "big", "1");
    int rows = 0;
    std::string last;
    for (const auto& response : document.child("D:multistatus").children("D:response")) {
        ++rows;
        last = response.child("D:propstat").child("D:prop").child_value("D:displayname");
    }
    EXPECT_EQ(rows, 10'001);
    EXPECT_EQ(last, "file 10000.pdf");
}

}  // namespace
}  // namespace devserver::test
