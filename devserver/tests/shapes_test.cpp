// The shapes of answers: which keys of which types each format has, for entities, values and errors.
// Owner: devserver/odata and devserver/rest.
#include <gtest/gtest.h>

#include <set>

#include "tests/harness.h"

namespace devserver::test {
namespace {

using Json = rapidjson::Value;

// "Name:type" of each member; n null, b boolean, i number, s text, o object, a array.
std::set<std::string> ShapeOf(const Json& object) {
    std::set<std::string> shape;
    if (!object.IsObject()) return {"no object"};
    for (const auto& member : object.GetObject()) {
        const auto& value = member.value;
        const char* type = value.IsNull()     ? "n"
                           : value.IsBool()   ? "b"
                           : value.IsNumber() ? "i"
                           : value.IsString() ? "s"
                           : value.IsObject() ? "o"
                                              : "a";
        shape.insert(std::string(member.name.GetString()) + ":" + type);
    }
    return shape;
}

std::set<std::string> Joined(std::set<std::string> a, const std::set<std::string>& b) {
    a.insert(b.begin(), b.end());
    return a;
}

const std::set<std::string> kFileProperties = {"CheckInComment:s",
                                               "CheckOutType:i",
                                               "ContentTag:s",
                                               "CustomizedPageStatus:i",
                                               "ETag:s",
                                               "Exists:b",
                                               "ExistsAllowThrowForPolicyFailures:b",
                                               "IrmEnabled:b",
                                               "Length:s",
                                               "Level:i",
                                               "LinkingUri:s",
                                               "LinkingUrl:s",
                                               "MajorVersion:i",
                                               "MinorVersion:i",
                                               "Name:s",
                                               "ServerRelativeUrl:s",
                                               "TimeCreated:s",
                                               "TimeLastModified:s",
                                               "Title:s",
                                               "UIVersion:i",
                                               "UIVersionLabel:s",
                                               "UniqueId:s"};
const std::set<std::string> kFileLinks = {"Author:o",
                                          "CheckedOutByUser:o",
                                          "EffectiveInformationRightsManagementSettings:o",
                                          "InformationRightsManagementSettings:o",
                                          "ListItemAllFields:o",
                                          "LockedByUser:o",
                                          "ModifiedBy:o",
                                          "Properties:o",
                                          "VersionEvents:o",
                                          "Versions:o"};
const std::set<std::string> kFolderProperties = {"Exists:b",
                                                 "ExistsAllowThrowForPolicyFailures:b",
                                                 "IsWOPIEnabled:b",
                                                 "ItemCount:i",
                                                 "Name:s",
                                                 "ProgID:n",
                                                 "ServerRelativeUrl:s",
                                                 "TimeCreated:s",
                                                 "TimeLastModified:s",
                                                 "UniqueId:s",
                                                 "WelcomePage:s"};
const std::set<std::string> kUserProperties = {"Id:i",
                                               "IsHiddenInUI:b",
                                               "LoginName:s",
                                               "Title:s",
                                               "PrincipalType:i",
                                               "Email:s",
                                               "Expiration:s",
                                               "IsEmailAuthenticationGuestUser:b",
                                               "IsShareByEmailGuestUser:b",
                                               "IsSiteAdmin:b",
                                               "UserId:o",
                                               "UserPrincipalName:s"};

class Shapes : public ::testing::Test {
protected:
    Shapes() {
        seed.Write("a.pdf", "one");
        seed.Write("sub/b.pdf", "two");
        server.emplace(std::vector<std::string>{"--seed", seed.path()});
        alice.emplace(*server, "alice");
    }
    rapidjson::Document json(const std::string& path, const char* accept) const {
        return alice->get(path, accept).json();
    }

    TemporaryFolder seed;
    std::optional<ServerProcess> server;
    std::optional<Client> alice;
};

TEST_F(Shapes, AFileHasItsMembersInEveryJsonFormat) {
    auto verbose = json(FileUrl("a.pdf"), Client::kVerbose);
    EXPECT_EQ(ShapeOf(verbose), (std::set<std::string>{"d:o"}));
    EXPECT_EQ(ShapeOf(verbose["d"]), Joined(Joined(kFileProperties, kFileLinks), {"__metadata:o"}));
    EXPECT_EQ(ShapeOf(verbose["d"]["__metadata"]), (std::set<std::string>{"id:s", "uri:s", "type:s"}));
    EXPECT_EQ(ShapeOf(verbose["d"]["Author"]), (std::set<std::string>{"__deferred:o"}));
    EXPECT_EQ(ShapeOf(json(FileUrl("a.pdf"), Client::kPlain)), kFileProperties);
    EXPECT_EQ(
        ShapeOf(json(FileUrl("a.pdf"), "application/json")),
        Joined(kFileProperties, {"odata.metadata:s", "odata.type:s", "odata.id:s", "odata.editLink:s"}));
    EXPECT_EQ(
        ShapeOf(json(FileUrl("a.pdf"), "application/json;odata.metadata=minimal")),
        Joined(kFileProperties, {"@odata.context:s", "@odata.type:s", "@odata.id:s", "@odata.editLink:s"}));
    EXPECT_EQ(ShapeOf(json(FileUrl("a.pdf"), "application/json;odata.metadata=none")), kFileProperties);
}

TEST_F(Shapes, FoldersUsersAndCollectionsHaveTheirMembers) {
    EXPECT_EQ(ShapeOf(json(FolderUrl("sub"), Client::kPlain)), kFolderProperties);
    auto user = json("/sites/team/_api/web/currentUser", Client::kPlain);
    EXPECT_EQ(ShapeOf(user), kUserProperties);
    EXPECT_TRUE(std::string(user["LoginName"].GetString()).starts_with("i:0#.f|membership|alice@"));
    EXPECT_EQ(ShapeOf(user["UserId"]), (std::set<std::string>{"NameId:s", "NameIdIssuer:s"}));
    EXPECT_EQ(ShapeOf(json(FolderUrl("") + "/Files", Client::kPlain)), (std::set<std::string>{"value:a"}));
    auto verbose = json(FolderUrl("") + "/Files", Client::kVerbose);
    EXPECT_EQ(ShapeOf(verbose["d"]), (std::set<std::string>{"results:a"}));
    EXPECT_EQ(json(FolderUrl("sub") + "/Folders", Client::kVerbose)["d"]["results"].Size(), 0u);
}

TEST_F(Shapes, SelectionAndExpansionFollowTheQuery) {
    auto nested = json(
        FileUrl("a.pdf") + "?$select=ListItemAllFields&$expand=ListItemAllFields/EffectiveBasePermissions",
        Client::kVerbose);
    EXPECT_EQ(ShapeOf(nested["d"]), (std::set<std::string>{"__metadata:o", "ListItemAllFields:o"}));
    const auto& mask = nested["d"]["ListItemAllFields"]["EffectiveBasePermissions"];
    EXPECT_EQ(ShapeOf(mask), (std::set<std::string>{"__metadata:o", "High:s", "Low:s"}));
    auto author = json(FileUrl("a.pdf") + "?$select=Name,Author/LoginName&$expand=Author", Client::kPlain);
    EXPECT_EQ(ShapeOf(author), (std::set<std::string>{"Name:s", "Author:o"}));
    EXPECT_EQ(ShapeOf(author["Author"]), (std::set<std::string>{"LoginName:s"}));
    auto raw =
        server->raw("GET " + FolderUrl("") +
                    "?$expand=Folders, Folders/Properties, Files, Files/Properties HTTP/1.1\r\n"
                    "Host: localhost\r\nConnection: close\r\nAccept: application/json; odata=nometadata\r\n" +
                    alice->authorization() + "\r\n\r\n");
    EXPECT_TRUE(raw.starts_with("HTTP/1.1 200")) << raw.substr(0, 200);
    EXPECT_NE(raw.find("\"Properties\":{\"vti_x005f_"), std::string::npos);
    auto by_alias = json(
        "/sites/team/_api/web/getfilebyserverrelativeurl(@p1)?@p1='/sites/team/Shared%20Documents/a.pdf'",
        Client::kPlain);
    EXPECT_EQ(ShapeOf(by_alias), kFileProperties);
    EXPECT_EQ(json(FolderUrl("") + "/Files?$filter=Name%20eq%20'a.pdf'%20and%20Length%20lt%2010",
                   Client::kPlain)["value"]
                  .Size(),
              1u);
    EXPECT_EQ(json(FolderUrl("") + "/Files?$filter=startswith(Name,'b')", Client::kPlain)["value"].Size(),
              0u);
}

TEST_F(Shapes, NullAndSingleValuesAreWrittenAsTheFormatDemands) {
    auto operation = [&](const std::string& name, const char* accept) {
        return server
            ->Send({.method = "POST",
                    .path = FileUrl("a.pdf") + "/" + name,
                    .headers = {alice->authorization(), std::string("Accept: ") + accept,
                                "X-RequestDigest: " + alice->digest()},
                    .body = ""})
            .body;
    };
    EXPECT_EQ(operation("CheckOut()", Client::kVerbose), "{\"d\":{\"CheckOut\":null}}");
    EXPECT_EQ(operation("UndoCheckOut()", Client::kPlain), "{\"odata.null\":true}");
    auto page = "/_api/SP.Web.GetWebUrlFromPageUrl(@v)?@v='" + server->url() +
                "/sites/team/Shared%20Documents/a.pdf'";
    EXPECT_EQ(alice->get(page, Client::kVerbose).body,
              "{\"d\":{\"GetWebUrlFromPageUrl\":\"" + server->url() + "/sites/team\"}}");
    EXPECT_EQ(alice->get(page, Client::kPlain).body, "{\"value\":\"" + server->url() + "/sites/team\"}");
    auto xml = alice->get(page, "application/xml");
    EXPECT_NE(xml.body.find("<d:GetWebUrlFromPageUrl xmlns:d="), std::string::npos);
    EXPECT_NE(xml.body.find(">" + server->url() + "/sites/team</d:GetWebUrlFromPageUrl>"), std::string::npos);
    EXPECT_TRUE(xml.header("Content-Type").starts_with("application/xml"));
    EXPECT_EQ(alice->get("/sites/team/_api/web/Title", Client::kVerbose).body,
              "{\"d\":{\"Title\":\"Team\"}}");
}

TEST_F(Shapes, ErrorsHaveTheRootOfTheirFormat) {
    auto path = FileUrl("none.pdf");
    EXPECT_EQ(alice->get(path, Client::kVerbose).body,
              "{\"error\":{\"code\":\"-2130575338, "
              "Microsoft.SharePoint.SPException\",\"message\":{\"lang\":\"en-US\",\"value\":"
              "\"The file /sites/team/Shared Documents/none.pdf does not exist.\"}}}");
    EXPECT_TRUE(
        alice->get(path, Client::kPlain).body.starts_with("{\"odata.error\":{\"code\":\"-2130575338, "));
    EXPECT_TRUE(alice->get(path, "application/json;odata.metadata=minimal")
                    .body.starts_with("{\"error\":{\"code\":\"-2130575338, "));
    EXPECT_NE(alice->get(path, "application/atom+xml").body.find("<m:code>-2130575338, Microsoft"),
              std::string::npos);
    EXPECT_NE(alice->get(path, "*/*").body.find("<m:error xmlns:m="), std::string::npos);
}

TEST_F(Shapes, AtomEntriesCarryPropertiesLinksAndInlineFeeds) {
    auto entry = alice->get(FileUrl("a.pdf"), "application/atom+xml");
    EXPECT_TRUE(entry.header("Content-Type").starts_with("application/atom+xml;type=entry"));
    for (const char* part : {"<entry xml:base=", "<category term=\"SP.File\"", "<m:properties>",
                             "<d:CheckOutType m:type=\"Edm.Int32\">2</d:CheckOutType>",
                             "<d:Length m:type=\"Edm.Int64\">3</d:Length>",
                             "related/Author\" type=\"application/atom+xml;type=entry\" title=\"Author\""})
        EXPECT_NE(entry.body.find(part), std::string::npos) << part;
    auto feed = alice->get(FolderUrl("") + "?$expand=Files", "application/xml");
    EXPECT_NE(feed.body.find("<m:inline><feed>"), std::string::npos);
    EXPECT_NE(feed.body.find("<d:Name>a.pdf</d:Name>"), std::string::npos);
}

TEST_F(Shapes, PagesOfItemsLinkToTheNextInEveryFormat) {
    auto path = std::string("/sites/team/_api/web/lists/getbytitle('Documents')/items?$select=Id&$top=1");
    std::set<int> ids;
    int pages = 0;
    for (; !path.empty() && pages < 10; ++pages) {
        auto page = json(path, Client::kPlain);
        ASSERT_TRUE(page.IsObject() && page.HasMember("value")) << path;
        for (const auto& row : page["value"].GetArray()) ids.insert(row["Id"].GetInt());
        path = page.HasMember("odata.nextLink") ? page["odata.nextLink"].GetString() : "";
    }
    EXPECT_EQ(ids.size(), 3u);
    EXPECT_EQ(pages, 3);
    auto first = std::string("/sites/team/_api/web/lists/getbytitle('Documents')/items?$top=1");
    EXPECT_TRUE(json(first, Client::kVerbose)["d"].HasMember("__next"));
    EXPECT_NE(alice->get(first, "application/xml").body.find("<link rel=\"next\""), std::string::npos);
}

TEST_F(Shapes, ABatchAnswersEachOfItsParts) {
    std::string parts;
    for (const auto& path : {FileUrl("a.pdf"), FileUrl("none.pdf")}) {
        parts += "--batch_1\nContent-Type: application/http\nContent-Transfer-Encoding: binary\n\nGET " +
                 path + " HTTP/1.1\nAccept: application/json;odata=nometadata\n\n";
    }
    auto reply = server->Send({.method = "POST",
                               .path = "/sites/team/_api/$batch",
                               .headers = {alice->authorization(), "X-RequestDigest: " + alice->digest(),
                                           "Content-Type: multipart/mixed; boundary=\"batch_1\""},
                               .body = parts + "--batch_1--\n"});
    EXPECT_EQ(reply.status, 200);
    EXPECT_TRUE(reply.body.starts_with("--batchresponse_"));
    EXPECT_NE(reply.body.find("HTTP/1.1 200 OK\r\n"), std::string::npos);
    EXPECT_NE(reply.body.find("HTTP/1.1 404 Not Found\r\n"), std::string::npos);
}

}  // namespace
}  // namespace devserver::test
