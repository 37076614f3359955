// The web against canned answers: which requests it sends, to the byte, and what it makes of the answers.
#include "sharepoint/rest/web.h"

#include <gtest/gtest.h>

#include "sharepoint/rest/site_test_fixture.h"

namespace {

using SharePoint::Web;
using Type = Web::BindObjectType;
using Lines = std::vector<std::string>;

TEST(WebCreate, FindsItsPathFromAnyUrlBelowIt) {
    SiteFixture site(u"sites/my docs");
    EXPECT_EQ(site.web->GetRoot(), u"sites/my docs");
    EXPECT_EQ(site.web->GetInformation().m_path, u"sites/my docs");
    const std::string host = "http://127.0.0.1:" + std::to_string(site.server.Port());
    EXPECT_EQ(site.setup_lines, (Lines{"GET /_api/SP.Web.GetWebUrlFromPageUrl(@v)?@v='" + host +
                                           "/sites/my%20docs/Library/a.pdf'",
                                       "GET " + site.FolderAddress("sites/my%20docs") + "')",
                                       "GET " + site.FileAddress("sites/my%20docs") + "')"}));
    EXPECT_EQ(site.Api(), "/sites/my%20docs/_api");
}

TEST(WebCreate, RefusesAnotherServerAndAnAnswerOfAnother) {
    SiteFixture site;
    const auto code_of = [&](const std::u16string& url) {
        try {
            SharePointRestAPI::Web::Create(site.session, url);
        } catch (const HResultException& failure) {
            return failure.code;
        }
        return S_OK;
    };
    EXPECT_EQ(code_of(u"http://other/sites/docs"), E_INVALIDARG);
    EXPECT_EQ(code_of(u"no url"), E_INVALIDARG);
    LoopbackTestServer stranger([](const LoopbackTestServer::Request&) {
        return Answer("200 OK",
                      "<d:GetWebUrlFromPageUrl xmlns:d=\"urn:d\">http://other/</d:GetWebUrlFromPageUrl>");
    });
    const auto session = Http::Session::Create(u"http://", u"127.0.0.1", stranger.Port(), {}, {});
    EXPECT_THROW(SharePointRestAPI::Web::Create(session, stranger.Url() + u"/a"), HResultException);
}

TEST(WebCreate, NamesTheWebByTheServerOrByTheStartOfItsPath) {
    SiteFixture site;
    EXPECT_EQ(site.web->GetInformation().m_name, u"sites");
    site.AddFolder("sites/docs", SiteFixture::Folder("/sites/docs", R"(,"Name":"Papers")"));
    EXPECT_EQ(site.web->UpdateInformation().m_name, u"Papers");
    EXPECT_EQ(SiteFixture(u"docs").web->GetInformation().m_name, u"");
}

TEST(Web, IsAFolderThatCannotBeRenamedOrDeleted) {
    SiteFixture site;
    EXPECT_EQ(site.web->AsFolder().get(), static_cast<SharePoint::Folder*>(site.web.get()));
    EXPECT_EQ(site.web->AsWeb(), site.web->GetWeb());
    EXPECT_EQ(site.web->AsFile(), nullptr);
    EXPECT_FALSE(static_cast<SharePoint::Object&>(*site.web).CanEdit());
    EXPECT_THROW(site.web->Rename(u"x"), Exception);
    EXPECT_THROW(site.web->Delete(), Exception);
    EXPECT_TRUE(site.server.Lines().empty());
}

TEST(BindObject, AsksForTheFolderThenForTheFile) {
    SiteFixture site;
    site.AddFile(
        "sites/docs/L/it%27%27s%20100%25%20%23%C3%A4.pdf",
        SiteFixture::File("/sites/docs/L/it's 100% #\u00E4.pdf",
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

TEST(BindObject, GivesOnlyTheKindThatIsAskedFor) {
    SiteFixture site;
    site.AddFile("sites/docs/a.pdf", SiteFixture::File("/sites/docs/a.pdf"));
    site.AddFolder("sites/docs/L", SiteFixture::Folder("/sites/docs/L/"));
    const struct {
        const char16_t* path;
        Type type;
        char kind;
    } rows[] = {
        {u"sites/docs/a.pdf", Type::any, 'f'},  {u"sites/docs/a.pdf", Type::file, 'f'},
        {u"sites/docs/a.pdf", Type::folder, 0}, {u"sites/docs/L", Type::any, 'd'},
        {u"sites/docs/L/", Type::folder, 'd'},  {u"sites/docs/L", Type::file, 0},
        {u"sites/docs/none", Type::any, 0},     {u"sites/other/a.pdf", Type::any, 0},
        {u"SITES/Docs/", Type::any, 'w'},       {u"sites/docs", Type::folder, 'w'},
        {u"sites/docs", Type::file, 0},
    };
    for (const auto& row : rows) {
        const auto object = site.Bind(row.path, row.type);
        const char kind = !object ? 0 : object->AsWeb() ? 'w' : object->AsFolder() ? 'd' : 'f';
        EXPECT_EQ(kind, row.kind) << ToUtf8(row.path) << " " << static_cast<int>(row.type);
    }
    EXPECT_EQ(site.web->BindObject(u"http://other/sites/docs/a.pdf", Type::any), nullptr);
    EXPECT_EQ(site.web->BindObject(u"", Type::any), nullptr);
}

TEST(BindObject, FollowsASharingLink) {
    SiteFixture site;
    const std::string host = "127.0.0.1%3A" + std::to_string(site.server.Port());
    const std::string line =
        "GET "
        "/_api/SP.RemoteWeb(@url)/web/GetFileByUrl(@url)?$select=ServerRelativeUrl,Name,Length,TimeCreated,"
        "TimeLastModified,CheckedOutByUser/LoginName&$expand=CheckedOutByUser&@url='http%3A//" +
        host + "/%3Ab%3A/s/x/EaBc'";
    EXPECT_THROW(site.Bind(u":b:/s/x/EaBc"), Http::HttpException);
    EXPECT_EQ(site.server.Lines(), Lines{line});
    site.answers[line] = SiteFixture::D(R"({"ServerRelativeUrl":"/sites/docs/L/a.pdf","Length":"7"})");
    const auto object = site.Bind(u":b:/s/x/EaBc", Type::file);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->GetInformation().m_path, u"sites/docs/L/a.pdf");
    site.server.Forget();
    EXPECT_EQ(site.Bind(u":b:/s/x/EaBc", Type::folder), nullptr);
    EXPECT_TRUE(site.server.Lines().empty());
}

TEST(Enumerate, GivesFoldersThenFilesInTheServersOrder) {
    SiteFixture site;
    const std::string line = "GET " + site.FolderAddress("sites/docs/it%27%27s") +
                             "')?$expand=Folders,%20Folders/Properties,%20Files,%20Files/Properties";
    site.AddFolder("sites/docs/it%27%27s", SiteFixture::Folder("/sites/docs/it's"));
    const auto folder = site.Bind(u"sites/docs/it's");
    ASSERT_NE(folder, nullptr);
    site.answers[line] =
        SiteFixture::D(R"({"Files":{"results":[)" + SiteFixture::File("/s/z.pdf", R"(,"CheckOutType":2)") +
                       "," + SiteFixture::File("") + "," + SiteFixture::Folder("/s/odd") + ",7,null," +
                       SiteFixture::File("/s/a's.pdf", R"(,"CheckOutType":0)") +
                       R"(]},"Folders":{"results":[)" + SiteFixture::Folder("/s/Z") + "," +
                       SiteFixture::File("/s/odd.pdf") + "," + SiteFixture::Folder("/s/A") + "]}}");
    site.answers["GET " + site.FileAddress("s/a%27s.pdf") + "')/CheckedOutByUser"] =
        SiteFixture::D(R"({"LoginName":"i:0#.f|membership|bob"})");
    site.server.Forget();
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
    SiteFixture site;
    for (const char* body : {"", "<html/>", "{}", "[]", "7", R"({"d":null})", R"({"d":[]})", R"({"d":{}})",
                             R"({"d":{"Files":null,"Folders":{"results":{}}}})", R"({"value":[]})"}) {
        site.fallback = Answer("200 OK", body);
        EXPECT_TRUE(site.web->Enumerate().empty()) << body;
    }
}

TEST(CreateFolder, MakesWhatIsMissingFromTheTopDown) {
    SiteFixture site;
    site.AddFolder("sites/docs/a", SiteFixture::Folder("/sites/docs/a"));
    const std::string b =
        "POST " + site.FolderAddress("sites/docs/a") + "')/Folders/AddUsingPath(decodedurl='b')";
    const std::string c =
        "POST " + site.FolderAddress("sites/docs/a/b") + "')/Folders/AddUsingPath(decodedurl='it%27%27s')";
    site.answers[b] = site.answers[c] = SiteFixture::D("{}");
    EXPECT_TRUE(site.web->CreateFolderNoBind(site.server.Url() + u"/sites/docs/a/b/it's/"));
    const auto requests = site.server.Requests();
    ASSERT_GE(requests.size(), 3u);
    EXPECT_EQ(requests[requests.size() - 3].Line(), "POST /sites/docs/_api/contextinfo");
    EXPECT_EQ(requests[requests.size() - 2].Line(), b);
    EXPECT_EQ(requests.back().Line(), c);
    EXPECT_EQ(requests.back().Header("x-requestdigest"), "digest1");
    EXPECT_EQ(requests.back().Header("content-length"), "0");

    site.AddFolder("sites/docs/a/b/it%27%27s", SiteFixture::Folder("/sites/docs/a/b/it's"));
    site.server.Forget();
    EXPECT_NE(site.web->CreateFolder(site.server.Url() + u"/sites/docs/a/b/it's"), nullptr);
    for (const std::string& line : site.server.Lines()) EXPECT_TRUE(line.starts_with("GET ")) << line;
}

TEST(CreateFolder, FailsOutsideTheWebAndWhenTheServerRefuses) {
    SiteFixture site;
    EXPECT_TRUE(site.web->CreateFolderNoBind(site.server.Url() + u"/"));
    EXPECT_FALSE(site.web->CreateFolderNoBind(u"http://other/x"));
    EXPECT_FALSE(site.web->CreateFolderNoBind(site.server.Url() + u"/elsewhere/x"));
    EXPECT_EQ(site.web->CreateFolder(site.server.Url() + u"/sites/docs"), nullptr);
    EXPECT_THROW(site.web->CreateFolder(site.server.Url() + u"/sites/docs/new"), Http::HttpException);
    site.digest_answer = Answer("200 OK", "{}");
    EXPECT_EQ(site.web->CreateFolder(site.server.Url() + u"/sites/docs/new"), nullptr);
}

TEST(CreateFile, ReplacesWithAnEmptyFileInAFolderThatIsThere) {
    SiteFixture site;
    site.AddFolder("sites/docs/L", SiteFixture::Folder("/sites/docs/L"));
    const std::string line = "POST " + site.FolderAddress("sites/docs/L") +
                             "')/Files/AddUsingPath(decodedurl='it%27%27s.pdf',%20%20overwrite=true)";
    site.answers[line] = SiteFixture::D("{}");
    site.AddFile("sites/docs/L/it%27%27s.pdf", SiteFixture::File("/sites/docs/L/it's.pdf"));
    const auto object = site.web->CreateFile(site.server.Url() + u"/sites/docs/L/it's.pdf");
    ASSERT_NE(object, nullptr);
    EXPECT_NE(object->AsFile(), nullptr);
    const Lines lines = site.server.Lines();
    EXPECT_EQ(lines,
              (Lines{"GET " + site.FolderAddress("sites/docs/L") + "')", "POST /sites/docs/_api/contextinfo",
                     line, "GET " + site.FolderAddress("sites/docs/L/it%27%27s.pdf") + "')",
                     "GET " + site.FileAddress("sites/docs/L/it%27%27s.pdf") + "')"}));
    site.answers[line] = Answer("423 Locked");
    EXPECT_THROW(site.web->CreateFile(site.server.Url() + u"/sites/docs/L/it's.pdf"), Http::HttpException);
    EXPECT_EQ(site.web->CreateFile(site.server.Url() + u"/sites/docs"), nullptr);
    EXPECT_EQ(site.web->CreateFile(u"http://other/a.pdf"), nullptr);
}

TEST(CurrentUser, IsTheLoginAsTheServerSpellsIt) {
    SiteFixture site;
    EXPECT_EQ(site.web->GetCurrentUser(), u"");
    site.answers["GET /sites/docs/_api/web/currentUser"] =
        SiteFixture::D(R"({"LoginName":"i:0#.f|membership|Alice@x","Email":"a@x"})");
    EXPECT_EQ(site.web->GetCurrentUser(), u"i:0#.f|membership|Alice@x");
}

TEST(CanEdit, ReadsTheRightsOrTheErrorOfAMissingFile) {
    SiteFixture site;
    const auto rights = [](const char* low) {
        return R"({"d":{"ListItemAllFields":{"EffectiveBasePermissions":{"High":"1","Low":)" +
               std::string(low) + "}}}}";
    };
    const struct {
        std::string body;
        bool can_edit;
    } rows[] = {
        {rights("\"4294967295\""), true},
        {rights("\"2\""), true},
        {rights("1"), true},
        {rights("\"138612833\""), true},
        {rights("\"138612832\""), false},
        {rights("\"0\""), false},
        {rights("null"), false},
        {R"({"d":{"ListItemAllFields":{"__deferred":{}}}})", false},
        {R"({"d":{"ListItemAllFields":null}})", false},
        {R"({"error":{"code":"-2113929210, System.IO.FileNotFoundException"}})", true},
        {R"({"error":{"code":"-2130575338, Microsoft.SharePoint.SPException"}})", false},
        {R"({"error":{"code":-2113929210}})", false},
        {"<html>Sign in</html>", false},
        {"", false},
    };
    for (const auto& row : rows) {
        site.server.Forget();
        site.fallback = Answer("200 OK", row.body);
        EXPECT_EQ(site.web->CanEdit(u"sites/docs/it's.pdf"), row.can_edit) << row.body;
        EXPECT_EQ(site.server.Lines(),
                  Lines{"GET " + site.FileAddress("sites/docs/it%27%27s.pdf") +
                        "')?$select=ListItemAllFields&$expand=ListItemAllFields/EffectiveBasePermissions"});
    }
}

TEST(Digest, IsFetchedAnewForEachChangeWhileItIsYoung) {
    SiteFixture site(u"sites/my docs");
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
