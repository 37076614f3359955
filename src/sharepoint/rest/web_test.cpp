// The web over REST with canned answers: the exact requests, and what becomes of the answers.
#include "sharepoint/rest/web.h"

#include <gtest/gtest.h>

#include "sharepoint/tests/named_rows_test.h"
#include "sharepoint/tests/site_test_fixture.h"

namespace {

using SharePoint::Web;
using Type = Web::BindObjectType;
using Lines = std::vector<std::string>;

TEST(WebCreate, FindsItsPathFromAnyUrlBelowIt) {
    RestSite site(u"sites/my docs");
    EXPECT_EQ(site.web->GetRoot(), u"sites/my docs");
    EXPECT_EQ(site.web->GetInformation().m_path, u"sites/my docs");
    ASSERT_EQ(site.setup.size(), 3u);
    EXPECT_EQ(site.setup[0].Line(), "GET /_api/SP.Web.GetWebUrlFromPageUrl(@v)?@v='" + site.Host() +
                                        "/sites/my%20docs/Library/a.pdf'");
    EXPECT_EQ(site.setup[1].Line(), "GET " + site.FolderAddress("sites/my%20docs") + "')");
    EXPECT_EQ(site.setup[2].Line(), "GET " + site.FileAddress("sites/my%20docs") + "')");
    EXPECT_EQ(site.Api(), "/sites/my%20docs/_api");
}

TEST(WebCreate, RefusesAWebOfAnotherServer) {
    LoopbackTestServer stranger([](const LoopbackTestServer::Request&) {
        return Answer("200 OK",
                      "<d:GetWebUrlFromPageUrl xmlns:d=\"urn:d\">http://other/</d:GetWebUrlFromPageUrl>");
    });
    const auto session = Http::Session::Create(u"http://", u"127.0.0.1", stranger.Port(), {}, {});
    EXPECT_THROW(SharePointRestAPI::Web::Create(session, stranger.Url() + u"/a"), HResultException);
}

TEST(WebCreate, NamesTheWebByTheServerOrByTheStartOfItsPath) {
    RestSite site;
    EXPECT_EQ(site.web->GetInformation().m_name, u"sites");
    site.AddFolder("sites/docs", RestSite::Folder("/sites/docs", R"(,"Name":"Papers")"));
    EXPECT_EQ(site.web->UpdateInformation().m_name, u"Papers");
    EXPECT_EQ(RestSite(u"docs").web->GetInformation().m_name, u"");
}

TEST(BindObject, AsksForTheFolderThenForTheFile) {
    RestSite site;
    site.AddFile(
        "sites/docs/L/it%27%27s%20100%25%20%23%C3%A4.pdf",
        RestSite::File("/sites/docs/L/it's 100% #\u00E4.pdf",
                       R"(,"Name":"shown.pdf","Length":"5000000000","CheckOutType":2,)"
                       R"("TimeCreated":"2020-08-25T09:40:04Z","TimeLastModified":"2020-08-25T09:40:30Z",)"
                       R"("Properties":{"vti_x005f_winfileattribs":"00000021"})"));
    const auto object = site.Bind(u"sites/docs/L/it's 100% #\u00E4.pdf", Type::file);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(site.server.Lines(),
              (Lines{"GET " + site.FolderAddress("sites/docs/L/it%27%27s%20100%25%20%23%C3%A4.pdf") + "')",
                     "GET " + site.FileAddress("sites/docs/L/it%27%27s%20100%25%20%23%C3%A4.pdf") + "')"}));
    EXPECT_EQ(site.server.Requests()[0].Header("accept"), "application/json; odata=verbose");
    EXPECT_NE(object->AsFile(), nullptr);
    EXPECT_EQ(object->AsFolder(), nullptr);
    EXPECT_EQ(object->AsWeb(), nullptr);
    EXPECT_EQ(object->GetWeb(), site.web->GetWeb());
    const SharePoint::Information& information = object->GetInformation();
    EXPECT_EQ(information.m_path, u"sites/docs/L/it's 100% #\u00E4.pdf");
    EXPECT_EQ(object->GetRoot(), information.m_path);
    EXPECT_EQ(information.m_name, u"shown.pdf");
    EXPECT_EQ(information.m_size, 5'000'000'000u);
    EXPECT_EQ(information.m_created_time, 132428220040000000u);
    EXPECT_EQ(information.m_modified_time, 132428220300000000u);
    EXPECT_EQ(information.m_attributes, 0x21u);
    EXPECT_EQ(information.m_checkout_user, u"");
}

TEST(Enumerate, GivesFoldersThenFilesInTheServersOrder) {
    RestSite site;
    const std::string line = "GET " + site.FolderAddress("sites/docs/it%27%27s") +
                             "')?$expand=Folders,%20Folders/Properties,%20Files,%20Files/Properties";
    site.AddFolder("sites/docs/it%27%27s", RestSite::Folder("/sites/docs/it's"));
    const auto folder = site.BindKnown(u"sites/docs/it's");
    site.answers[line] =
        RestSite::D(R"({"Files":{"results":[)" + RestSite::File("/s/z.pdf", R"(,"CheckOutType":2)") + "," +
                    RestSite::File("") + "," + RestSite::Folder("/s/odd") + ",7,null," +
                    RestSite::File("/s/a's.pdf", R"(,"CheckOutType":0)") + R"(]},"Folders":{"results":[)" +
                    RestSite::Folder("/s/Z") + "," + RestSite::File("/s/odd.pdf") + "," +
                    RestSite::Folder("/s/A") + "]}}");
    site.answers["GET " + site.FileAddress("s/a%27s.pdf") + "')/CheckedOutByUser"] =
        RestSite::D(R"({"LoginName":"i:0#.f|membership|bob"})");
    const auto objects = folder->AsFolder()->Enumerate();
    EXPECT_EQ(site.server.Lines(),
              (Lines{line, "GET " + site.FileAddress("s/a%27s.pdf") + "')/CheckedOutByUser"}));
    std::vector<std::u16string> names;
    for (const auto& object : objects) {
        names.push_back(object->GetInformation().m_name + (object->AsFolder() ? u"/" : u""));
    }
    EXPECT_EQ(names, (std::vector<std::u16string>{u"Z/", u"A/", u"z.pdf", u"a's.pdf"}));
    EXPECT_EQ(objects[3]->GetInformation().m_checkout_user, u"i:0#.f|membership|bob");
}

TEST(Enumerate, IsEmptyForAnswersOfAnotherShape) {
    RestSite site;
    for (const char* body : {"", "<html/>", "{}", "[]", "7", R"({"d":null})", R"({"d":[]})", R"({"d":{}})",
                             R"({"d":{"Files":null,"Folders":{"results":{}}}})", R"({"value":[]})"}) {
        site.fallback = Answer("200 OK", body);
        EXPECT_TRUE(site.web->Enumerate().empty()) << body;
    }
}

struct HolderRow {
    const char* name;
    std::string answer;
};

class HolderOfACheckOut : public testing::TestWithParam<HolderRow> {};

// A listing must not lose a document because the server doesn't tell who has it checked out.
TEST_P(HolderOfACheckOut, IsNobodyWhenTheServerDoesNotTell) {
    RestSite site;
    const std::string checked_out = RestSite::File("/sites/docs/a.pdf", R"(,"CheckOutType":0)");
    site.answers["GET " + site.FolderAddress("sites/docs") +
                 "')?$expand=Folders,%20Folders/Properties,%20Files,%20Files/Properties"] =
        RestSite::D(R"({"Files":{"results":[)" + checked_out + "," + RestSite::File("/sites/docs/b.pdf") +
                    "]}}");
    site.AddFile("sites/docs/a.pdf", checked_out);
    site.answers["GET " + site.FileAddress("sites/docs/a.pdf") + "')/CheckedOutByUser"] = GetParam().answer;
    const auto objects = site.web->Enumerate();
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(objects[0]->GetInformation().m_name, u"a.pdf");
    EXPECT_EQ(objects[0]->GetInformation().m_checkout_user, u"");
    EXPECT_NE(site.Bind(u"sites/docs/a.pdf", Type::file), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HolderOfACheckOut,
    testing::Values(HolderRow{.name = "Forbidden", .answer = Answer("403 Forbidden", RestSite::kMissing)},
                    HolderRow{.name = "TooManyRequests", .answer = Answer("429 Too Many Requests")},
                    HolderRow{.name = "Broken", .answer = Answer("500 Oops", "<html/>")},
                    HolderRow{.name = "NoLogin", .answer = RestSite::D(R"({"LoginName":null})")},
                    HolderRow{.name = "NoUser", .answer = RestSite::D("null")}),
    NameOfRow());

TEST(CreateFolder, MakesWhatIsMissingFromTheTopDown) {
    RestSite site;
    site.AddFolder("sites/docs/a", RestSite::Folder("/sites/docs/a"));
    const std::string b =
        "POST " + site.FolderAddress("sites/docs/a") + "')/Folders/AddUsingPath(decodedurl='b')";
    const std::string c =
        "POST " + site.FolderAddress("sites/docs/a/b") + "')/Folders/AddUsingPath(decodedurl='it%27%27s')";
    site.answers[b] = site.answers[c] = RestSite::D("{}");
    EXPECT_TRUE(site.web->CreateFolderNoBind(site.Url(u"sites/docs/a/b/it's/")));
    const auto requests = site.server.Requests();
    ASSERT_GE(requests.size(), 3u);
    EXPECT_EQ(requests[requests.size() - 3].Line(), "POST /sites/docs/_api/contextinfo");
    EXPECT_EQ(requests[requests.size() - 2].Line(), b);
    EXPECT_EQ(requests.back().Line(), c);
    EXPECT_EQ(requests.back().Header("x-requestdigest"), "digest1");
    EXPECT_EQ(requests.back().Header("content-length"), "0");
}

TEST(CreateFolder, FailsOutsideTheWebAndWhenTheServerRefuses) {
    RestSite site;
    EXPECT_TRUE(site.web->CreateFolderNoBind(site.Url(u"")));
    EXPECT_FALSE(site.web->CreateFolderNoBind(u"http://other/x"));
    EXPECT_FALSE(site.web->CreateFolderNoBind(site.Url(u"elsewhere/x")));
    EXPECT_THROW(site.web->CreateFolder(site.Url(u"sites/docs/new")), Http::HttpException);
    site.digest_answer = Answer("200 OK", "{}");
    EXPECT_EQ(site.web->CreateFolder(site.Url(u"sites/docs/new")), nullptr);
}

TEST(CreateFile, ReplacesWithAnEmptyFileInAFolderThatIsThere) {
    RestSite site;
    site.AddFolder("sites/docs/L", RestSite::Folder("/sites/docs/L"));
    const std::string line = "POST " + site.FolderAddress("sites/docs/L") +
                             "')/Files/AddUsingPath(decodedurl='it%27%27s.pdf',%20%20overwrite=true)";
    site.answers[line] = RestSite::D("{}");
    site.AddFile("sites/docs/L/it%27%27s.pdf", RestSite::File("/sites/docs/L/it's.pdf"));
    const auto object = site.web->CreateFile(site.Url(u"sites/docs/L/it's.pdf"));
    ASSERT_NE(object, nullptr);
    EXPECT_NE(object->AsFile(), nullptr);
    const Lines lines = site.server.Lines();
    EXPECT_EQ(lines,
              (Lines{"GET " + site.FolderAddress("sites/docs/L") + "')", "POST /sites/docs/_api/contextinfo",
                     line, "GET " + site.FolderAddress("sites/docs/L/it%27%27s.pdf") + "')",
                     "GET " + site.FileAddress("sites/docs/L/it%27%27s.pdf") + "')"}));
    site.answers[line] = Answer("423 Locked");
    EXPECT_THROW(site.web->CreateFile(site.Url(u"sites/docs/L/it's.pdf")), Http::HttpException);
}

TEST(CurrentUser, IsTheLoginAsTheServerSpellsIt) {
    RestSite site;
    EXPECT_EQ(site.web->GetCurrentUser(), u"");
    site.answers["GET /sites/docs/_api/web/currentUser"] =
        RestSite::D(R"({"LoginName":"i:0#.f|membership|Alice@x","Email":"a@x"})");
    EXPECT_EQ(site.web->GetCurrentUser(), u"i:0#.f|membership|Alice@x");
}

std::string Rights(const char* low) {
    return R"({"d":{"ListItemAllFields":{"EffectiveBasePermissions":{"High":"1","Low":)" + std::string(low) +
           "}}}}";
}

struct RightsRow {
    const char* name;
    std::string body;
    bool can_edit = false;
};

class CanEdit : public testing::TestWithParam<RightsRow> {};

TEST_P(CanEdit, FollowsTheRightsOrTheErrorOfAMissingFile) {
    RestSite site;
    site.fallback = Answer("200 OK", GetParam().body);
    EXPECT_EQ(site.web->CanEdit(u"sites/docs/it's.pdf"), GetParam().can_edit);
    EXPECT_EQ(site.server.Lines(),
              Lines{"GET " + site.FileAddress("sites/docs/it%27%27s.pdf") +
                    "')?$select=ListItemAllFields&$expand=ListItemAllFields/EffectiveBasePermissions"});
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CanEdit,
    testing::Values(RightsRow{.name = "All", .body = Rights("\"4294967295\""), .can_edit = true},
                    RightsRow{.name = "Add", .body = Rights("\"2\""), .can_edit = true},
                    RightsRow{.name = "ViewAsNumber", .body = Rights("1"), .can_edit = true},
                    RightsRow{.name = "Reader", .body = Rights("\"138612833\""), .can_edit = true},
                    RightsRow{.name = "OnlyOthers", .body = Rights("\"138612832\"")},
                    RightsRow{.name = "Deferred", .body = R"({"d":{"ListItemAllFields":{"__deferred":{}}}})"},
                    RightsRow{.name = "MissingFile",
                              .body = R"({"error":{"code":"-2113929210, System.IO.FileNotFoundException"}})",
                              .can_edit = true},
                    RightsRow{
                        .name = "OtherError",
                        .body = R"({"error":{"code":"-2130575338, Microsoft.SharePoint.SPException"}})"},
                    RightsRow{.name = "CodeAsNumber", .body = R"({"error":{"code":-2113929210}})"},
                    RightsRow{.name = "SignInPage", .body = "<html>Sign in</html>"}),
    NameOfRow());

TEST(Digest, IsFetchedAnewForEachChangeWhileItIsYoung) {
    RestSite site(u"sites/my docs");
    EXPECT_EQ(site.web->GetDigest(), u"digest1");
    EXPECT_EQ(site.web->GetDigest(), u"digest2");
    EXPECT_EQ(site.server.Lines(),
              (Lines{"POST /sites/my%20docs/_api/contextinfo", "POST /sites/my%20docs/_api/contextinfo"}));
    for (const char* body : {"{}", R"({"d":{"GetContextWebInformation":{}}})", "no json"}) {
        site.digest_answer = Answer("200 OK", body);
        EXPECT_EQ(site.web->GetDigest(), u"") << body;
    }
    site.digest_answer = Answer("403 Forbidden");
    EXPECT_THROW(site.web->GetDigest(), Http::HttpException);
}

TEST(Digest, IsReusedOnlyOnceItIsFiveSecondsOverdue) {
    constexpr int64_t kSecond = 1'000'000'000;
    const auto read = [](SharePoint::RequestDigest& digest, const char* more, int64_t now) {
        Json::Document document;
        EXPECT_TRUE(document.Parse(R"({"FormDigestValue":"v")" + std::string(more) + "}"));
        return digest.Read("test", &document.Root(), now);
    };
    SharePoint::RequestDigest digest;
    EXPECT_FALSE(digest.IsReusable(100 * kSecond));
    ASSERT_TRUE(read(digest, R"(,"FormDigestTimeoutSeconds":1800)", 100 * kSecond));
    EXPECT_EQ(digest.text, u"v");
    EXPECT_FALSE(digest.IsReusable(160 * kSecond));
    EXPECT_FALSE(digest.IsReusable(1905 * kSecond - 1));
    EXPECT_TRUE(digest.IsReusable(1905 * kSecond));
    ASSERT_TRUE(read(digest, "", 5000 * kSecond));
    EXPECT_EQ(digest.expiry, 1900 * kSecond) << "an answer without a lifetime leaves the expiry";
    digest.text.clear();
    EXPECT_FALSE(digest.IsReusable(9000 * kSecond));
}

}  // namespace
