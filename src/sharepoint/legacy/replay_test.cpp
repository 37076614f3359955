// Answers recorded from real servers, where the folder REPLAY_CAPTURES names them: XML and author.dll's pages
// give what a plain search of the text gives, and what isn't meant for a question answers nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

#include "sharepoint/legacy/front_page.h"
#include "sharepoint/legacy/protocol.h"
#include "sharepoint/legacy/site_test_fixture.h"
#include "sharepoint/reading.h"

namespace {

namespace fs = std::filesystem;

struct Capture {
    std::string name;
    std::string bytes;  // without the head of an exchange
};

std::vector<Capture> Captures(const char* folder) {
    const char* root = std::getenv("REPLAY_CAPTURES");
    std::vector<Capture> captures;
    if (!root || !fs::is_directory(fs::path(root) / folder)) return captures;
    for (const auto& entry : fs::directory_iterator(fs::path(root) / folder)) {
        std::ifstream stream(entry.path(), std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(stream), {}};
        if (bytes.starts_with("HTTP/")) {
            const std::string blank = bytes.find("\r\n\r\n") != std::string::npos ? "\r\n\r\n" : "\n\n";
            const size_t end = bytes.find(blank);
            bytes = end == std::string::npos ? std::string() : bytes.substr(end + blank.size());
        }
        captures.push_back({entry.path().filename().string(), std::move(bytes)});
    }
    std::sort(captures.begin(), captures.end(),
              [](const Capture& a, const Capture& b) { return a.name < b.name; });
    return captures;
}

// What the first match of a pattern holds, "" when there is none.
std::string Find(const std::string& text, const std::string& pattern) {
    std::smatch match;
    return std::regex_search(text, match, std::regex(pattern)) ? match[1].str() : std::string();
}

class OlderReplay : public testing::Test {
protected:
    void SetUp() override {
        if (!std::getenv("REPLAY_CAPTURES")) GTEST_SKIP() << "REPLAY_CAPTURES names no folder of captures";
    }

    OlderSiteFixture site;
};

// Each SOAP answer is the answer to the method that it names.
TEST_F(OlderReplay, SoapResultsAndFaultsAreReadAsTheyStand) {
    int results = 0, faults = 0;
    for (const Capture& capture : Captures("soap")) {
        SCOPED_TRACE(capture.name);
        const std::string method = Find(capture.bytes, "<soap:Body>\\s*<([A-Za-z]+)Response[ />]");
        const bool is_fault = capture.bytes.find("<soap:Fault>") != std::string::npos;
        pugi::xml_document document;
        site.fallback = Answer("200 OK", capture.bytes);
        const pugi::xml_node result = SharePoint2010::Utility::CallSoap(
            document, *site.session, u"", u"Any", FromUtf8(method.empty() ? "None" : method), u"", u"");
        const std::string start = "<" + method + "Result>";
        EXPECT_EQ(!result.empty(), !method.empty() && capture.bytes.find(start) != std::string::npos);
        const std::string text = Find(capture.bytes, start + "([^<]*)</");
        if (!text.empty() && text.find_first_not_of(" \r\n\t") != std::string::npos) {
            EXPECT_EQ(result.text().get(), text);
            ++results;
        }
        const std::string code = Find(capture.bytes, "<errorcode[^>]*>\\s*([0-9a-fA-Fx]+)");
        EXPECT_EQ(SharePoint2013::SoapErrorCode(document).has_value(), is_fault && !code.empty());
        if (is_fault && !code.empty()) {
            EXPECT_EQ(SharePoint2013::SoapErrorCode(document), std::stoul(code, nullptr, 0));
            ++faults;
        }
    }
    if (results == 0) GTEST_SKIP() << "no captured answers in the folder";
    RecordProperty("results", results);
    RecordProperty("faults", faults);
}

// The web's own questions, answered with anything that a service ever said.
TEST_F(OlderReplay, QuestionsTakeOnlyTheirOwnAnswers) {
    for (const char* folder : {"soap", "webdav", "errors"}) {
        for (const Capture& capture : Captures(folder)) {
            SCOPED_TRACE(capture.name);
            site.fallback = site.answers["POST /_vti_bin/Webs.asmx"] = Answer("200 OK", capture.bytes);
            std::u16string path;
            const std::string url =
                Find(capture.bytes, "<WebUrlFromPageUrlResult>([^<]*)</WebUrlFromPageUrlResult>");
            try {
                // The recorded address is of another server.
                EXPECT_FALSE(SharePoint2013::Web::GetWebPath(*site.session, u"a", path));
                EXPECT_EQ(site.web->GetCurrentUserSoap2010(), u"");
                EXPECT_EQ(site.web->GetUserDisplayName(u"d\\x|bob"), u"bob");
            } catch (const Exception& failure) {
                EXPECT_TRUE(failure.message.starts_with(u"XML parse error")) << ToUtf8(failure.message);
            }
            EXPECT_EQ(path, u"");
            EXPECT_TRUE(site.web->Enumerate(u"sites/docs/L", true, nullptr).empty());
            if (url.empty()) continue;
            const auto session = Http::Session::Create(u"http://", u"127.0.0.1", site.server.Port(), {}, {});
            std::string own = capture.bytes;
            own.replace(own.find(url), url.find('/', 8), site.Host());
            site.answers["POST /_vti_bin/Webs.asmx"] = Answer("200 OK", own);
            EXPECT_TRUE(SharePoint2013::Web::GetWebPath(*session, u"a", path));
            EXPECT_EQ(ToUtf8(path), url.substr(url.find('/', 8) + 1));
        }
    }
}

// Users as recorded without their envelope.
TEST_F(OlderReplay, UsersAreNamedAsTheyStand) {
    int users = 0;
    for (const Capture& capture : Captures("soap")) {
        const std::string user = Find(capture.bytes, "(<User [^>]*/>)");
        if (user.empty()) continue;
        SCOPED_TRACE(capture.name);
        const std::string line = "POST /sites/docs/_vti_bin/UserGroup.asmx";
        const std::string info = "<GetUserInfo xmlns=\"n\">" + user + "</GetUserInfo>";
        site.answers[line] = OlderSiteFixture::Soap("GetCurrentUserInfo", info);
        EXPECT_EQ(ToUtf8(site.web->GetCurrentUser()), Find(user, " LoginName=\"([^\"&]*)\""));
        site.answers[line] = OlderSiteFixture::Soap("GetUserInfo", info);
        const std::string mail = Find(user, " Email=\"([^\"&]*)\"");
        EXPECT_EQ(ToUtf8(site.web->GetUserDisplayName(u"x")),
                  Find(user, " Name=\"([^\"&]*)\"") + (mail.empty() ? "" : " <" + mail + ">"));
        ++users;
    }
    RecordProperty("users", users);
}

// The properties as recorded, put together to the whole that a cut recording was.
TEST_F(OlderReplay, PropertiesOfAListingAreReadAsTheyStand) {
    int items = 0;
    for (const Capture& capture : Captures("webdav")) {
        SCOPED_TRACE(capture.name);
        site.answers["PROPFIND /sites/docs"] = Answer("207 MULTI-STATUS", capture.bytes);
        EXPECT_TRUE(site.web->Enumerate().empty()) << "of another server, with other prefixes, or cut";
        const size_t start = capture.bytes.find("<D:multistatus"), last = capture.bytes.rfind("</D:");
        const std::string href = Find(capture.bytes, "<D:href>([^<]*)</D:href>");
        if (start == std::string::npos || href.empty() ||
            capture.bytes.find("</D:multistatus>") != std::string::npos)
            continue;
        std::string whole = capture.bytes.substr(start, capture.bytes.find('>', last) + 1 - start) +
                            "</D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>"
                            "</D:multistatus>";
        whole.replace(whole.find(href), href.size(), site.Host() + "/sites/docs/x");
        site.answers["PROPFIND /sites/docs"] = Answer("207 MULTI-STATUS", whole);
        const auto objects = site.web->Enumerate();
        ASSERT_EQ(objects.size(), 1u) << whole;
        const SharePoint::Information& information = objects[0]->GetInformation();
        EXPECT_EQ(ToUtf8(information.m_name), Find(capture.bytes, "<D:displayname>([^<]*)</D:displayname>"));
        EXPECT_EQ(objects[0]->AsFolder() != nullptr,
                  Find(capture.bytes, "<D:isFolder>([^<]*)</D:isFolder>") == "t");
        EXPECT_EQ(information.m_size, 0u);
        EXPECT_EQ(information.m_checkout_user, u"");
        ++items;
    }
    RecordProperty("items", items);
}

TEST_F(OlderReplay, AuthorPagesNameNobodyUnlessTheyDo) {
    for (const Capture& capture : Captures("fprpc")) {
        SCOPED_TRACE(capture.name);
        // As recorded, and with the line ends that the recordings write out.
        for (const std::string& page :
             {capture.bytes, std::regex_replace(capture.bytes, std::regex("(CR)?LF\n?"), "\n")}) {
            site.fallback = Answer("200 OK", page);
            EXPECT_EQ(ToUtf8(FrontPage::GetCurrentUser(*site.session, u"sites/docs")),
                      Find(page, "<li>vti_username\r?\n<li>SX\\|([^\r\n]*)"));
            EXPECT_EQ(FrontPage::CanEdit(*site.session, u"sites/docs", u"sites/docs/a.pdf"),
                      Find(page, "<li>vti_canmaybeedit\r?\n<li>BX\\|(false|f|0)\r?\n").empty());
        }
    }
}

}  // namespace
