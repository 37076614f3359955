// Documents of an older server with canned answers: the exact requests, and every result of the workflow.
#include "sharepoint/legacy/file.h"

#include <gtest/gtest.h>

#include "sharepoint/tests/named_rows_test.h"
#include "sharepoint/tests/site_test_fixture.h"

namespace {

using SharePoint::File;

constexpr char kLists[] = "POST /sites/docs/_vti_bin/Lists.asmx";
constexpr char kPage[] = "/sites/docs/it%27s%20%23.pdf</pageUrl>";

struct Fixture {
    Fixture() {
        site.AddFile("sites/docs/it%27s%20%23.pdf");
        object = site.Bind(u"sites/docs/it's #.pdf");
        file = object->AsFile();
        site.server.Forget();
    }
    static std::string Fault(const std::string& code) {
        return Answer("500 Internal Server Error",
                      "<?xml version=\"1.0\"?><soap:Envelope xmlns:soap=\"s\"><soap:Body><soap:Fault><detail>"
                      "<errorcode>" +
                          code + "</errorcode></detail></soap:Fault></soap:Body></soap:Envelope>");
    }

    OlderSite site;
    std::shared_ptr<SharePoint::Object> object;
    std::shared_ptr<File> file;
};

TEST(OlderFile, ReadsAndWritesAtItsOwnAddress) {
    Fixture fixture;
    fixture.site.answers["GET /sites/docs/it%27s%20%23.pdf"] = Answer("200 OK", "bytes");
    fixture.site.answers["PUT /sites/docs/it%27s%20%23.pdf"] = Answer("200 OK");
    std::string bytes;
    fixture.file->Read().ReadBody(bytes);
    EXPECT_EQ(bytes, "bytes");
    Http::Request upload = fixture.file->Write(3);
    EXPECT_EQ(upload.Write("new", 3), 3u);
    upload.End();
    const auto requests = fixture.site.server.Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].Header("accept"), "application/octet-stream");
    EXPECT_EQ(requests[1].body, "new");
    EXPECT_EQ(requests[1].Header("content-type"), "application/octet-stream");
    EXPECT_FALSE(requests[1].Has("x-requestdigest"));
    fixture.site.answers.clear();
    EXPECT_EQ(StatusOf([&] { fixture.file->Read(); }), 404u);
}

TEST(OlderFile, CopiesAndMovesByTheirVerbs) {
    Fixture fixture;
    for (const char* verb : {"COPY", "MOVE"}) {
        fixture.site.answers[verb + std::string(" /sites/docs/it%27s%20%23.pdf")] = Answer("201 Created");
        fixture.site.server.Forget();
        verb == std::string("COPY") ? fixture.file->Copy(u"sites/docs/\u00E4 b")
                                    : fixture.file->Move(u"sites/docs/\u00E4 b");
        const auto requests = fixture.site.server.Requests();
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].Header("destination"), "sites/docs/%C3%A4%20b");
        EXPECT_EQ(requests[0].Header("overwrite"), "T");
    }
}

TEST(OlderFile, TheWorkflowIsAskedOfTheListService) {
    Fixture fixture;
    const std::string url = "<pageUrl>" + fixture.site.Host() + kPage;
    const struct {
        std::function<void()> call;
        std::string method, parameters;
    } rows[] = {
        {[&] { fixture.file->CheckOut(); }, "CheckOutFile", url + "<checkoutToLocal>false</checkoutToLocal>"},
        {[&] { fixture.file->DiscardCheckOut(); }, "UndoCheckOut",
         url + "<checkoutToLocal>false</checkoutToLocal>"},
        {[&] { fixture.file->CheckIn(u"a <b> \u00E4", 2); }, "CheckInFile",
         url + "<comment>a <b> \xC3\xA4</comment><CheckinType>2</CheckinType>"},
    };
    for (const auto& row : rows) {
        fixture.site.answers[kLists] = OlderSite::Soap(row.method, "True");
        fixture.site.server.Forget();
        row.call();
        const auto requests = fixture.site.server.Requests();
        ASSERT_EQ(requests.size(), 1u) << row.method;
        EXPECT_EQ(requests[0].Header("soapaction"),
                  "\"http://schemas.microsoft.com/sharepoint/soap/" + row.method + "\"");
        EXPECT_EQ(requests[0].Header("content-type"), "text/xml; charset=utf-8");
        EXPECT_NE(requests[0].body.find("<soap:Body><" + row.method +
                                        " xmlns=\"http://schemas.microsoft.com/sharepoint/soap/\">" +
                                        row.parameters + "</" + row.method + "></soap:Body></soap:Envelope>"),
                  std::string::npos)
            << requests[0].body;
    }
}

// The text of a result, which is the same for all methods.
struct ResultRow {
    const char* name;
    const char* text;
    bool is_done = false;
    const char* status = "200 OK";
};

class SoapResult : public testing::TestWithParam<ResultRow> {};

TEST_P(SoapResult, IsDoneByItsFirstLetter) {
    Fixture fixture;
    const auto answer_to = [&](const char* method) {
        fixture.site.answers[kLists] = OlderSite::Soap(method, GetParam().text, GetParam().status);
    };
    answer_to("CheckOutFile");
    EXPECT_EQ(fixture.file->CheckOut(), GetParam().is_done);
    EXPECT_EQ(fixture.file->CheckIn(u"", 1), File::cirFail) << "the result of another method";
    answer_to("UndoCheckOut");
    EXPECT_EQ(fixture.file->DiscardCheckOut(), GetParam().is_done ? File::dcrOk : File::dcrFail);
    answer_to("CheckInFile");
    EXPECT_EQ(fixture.file->CheckIn(u"", 1), GetParam().is_done ? File::cirOk : File::cirFail);
    EXPECT_FALSE(fixture.file->CheckOut()) << "the result of another method";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SoapResult,
    testing::Values(
        ResultRow{.name = "True", .text = "true", .is_done = true},
        ResultRow{.name = "One", .text = "1", .is_done = true},
        ResultRow{.name = "Yes", .text = "yes", .is_done = true},
        ResultRow{.name = "CapitalY", .text = "Y", .is_done = true},
        ResultRow{.name = "False", .text = "false"}, ResultRow{.name = "Empty", .text = ""},
        ResultRow{.name = "OtherWord", .text = "x"},
        ResultRow{.name = "TrueOfAChoice", .text = "true", .is_done = true, .status = "300 Choices"},
        ResultRow{
            .name = "TrueOfTheLastRedirection", .text = "true", .is_done = true, .status = "399 Elsewhere"},
        ResultRow{.name = "FalseOfAChoice", .text = "false", .status = "300 Choices"}),
    NameOfRow());

// An answer of a failed call, and the results that it becomes; nothing when it is thrown.
struct FaultRow {
    const char* name;
    std::string answer;
    std::optional<File::DiscardResult> discard = std::nullopt;
    std::optional<File::CheckInResult> check_in = std::nullopt;
    uint32_t thrown_status = 500;
};

FaultRow NoVersion(const char* name, const char* code) {
    return {.name = name, .answer = Fixture::Fault(code), .discard = File::dcrNoCheckedInVersion};
}

FaultRow NoProperties(const char* name, const char* code) {
    return {.name = name, .answer = Fixture::Fault(code), .check_in = File::cirRequiredProperties};
}

class SoapFault : public testing::TestWithParam<FaultRow> {};

TEST_P(SoapFault, IsAResultWhenItsCodeIsKnown) {
    Fixture fixture;
    fixture.site.answers[kLists] = GetParam().answer;
    std::optional<File::DiscardResult> discard;
    std::optional<File::CheckInResult> check_in;
    EXPECT_EQ(StatusOf([&] { discard = fixture.file->DiscardCheckOut(); }),
              GetParam().discard ? 0 : GetParam().thrown_status);
    EXPECT_EQ(StatusOf([&] { check_in = fixture.file->CheckIn(u"", 1); }),
              GetParam().check_in ? 0 : GetParam().thrown_status);
    EXPECT_EQ(StatusOf([&] { fixture.file->CheckOut(); }), GetParam().thrown_status);
    EXPECT_EQ(discard, GetParam().discard);
    EXPECT_EQ(check_in, GetParam().check_in);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SoapFault,
    testing::Values(
        NoVersion("NoVersion", "0x8107218A"), NoVersion("NoVersionInSmallLetters", "0X8107218a"),
        NoVersion("NoVersionSigned", "-2130239094"), NoVersion("NoVersionUnsigned", "2164728202"),
        NoProperties("NoProperties", "0x82000009"), NoProperties("NoPropertiesSigned", "-2113929207"),
        FaultRow{.name = "OtherCode", .answer = Fixture::Fault("0x80070005")},
        FaultRow{.name = "NoNumber", .answer = Fixture::Fault("soon")},
        FaultRow{.name = "NoXml", .answer = Answer("500 Oops", "no XML")},
        FaultRow{.name = "NoBody", .answer = Answer("500 Oops")},
        FaultRow{.name = "Forbidden", .answer = Answer("403 Forbidden"), .thrown_status = 403},
        FaultRow{.name = "TooManyRequests", .answer = Answer("429 Too Many Requests"), .thrown_status = 429}),
    NameOfRow());

// So is a redirection without an address.
TEST(OlderFile, ASuccessWithoutXmlIsAFailure) {
    Fixture fixture;
    for (const std::string& answer :
         {Answer("200 OK", "Please sign in"), Answer("302 Found"), Answer("304 Not Modified")}) {
        fixture.site.answers[kLists] = answer;
        EXPECT_THROW(fixture.file->CheckOut(), Exception) << answer;
        EXPECT_THROW(fixture.file->DiscardCheckOut(), Exception) << answer;
        EXPECT_THROW(fixture.file->CheckIn(u"", 1), Exception) << answer;
    }
}

TEST(OlderFile, TheHolderOfACheckOutIsComparedExactly) {
    Fixture fixture;
    const auto lock = [](const std::string& owner) {
        return "<D:lockdiscovery><D:activelock><D:owner>" + owner +
               "</D:owner></D:activelock></D:lockdiscovery>";
    };
    const char* const address = "sites/docs/it%27s%20%23.pdf";
    const std::string users = "POST /sites/docs/_vti_bin/UserGroup.asmx";
    EXPECT_EQ(fixture.file->GetCheckOutState(nullptr), File::CheckOutState::none);
    fixture.site.AddFile(address, lock("d\\bob"));
    EXPECT_EQ(fixture.file->GetCheckOutState(nullptr), File::CheckOutState::unknown)
        << "the current user can't be told";
    fixture.site.answers[users] = OlderSite::Soap(
        "GetCurrentUserInfo", "<GetUserInfo><User LoginName=\"d\\bob\" Name=\"Bob\"/></GetUserInfo>");
    EXPECT_EQ(fixture.file->GetCheckOutState(nullptr), File::CheckOutState::me);
    fixture.site.AddFile(address, lock("D\\bob"));
    std::u16string holder;
    EXPECT_EQ(fixture.file->GetCheckOutState(&holder), File::CheckOutState::other_user)
        << "another case is another user";
    EXPECT_EQ(holder, u"D\\bob");
}

}  // namespace
