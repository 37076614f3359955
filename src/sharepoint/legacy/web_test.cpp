// The older web with canned answers: the exact requests, and what becomes of the answers.
#include "sharepoint/legacy/web.h"

#include <gtest/gtest.h>

#include "sharepoint/tests/named_rows_test.h"
#include "sharepoint/tests/site_test_fixture.h"

namespace {

using Type = SharePoint::Web::BindObjectType;
using Lines = std::vector<std::string>;
using Objects = std::vector<std::shared_ptr<SharePoint::Object>>;

// "name" of each file, "name/" of each folder.
std::vector<std::string> Names(const Objects& objects) {
    std::vector<std::string> names;
    for (const auto& object : objects)
        names.push_back(ToUtf8(object->GetInformation().m_name) + (object->AsFolder() ? "/" : ""));
    return names;
}

TEST(OlderWebCreate, FindsItsPathFromAnyUrlBelowIt) {
    OlderSite site(u"sites/my docs");
    EXPECT_EQ(site.web->GetRoot(), u"sites/my docs");
    EXPECT_EQ(site.web->GetInformation().m_path, u"sites/my docs");
    EXPECT_EQ(ToUtf8(site.web->EncodedPath()), "sites/my%20docs");
    ASSERT_EQ(site.setup.size(), 2u);
    EXPECT_EQ(site.setup[0].Line(), "POST /_vti_bin/Webs.asmx");
    EXPECT_EQ(site.setup[0].Header("soapaction"),
              "\"http://schemas.microsoft.com/sharepoint/soap/WebUrlFromPageUrl\"");
    EXPECT_NE(
        site.setup[0].body.find("<WebUrlFromPageUrl xmlns=\"http://schemas.microsoft.com/sharepoint/soap/\">"
                                "<pageUrl>" +
                                site.Host() + "/sites/my%20docs/Library/a.pdf</pageUrl></WebUrlFromPageUrl>"),
        std::string::npos)
        << site.setup[0].body;
    EXPECT_EQ(site.setup[1].Line(), "PROPFIND /sites/my%20docs");
    EXPECT_EQ(OlderSite(u"").web->GetInformation().m_path, u"");
}

TEST(OlderWebCreate, NamesTheWebByTheServerOrByItsPath) {
    OlderSite site;
    EXPECT_EQ(site.web->GetInformation().m_name, u"docs");
    site.AddFolder("sites/docs", "<D:displayname>Papers</D:displayname>");
    EXPECT_EQ(site.web->UpdateInformation().m_name, u"Papers");
    site.answers["PROPFIND /sites/docs"] =
        OlderSite::Multistatus("<D:response><D:href>" + site.Host() + "/sites/docs</D:href></D:response>");
    EXPECT_EQ(site.web->UpdateInformation().m_name, u"sites") << "the start of its path";
}

TEST(OlderWebCreate, NeedsTheAddressOfAWebOnTheServer) {
    OlderSite site;
    const std::u16string url = site.Url(u"sites/docs/a.pdf");
    std::u16string path = u"untouched";
    site.web_url = "http://other/sites/docs";
    EXPECT_FALSE(SharePoint2013::Web::GetWebPath(*site.session, u"sites/docs/a.pdf", path));
    EXPECT_THROW(site.CreateWeb(url), HResultException);
    site.answers["POST /_vti_bin/Webs.asmx"] = Answer("500 Oops", "<soap:Envelope/>");
    EXPECT_THROW(site.CreateWeb(url), HResultException);
    EXPECT_EQ(path, u"untouched");
    site.answers["POST /_vti_bin/Webs.asmx"] = Answer("200 OK", "Please sign in");
    EXPECT_THROW(site.CreateWeb(url), Exception);
    site.answers["POST /_vti_bin/Webs.asmx"] = Answer("503 Later", "", "Retry-After: 7\r\n");
    try {
        site.CreateWeb(url);
        ADD_FAILURE() << "a busy server says nothing of the site";
    } catch (const HResultException& failure) {
        EXPECT_EQ(static_cast<uint32_t>(failure.code), 0x801901F7);
    }
}

TEST(OlderWebCreate, DecodesAnEscapedAddress) {
    OlderSite site;
    for (const std::string web : {"/sites/a%20b%C3%A4", "/sites/a b\xC3\xA4"}) {
        site.web_url = site.Host() + web;
        std::u16string path;
        EXPECT_TRUE(SharePoint2013::Web::GetWebPath(*site.session, u"sites/a b\u00E4/L/c.pdf", path)) << web;
        EXPECT_EQ(path, u"sites/a b\u00E4") << web;
    }
}

struct VersionRow {
    const char* name;
    const char* headers;
    bool is_compatible = false;
};

class IsCompatible : public testing::TestWithParam<VersionRow> {};

TEST_P(IsCompatible, FollowsTheFirstVersionWhateverTheStatus) {
    OlderSite site;
    for (const char* status : {"200 OK", "500 Oops"}) {
        site.server.Forget();
        site.fallback = Answer(status, "", GetParam().headers);
        EXPECT_EQ(SharePoint2013::Web::IsCompatible(site.session, u"a b"), GetParam().is_compatible);
        EXPECT_EQ(site.server.Lines(), Lines{"HEAD /a%20b"}) << status;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, IsCompatible,
    testing::Values(
        VersionRow{.name = "Of2013",
                   .headers = "MicrosoftSharePointTeamServices: 15.0.0.4420\r\n",
                   .is_compatible = true},
        VersionRow{.name = "OtherCase",
                   .headers = "microsoftsharepointteamservices: 16.0.0.1\r\n",
                   .is_compatible = true},
        VersionRow{
            .name = "OneNumber", .headers = "MicrosoftSharePointTeamServices: 15\r\n", .is_compatible = true},
        VersionRow{.name = "Of2010", .headers = "MicrosoftSharePointTeamServices: 14.0.0.7015\r\n"},
        VersionRow{.name = "NoNumber", .headers = "MicrosoftSharePointTeamServices: x16\r\n"},
        VersionRow{.name = "TwoVersions",
                   .headers = "MicrosoftSharePointTeamServices: 14.0\r\n"
                              "MicrosoftSharePointTeamServices: 16.0\r\n"},
        VersionRow{.name = "OtherHeader", .headers = "Server: 15.0\r\n"}),
    NameOfRow());

TEST(OlderWeb, IsNotCompatibleWithoutASession) {
    EXPECT_FALSE(SharePoint2013::Web::IsCompatible(nullptr, u"a"));
}

TEST(OlderBindObject, AsksOnceForAllProperties) {
    OlderSite site;
    site.AddFile("sites/docs/L/it%27s%20100%25%20%23%C3%A4.pdf", "<D:displayname>shown.pdf</D:displayname>");
    const auto object = site.Bind(u"sites/docs/L/it's 100% #\u00E4.pdf", Type::file);
    ASSERT_NE(object, nullptr);
    ASSERT_EQ(site.server.Lines(), Lines{"PROPFIND /sites/docs/L/it%27s%20100%25%20%23%C3%A4.pdf"});
    const auto request = site.server.Requests()[0];
    EXPECT_EQ(request.Header("depth"), "0");
    EXPECT_EQ(request.Header("accept"), "application/xml, text/xml");
    EXPECT_EQ(request.body, "<?xml version=\"1.0\" ?><D:propfind xmlns:D=\"DAV:\"><D:allprop/></D:propfind>");
    EXPECT_NE(object->AsFile(), nullptr);
    EXPECT_EQ(object->AsFolder(), nullptr);
    EXPECT_EQ(object->AsWeb(), nullptr);
    EXPECT_EQ(object->GetWeb(), site.web->GetWeb());
    EXPECT_EQ(object->GetInformation().m_path, u"sites/docs/L/it's 100% #\u00E4.pdf");
    EXPECT_EQ(object->GetRoot(), object->GetInformation().m_path);
    EXPECT_EQ(object->GetInformation().m_name, u"shown.pdf");
    EXPECT_EQ(object->GetInformation().m_size, 7u);
}

TEST(OlderBindObject, IsNullForA404AndThrowsForOtherFailures) {
    OlderSite site;
    for (const char* status : {"401 Unauthorized", "403 Forbidden", "423 Locked", "500 Oops", "503 Busy"}) {
        site.fallback = Answer(status);
        EXPECT_THROW(site.Bind(u"sites/docs/a.pdf"), Http::HttpException) << status;
    }
    // An answer that can't be read binds nothing, and doesn't say that the file is missing.
    for (const std::string& body :
         {std::string(), std::string("<html><body>Sign in<br></body></html>"),
          std::string("<D:multistatus><D:response><D:href>"), std::string("<D:multistatus/>"),
          "<a:multistatus><a:response><a:href>" + site.Host() +
              "/sites/docs/a.pdf</a:href></a:response>"
              "</a:multistatus>"}) {
        site.fallback = Answer("200 OK", body);
        EXPECT_EQ(site.Bind(u"sites/docs/a.pdf"), nullptr) << body;
        EXPECT_FALSE(site.web->IsFileKnownMissing(site.Url(u"sites/docs/a.pdf"))) << body;
    }
}

TEST(OlderBindObject, ReadsALinksAnswerWithoutMetadata) {
    OlderSite site;
    const std::string line = site.LinkLine();
    site.answers[line] =
        Answer("200 OK", R"({"ServerRelativeUrl":"/sites/docs/L/a.pdf","Name":"b.pdf","Length":"7",)"
                         R"("TimeCreated":"2013-05-01T10:20:30Z","TimeLastModified":"2013-05-01T10:20:31Z",)"
                         R"("CheckedOutByUser":{"LoginName":"d\\bob"}})");
    const auto object = site.Bind(u":b:/s/x/EaBc", Type::file);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(site.server.Requests()[0].Header("accept"), "application/json; odata=nometadata");
    const SharePoint::Information& information = object->GetInformation();
    EXPECT_EQ(information.m_name, u"b.pdf");
    EXPECT_EQ(information.m_created_time, 130118772300000000u);
    EXPECT_EQ(information.m_modified_time, 130118772310000000u);
    EXPECT_EQ(information.m_checkout_user, u"d\\bob");
    site.answers[line] =
        Answer("200 OK", R"({"ServerRelativeUrl":"/sites/docs/a.pdf","Name":"","CheckedOutByUser":null})");
    EXPECT_EQ(site.Bind(u":b:/s/x/EaBc")->GetInformation().m_name, u"a.pdf");
    for (const char* body : {R"({"ServerRelativeUrl":""})", R"({"ServerRelativeUrl":null})", "{}", "[]", "7",
                             R"({"d":{"ServerRelativeUrl":"/sites/docs/a.pdf"}})", "<html/>", ""}) {
        site.answers[line] = Answer("200 OK", body);
        EXPECT_EQ(site.Bind(u":b:/s/x/EaBc"), nullptr) << body;
    }
}

TEST(OlderEnumerate, KeepsTheServersOrderAndLeavesItselfOut) {
    OlderSite site;
    site.AddFolder("sites/docs/a%20b");
    const auto folder = site.BindKnown(u"sites/docs/a b");
    site.answers["PROPFIND /sites/docs/a%20b"] = OlderSite::Multistatus(
        site.File("sites/docs/a%20b/z.pdf") +
        site.Folder("sites/docs/A%20b/", "<D:displayname>x</D:displayname>") +
        site.Folder("sites/docs/a%20b/Z/") +
        "<D:response><D:href>http://other/sites/docs/a%20b/o.pdf</D:href></D:response>" +
        site.Item("sites/docs/a%20b/no-length.pdf", "") + "<D:other/>" + site.File("sites/docs/a%20b/a.pdf"));
    const Objects objects = folder->AsFolder()->Enumerate();
    EXPECT_EQ(Names(objects), (std::vector<std::string>{"z.pdf", "Z/", "a.pdf"}));
    EXPECT_EQ(objects[2]->GetInformation().m_path, u"sites/docs/a b/a.pdf");
    EXPECT_EQ(objects[2]->GetWeb(), site.web->GetWeb());
    ASSERT_EQ(site.server.Lines(), Lines{"PROPFIND /sites/docs/a%20b"});
    EXPECT_EQ(site.server.Requests()[0].Header("depth"), "1");

    SharePoint::Information information;
    EXPECT_TRUE(site.web->Enumerate(u"sites/docs/a b", false, &information).empty());
    EXPECT_EQ(information.m_name, u"x");
    EXPECT_EQ(site.server.Requests()[1].Header("depth"), "0");
}

TEST(OlderEnumerate, IsEmptyForAnswersOfAnotherShapeAndThrowsForARefusal) {
    OlderSite site;
    for (const char* body : {"", "<html/>", "{}", "<D:multistatus/>", "<D:response/>",
                             "<D:multistatus><D:response></D:response></D:multistatus>", "<D:multistatus>"}) {
        site.answers["PROPFIND /sites/docs"] = Answer("207 Multi-Status", body);
        EXPECT_TRUE(site.web->Enumerate().empty()) << body;
        EXPECT_EQ(site.web->UpdateInformation().m_path, u"sites/docs") << "the old information stays";
    }
    site.answers["PROPFIND /sites/docs"] = Answer("404 Not Found");
    EXPECT_THROW(site.web->Enumerate(), Http::HttpException);
}

TEST(OlderCreateFolder, MakesWhatIsMissingFromTheTopDown) {
    OlderSite site;
    site.AddFolder("sites/docs/a");
    site.answers["MKCOL /sites/docs/a/b"] = Answer("201 Created");
    site.answers["MKCOL /sites/docs/a/b/it%27s"] = OlderSite::ItemStatus("HTTP/1.1 200");
    EXPECT_TRUE(site.web->CreateFolderNoBind(site.Url(u"sites/docs/a/b/it's/")));
    EXPECT_EQ(site.server.Lines(),
              (Lines{"PROPFIND /sites/docs/a/b/it%27s", "PROPFIND /sites/docs/a/b", "PROPFIND /sites/docs/a",
                     "MKCOL /sites/docs/a/b", "MKCOL /sites/docs/a/b/it%27s"}));
    EXPECT_EQ(site.server.Requests()[3].Header("accept"), "application/xml, text/xml");
    EXPECT_EQ(site.server.Requests()[3].body, "");
}

TEST(OlderCreateFolder, FailsWhenTheServerRefuses) {
    OlderSite site;
    for (const char* status : {"403 Forbidden", "405 Method Not Allowed", "507 Full"}) {
        site.answers["MKCOL /sites/docs/new"] = Answer(status);
        EXPECT_THROW(site.web->CreateFolder(site.Url(u"sites/docs/new")), Http::HttpException) << status;
    }
    for (const auto& [status, made] : {std::pair{"x 423", false}, std::pair{"HTTP/1.1 423 Locked", true}}) {
        site.answers["MKCOL /sites/docs/new"] = OlderSite::ItemStatus(status);
        EXPECT_EQ(site.web->CreateFolderNoBind(site.Url(u"sites/docs/new")), made) << status;
    }
    // Nothing is made below a folder that can't be made.
    site.answers["MKCOL /sites/docs/new"] = OlderSite::ItemStatus("423");
    site.server.Forget();
    EXPECT_FALSE(site.web->CreateFolderNoBind(site.Url(u"sites/docs/new/more")));
    EXPECT_EQ(site.server.Lines().back(), "MKCOL /sites/docs/new");
}

TEST(OlderCreateFile, PutsAnEmptyFileInAFolderThatIsThere) {
    OlderSite site;
    site.AddFolder("sites/docs/L");
    site.AddFile("sites/docs/L/it%27s.pdf");
    site.answers["PUT /sites/docs/L/it%27s.pdf"] = Answer("201 Created");
    const auto object = site.web->CreateFile(site.Url(u"sites/docs/L/it's.pdf"));
    ASSERT_NE(object, nullptr);
    EXPECT_NE(object->AsFile(), nullptr);
    EXPECT_EQ(site.server.Lines(), (Lines{"PROPFIND /sites/docs/L", "PUT /sites/docs/L/it%27s.pdf",
                                          "PROPFIND /sites/docs/L/it%27s.pdf"}));
    EXPECT_EQ(site.server.Requests()[1].Header("accept"), "*/*");
    EXPECT_EQ(site.server.Requests()[1].Header("content-length"), "0");
    EXPECT_FALSE(site.server.Requests()[1].Has("x-requestdigest"));
    site.answers["PUT /sites/docs/L/it%27s.pdf"] = Answer("423 Locked");
    EXPECT_THROW(site.web->CreateFile(site.Url(u"sites/docs/L/it's.pdf")), Http::HttpException);
    site.answers["MKCOL /sites/docs/new"] = OlderSite::ItemStatus("423");
    site.server.Forget();
    EXPECT_EQ(site.web->CreateFile(site.Url(u"sites/docs/new/a.pdf")), nullptr);
    EXPECT_EQ(site.server.Lines().back(), "MKCOL /sites/docs/new") << "no file without its folder";
}

}  // namespace
