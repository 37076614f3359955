// The author service: the exact requests, and what is read from its pages.
#include "sharepoint/legacy/front_page.h"

#include <gtest/gtest.h>

#include "base/text/encoding.h"
#include "sharepoint/tests/named_rows_test.h"
#include "tests/support/loopback/loopback_test_server.h"

namespace {

struct AuthorService {
    std::string answer = Answer("200 OK");
    LoopbackTestServer server{[this](const LoopbackTestServer::Request&) { return answer; }};
    std::shared_ptr<Http::Session> http =
        Http::Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
};

struct QuestionRow {
    const char* name;
    const char16_t* web;
    const char16_t* object;
    const char* line = "POST /sites/a/_vti_bin/_vti_aut/author.dll";
    const char* item = "";
};

class EditQuestion : public testing::TestWithParam<QuestionRow> {};

TEST_P(EditQuestion, NamesTheDocumentInItsOwnEncoding) {
    AuthorService service;
    FrontPage::CanEdit(*service.http, GetParam().web, GetParam().object);
    const auto requests = service.server.Requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].Line(), GetParam().line);
    EXPECT_EQ(requests[0].body, std::string("method=getDocsMetaInfo%3A12%2E0%2E0%2E0&url%5Flist=%5B") +
                                    GetParam().item + "%5D&listHiddenDocs=true&listLinkInfo=false");
    EXPECT_EQ(requests[0].Header("content-type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(requests[0].Header("x-vermeer-content-type"), "application/x-www-form-urlencoded");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, EditQuestion,
    testing::Values(QuestionRow{.name = "Blank",
                                .web = u"sites/a",
                                .object = u"sites/a/Lib/a b.pdf",
                                .item = "Lib%2Fa+b%2Epdf"},
                    QuestionRow{.name = "Brackets",
                                .web = u"sites/a/",
                                .object = u"sites/a/[x].pdf",
                                .item = "%5C%5Bx%5C%5D%2Epdf"},
                    QuestionRow{.name = "RootWeb",
                                .web = u"",
                                .object = u"\u00E4'%.pdf",
                                .line = "POST /_vti_bin/_vti_aut/author.dll",
                                .item = "%C3%A4%27%25%2Epdf"},
                    QuestionRow{.name = "TheWebItself", .web = u"sites/a", .object = u"sites/a"}),
    NameOfRow());

TEST(FrontPage, AnObjectOfAnotherWebIsNotAskedFor) {
    AuthorService service;
    EXPECT_FALSE(FrontPage::CanEdit(*service.http, u"sites/a", u"sites/b/x.pdf"));
    EXPECT_TRUE(service.server.Requests().empty());
}

struct PageRow {
    const char* name;
    const char16_t* page;
    std::optional<std::u16string> user = std::nullopt;
};

class UserName : public testing::TestWithParam<PageRow> {};

TEST_P(UserName, IsReadToTheEndOfItsLineWithItsEntities) {
    EXPECT_EQ(FrontPage::ReadUserName(GetParam().page), GetParam().user);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UserName,
    testing::Values(
        PageRow{.name = "DecimalEntity",
                .page = u"a<li>vti_username\n<li>SX|CONTOSO&#92;alice\nb",
                .user = u"CONTOSO\\alice"},
        PageRow{.name = "TwoLineEnds", .page = u"<li>vti_username\r\n<li>SX|d\\a\r\n<li>", .user = u"d\\a"},
        PageRow{.name = "CarriageReturn", .page = u"<li>vti_username\n<li>SX|ab\rcd\n", .user = u"ab"},
        PageRow{.name = "LongNumbers",
                .page = u"<li>vti_username\n<li>SX|&#000000000092;&#x00000000005C;&#92 ;\n",
                .user = u"\\\\&#92 ;"},
        PageRow{.name = "NoEnd", .page = u"<li>vti_username\n<li>SX|no end", .user = u"no end"},
        PageRow{.name = "Names",
                .page = u"<li>vti_username\n<li>SX|&#x5c;&#x1F600;&quot;&AMP;&apos;&lt;&GT;\n",
                .user = u"\\\U0001F600\"&'<>"},
        PageRow{.name = "NoEntities",
                .page = u"<li>vti_username\n<li>SX|&nbsp; &Amp; &#; &#x; &#xg; &#9999999; &amp\n",
                .user = u"&nbsp; &Amp; &#; &#x; &#xg; &#9999999; &amp"},
        PageRow{.name = "Empty", .page = u"<li>vti_username\n<li>SX|\n", .user = u""},
        PageRow{.name = "OtherType", .page = u"<li>vti_username\n<li>SR|x\n"},
        PageRow{.name = "EmptyPage", .page = u""}),
    NameOfRow());

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

TEST(FrontPage, AFailureMeansNoRightAndNoUser) {
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
