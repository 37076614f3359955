// Documents over REST: names, versions, check-outs, digests, columns, moving, and restarts.
// Owner: devserver/rest and devserver/store.
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace devserver::test {
namespace {

class Documents : public ::testing::Test {
protected:
    Documents() { seed.Write("a.pdf", "first"); }

    std::string label(const Client& client, const std::string& name) const {
        auto json = client.get(FileUrl(name) + "?$select=UIVersionLabel", Client::kPlain).json();
        return json.IsObject() && json.HasMember("UIVersionLabel") ? json["UIVersionLabel"].GetString() : "";
    }
    std::string content(const Client& client, const std::string& name) const {
        auto reply = client.get(FileUrl(name) + "/$value");
        return reply.status == 200 ? reply.body : "status " + std::to_string(reply.status);
    }

    TemporaryFolder seed;
};

TEST_F(Documents, AFolderIsAddedToTheWebByItsWholePath) {
    ServerProcess server({});
    Client alice(server, "alice");
    auto add = [&](const std::string& path) {
        return alice.Change("POST", "/sites/team/_api/web/folders/add('" + Escape(path) + "')").status;
    };
    EXPECT_EQ(add("/sites/team/Shared Documents/made"), 200);
    EXPECT_EQ(add("/sites/team/Shared Documents/made/below"), 200);
    EXPECT_EQ(add("/sites/team/Shared Documents/missing/below"), 404);
    EXPECT_NE(add("/sites/team/Shared Documents/../up"), 200);
    EXPECT_NE(add("/elsewhere/x"), 200);
    EXPECT_EQ(alice.get(FolderUrl("made/below")).status, 200);
}

TEST_F(Documents, AwkwardNamesSurviveEveryOperation) {
    ServerProcess server({});
    Client alice(server, "alice");
    for (std::string name :
         {"it's #1.pdf", "100%25 & more.pdf", "a+b [c].pdf", "\xC3\xBC\xC3\xA4\xC3\x9F.pdf",
          "\xE6\xBC\xA2\xE5\xAD\x97 \xF0\x9F\x98\x80.pdf", "''.pdf", "x;y,z=(1)@$!.pdf"}) {
        SCOPED_TRACE(name);
        auto folder = "in " + name;
        EXPECT_EQ(
            alice.Change("POST", FolderUrl("") + "/Folders/AddUsingPath(decodedurl='" + Escape(folder) + "')")
                .status,
            200);
        auto added = alice.Change("POST", FolderUrl(folder) + "/Files/AddUsingPath(decodedurl='" +
                                              Escape(name) + "',%20%20overwrite=true)");
        EXPECT_EQ(added.status, 200) << added.body;
        EXPECT_EQ(alice.Change("PUT", FileUrl(folder + "/" + name) + "/$value", "bytes of " + name).status,
                  204);
        auto list = alice.get(FolderUrl(folder) + "?$expand=Files", Client::kPlain).json();
        ASSERT_TRUE(list.IsObject() && list.HasMember("Files") && list["Files"].Size() == 1);
        EXPECT_EQ(std::string(list["Files"][0]["Name"].GetString()), name);
        auto target = "/sites/team/Shared%20Documents/" + Escape(folder);
        EXPECT_EQ(alice
                      .Change("POST", FileUrl(folder + "/" + name) + "/copyto('" + target + "/" +
                                          Escape("c " + name) + "',%20boverwrite=true)")
                      .status,
                  200);
        EXPECT_EQ(alice
                      .Change("POST", FileUrl(folder + "/c " + name) + "/moveto('" + target + "/" +
                                          Escape("m " + name) + "',%20flags=1)")
                      .status,
                  200);
        EXPECT_EQ(content(alice, folder + "/m " + name), "bytes of " + name);
        EXPECT_EQ(content(alice, folder + "/c " + name), "status 404");
        EXPECT_EQ(alice.Change("DELETE", FileUrl(folder + "/" + name)).status, 200);
        EXPECT_EQ(content(alice, folder + "/" + name), "status 404");
        EXPECT_EQ(alice.Change("DELETE", FolderUrl(folder)).status, 200);
        EXPECT_EQ(alice.get(FolderUrl(folder)).status, 404);
    }
}

TEST_F(Documents, EachCheckInTypeGivesItsVersion) {
    ServerProcess server({"--seed", seed.path()});
    Client alice(server, "alice");
    auto edit = [&](const std::string& text, int type, const std::string& comment) {
        EXPECT_EQ(alice.Change("POST", FileUrl("a.pdf") + "/CheckOut()").status, 200);
        EXPECT_EQ(alice.Change("PUT", FileUrl("a.pdf") + "/$value", text).status, 204);
        EXPECT_EQ(alice.Change("PUT", FileUrl("a.pdf") + "/$value", text).status, 204)
            << "no version of its own";
        EXPECT_EQ(alice
                      .Change("POST", FileUrl("a.pdf") + "/CheckIn(checkintype=" + std::to_string(type) + ")",
                              "{\"comment\":\"" + comment + "\"}")
                      .status,
                  200);
        return label(alice, "a.pdf");
    };
    EXPECT_EQ(label(alice, "a.pdf"), "1.0");
    EXPECT_EQ(edit("second", 0, "minor"), "1.1");
    EXPECT_EQ(edit("third", 1, "major"), "2.0");
    EXPECT_EQ(edit("fourth", 2, "over"), "2.0");
    EXPECT_EQ(content(alice, "a.pdf"), "fourth");
    auto versions = alice.get(FileUrl("a.pdf") + "/Versions", Client::kPlain).json();
    ASSERT_EQ(versions["value"].Size(), 2u);
    EXPECT_STREQ(versions["value"][0]["VersionLabel"].GetString(), "1.0");
    EXPECT_STREQ(versions["value"][1]["CheckInComment"].GetString(), "minor");
    auto old = alice.get(std::string("/sites/team/") + "_vti_history/512/Shared%20Documents/a.pdf");
    EXPECT_EQ(old.body, "first");
    EXPECT_EQ(alice.get(FileUrl("a.pdf") + "/Versions(513)/$value").body, "second");
    EXPECT_EQ(alice.get(FileUrl("a.pdf") + "/Versions(513)/CreatedBy", Client::kPlain).status, 200);
    auto in_url = alice.Change("POST", FileUrl("a.pdf") + "/CheckOut()");
    EXPECT_EQ(
        alice.Change("POST", FileUrl("a.pdf") + "/CheckIn(comment='it''s%20here',checkintype=1)").status,
        200);
    EXPECT_STREQ(alice.get(FileUrl("a.pdf"), Client::kPlain).json()["CheckInComment"].GetString(),
                 "it's here");
}

TEST_F(Documents, ACheckOutBlocksOthersUntilItEnds) {
    ServerProcess server({"--seed", seed.path()});
    Client alice(server, "alice"), bob(server, "bob");
    ASSERT_EQ(alice.Change("POST", FileUrl("a.pdf") + "/CheckOut()").status, 200);
    ASSERT_EQ(alice.Change("PUT", FileUrl("a.pdf") + "/$value", "alice's draft").status, 204);
    struct Row {
        const char *method, *operation;
    };
    const Row rows[] = {
        {.method = "PUT", .operation = "/$value"},
        {.method = "POST", .operation = "/CheckOut()"},
        {.method = "POST", .operation = "/CheckIn(checkintype=1)"},
        {.method = "POST", .operation = "/undocheckout()"},
        {.method = "DELETE", .operation = ""},
        {.method = "POST", .operation = "/moveto('/sites/team/Shared%20Documents/b.pdf',flags=1)"},
    };
    for (const auto& row : rows) {
        auto reply = bob.Change(row.method, FileUrl("a.pdf") + row.operation,
                                row.method == std::string("PUT") ? "bob's" : "");
        EXPECT_EQ(reply.status, 423) << row.operation;
        EXPECT_EQ(ErrorNumber(reply), -2130575306) << row.operation;
    }
    auto file = bob.get(FileUrl("a.pdf")).json();
    EXPECT_EQ(file["d"]["CheckOutType"].GetInt(), 0);
    EXPECT_EQ(file["d"]["Level"].GetInt(), 255);
    auto holder = bob.get(FileUrl("a.pdf") + "/CheckedOutByUser").json();
    auto me = alice.get("/sites/team/_api/web/currentUser").json();
    EXPECT_STREQ(holder["d"]["LoginName"].GetString(), me["d"]["LoginName"].GetString());
    ASSERT_EQ(alice.Change("POST", FileUrl("a.pdf") + "/undocheckout()").status, 200);
    EXPECT_EQ(content(bob, "a.pdf"), "first");
    EXPECT_EQ(bob.get(FileUrl("a.pdf") + "/CheckedOutByUser", Client::kPlain).body, "{\"odata.null\":true}");
    EXPECT_EQ(bob.Change("PUT", FileUrl("a.pdf") + "/$value", "bob's").status, 204);
    EXPECT_EQ(ErrorNumber(bob.Change("POST", FileUrl("a.pdf") + "/CheckIn(checkintype=0)")), -2147024738);
}

TEST_F(Documents, AFileWithoutACheckedInVersionCannotBeDiscarded) {
    ServerProcess server({"--force-checkout"});
    Client alice(server, "alice");
    ASSERT_EQ(
        alice.Change("POST", FolderUrl("") + "/Files/AddUsingPath(decodedurl='n.pdf',overwrite=true)", "x")
            .status,
        200);
    auto reply = alice.Change("POST", FileUrl("n.pdf") + "/undocheckout()");
    EXPECT_EQ(reply.status, 500);
    EXPECT_EQ(ErrorNumber(reply), static_cast<std::int32_t>(0x8107218A));
    EXPECT_EQ(alice.Change("POST", FileUrl("n.pdf") + "/CheckIn(checkintype=1)").status, 200);
    EXPECT_EQ(label(alice, "n.pdf"), "1.0");
    EXPECT_EQ(alice.Change("PUT", FileUrl("n.pdf") + "/$value", "y").status, 423) << "not checked out";
}

TEST_F(Documents, ARequiredColumnPreventsACheckInUntilItIsFilled) {
    ServerProcess server({"--seed", seed.path()});
    Client alice(server, "alice");
    auto defined = server.Send({.method = "POST",
                                .path = "/_dev/column",
                                .headers = {},
                                .body = R"({"name":"Client","type":"Text","required":true})"});
    ASSERT_EQ(defined.status, 200) << defined.body;
    server.Send({.method = "POST",
                 .path = "/_dev/column",
                 .headers = {},
                 .body = R"({"name":"Kind","type":"Choice","choices":["a","b"]})"});
    ASSERT_EQ(alice.Change("POST", FileUrl("a.pdf") + "/CheckOut()").status, 200);
    auto refused = alice.Change("POST", FileUrl("a.pdf") + "/CheckIn(checkintype=0)");
    EXPECT_EQ(refused.status, 500);
    EXPECT_EQ(ErrorNumber(refused), static_cast<std::int32_t>(0x80131600));
    auto id = alice.get(FileUrl("a.pdf") + "/ListItemAllFields?$select=ID,Client", Client::kPlain).json();
    ASSERT_TRUE(id.HasMember("ID") && id["Client"].IsNull());
    auto item =
        FileUrl("a.pdf") + "/ListItemAllFields/ParentList/Items(" + std::to_string(id["ID"].GetInt()) + ")";
    std::vector<std::string> merge{"X-HTTP-Method: MERGE", "IF-MATCH: *"};
    EXPECT_EQ(alice.Change("POST", item, "{\"Kind\":\"c\"}", merge).status, 400) << "no such choice";
    EXPECT_EQ(alice.Change("POST", item, "{\"Nothing\":1}", merge).status, 400);
    EXPECT_EQ(alice.Change("POST", item, "{\"Client\":\"ACME\",\"Kind\":\"b\"}", merge).status, 204);
    EXPECT_EQ(alice.Change("POST", FileUrl("a.pdf") + "/CheckIn(checkintype=0)").status, 200);
    auto fields = alice.get(
        FileUrl("a.pdf") +
        "/ListItemAllFields/ParentList/Fields?$select=StaticName,Required,Choices&$filter=(ReadOnlyField+eq+"
        "false)+and+(Hidden+eq+false)+and(Group+ne+'_Hidden')+and+(StaticName+ne+'FileLeafRef')");
    auto rows = fields.json();
    ASSERT_EQ(rows["d"]["results"].Size(), 3u) << fields.body;
    EXPECT_STREQ(rows["d"]["results"][1]["StaticName"].GetString(), "Client");
    EXPECT_EQ(rows["d"]["results"][2]["Choices"]["results"].Size(), 2u);
}

TEST_F(Documents, EveryChangeNeedsAValidDigestOfTheSameUser) {
    ServerProcess server({"--seed", seed.path(), "--digest-lifetime", "600"});
    Client alice(server, "alice"), bob(server, "bob");
    auto put = [&](const std::string& digest) {
        std::vector<std::string> headers{alice.authorization(), std::string("Accept: ") + Client::kVerbose};
        if (!digest.empty()) headers.push_back("X-RequestDigest: " + digest);
        return server.Send(
            {.method = "PUT", .path = FileUrl("a.pdf") + "/$value", .headers = headers, .body = "changed"});
    };
    auto good = alice.digest();
    for (const auto& digest : {std::string(), std::string("0x00"), bob.digest(), good + "x", "0" + good,
                               "0xAB,01 Jan 2001 00:00:00 -0000" + std::string()}) {
        if (digest == good + "x") continue;
        auto reply = put(digest);
        EXPECT_EQ(reply.status, 403) << digest;
        EXPECT_EQ(ErrorNumber(reply), -2130575251) << digest;
    }
    EXPECT_EQ(content(alice, "a.pdf"), "first");
    server.Send({.method = "POST", .path = "/_dev/expire-digests", .body = ""});
    EXPECT_EQ(put(good).status, 403);
    EXPECT_EQ(put(alice.digest()).status, 204);
}

TEST_F(Documents, MissingItemsAnswerWithTheirCodes) {
    ServerProcess server({"--seed", seed.path()});
    Client alice(server, "alice");
    auto missing = alice.get(FileUrl("none.pdf"));
    EXPECT_EQ(missing.status, 404);
    EXPECT_EQ(ErrorNumber(missing), -2130575338);
    auto item = alice.get(FileUrl("none.pdf") +
                          "?$select=ListItemAllFields&$expand=ListItemAllFields/EffectiveBasePermissions");
    EXPECT_EQ(item.status, 500);
    EXPECT_EQ(ErrorNumber(item), static_cast<std::int32_t>(0x82000006));
    EXPECT_EQ(ErrorNumber(alice.get(FolderUrl("none"))), -2147024894);
    EXPECT_EQ(alice.get("/sites/nowhere/_api/web").status, 404);
    EXPECT_EQ(alice.get("/sites/team/_api/web/nonsense").status, 404);
    EXPECT_EQ(alice.get(FileUrl("a.pdf") + "?$select=Nonsense").status, 400);
    EXPECT_EQ(alice.get("/sites/team/_api/web/lists/getbytitle('x')").status, 404);
}

TEST_F(Documents, ConditionalWritesAndAddsWithoutOverwriteAreRefusedOnConflict) {
    ServerProcess server({"--seed", seed.path()});
    Client alice(server, "alice");
    auto etag = alice.get(FileUrl("a.pdf")).header("ETag");
    ASSERT_FALSE(etag.empty());
    EXPECT_EQ(alice.Change("PUT", FileUrl("a.pdf") + "/$value", "2", {"If-Match: " + etag}).status, 204);
    EXPECT_EQ(alice.Change("PUT", FileUrl("a.pdf") + "/$value", "3", {"If-Match: " + etag}).status, 412);
    EXPECT_EQ(content(alice, "a.pdf"), "2");
    auto add = FolderUrl("") + "/Files/Add(url='a.pdf',overwrite=";
    auto refused = alice.Change("POST", add + "false)", "4");
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(ErrorNumber(refused), -2130575257);
    EXPECT_EQ(alice.Change("POST", add + "true)", "5").status, 200);
    EXPECT_EQ(content(alice, "a.pdf"), "5");
}

TEST_F(Documents, ARestartChangesNothing) {
    TemporaryFolder data;
    std::string token, before, versions;
    auto state = [](const Client& client) { return client.get(FileUrl("a.pdf"), Client::kPlain).body; };
    auto digits = [](const std::string& text) {
        return text.substr(0, text.find("LinkingUri")) + text.substr(text.find("MajorVersion"));
    };
    {
        ServerProcess server({"--seed", seed.path()}, data.path());
        Client alice(server, "alice");
        alice.Change("PUT", FileUrl("a.pdf") + "/$value", "second");
        alice.Change("POST", FileUrl("a.pdf") + "/CheckOut()");
        alice.Change("PUT", FileUrl("a.pdf") + "/$value", "draft");
        token = alice.token();
        before = digits(state(alice));
        EXPECT_EQ(server.Stop(), 0);
    }
    ServerProcess server({"--seed", seed.path()}, data.path());
    Client alice(server, "alice"), bob(server, "bob");
    EXPECT_EQ(digits(state(alice)), before);
    EXPECT_EQ(
        server.Send({.method = "GET", .path = "/_api/web", .headers = {"Authorization: Bearer " + token}})
            .status,
        200);
    EXPECT_EQ(bob.Change("PUT", FileUrl("a.pdf") + "/$value", "bob's").status, 423);
    EXPECT_EQ(alice.Change("POST", FileUrl("a.pdf") + "/undocheckout()").status, 200);
    EXPECT_EQ(content(bob, "a.pdf"), "second");
}

TEST_F(Documents, PiecesOfAnUploadBecomeOneDocument) {
    ServerProcess server({});
    Client alice(server, "alice");
    auto id = std::string("guid'11111111-1111-1111-1111-111111111111'");
    ASSERT_EQ(
        alice.Change("POST", FolderUrl("") + "/Files/AddUsingPath(decodedurl='p.bin',overwrite=true)").status,
        200);
    auto started = alice.Change("POST", FileUrl("p.bin") + "/StartUpload(uploadId=" + id + ")", "abc");
    EXPECT_EQ(started.body, "{\"d\":{\"StartUpload\":\"3\"}}");
    EXPECT_EQ(
        alice.Change("POST", FileUrl("p.bin") + "/ContinueUpload(uploadId=" + id + ",fileOffset=9)", "x")
            .status,
        400);
    EXPECT_EQ(
        alice.Change("POST", FileUrl("p.bin") + "/ContinueUpload(uploadId=" + id + ",fileOffset=3)", "def")
            .status,
        200);
    EXPECT_EQ(content(alice, "p.bin"), "") << "not before the end";
    EXPECT_EQ(alice.Change("POST", FileUrl("p.bin") + "/FinishUpload(uploadId=" + id + ",fileOffset=6)", "g")
                  .status,
              200);
    EXPECT_EQ(content(alice, "p.bin"), "abcdefg");
}

TEST_F(Documents, SharingLinksAndPlainAddressesReachTheDocument) {
    seed.Write("a.pdf", "%PDF");
    ServerProcess server({"--seed", seed.path()});
    Client alice(server, "alice");
    auto link =
        server.Send({.method = "GET", .path = "/_dev/document?path=/sites/team/Shared%20Documents/a.pdf"})
            .header("X-Sharing-Link");
    ASSERT_NE(link.find("/:b:/s/team/"), std::string::npos) << link;
    for (const auto& url : {link, server.url() + "/:b:/r/sites/team/Shared%20Documents/a.pdf?csf=1"}) {
        auto found =
            alice
                .get(
                    "/_api/SP.RemoteWeb(@url)/web/GetFileByUrl(@url)?$select=Name,CheckedOutByUser/LoginName"
                    "&$expand=CheckedOutByUser&@url='" +
                    Escape(url) + "'")
                .json();
        ASSERT_TRUE(found.IsObject() && found.HasMember("d")) << url;
        EXPECT_STREQ(found["d"]["Name"].GetString(), "a.pdf");
        EXPECT_TRUE(found["d"]["CheckedOutByUser"].IsNull());
    }
    auto plain = alice.get("/sites/team/Shared%20Documents/a.pdf");
    EXPECT_EQ(plain.body, "%PDF");
    EXPECT_FALSE(plain.header("Last-Modified").empty());
    auto preview =
        alice.get("/_layouts/15/getpreview.ashx?path=sites/team/Shared%20Documents/a.pdf&resolution=2");
    EXPECT_TRUE(preview.body.starts_with("\x89PNG"));
}

TEST_F(Documents, WhatRealServersRefuseIsRefused) {
    ServerProcess server({"--seed", seed.path(), "--column", R"({"name":"_Extra","type":"Text"})"});
    Client alice(server, "alice");
    EXPECT_EQ(alice.Change("POST", FolderUrl("") + "/Folders/Add('a')").status, 200);
    const std::string move = FolderUrl("a") + "/moveto('/sites/team/Shared%20Documents/b'";
    EXPECT_EQ(alice.Change("POST", move + ",%20flags=1)").status, 400);
    EXPECT_EQ(alice.Change("POST", move + ")").status, 200);
    const auto added = alice.Change("POST", FolderUrl("none") + "/Files/add(url='a.pdf',overwrite=true)");
    EXPECT_EQ(added.status, 404);
    EXPECT_EQ(ErrorNumber(added), -2147024893) << "System.IO.DirectoryNotFoundException";
    EXPECT_EQ(ErrorNumber(alice.get(FolderUrl("none"))), -2147024894);

    const std::string item = FileUrl("a.pdf") + "/ListItemAllFields";
    EXPECT_EQ(alice.get(item + "?$select=ID,_Extra").status, 400);
    EXPECT_EQ(alice.get(item + "?$select=ID,OData__Extra").status, 200);
    EXPECT_EQ(alice.Change("MERGE", item, R"({"_Extra":"x"})").status, 400);
    EXPECT_EQ(alice.Change("MERGE", item, R"({"OData__Extra":"x"})").status, 204);
    EXPECT_EQ(alice.get(FileUrl("a.pdf") + "?$select=Unknown").status, 400);
    EXPECT_EQ(alice.get(FolderUrl("b") + "?$select=Name,Unknown").status, 200);
    EXPECT_EQ(alice.get("/sites/team/_api/web?$select=Title,Unknown").status, 200);
    const auto groups = alice.get("/sites/team/_api/web/sitegroups", Client::kPlain).json();
    ASSERT_TRUE(groups.IsObject() && groups.HasMember("value"));
    EXPECT_EQ(groups["value"].Size(), 3u);
}

TEST_F(Documents, AFolderBeyondTheThresholdIsListedInPagesOnly) {
    ServerProcess server({"--list-threshold", "4", "--seed-count", "Many=5"});
    Client alice(server, "alice");
    for (const char* listing : {"?$expand=Files", "?$expand=Folders,Files", "/Files", "/Files?$top=1"}) {
        const auto reply = alice.get(FolderUrl("Many") + listing);
        EXPECT_EQ(reply.status, 500) << listing;
        EXPECT_EQ(ErrorNumber(reply), -2147024860) << listing;
    }
    EXPECT_EQ(alice.get(FolderUrl("Many")).status, 200);
    const auto page = [&](const std::string& view, const std::string& paging) {
        return alice.Change(
            "POST", "/sites/team/_api/web/GetList('/sites/team/Shared%20Documents')/RenderListDataAsStream",
            R"({"parameters":{"ViewXml":")" + view +
                R"(","FolderServerRelativeUrl":"/sites/team/Shared Documents/Many","Paging":")" + paging +
                "\"}}");
    };
    const std::string rows = "<RowLimit Paged='TRUE'>3</RowLimit>";
    const auto first = page(rows, "").json();
    ASSERT_TRUE(first.IsObject() && first.HasMember("NextHref"));
    EXPECT_EQ(first["Row"].Size(), 3u);
    const auto second = page(rows, first["NextHref"].GetString()).json();
    EXPECT_EQ(second["Row"].Size(), 2u);
    EXPECT_FALSE(second.HasMember("NextHref"));
    EXPECT_EQ(page("<Query><Where></Where></Query>" + rows, "").status, 500);
}

TEST_F(Documents, AnAddressBeyondTheLimitIsRefusedAndAnAliasIsNot) {
    ServerProcess server({"--max-url", "200"});
    Client alice(server, "alice");
    const std::string path = "'/sites/team/Shared%20Documents/" + std::string(150, 'x') + "'";
    const std::string get = "/sites/team/_api/web/GetFileByServerRelativePath(decodedurl=";
    EXPECT_EQ(alice.get(get + path + ")").status, 400);
    EXPECT_EQ(alice.get(get + "@a)?@a=" + path).status, 404);
}

TEST_F(Documents, AFolderOfTenThousandFilesListsWhole) {
    ServerProcess server({"--seed-count", "many=10000"});
    Client alice(server, "alice");
    auto reply =
        alice.get(FolderUrl("many") + "?$expand=Folders,%20Folders/Properties,%20Files,%20Files/Properties");
    auto json = reply.json();
    ASSERT_TRUE(json.IsObject());
    const auto& files = json["d"]["Files"]["results"];
    ASSERT_EQ(files.Size(), 10000u);
    EXPECT_STREQ(files[9999]["Name"].GetString(), "file 10000.pdf");
    EXPECT_TRUE(files[0]["Properties"].HasMember("vti_x005f_winfileattribs"));
}

}  // namespace
}  // namespace devserver::test
