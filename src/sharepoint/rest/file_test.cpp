// Folders and files over REST with canned answers: the exact requests, and every result.
#include "sharepoint/rest/file.h"

#include <gtest/gtest.h>

#include <clocale>
#include <functional>

#include "sharepoint/rest/protocol.h"
#include "sharepoint/tests/named_rows_test.h"
#include "sharepoint/tests/site_test_fixture.h"

namespace {

using SharePoint::File;
using Lines = std::vector<std::string>;

// A site with the file "it's.pdf" and the folder "L", both bound.
struct Fixture {
    Fixture() {
        site.AddFile("sites/docs/it%27%27s.pdf", RestSite::File("/sites/docs/it's.pdf"));
        site.AddFolder("sites/docs/L", RestSite::Folder("/sites/docs/L"));
        file_object = site.Bind(u"sites/docs/it's.pdf");
        folder_object = site.Bind(u"sites/docs/L");
        file = file_object->AsFile();
        site.server.Forget();
    }
    std::string FileLine(const std::string& method, const std::string& suffix) const {
        return method + " " + site.FileAddress("sites/docs/it%27%27s.pdf") + suffix;
    }
    void SetCheckOut(const std::string& login) {
        site.AddFile("sites/docs/it%27%27s.pdf",
                     RestSite::File("/sites/docs/it's.pdf", R"(,"CheckOutType":0)"));
        site.answers["GET " + site.FileAddress("sites/docs/it%27s.pdf") + "')/CheckedOutByUser"] =
            RestSite::D("{\"LoginName\":\"" + login + "\"}");
    }

    RestSite site;
    std::shared_ptr<SharePoint::Object> file_object;
    std::shared_ptr<SharePoint::Object> folder_object;
    std::shared_ptr<File> file;
};

TEST(Change, IsOneRequestWithADigestToTheExactAddress) {
    Fixture fixture;
    const std::string folder = fixture.site.FolderAddress("sites/docs/L");
    const struct {
        std::function<void()> action;
        std::string line;
    } rows[] = {
        {[&] { fixture.file_object->Rename(u"sites/docs/b's.pdf"); },
         fixture.FileLine("POST", "')/moveto('/sites/docs/b%27%27s.pdf',%20flags=1)")},
        {[&] { fixture.file->Move(u"sites/docs/M/b.pdf"); },
         fixture.FileLine("POST", "')/moveto('/sites/docs/M/b.pdf',%20flags=1)")},
        {[&] { fixture.file->Copy(u"sites/docs/c%20.pdf"); },
         fixture.FileLine("POST", "')/copyto('/sites/docs/c%2520.pdf',%20boverwrite=true)")},
        {[&] { fixture.file_object->Delete(); }, fixture.FileLine("DELETE", "')")},
        {[&] { fixture.file->CheckOut(); }, fixture.FileLine("POST", "')/CheckOut()")},
        {[&] { fixture.folder_object->Rename(u"sites/docs/\u00E4"); },
         "POST " + folder + "')/moveto('/sites/docs/%C3%A4',%20flags=1)"},
        {[&] { fixture.folder_object->Delete(); }, "DELETE " + folder + "')"},
    };
    for (const auto& row : rows) {
        fixture.site.server.Forget();
        row.action();  // the server refuses, which the operation ignores
        const auto requests = fixture.site.server.Requests();
        ASSERT_EQ(requests.size(), 2u) << row.line;
        EXPECT_EQ(requests[0].Line(), "POST /sites/docs/_api/contextinfo");
        EXPECT_EQ(requests[1].Line(), row.line);
        EXPECT_EQ(requests[1].Header("x-requestdigest"), "digest" + std::to_string(fixture.site.digests));
        EXPECT_EQ(requests[1].Header("accept"), "application/json; odata=verbose");
        EXPECT_EQ(requests[1].Header("content-length"), "0");
    }
    EXPECT_EQ(fixture.file_object->GetInformation().m_path, u"sites/docs/it's.pdf");
}

TEST(Change, IsNotSentWithoutADigest) {
    Fixture fixture;
    fixture.site.digest_answer = Answer("200 OK", "{}");
    const std::function<void()> actions[] = {
        [&] { fixture.file_object->Rename(u"x"); }, [&] { fixture.file->Copy(u"x"); },
        [&] { fixture.file_object->Delete(); },     [&] { fixture.folder_object->Rename(u"x"); },
        [&] { fixture.folder_object->Delete(); },   [&] { fixture.file->Write(1); },
    };
    for (const auto& action : actions) {
        try {
            action();
            FAIL() << "no exception";
        } catch (const Exception& failure) {
            EXPECT_EQ(failure.message, u"Failed to get Request Digest");
        }
    }
    EXPECT_FALSE(fixture.file->CheckOut());
    EXPECT_EQ(fixture.file->DiscardCheckOut(), File::dcrFail);
    EXPECT_EQ(fixture.file->CheckIn(u"", 0), File::cirFail);
    for (const std::string& line : fixture.site.server.Lines()) {
        EXPECT_EQ(line, "POST /sites/docs/_api/contextinfo");
    }
}

TEST(CheckOut, SucceedsForJustTwoStatuses) {
    Fixture fixture;
    const std::string line = fixture.FileLine("POST", "')/CheckOut()");
    for (const char* accepted : {"200 OK", "204 No Content"}) {
        fixture.site.answers[line] = Answer(accepted);
        EXPECT_TRUE(fixture.file->CheckOut()) << accepted;
    }
    for (const char* refused : {"201 Created", "304 Not Modified", "423 Locked", "500 Oops"}) {
        fixture.site.answers[line] = Answer(refused);
        EXPECT_FALSE(fixture.file->CheckOut()) << refused;
    }
}

// Nothing when the failure is thrown.
using CheckIn = std::optional<File::CheckInResult>;
using Discard = std::optional<File::DiscardResult>;

struct OutcomeRow {
    const char* name;
    uint32_t status = 0;
    uint32_t code = 0;
    CheckIn check_in = std::nullopt;
    Discard discard = std::nullopt;
};

class Outcome : public testing::TestWithParam<OutcomeRow> {};

TEST_P(Outcome, FollowsStatusAndCode) {
    EXPECT_EQ(SharePointRestAPI::CheckInResultOf(GetParam().status, GetParam().code), GetParam().check_in);
    EXPECT_EQ(SharePointRestAPI::DiscardResultOf(GetParam().status, GetParam().code), GetParam().discard);
}

constexpr uint32_t kNoProperties = 0x80131600;
constexpr uint32_t kNoVersion = 0x8107218A;

INSTANTIATE_TEST_SUITE_P(
    Rows, Outcome,
    testing::Values(
        OutcomeRow{.name = "Done", .status = 200, .check_in = File::cirOk, .discard = File::dcrOk},
        OutcomeRow{.name = "DoneWithoutBody", .status = 204, .check_in = File::cirOk, .discard = File::dcrOk},
        OutcomeRow{.name = "Created", .status = 201, .check_in = File::cirFail, .discard = File::dcrFail},
        OutcomeRow{
            .name = "LastRedirection", .status = 399, .check_in = File::cirFail, .discard = File::dcrFail},
        OutcomeRow{.name = "Interim", .status = 199},
        OutcomeRow{.name = "CodeOnABadRequest", .status = 400, .code = kNoProperties},
        OutcomeRow{.name = "ServerErrorWithoutCode", .status = 500},
        OutcomeRow{.name = "NoProperties",
                   .status = 500,
                   .code = kNoProperties,
                   .check_in = File::cirRequiredProperties},
        OutcomeRow{
            .name = "NoVersion", .status = 500, .code = kNoVersion, .discard = File::dcrNoCheckedInVersion},
        OutcomeRow{.name = "CodeOnAnotherServerError", .status = 501, .code = kNoProperties}),
    NameOfRow());

TEST(ErrorCode, IsTheNumberInFrontOfItsText) {
    const auto code = [](const char* json) {
        Json::Document document;
        EXPECT_TRUE(document.Parse(json)) << json;
        return SharePointRestAPI::ErrorCode(document.Root());
    };
    EXPECT_EQ(code(R"({"error":{"code":"-2146232832, Microsoft.SharePoint.SPException"}})"), 0x80131600u);
    EXPECT_EQ(code(R"({"error":{"code":"-2113929210"}})"), 0x82000006u);
    EXPECT_EQ(code(R"({"error":{"code":"99999999999999999999"}})"), 0xFFFFFFFFu) << "too long";
    for (const char* json :
         {R"({"error":{"code":"x7"}})", R"({"error":{"code":"-"}})", R"({"error":{"code":7}})",
          R"({"error":"7"})", R"({"odata.error":{"code":"7"}})"})
        EXPECT_EQ(code(json), std::nullopt) << json;
}

TEST(CheckIn, SendsTypeAndCommentAndReadsTheRefusal) {
    Fixture fixture;
    const std::string line = fixture.FileLine("POST", "')/CheckIn(checkintype=1)");
    fixture.site.answers[line] = RestSite::D("{\"CheckIn\":null}");
    EXPECT_EQ(fixture.file->CheckIn(u"say \"hi\" \\ \n", 1), File::cirOk);
    const auto request = fixture.site.server.Requests().back();
    EXPECT_EQ(request.Line(), line);
    EXPECT_EQ(request.body, R"({"comment":"say \"hi\" \\ \n"})");
    EXPECT_EQ(request.Header("content-type"), "application/json");
    EXPECT_EQ(request.Header("x-requestdigest"), "digest1");
    fixture.site.answers[fixture.FileLine("POST", "')/CheckIn(checkintype=2)")] = Answer("201 Created");
    EXPECT_EQ(fixture.file->CheckIn(u"", 2), File::cirFail);
    EXPECT_EQ(fixture.site.server.Requests().back().body, R"({"comment":""})");
    EXPECT_TRUE(fixture.site.server.Requests().back().target.ends_with("')/CheckIn(checkintype=2)"));

    fixture.site.answers[line] =
        Answer("500 Oops", R"({"error":{"code":"-2146232832, Microsoft.SharePoint.SPException"}})");
    EXPECT_EQ(fixture.file->CheckIn(u"x", 1), File::cirRequiredProperties);
    for (const std::string& answer : {Answer("500 Oops", "<html/>"), Answer("500 Oops", "{}"),
                                      Answer("423 Locked", "{}"), Answer("403 Forbidden")}) {
        fixture.site.answers[line] = answer;
        EXPECT_THROW(fixture.file->CheckIn(u"x", 1), Http::HttpException) << answer;
    }
}

TEST(CheckIn, SendsTheCommentInTheLocalesBytes) {
    Fixture fixture;
    fixture.site.answers[fixture.FileLine("POST", "')/CheckIn(checkintype=0)")] = Answer("200 OK");
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    fixture.file->CheckIn(u"Gr\u00FC\u00DFe \U0001F600", 0);
    EXPECT_EQ(fixture.site.server.Requests().back().body, "{\"comment\":\"Gr\u00FC\u00DFe \U0001F600\"}");
    std::setlocale(LC_CTYPE, "C");
    fixture.file->CheckIn(u"Gr\u00FC\u00DFe", 0);
    EXPECT_EQ(fixture.site.server.Requests().back().body, "{\"comment\":\"Gr\"}");
}

TEST(DiscardCheckOut, ReadsTheRefusalOfAFileWithoutAVersion) {
    Fixture fixture;
    const std::string line = fixture.FileLine("POST", "')/undocheckout()");
    fixture.site.answers[line] = RestSite::D("{\"UndoCheckOut\":null}");
    EXPECT_EQ(fixture.file->DiscardCheckOut(), File::dcrOk);
    fixture.site.answers[line] = Answer("500 Oops", R"({"error":{"code":"-2130246262, x"}})");
    EXPECT_THROW(fixture.file->DiscardCheckOut(), Http::HttpException);
    fixture.site.answers[line] = Answer(
        "500 Oops", "{\"error\":{\"code\":\"" + std::to_string(static_cast<int32_t>(0x8107218A)) + "\"}}");
    EXPECT_EQ(fixture.file->DiscardCheckOut(), File::dcrNoCheckedInVersion);
}

TEST(CheckOutState, ComparesTheHolderWithTheCurrentUserExactly) {
    Fixture fixture;
    EXPECT_EQ(fixture.file->GetCheckOutState(nullptr), File::CheckOutState::none);
    for (const std::string& line : fixture.site.server.Lines()) {
        EXPECT_EQ(line.find("currentUser"), std::string::npos)
            << "without a holder, the current user is not asked for";
    }
    fixture.SetCheckOut("i:0#.f|membership|alice");
    EXPECT_EQ(fixture.file->GetCheckOutState(nullptr), File::CheckOutState::unknown);
    const std::pair<const char*, File::CheckOutState> rows[] = {
        {"i:0#.f|membership|alice", File::CheckOutState::me},
        {"i:0#.f|membership|Alice", File::CheckOutState::other_user},
        {"alice", File::CheckOutState::other_user},
    };
    for (const auto& [login, state] : rows) {
        fixture.site.answers["GET /sites/docs/_api/web/currentUser"] =
            RestSite::D("{\"LoginName\":\"" + std::string(login) + "\"}");
        EXPECT_EQ(fixture.file->GetCheckOutState(nullptr), state) << login;
    }
}

TEST(UpdateInformation, KeepsTheOldRecordWhenTheServerGivesNone) {
    Fixture fixture;
    fixture.site.AddFile("sites/docs/it%27%27s.pdf",
                         RestSite::File("/sites/docs/it's.pdf", R"(,"Length":"9")"));
    EXPECT_EQ(fixture.file_object->UpdateInformation().m_size, 9u);
    fixture.site.answers.clear();
    for (const std::string& answer : {Answer("404 Not Found"), Answer("503 Busy", "<html/>"),
                                      Answer("200 OK", R"({"d":{"ServerRelativeUrl":null}})")}) {
        fixture.site.fallback = answer;
        EXPECT_EQ(fixture.file_object->UpdateInformation().m_size, 9u);
        EXPECT_EQ(fixture.file_object->GetInformation().m_path, u"sites/docs/it's.pdf");
    }
}

TEST(CanEdit, OfAFolderIsAskedByTheFilesAddress) {
    Fixture fixture;
    fixture.site.fallback = Answer("404 Not Found", R"({"error":{"code":"-2113929210, x"}})");
    EXPECT_TRUE(fixture.folder_object->CanEdit());
    EXPECT_TRUE(
        fixture.site.server.Lines().back().starts_with("GET " + fixture.site.FileAddress("sites/docs/L")));
}

TEST(Read, GivesTheAnswerUnreadWhateverItsStatus) {
    Fixture fixture;
    const std::string line = fixture.FileLine("GET", "')/$value");
    for (const char* status : {"200 OK", "404 Not Found"}) {
        fixture.site.answers[line] = Answer(status, "%PDF-");
        const Http::Response response = fixture.file->Read();
        EXPECT_EQ(response.GetStatus(), static_cast<uint32_t>(std::stoi(status)));
        std::string body;
        response.ReadBody(body);
        EXPECT_EQ(body, "%PDF-");
        EXPECT_EQ(fixture.site.server.Requests().back().Header("accept"), "*/*");
    }
}

TEST(Write, UploadsToTheValueWithADigest) {
    Fixture fixture;
    const std::string line = fixture.FileLine("PUT", "')/$value");
    fixture.site.answers[line] = Answer("204 No Content");
    Http::Request upload = fixture.file->Write(5);
    upload.Write("%PDF-", 5);
    EXPECT_EQ(upload.End().GetStatus(), 204u);
    const auto request = fixture.site.server.Requests().back();
    EXPECT_EQ(request.Line(), line);
    EXPECT_EQ(request.body, "%PDF-");
    EXPECT_EQ(request.Header("content-type"), "application/octet-stream");
    EXPECT_EQ(request.Header("x-requestdigest"), "digest1");
    EXPECT_EQ(request.Header("accept"), "*/*");
}

TEST(Thumbnail, IsReadWholeFromTheRootOfTheServer) {
    Fixture fixture;
    std::string bytes = "old";
    EXPECT_THROW(fixture.file->GetThumbnail(bytes), Http::HttpException);
    const std::string line = "GET /_layouts/15/getpreview.ashx?path=sites/docs/it%27%27s.pdf&resolution=2";
    fixture.site.answers[line] = Answer("200 OK", std::string("\x89PNG\0\n", 6));
    fixture.file->GetThumbnail(bytes);
    EXPECT_EQ(bytes, std::string("\x89PNG\0\n", 6));
}

}  // namespace
