// Items of an older web and its users: moves, deletions, the right to edit, names of users.
#include "sharepoint/legacy/object.h"

#include <gtest/gtest.h>

#include "sharepoint/tests/site_test_fixture.h"

namespace {

using Lines = std::vector<std::string>;

constexpr char kUserGroup[] = "POST /sites/docs/_vti_bin/UserGroup.asmx";
constexpr char kAuthor[] = "POST /sites/docs/_vti_bin/_vti_aut/author.dll";

TEST(OlderObject, RenamesByAMoveThatReplacesItsTarget) {
    OlderSite site;
    site.AddFile("sites/docs/a%20b.pdf");
    const auto object = site.BindKnown(u"sites/docs/a b.pdf");
    const std::string line = "MOVE /sites/docs/a%20b.pdf";
    site.answers[line] = Answer("201 Created");
    object->Rename(u"sites/docs/it's \u00E4.pdf");
    ASSERT_EQ(site.server.Lines(), Lines{line});
    const auto request = site.server.Requests()[0];
    EXPECT_EQ(request.Header("destination"), "sites/docs/it%27s%20%C3%A4.pdf");
    EXPECT_EQ(request.Header("overwrite"), "T");
    EXPECT_EQ(request.Header("accept"), "application/xml, text/xml");
    EXPECT_EQ(request.body, "");
    // A partial failure is only logged.
    for (const char* status : {"HTTP/1.1 423", "HTTP/1.1 423 Locked", ""}) {
        site.answers[line] = OlderSite::ItemStatus(status);
        EXPECT_NO_THROW(object->Rename(u"x")) << status;
    }
    site.answers[line] = Answer("207 Multi-Status", "<html>");
    EXPECT_NO_THROW(object->Rename(u"x"));
    for (const char* status : {"403 Forbidden", "409 Conflict", "423 Locked"}) {
        site.answers[line] = Answer(status);
        EXPECT_THROW(object->Rename(u"x"), Http::HttpException) << status;
    }
}

TEST(OlderObject, IsDeletedByOneRequest) {
    OlderSite site;
    site.AddFolder("sites/docs/a%20b");
    const auto object = site.BindKnown(u"sites/docs/a b");
    site.answers["DELETE /sites/docs/a%20b"] = Answer("204 No Content");
    object->Delete();
    ASSERT_EQ(site.server.Lines(), Lines{"DELETE /sites/docs/a%20b"});
    EXPECT_EQ(site.server.Requests()[0].Header("accept"), "*/*");
    site.answers.erase("DELETE /sites/docs/a%20b");
    EXPECT_THROW(object->Delete(), Http::HttpException);
}

TEST(OlderObject, KeepsItsInformationWhenTheServerGivesNone) {
    OlderSite site;
    site.AddFile("sites/docs/a.pdf", "<D:displayname>first</D:displayname>");
    const auto object = site.BindKnown(u"sites/docs/a.pdf");
    site.AddFile("sites/docs/a.pdf", "<D:displayname>second</D:displayname>");
    EXPECT_EQ(object->UpdateInformation().m_name, u"second");
    std::string untold = site.File("sites/docs/a.pdf", "<D:displayname>third</D:displayname>");
    const size_t status = untold.find("200 OK");
    ASSERT_NE(status, std::string::npos);
    untold.replace(status, 6, "404 Not Found");
    for (const std::string& answer :
         {Answer("200 OK", "<html>"), OlderSite::Multistatus(""), OlderSite::Multistatus(untold),
          OlderSite::Multistatus(site.File("sites/docs/other.pdf")),
          OlderSite::Multistatus(site.Item("sites/docs/a.pdf", ""))}) {
        site.answers["PROPFIND /sites/docs/a.pdf"] = answer;
        EXPECT_EQ(object->UpdateInformation().m_name, u"second") << answer;
    }
    site.answers.clear();
    EXPECT_THROW(object->UpdateInformation(), Http::HttpException);
    EXPECT_EQ(object->GetInformation().m_name, u"second");
}

TEST(OlderObject, AsksTheAuthorServiceOfItsWebWhetherItCanBeEdited) {
    OlderSite site;
    site.AddFolder("sites/docs/a");
    const auto object = site.BindKnown(u"sites/docs/a");
    site.answers[kAuthor] = Answer("200 OK", "<li>vti_canmaybeedit\n<li>BX|true\n");
    EXPECT_TRUE(object->CanEdit());
    ASSERT_EQ(site.server.Lines(), Lines{kAuthor});
    EXPECT_NE(site.server.Requests()[0].body.find("url%5Flist=%5Ba%5D&"), std::string::npos)
        << site.server.Requests()[0].body;
    site.answers[kAuthor] = Answer("200 OK", "<li>vti_canmaybeedit\n<li>BX|false\n");
    EXPECT_FALSE(object->CanEdit());
    site.answers[kAuthor] = Answer("500 Oops");
    EXPECT_FALSE(object->CanEdit());
}

TEST(OlderUser, IsAskedOfTheUserServiceAndThenOfTheAuthorService) {
    OlderSite site;
    const auto user = [](const std::string& attributes) {
        return OlderSite::Soap("GetCurrentUserInfo",
                               "<GetUserInfo xmlns=\"n\"><User " + attributes + "/></GetUserInfo>");
    };
    site.answers[kAuthor] = Answer("200 OK", "<li>vti_username\n<li>SX|d&#92;fallback\n");
    site.answers[kUserGroup] = user("ID=\"4\" LoginName=\"i:0#.w|d\\bob\" Name=\"Bob\"");
    EXPECT_EQ(site.web->GetCurrentUser(), u"i:0#.w|d\\bob");
    ASSERT_EQ(site.server.Lines(), Lines{kUserGroup});
    const auto request = site.server.Requests()[0];
    EXPECT_EQ(request.Header("soapaction"),
              "\"http://schemas.microsoft.com/sharepoint/soap/directory/GetCurrentUserInfo\"");
    EXPECT_NE(request.body.find("<GetCurrentUserInfo "
                                "xmlns=\"http://schemas.microsoft.com/sharepoint/soap/directory/\">"
                                "</GetCurrentUserInfo>"),
              std::string::npos)
        << request.body;
    for (const std::string& answer :
         {user("Name=\"Bob\""), user("LoginName=\"\""), Answer("500 Oops"), Answer("404 Not Found"),
          OlderSite::Soap("GetCurrentUserInfo", ""), Answer("200 OK", "<soap:Envelope/>"),
          OlderSite::Soap("GetUserInfo", "<GetUserInfo><User LoginName=\"x\"/></GetUserInfo>")}) {
        site.answers[kUserGroup] = answer;
        site.server.Forget();
        EXPECT_EQ(site.web->GetCurrentUserSoap2010(), u"") << answer;
        EXPECT_EQ(site.web->GetCurrentUser(), u"d\\fallback") << answer;
        EXPECT_EQ(site.server.Lines(), (Lines{kUserGroup, kUserGroup, kAuthor}));
    }
    site.answers[kAuthor] = Answer("401 Unauthorized");
    EXPECT_EQ(site.web->GetCurrentUser(), u"");
    site.answers[kUserGroup] = Answer("200 OK", "Please sign in");
    EXPECT_THROW(site.web->GetCurrentUser(), Exception);
}

TEST(OlderUser, IsShownByNameAndMailOrByLogin) {
    OlderSite site;
    const auto show = [&](const std::string& attributes, const std::u16string& login) {
        site.answers[kUserGroup] =
            OlderSite::Soap("GetUserInfo", "<GetUserInfo><User " + attributes + "/></GetUserInfo>");
        return ToUtf8(site.web->GetUserDisplayName(login));
    };
    EXPECT_EQ(show("Name=\"Bob &amp; B\" Email=\"b@x\"", u"d\\bob"), "Bob & B <b@x>");
    EXPECT_EQ(show("Name=\"\xC3\x84\"", u"d\\bob"), "\xC3\x84");
    EXPECT_EQ(show("Name=\"\" Email=\"b@x\"", u"d\\bob"), "b@x");
    EXPECT_EQ(show("Name=\"\" Email=\"\"", u"i:0#.w|d\\bob"), "d\\bob");
    EXPECT_EQ(show("LoginName=\"other\"", u"d\\bob"), "d\\bob");
    // The request has the login without escaping.
    site.server.Forget();
    site.web->GetUserDisplayName(u"i:0#.w|d\\a&b\u00E4");
    const auto request = site.server.Requests().at(0);
    EXPECT_EQ(request.Header("soapaction"),
              "\"http://schemas.microsoft.com/sharepoint/soap/directory/GetUserInfo\"");
    EXPECT_NE(request.body.find("<userLoginName>i:0#.w|d\\a&b\xC3\xA4</userLoginName>"), std::string::npos)
        << request.body;
    for (const char* status : {"500 Oops", "403 Forbidden"}) {
        site.answers[kUserGroup] = Answer(status);
        EXPECT_EQ(site.web->GetUserDisplayName(u"i:0#.f|membership|bob"), u"bob") << status;
    }
}

TEST(OlderDigest, IsFetchedAnewForEachChangeWhileItIsYoung) {
    OlderSite site(u"sites/my docs");
    const std::string line = "POST /sites/my%20docs/_api/contextinfo";
    for (const char16_t* digest : {u"one", u"two"}) {
        site.answers[line] = Answer(
            "200 OK", R"({"FormDigestTimeoutSeconds":1800,"FormDigestValue":")" + ToUtf8(digest) + "\"}");
        EXPECT_EQ(site.web->GetDigest2013(), digest);
    }
    EXPECT_EQ(site.server.Lines(), (Lines{line, line}));
    EXPECT_EQ(site.server.Requests()[0].Header("accept"), "application/json; odata=nometadata");
    site.answers[line] = Answer("200 OK", R"({"FormDigestValue":"three"})");
    EXPECT_EQ(site.web->GetDigest2013(), u"three");
    for (const char* body :
         {"{}", "[]", R"({"d":{"GetContextWebInformation":{"FormDigestValue":"four"}}})", "no json"}) {
        site.answers[line] = Answer("200 OK", body);
        EXPECT_EQ(site.web->GetDigest2013(), u"") << body;
    }
    site.answers[line] = Answer("500 Oops");
    EXPECT_THROW(site.web->GetDigest2013(), Http::HttpException);
}

}  // namespace
