// The author service: its requests to the byte, and what is read from its pages.
#include "sharepoint/legacy/front_page.h"

#include <gtest/gtest.h>

#include "base/text/encoding.h"
#include "tests/support/loopback_test_server.h"

namespace {

struct AuthorService {
    std::string answer = Answer("200 OK");
    LoopbackTestServer server{[this](const LoopbackTestServer::Request&) { return answer; }};
    std::shared_ptr<Http::Session> http =
        Http::Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
};

TEST(FrontPage, AsksForADocumentInItsOwnEncoding) {
    const struct {
        const char16_t *web, *object;
        const char *line, *item;
    } rows[] = {
        {u"sites/a", u"sites/a/Lib/a b.pdf", "POST /sites/a/_vti_bin/_vti_aut/author.dll", "Lib%2Fa+b%2Epdf"},
        {u"sites/a/", u"sites/a/[x].pdf", "POST /sites/a/_vti_bin/_vti_aut/author.dll",
         "%5C%5Bx%5C%5D%2Epdf"},
        {u"", u"\u00E4'%.pdf", "POST /_vti_bin/_vti_aut/author.dll", "%C3%A4%27%25%2Epdf"},
        {u"sites/a", u"sites/a", "POST /sites/a/_vti_bin/_vti_aut/author.dll", ""},
    };
    for (const auto& row : rows) {
        AuthorService service;
        FrontPage::CanEdit(*service.http, row.web, row.object);
        const auto requests = service.server.Requests();
        ASSERT_EQ(requests.size(), 1u) << row.line;
        EXPECT_EQ(requests[0].Line(), row.line);
        EXPECT_EQ(requests[0].body, std::string("method=getDocsMetaInfo%3A12%2E0%2E0%2E0&url%5Flist=%5B") +
                                        row.item + "%5D&listHiddenDocs=true&listLinkInfo=false");
        EXPECT_EQ(requests[0].Header("content-type"), "application/x-www-form-urlencoded");
        EXPECT_EQ(requests[0].Header("x-vermeer-content-type"), "application/x-www-form-urlencoded");
    }
    AuthorService service;
    EXPECT_FALSE(FrontPage::CanEdit(*service.http, u"sites/a", u"sites/b/x.pdf"));
    EXPECT_TRUE(service.server.Requests().empty()) << "an object of another web isn't asked for";
}

TEST(FrontPage, OnlySixTextsForbidEditing) {
    for (const char* end : {"\n", "\r\n"}) {
        const auto says = [&](const std::string& value) {
            return FromUtf8(std::string("x<li>vti_canmaybeedit") + end + "<li>BX|" + value + end + "y");
        };
        for (const char* value : {"false", "f", "0"})
            EXPECT_TRUE(FrontPage::ForbidsEditing(says(value))) << value;
        for (const char* value : {"true", "FALSE", "false ", "no", "00", ""})
            EXPECT_FALSE(FrontPage::ForbidsEditing(says(value))) << value;
    }
    EXPECT_FALSE(FrontPage::ForbidsEditing(u"<li>vti_canmaybeedit\n<li>BX|false\r\n"));
    EXPECT_FALSE(FrontPage::ForbidsEditing(u""));
}

TEST(FrontPage, TheUserIsReadToTheEndOfItsLineWithItsEntities) {
    const struct {
        const char16_t *page, *user;
    } rows[] = {
        {u"a<li>vti_username\n<li>SX|CONTOSO&#92;alice\nb", u"CONTOSO\\alice"},
        {u"<li>vti_username\r\n<li>SX|d\\a\r\n<li>", u"d\\a"},
        {u"<li>vti_username\n<li>SX|ab\rcd\n", u"ab"},
        {u"<li>vti_username\n<li>SX|&#000000000092;&#x00000000005C;&#92 ;\n", u"\\\\&#92 ;"},
        {u"<li>vti_username\n<li>SX|no end", u"no end"},
        {u"<li>vti_username\n<li>SX|&#x5c;&#x1F600;&quot;&AMP;&apos;&lt;&GT;\n", u"\\\U0001F600\"&'<>"},
        {u"<li>vti_username\n<li>SX|&nbsp; &Amp; &#; &#x; &#xg; &#9999999; &amp\n",
         u"&nbsp; &Amp; &#; &#x; &#xg; &#9999999; &amp"},
        {u"<li>vti_username\n<li>SX|\n", u""},
    };
    for (const auto& row : rows) EXPECT_EQ(FrontPage::ReadUserName(row.page), row.user) << ToUtf8(row.page);
    EXPECT_EQ(FrontPage::ReadUserName(u"<li>vti_username\n<li>SR|x\n"), std::nullopt);
    EXPECT_EQ(FrontPage::ReadUserName(u""), std::nullopt);
}

TEST(FrontPage, FailuresAreTheCarefulAnswer) {
    AuthorService service;
    for (const std::string& answer : {Answer("200 OK"), Answer("401 Unauthorized"), Answer("500 Oops", "x"),
                                      Answer("404 Not Found"), std::string("no HTTP")}) {
        service.answer = answer;
        EXPECT_FALSE(FrontPage::CanEdit(*service.http, u"a", u"a/b")) << answer;
        EXPECT_EQ(FrontPage::GetCurrentUser(*service.http, u"a"), u"") << answer;
    }
    service.answer = Answer("200 OK", "<html>nothing about it</html>");
    EXPECT_TRUE(FrontPage::CanEdit(*service.http, u"a", u"a/b"));
    EXPECT_EQ(FrontPage::GetCurrentUser(*service.http, u"a"), u"");
    service.server.Forget();
    service.answer = Answer("200 OK", "<li>vti_username\n<li>SX|bob\n");
    EXPECT_EQ(FrontPage::GetCurrentUser(*service.http, u"a"), u"bob");
    EXPECT_EQ(service.server.Requests()[0].body, "method=open+service%3A12%2E0%2E0%2E0");
}

}  // namespace
