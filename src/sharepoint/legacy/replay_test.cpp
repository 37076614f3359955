// Answers recorded from real servers, from the folder that REPLAY_CAPTURES names: the results are compared
// with a plain search of the XML and of author.dll's pages.
#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <sstream>

#include "sharepoint/legacy/front_page.h"
#include "sharepoint/legacy/protocol.h"
#include "sharepoint/reading.h"
#include "sharepoint/tests/site_test_fixture.h"
#include "tests/support/replay_captures.h"

namespace {

// One recorded XML answer, searched by literal names.
class Recording {
public:
    explicit Recording(const std::string& body)
        : m_parsed(m_document.load_buffer(body.data(), body.size())) {}

    bool IsXml() const { return m_parsed; }
    pugi::xml_node Root() const { return m_document; }
    pugi::xml_node Body() const { return m_document.child("soap:Envelope").child("soap:Body"); }
    pugi::xml_node Result(const std::string& method) const {
        return Body().child((method + "Response").c_str()).child((method + "Result").c_str());
    }
    // The method that the answer is of, "None" when there is none.
    std::string Method() const {
        const std::string name = Body().first_child().name();
        const size_t end = name.rfind("Response");
        const bool plain = end != std::string::npos && end > 0 && end + 8 == name.size() &&
                           name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz") ==
                               std::string::npos;
        return plain ? name.substr(0, end) : "None";
    }
    std::optional<uint32_t> FaultCode() const {
        const std::string text = Body().child("soap:Fault").child("detail").child("errorcode").text().get();
        const bool hexadecimal = text.find("0x") != std::string::npos || text.find("0X") != std::string::npos;
        char* end = nullptr;
        const long long code = std::strtoll(text.c_str(), &end, hexadecimal ? 16 : 10);
        if (end == text.c_str() || code > UINT32_MAX || code < -int64_t{UINT32_MAX}) return std::nullopt;
        return static_cast<uint32_t>(code);
    }
    pugi::xml_node User(const std::string& method) const {
        return Result(method).child("GetUserInfo").child("User");
    }

private:
    pugi::xml_document m_document;
    pugi::xml_parse_result m_parsed;
};

std::string Print(const pugi::xml_node& node) {
    std::ostringstream stream;
    node.print(stream, "", pugi::format_raw);
    return stream.str();
}

std::string DisplayNameOf(const pugi::xml_node& user, const std::string& otherwise) {
    const std::string name = user.attribute("Name").value(), mail = user.attribute("Email").value();
    if (name.empty() && mail.empty()) return otherwise;
    return name.empty() || mail.empty() ? name + mail : name + " <" + mail + ">";
}

// Where the path of an absolute URL begins, npos when it isn't one.
size_t PathStart(const std::string& url) {
    const size_t host = url.find("://");
    return host == std::string::npos ? host : std::min(url.find('/', host + 3), url.size());
}

class OlderReplay : public testing::Test {
protected:
    void SetUp() override {
        if (!AreCapturesGiven()) GTEST_SKIP() << "REPLAY_CAPTURES names no folder of captures";
    }

    // What the server answers when it is asked for the web of a page.
    void SetWebAnswer(const std::string& body) {
        site.answers["POST /_vti_bin/Webs.asmx"] = Answer("200 OK", body);
    }

    OlderSite site;
};

// A header: its lines as recorded, and its value with folded lines joined.
struct RecordedHeader {
    std::string lines, name, value;
};

std::vector<RecordedHeader> HeadersOf(const std::string& head) {
    std::vector<RecordedHeader> headers;
    std::istringstream stream(head);
    for (std::string line; std::getline(stream, line);) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
        const size_t colon = line.find(':'), start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line.starts_with("HTTP/")) continue;
        if (start > 0 && !headers.empty()) {
            headers.back().lines += line + "\r\n";
            headers.back().value += " " + line.substr(start);
        } else if (start == 0 && colon != std::string::npos) {
            const size_t value = std::min(line.find_first_not_of(" \t", colon + 1), line.size());
            headers.push_back({line + "\r\n", line.substr(0, colon), line.substr(value)});
        }
    }
    return headers;
}

TEST_F(OlderReplay, HeadersAndStatusAreReadExactly) {
    for (const char* folder : {"headers", "errors", "webdav", "fprpc", "soap"}) {
        for (const Capture& capture : CapturesOf(folder, ".txt")) {
            const bool is_alone = folder == std::string("headers") && capture.head.empty();
            const std::vector<RecordedHeader> recorded = HeadersOf(is_alone ? capture.body : capture.head);
            const bool has_status = capture.head.starts_with("HTTP/1.1 ");
            const std::string status = has_status ? capture.head.substr(9, 3) : "200";
            if (recorded.empty() || status < "200") continue;
            SCOPED_TRACE(capture.name);
            std::string head = "HTTP/1.1 " + status + " Recorded\r\n";
            std::vector<RecordedHeader> sent;
            for (const RecordedHeader& header : recorded) {
                // These describe the body or another address, and don't fit the answer sent here.
                static const std::set<std::string> kLeftOut{"Content-Length", "Transfer-Encoding",
                                                            "Connection", "Content-Encoding", "Location"};
                if (kLeftOut.contains(header.name)) continue;
                head += header.lines;
                sent.push_back(header);
            }
            site.fallback = head + "Content-Length: 0\r\n\r\n";
            const Http::Response response = site.session->SendRequest(
                u"OPTIONS", u"sites/docs", SharePoint2013::kAcceptAny, nullptr, nullptr, 0, false);
            EXPECT_EQ(std::to_string(response.GetStatus()), status);
            for (const RecordedHeader& header : sent) {
                const std::vector<std::u16string> values = response.GetHeaders(FromUtf8(header.name).c_str());
                EXPECT_NE(std::find(values.begin(), values.end(), FromUtf8(header.value)), values.end())
                    << header.name << ": " << header.value;
            }
        }
    }
}

// Each recorded SOAP answer is sent as the answer to its own method.
TEST_F(OlderReplay, SoapResultsAndFaultsAreReadExactly) {
    for (const Capture& capture : CapturesOf("soap")) {
        SCOPED_TRACE(capture.name);
        const Recording recording(capture.body);
        pugi::xml_document document;
        site.fallback = Answer("200 OK", capture.body);
        const auto call = [&] {
            return SharePoint2010::Utility::CallSoap(document, *site.session, u"", u"Any",
                                                     FromUtf8(recording.Method()), u"", u"");
        };
        if (!recording.IsXml()) {
            EXPECT_THROW(call(), Exception);
            continue;
        }
        const pugi::xml_node expected = recording.Result(recording.Method()), result = call();
        EXPECT_EQ(result.empty(), expected.empty());
        EXPECT_EQ(Print(result), Print(expected));
        EXPECT_EQ(SharePoint2013::SoapErrorCode(document), recording.FaultCode());
    }
}

// The web's questions get every recorded answer, of whatever service.
TEST_F(OlderReplay, EachQuestionUsesOnlyItsOwnAnswer) {
    for (const char* folder : {"soap", "webdav", "errors"}) {
        for (const Capture& capture : CapturesOf(folder)) {
            SCOPED_TRACE(capture.name);
            const Recording recording(capture.body);
            site.fallback = Answer("200 OK", capture.body);
            SetWebAnswer(capture.body);
            std::u16string path;
            if (recording.IsXml()) {
                // The recorded address is of another server.
                EXPECT_FALSE(SharePoint2013::Web::GetWebPath(*site.session, u"a", path));
                EXPECT_EQ(ToUtf8(site.web->GetCurrentUserSoap2010()),
                          recording.User("GetCurrentUserInfo").attribute("LoginName").value());
                EXPECT_EQ(ToUtf8(site.web->GetUserDisplayName(u"d\\x|bob")),
                          DisplayNameOf(recording.User("GetUserInfo"), "bob"));
            } else {
                EXPECT_THROW(SharePoint2013::Web::GetWebPath(*site.session, u"a", path), Exception);
                EXPECT_THROW(site.web->GetCurrentUserSoap2010(), Exception);
                EXPECT_THROW(site.web->GetUserDisplayName(u"d\\x|bob"), Exception);
            }
            EXPECT_EQ(path, u"");
            EXPECT_TRUE(site.web->Enumerate(u"sites/docs/L", true, nullptr).empty());
        }
    }
}

TEST_F(OlderReplay, TheWebOfAPageIsReadExactly) {
    for (const Capture& capture : CapturesOf("soap")) {
        SCOPED_TRACE(capture.name);
        const Recording recording(capture.body);
        pugi::xml_text text = recording.Result("WebUrlFromPageUrl").text();
        const std::string url = text.get();
        const size_t start = PathStart(url);
        if (start == std::string::npos) continue;
        text.set((site.Host() + url.substr(start)).c_str());
        SetWebAnswer(Print(recording.Root()));
        std::u16string path;
        EXPECT_TRUE(SharePoint2013::Web::GetWebPath(*site.session, u"a", path));
        std::string expected = url.substr(std::min(start + 1, url.size()));
        while (expected.ends_with('/')) expected.pop_back();
        EXPECT_EQ(ToUtf8(path), expected);
    }
}

// Recorded users; some are recorded without an envelope.
TEST_F(OlderReplay, UsersAreReadExactly) {
    int users = 0;
    for (const Capture& capture : CapturesOf("soap")) {
        const Recording recording(capture.body);
        const pugi::xml_node user = recording.Root().find_node([](const pugi::xml_node& node) {
            return std::string_view(node.name()) == "User" && node.attribute("LoginName");
        });
        if (!recording.IsXml() || !user) continue;
        SCOPED_TRACE(capture.name);
        const std::string line = "POST /sites/docs/_vti_bin/UserGroup.asmx";
        const std::string info = "<GetUserInfo xmlns=\"n\">" + Print(user) + "</GetUserInfo>";
        site.answers[line] = OlderSite::Soap("GetCurrentUserInfo", info);
        EXPECT_EQ(ToUtf8(site.web->GetCurrentUser()), user.attribute("LoginName").value());
        site.answers[line] = OlderSite::Soap("GetUserInfo", info);
        EXPECT_EQ(ToUtf8(site.web->GetUserDisplayName(u"x")), DisplayNameOf(user, "x"));
        ++users;
    }
    RecordProperty("users", users);
}

// An item of a listing by its properties; nothing for one that Enumerate skips.
struct Item {
    std::string name, owner;
    bool is_folder = false;
    uint64_t size = 0;
    bool operator==(const Item&) const = default;
};

void PrintTo(const Item& item, std::ostream* stream) {
    *stream << item.name << (item.is_folder ? "/" : "") << " " << item.size << " " << item.owner;
}

std::optional<Item> ReadItem(const pugi::xml_node& response) {
    if (PathStart(response.child("D:href").text().get()) == std::string::npos) return std::nullopt;
    Item item;
    for (const pugi::xml_node propstat : response.children("D:propstat")) {
        if (!std::strstr(propstat.child("D:status").text().get(), "200")) continue;
        const pugi::xml_node prop = propstat.child("D:prop");
        item.name = prop.child("D:displayname").text().get();
        if (item.name.empty()) item.name = "last part";
        item.is_folder = prop.child("D:isFolder").text().as_bool();
        if (item.is_folder) return item;
        if (!prop.child("D:getcontentlength")) return std::nullopt;
        item.size = prop.child("D:getcontentlength").text().as_ullong();
        item.owner = prop.child("D:lockdiscovery").child("D:activelock").child("D:owner").text().get();
        return item;
    }
    return item;
}

// A recorded listing, moved below the test's web; an item that is cut off gets its missing end.
TEST_F(OlderReplay, PropertiesOfAListingAreReadExactly) {
    int items = 0;
    for (const Capture& capture : CapturesOf("webdav")) {
        SCOPED_TRACE(capture.name);
        site.answers["PROPFIND /sites/docs"] = Answer("207 MULTI-STATUS", capture.body);
        EXPECT_TRUE(site.web->Enumerate().empty()) << "of another server, with other prefixes, or cut";
        const Recording recording(capture.body);  // the part that can be parsed
        const bool is_cut = !recording.IsXml();
        std::vector<Item> expected, listed;
        for (pugi::xml_node response : recording.Root().child("D:multistatus").children("D:response")) {
            if (is_cut && response.child("D:propstat") && !response.child("D:propstat").child("D:status"))
                response.child("D:propstat").append_child("D:status").text().set("HTTP/1.1 200 OK");
            if (const auto item = ReadItem(response)) expected.push_back(*item);
            pugi::xml_text href = response.child("D:href").text();
            if (PathStart(href.get()) != std::string::npos)
                href.set((site.Host() + "/sites/docs/below/last%20part").c_str());
        }
        site.answers["PROPFIND /sites/docs"] = Answer("207 MULTI-STATUS", Print(recording.Root()));
        for (const auto& object : site.web->Enumerate()) {
            const SharePoint::Information& information = object->GetInformation();
            listed.push_back({ToUtf8(information.m_name), ToUtf8(information.m_checkout_user),
                              object->AsFolder() != nullptr, information.m_size});
        }
        EXPECT_EQ(listed, expected);
        items += static_cast<int>(listed.size());
    }
    RecordProperty("items", items);
}

std::string ReplaceAll(const std::string& text, const std::string& from, const std::string& to) {
    std::string replaced;
    size_t start = 0;
    for (size_t at; (at = text.find(from, start)) != std::string::npos; start = at + from.size())
        replaced.append(text, start, at - start).append(to);
    return replaced.append(text, start);
}

// The user that a page names, with the entities of an XML attribute; nothing when those aren't well-formed.
std::optional<std::string> UserOfPage(const std::string& page) {
    for (const std::string end : {"\n", "\r\n"}) {
        const std::string field = "<li>vti_username" + end + "<li>SX|";
        const size_t at = page.find(field);
        if (at == std::string::npos) continue;
        const size_t start = at + field.size();
        const std::string value = page.substr(start, page.find_first_of("\r\n", start) - start);
        if (value.find_first_of("<\"\t") != std::string::npos) return std::nullopt;
        pugi::xml_document document;
        if (!document.load_string(("<a b=\"" + value + "\"/>").c_str())) return std::nullopt;
        return ToUtf8(FromUtf8(document.child("a").attribute("b").value()));
    }
    return "";
}

bool ForbidsEditing(const std::string& page) {
    for (const std::string end : {"\n", "\r\n"}) {
        for (const char* value : {"false", "f", "0"}) {
            if (page.find("<li>vti_canmaybeedit" + end + "<li>BX|" + value + end) != std::string::npos)
                return true;
        }
    }
    return page.empty();
}

TEST_F(OlderReplay, AuthorPagesAreReadExactly) {
    for (const Capture& capture : CapturesOf("fprpc")) {
        SCOPED_TRACE(capture.name);
        // As recorded, and with real line ends where the recordings spell them as words.
        const std::string with_line_ends =
            ReplaceAll(ReplaceAll(ReplaceAll(capture.body, "CRLF", "LF"), "LF\n", "LF"), "LF", "\n");
        for (const std::string& page : {capture.body, with_line_ends}) {
            site.fallback = Answer("200 OK", page);
            const std::string user = ToUtf8(FrontPage::GetCurrentUser(*site.session, u"sites/docs"));
            EXPECT_EQ(user, UserOfPage(page).value_or(user));
            EXPECT_EQ(FrontPage::CanEdit(*site.session, u"sites/docs", u"sites/docs/a.pdf"),
                      !ForbidsEditing(page));
        }
    }
}

}  // namespace
