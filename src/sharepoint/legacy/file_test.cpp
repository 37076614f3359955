// Documents of an older server against canned answers: every exchange, and every outcome of the workflow.
#include "sharepoint/legacy/file.h"

#include <gtest/gtest.h>

#include "sharepoint/legacy/site_test_fixture.h"

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

    OlderSiteFixture site;
    std::shared_ptr<SharePoint::Object> object;
    std::shared_ptr<File> file;
};

uint32_t StatusOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const Http::HttpException& failure) {
        return failure.status;
    }
    return 0;
}

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
        fixture.site.answers[kLists] = OlderSiteFixture::Soap(row.method, "True");
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

TEST(OlderFile, BooleansOfResultsGoByTheirFirstLetter) {
    Fixture fixture;
    for (const char* yes : {"true", "True", "1", "yes", "Y", "t"}) {
        fixture.site.answers[kLists] = OlderSiteFixture::Soap("CheckOutFile", yes);
        EXPECT_TRUE(fixture.file->CheckOut()) << yes;
        fixture.site.answers[kLists] = OlderSiteFixture::Soap("UndoCheckOut", yes);
        EXPECT_EQ(fixture.file->DiscardCheckOut(), File::dcrOk);
        fixture.site.answers[kLists] = OlderSiteFixture::Soap("CheckInFile", yes);
        EXPECT_EQ(fixture.file->CheckIn(u"", 1), File::cirOk);
    }
    for (const char* no : {"false", "0", "", "x"}) {
        fixture.site.answers[kLists] = OlderSiteFixture::Soap("CheckOutFile", no);
        EXPECT_FALSE(fixture.file->CheckOut()) << no;
        fixture.site.answers[kLists] = OlderSiteFixture::Soap("UndoCheckOut", no);
        EXPECT_EQ(fixture.file->DiscardCheckOut(), File::dcrFail);
        fixture.site.answers[kLists] = OlderSiteFixture::Soap("CheckInFile", no);
        EXPECT_EQ(fixture.file->CheckIn(u"", 1), File::cirFail);
    }
    fixture.site.answers[kLists] = OlderSiteFixture::Soap("Another", "true");
    EXPECT_FALSE(fixture.file->CheckOut());
    EXPECT_EQ(fixture.file->CheckIn(u"", 1), File::cirFail);
    fixture.site.answers[kLists] = Answer("200 OK", "no XML");
    EXPECT_THROW(fixture.file->CheckOut(), Exception);
    EXPECT_THROW(fixture.file->CheckIn(u"", 1), Exception);
}

TEST(OlderFile, KnownFaultsAreResultsAndOthersFly) {
    Fixture fixture;
    for (const char* code : {"0x8107218A", "0x8107218a", "0X8107218A", "-2130239094", "2164728202"}) {
        fixture.site.answers[kLists] = Fixture::Fault(code);
        EXPECT_EQ(fixture.file->DiscardCheckOut(), File::dcrNoCheckedInVersion) << code;
        EXPECT_EQ(StatusOf([&] { fixture.file->CheckIn(u"", 1); }), 500u) << code;
        EXPECT_EQ(StatusOf([&] { fixture.file->CheckOut(); }), 500u) << code;
    }
    for (const char* code : {"0x82000009", "-2113929207"}) {
        fixture.site.answers[kLists] = Fixture::Fault(code);
        EXPECT_EQ(fixture.file->CheckIn(u"", 1), File::cirRequiredProperties) << code;
        EXPECT_EQ(StatusOf([&] { fixture.file->DiscardCheckOut(); }), 500u) << code;
    }
    for (const std::string& answer :
         {Fixture::Fault("0x80070005"), Fixture::Fault(""), Fixture::Fault("soon"),
          Answer("500 Oops", "no XML"), Answer("500 Oops")}) {
        fixture.site.answers[kLists] = answer;
        EXPECT_EQ(StatusOf([&] { fixture.file->DiscardCheckOut(); }), 500u) << answer;
        EXPECT_EQ(StatusOf([&] { fixture.file->CheckIn(u"", 1); }), 500u) << answer;
    }
    fixture.site.answers[kLists] = Answer("403 Forbidden");
    EXPECT_EQ(StatusOf([&] { fixture.file->DiscardCheckOut(); }), 403u);
    EXPECT_EQ(StatusOf([&] { fixture.file->CheckIn(u"", 1); }), 403u);
}

TEST(OlderFile, ACheckOutIsOfNobodyMineOrAnothers) {
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
        << "nobody tells who asks";
    fixture.site.answers[users] = OlderSiteFixture::Soap(
        "GetCurrentUserInfo", "<GetUserInfo><User LoginName=\"d\\bob\" Name=\"Bob\"/></GetUserInfo>");
    EXPECT_EQ(fixture.file->GetCheckOutState(nullptr), File::CheckOutState::me);
    fixture.site.AddFile(address, lock("D\\bob"));
    std::u16string holder;
    EXPECT_EQ(fixture.file->GetCheckOutState(&holder), File::CheckOutState::other_user)
        << "letter for letter";
    EXPECT_EQ(holder, u"D\\bob");
}

}  // namespace
