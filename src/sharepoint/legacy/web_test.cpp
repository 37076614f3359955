// The older web against canned answers: which requests it sends, to the byte, and what it makes of the
// answers.
#include "sharepoint/legacy/web.h"

#include <gtest/gtest.h>

#include "sharepoint/legacy/site_test_fixture.h"

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
    OlderSiteFixture site(u"sites/my docs");
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
    EXPECT_EQ(OlderSiteFixture(u"").web->GetInformation().m_path, u"");
}

TEST(OlderWebCreate, NamesTheWebByTheServerOrByItsPath) {
    OlderSiteFixture site;
    EXPECT_EQ(site.web->GetInformation().m_name, u"docs");
    site.AddFolder("sites/docs", "<D:displayname>Papers</D:displayname>");
    EXPECT_EQ(site.web->UpdateInformation().m_name, u"Papers");
    site.answers["PROPFIND /sites/docs"] = OlderSiteFixture::Multistatus(
        "<D:response><D:href>" + site.Host() + "/sites/docs</D:href></D:response>");
    EXPECT_EQ(site.web->UpdateInformation().m_name, u"sites")
        << "without properties, by its path's beginning";
}

TEST(OlderWebCreate, RefusesWhatIsNotOnTheServer) {
    OlderSiteFixture site;
    const auto code_of = [&](const std::u16string& url) {
        try {
            SharePoint2013::Web::Create(site.session, url);
        } catch (const HResultException& failure) {
            return failure.code;
        }
        return S_OK;
    };
    EXPECT_EQ(code_of(u"http://other/sites/docs"), E_INVALIDARG);
    EXPECT_EQ(code_of(u"no url"), E_INVALIDARG);
    EXPECT_TRUE(site.server.Lines().empty());
    std::u16string path = u"untouched";
    site.web_url = "http://other/sites/docs";
    EXPECT_FALSE(SharePoint2013::Web::GetWebPath(*site.session, u"sites/docs/a.pdf", path));
    EXPECT_EQ(code_of(site.Url(u"sites/docs/a.pdf")), E_INVALIDARG);
    site.answers["POST /_vti_bin/Webs.asmx"] = Answer("500 Oops", "<soap:Envelope/>");
    EXPECT_EQ(code_of(site.Url(u"sites/docs/a.pdf")), E_INVALIDARG);
    EXPECT_EQ(path, u"untouched");
    site.answers["POST /_vti_bin/Webs.asmx"] = Answer("200 OK", "Please sign in");
    EXPECT_THROW(SharePoint2013::Web::Create(site.session, site.Url(u"sites/docs/a.pdf")), Exception);
}

TEST(OlderWeb, IsCompatibleFromVersion15On) {
    OlderSiteFixture site;
    const struct {
        const char* headers;
        bool compatible;
    } rows[] = {
        {"MicrosoftSharePointTeamServices: 15.0.0.4420\r\n", true},
        {"microsoftsharepointteamservices: 16.0.0.1\r\n", true},
        {"MicrosoftSharePointTeamServices: 15\r\n", true},
        {"MicrosoftSharePointTeamServices: 14.0.0.7015\r\n", false},
        {"MicrosoftSharePointTeamServices: 6.0.2.5530\r\n", false},
        {"MicrosoftSharePointTeamServices: x16\r\n", false},
        {"MicrosoftSharePointTeamServices: 14.0\r\nMicrosoftSharePointTeamServices: 16.0\r\n", false},
        {"Server: 15.0\r\n", false},
    };
    for (const auto& row : rows) {
        for (const char* status : {"200 OK", "500 Oops"}) {
            site.server.Forget();
            site.fallback = Answer(status, "", row.headers);
            EXPECT_EQ(SharePoint2013::Web::IsCompatible(site.session, u"a b"), row.compatible) << row.headers;
            EXPECT_EQ(site.server.Lines(), Lines{"HEAD /a%20b"}) << status << row.headers;
        }
    }
    EXPECT_FALSE(SharePoint2013::Web::IsCompatible(nullptr, u"a"));
}

TEST(OlderWeb, IsAFolderThatCannotBeRenamedOrDeleted) {
    OlderSiteFixture site;
    EXPECT_EQ(site.web->AsFolder().get(), static_cast<SharePoint::Folder*>(site.web.get()));
    EXPECT_EQ(site.web->AsWeb(), site.web->GetWeb());
    EXPECT_EQ(site.web->AsFile(), nullptr);
    EXPECT_FALSE(site.web->CanEdit());
    EXPECT_THROW(site.web->Rename(u"x"), Exception);
    EXPECT_THROW(site.web->Delete(), Exception);
    EXPECT_TRUE(site.server.Lines().empty());
}

TEST(OlderBindObject, AsksOnceForAllProperties) {
    OlderSiteFixture site;
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

TEST(OlderBindObject, GivesOnlyTheKindThatIsAskedFor) {
    OlderSiteFixture site;
    site.AddFile("sites/docs/a.pdf");
    site.AddFolder("sites/docs/L");
    site.answers["PROPFIND /sites/docs/L/"] = site.answers["PROPFIND /sites/docs/L"];
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

TEST(OlderBindObject, OnlyA404IsNothing) {
    OlderSiteFixture site;
    for (const char* status : {"401 Unauthorized", "403 Forbidden", "423 Locked", "500 Oops", "503 Busy"}) {
        site.fallback = Answer(status);
        EXPECT_THROW(site.Bind(u"sites/docs/a.pdf"), Http::HttpException) << status;
    }
    // What can't be read is nothing to bind, and yet not known to be missing.
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

TEST(OlderWeb, KnowsAFileMissingOnlyWhenTheServerSaysSo) {
    OlderSiteFixture site;
    site.server.Forget();
    for (const auto& [status, missing] :
         {std::pair{"404 Not Found", true}, std::pair{"200 OK", false}, std::pair{"401 Unauthorized", false},
          std::pair{"403 Forbidden", false}, std::pair{"410 Gone", false}, std::pair{"500 Oops", false}}) {
        site.fallback = Answer(status);
        EXPECT_EQ(site.web->IsFileKnownMissing(site.Url(u"sites/docs/100%20 #\u00E4.pdf")), missing)
            << status;
    }
    for (const std::string& line : site.server.Lines())
        EXPECT_EQ(line, "HEAD /sites/docs/100%2520%20%23%C3%A4.pdf");
    site.fallback = Answer("404 Not Found");
    EXPECT_FALSE(site.web->IsFileKnownMissing(site.Url(u"sites/docs")));
    EXPECT_FALSE(site.web->IsFileKnownMissing(site.Url(u"sites/other/a.pdf")));
    EXPECT_FALSE(site.web->IsFileKnownMissing(u"http://other/sites/docs/a.pdf"));
}

TEST(OlderBindObject, FollowsASharingLinkOverRest) {
    OlderSiteFixture site;
    const std::string line =
        "GET "
        "/_api/SP.RemoteWeb(@url)/web/GetFileByUrl(@url)?$select=ServerRelativeUrl,Name,Length,TimeCreated,"
        "TimeLastModified,CheckedOutByUser/LoginName&$expand=CheckedOutByUser&@url='http%3A//127.0.0.1%3A" +
        std::to_string(site.server.Port()) + "/%3Ab%3A/s/x/EaBc'";
    EXPECT_THROW(site.Bind(u":b:/s/x/EaBc"), Http::HttpException);
    EXPECT_EQ(site.server.Lines(), Lines{line});
    EXPECT_EQ(site.server.Requests()[0].Header("accept"), "application/json; odata=nometadata");
    site.answers[line] =
        Answer("200 OK", R"({"ServerRelativeUrl":"/sites/docs/L/a.pdf","Name":"b.pdf","Length":"7",)"
                         R"("TimeCreated":"2013-05-01T10:20:30Z","TimeLastModified":"2013-05-01T10:20:31Z",)"
                         R"("CheckedOutByUser":{"LoginName":"d\\bob"}})");
    const auto object = site.Bind(u":b:/s/x/EaBc", Type::file);
    ASSERT_NE(object, nullptr);
    const SharePoint::Information& information = object->GetInformation();
    EXPECT_EQ(information.m_path, u"sites/docs/L/a.pdf");
    EXPECT_EQ(information.m_name, u"b.pdf");
    EXPECT_EQ(information.m_size, 7u);
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
    site.server.Forget();
    EXPECT_EQ(site.Bind(u":b:/s/x/EaBc", Type::folder), nullptr);
    EXPECT_TRUE(site.server.Lines().empty());
}

TEST(OlderEnumerate, KeepsTheServersOrderAndLeavesItselfOut) {
    OlderSiteFixture site;
    site.AddFolder("sites/docs/a%20b");
    const auto folder = site.Bind(u"sites/docs/a b");
    ASSERT_NE(folder, nullptr);
    site.answers["PROPFIND /sites/docs/a%20b"] = OlderSiteFixture::Multistatus(
        site.File("sites/docs/a%20b/z.pdf") +
        site.Folder("sites/docs/A%20b/", "<D:displayname>x</D:displayname>") +
        site.Folder("sites/docs/a%20b/Z/") +
        "<D:response><D:href>http://other/sites/docs/a%20b/o.pdf</D:href></D:response>" +
        site.Item("sites/docs/a%20b/no-length.pdf", "") + "<D:other/>" + site.File("sites/docs/a%20b/a.pdf"));
    site.server.Forget();
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
    OlderSiteFixture site;
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
    OlderSiteFixture site;
    site.AddFolder("sites/docs/a");
    site.answers["MKCOL /sites/docs/a/b"] = Answer("201 Created");
    site.answers["MKCOL /sites/docs/a/b/it%27s"] =
        OlderSiteFixture::Multistatus("<D:response><D:status>HTTP/1.1 200</D:status></D:response>");
    EXPECT_TRUE(site.web->CreateFolderNoBind(site.Url(u"sites/docs/a/b/it's/")));
    EXPECT_EQ(site.server.Lines(),
              (Lines{"PROPFIND /sites/docs/a/b/it%27s", "PROPFIND /sites/docs/a/b", "PROPFIND /sites/docs/a",
                     "MKCOL /sites/docs/a/b", "MKCOL /sites/docs/a/b/it%27s"}));
    EXPECT_EQ(site.server.Requests()[3].Header("accept"), "application/xml, text/xml");
    EXPECT_EQ(site.server.Requests()[3].body, "");

    site.AddFolder("sites/docs/a/b/it%27s");
    site.server.Forget();
    EXPECT_NE(site.web->CreateFolder(site.Url(u"sites/docs/a/b/it's")), nullptr);
    for (const std::string& line : site.server.Lines()) EXPECT_TRUE(line.starts_with("PROPFIND ")) << line;
}

TEST(OlderCreateFolder, FailsOutsideTheWebAndWhenTheServerRefuses) {
    OlderSiteFixture site;
    EXPECT_TRUE(site.web->CreateFolderNoBind(site.Url(u"")));
    EXPECT_FALSE(site.web->CreateFolderNoBind(u"http://other/x"));
    EXPECT_FALSE(site.web->CreateFolderNoBind(site.Url(u"elsewhere/x")));
    EXPECT_EQ(site.web->CreateFolder(site.Url(u"sites/docs")), nullptr);
    site.server.Forget();
    for (const char* status : {"403 Forbidden", "405 Method Not Allowed", "507 Full"}) {
        site.answers["MKCOL /sites/docs/new"] = Answer(status);
        EXPECT_THROW(site.web->CreateFolder(site.Url(u"sites/docs/new")), Http::HttpException) << status;
    }
    for (const auto& [status, made] : {std::pair{"x 423", false}, std::pair{"HTTP/1.1 423 Locked", true}}) {
        site.answers["MKCOL /sites/docs/new"] = OlderSiteFixture::Multistatus(
            "<D:response><D:status>" + std::string(status) + "</D:status></D:response>");
        EXPECT_EQ(site.web->CreateFolderNoBind(site.Url(u"sites/docs/new")), made) << status;
    }
    // The first failure ends it: nothing is made below a folder that isn't there.
    site.answers["MKCOL /sites/docs/new"] =
        OlderSiteFixture::Multistatus("<D:response><D:status>423</D:status></D:response>");
    site.server.Forget();
    EXPECT_FALSE(site.web->CreateFolderNoBind(site.Url(u"sites/docs/new/more")));
    EXPECT_EQ(site.server.Lines().back(), "MKCOL /sites/docs/new");
}

TEST(OlderCreateFile, PutsAnEmptyFileInAFolderThatIsThere) {
    OlderSiteFixture site;
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
    EXPECT_EQ(site.web->CreateFile(site.Url(u"sites/docs")), nullptr);
    EXPECT_EQ(site.web->CreateFile(u"http://other/a.pdf"), nullptr);
    site.answers["MKCOL /sites/docs/new"] =
        OlderSiteFixture::Multistatus("<D:response><D:status>423</D:status></D:response>");
    site.server.Forget();
    EXPECT_EQ(site.web->CreateFile(site.Url(u"sites/docs/new/a.pdf")), nullptr);
    EXPECT_EQ(site.server.Lines().back(), "MKCOL /sites/docs/new") << "no file without its folder";
}

}  // namespace
