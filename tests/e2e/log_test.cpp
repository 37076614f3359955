// The trace log of a whole run at the verbose level: its shape, byte for byte, and no secret, name or address
// of the user or the site in it.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <regex>

#include "tests/support/sphost.h"

namespace {

using namespace testing_support;
namespace fs = std::filesystem;

constexpr char kCookie[] = "fedauthsecretvalue";
const std::string kBig(50000, 'z');

class TraceLog : public ::testing::Test {
protected:
    TraceLog() {
        WriteText(m_seed / "Zebra 77.txt", "stripes");
        WriteText(m_seed / "Okapi/Gnu.txt", "horns");
        m_server.emplace(std::vector<std::string>{"--approve", "walrus", "--user", "walrus:herringpass",
                                                  "--user", "narwhal:tuskpass", "--token-lifetime", "3000"},
                         m_seed.Path());
        m_host.environment["PLATFORM_RECEIVE_TIMEOUT_MS"] = "800";
        m_host.AddPlaceByCode(*m_server);
        WriteText(m_host.Folder() / "Meerkat.txt", "whiskers" + kBig);
    }

    void Run(std::vector<std::string> arguments, int status = 0) {
        arguments.insert(arguments.begin() + static_cast<long>(arguments[0] == "place" ? 2 : 1),
                         {"--log-level", "4"});
        const ProcessResult result = m_host.Run(arguments);
        if (status < 0) return;
        EXPECT_EQ(result.status, status) << arguments[0] << ": " << result.err;
    }

    // Every command that works on documents.
    void RunAll(int status) {
        const std::string zebra = m_server->Url("Zebra 77.txt");
        const std::string out = (m_host.Folder() / "Lemur").string();
        Run({"ls", m_server->Url("")}, status);
        Run({"stat", zebra}, status);
        Run({"get", zebra, out}, status);
        Run({"get", m_server->Url("No Such Aardvark.txt"), out}, 1);
        Run({"put", (m_host.Folder() / "Meerkat.txt").string(), m_server->Url("Meerkat.txt")}, status);
        Run({"edit", zebra, "--answer", "sp.msg.askForCheckOutOnOpen=sp.btn.open", "--", "sh", "-c",
             "echo x >> \"$0\""},
            status);
        Run({"checkout", zebra}, status);
        Run({"checkin", zebra, "--type", "major", "--comment", "Quokka was here"}, status);
        Run({"checkout", zebra}, status);
        Run({"discard", zebra}, status);
        Run({"mkdir", m_server->Url("Okapi/Wombat")}, status);
        Run({"cp", m_server->Url("Meerkat.txt"), m_server->Url("Okapi/Ferret.txt")}, status);
        Run({"mv", m_server->Url("Okapi/Ferret.txt"), m_server->Url("Okapi/Wombat/Stoat.txt")}, status);
        Run({"rename", m_server->Url("Okapi/Wombat"), m_server->Url("Okapi/Bison")}, status);
        Run({"rm", m_server->Url("Okapi/Bison"), "--yes"}, status);
        Run({"rm", m_server->Url("Meerkat.txt")}, status);
        Run({"recover", "--send"}, -1);
    }

    fs::path LogFolder() const { return m_host.Folder() / "tmp/TSMK-SharePoint"; }

    // Texts that the log must not hold, in each spelling that may occur.
    std::vector<std::string> Secrets() const {
        std::vector<std::string> secrets = {
            "Zebra",    "zebra",   "Okapi",     "Gnu.txt",  "Meerkat",
            "Aardvark", "Quokka",  "Wombat",    "Ferret",   "Stoat",
            "Bison",    "Eland",   "Lemur",     "stripes",  "whiskers",
            "walrus",   "narwhal", "herring",   "tusk",     "contoso",
            "team",     "Shared",  "Documents", kCookie,    "127.0.0.1",
            "sites",    "_vti_h",  "badger",    "ermine.x", m_host.Folder().Path().filename().string()};
        for (const char* user : {"walrus", "narwhal"}) secrets.push_back(m_server->Token(user));
        const HttpAnswer digest = Http({.method = "POST",
                                        .url = m_server->Site() + "/_api/contextinfo",
                                        .body = "",
                                        .headers = {"Authorization: Bearer " + m_server->Token("walrus"),
                                                    "Accept: application/json;odata=nometadata"}});
        rapidjson::Document json;
        json.Parse(digest.body.c_str());
        const std::string text = json["FormDigestValue"].GetString();
        secrets.push_back(text.substr(0, text.find(',')).substr(0, 12));
        const size_t port = m_server->Origin().rfind(':');
        secrets.push_back(m_server->Origin().substr(port) + "/");
        return secrets;
    }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_host;
};

// Code units of the file; also those that are no ASCII.
std::u16string Units(const std::string& bytes) {
    std::u16string text;
    for (size_t at = 0; at + 1 < bytes.size(); at += 2) {
        text += static_cast<char16_t>(static_cast<unsigned char>(bytes[at]) |
                                      static_cast<unsigned char>(bytes[at + 1]) << 8);
    }
    return text;
}

std::string Ascii(const std::u16string& text) {
    std::string ascii;
    for (const char16_t unit : text) ascii += unit < 0x80 ? static_cast<char>(unit) : '?';
    return ascii;
}

const std::regex kHead(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})"
                       R"(\|(?:   [0-9a-f]|  [0-9a-f]{2}| [0-9a-f]{3}|[0-9a-f]{4,})\|[1-4]\|[^ |]+ [^\n]*)");

TEST_F(TraceLog, HasItsDocumentedShape) {
    RunAll(0);
    m_server->SetFaults(
        R"([{"match":{"path":"_api/web","times":0},"fault":{"kind":"status","status":500,"text":"a\nb"}}])");
    RunAll(-1);
    const std::regex stamp(R"([A-Z][a-z]{2} [ \d]\d \d{4} \d\d:\d\d:\d\d)");
    const std::regex name(R"(TSMK-SP_\d+-\d\d-\d\d_\d\d\.\d\d\.\d\d\.\d{3}\.log)");
    int lines = 0;
    int files = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(LogFolder())) {
        ++files;
        EXPECT_TRUE(std::regex_match(entry.path().filename().string(), name)) << entry.path();
        const std::string bytes = ReadText(entry.path());
        ASSERT_EQ(bytes.size() % 2, 0u);
        const std::u16string units = Units(bytes);
        ASSERT_FALSE(units.empty());
        EXPECT_NE(units[0], u'\uFEFF');
        EXPECT_EQ(units.back(), u'\n');
        std::istringstream text(Ascii(units));
        std::string line;
        std::getline(text, line);
        EXPECT_TRUE(std::regex_match(line, stamp)) << line;
        bool may_go_on = false;
        while (std::getline(text, line)) {
            ++lines;
            const bool is_head = std::regex_match(line, kHead);
            // Requests and answers are shown as they are, line by line.
            if (is_head) {
                may_go_on = line.find("Unexpected HTTP code:") != std::string::npos ||
                            line.find("|4|") != std::string::npos || line.find("|1|") != std::string::npos;
            }
            const bool looks_like_head = line.find("-->") != std::string::npos ||
                                         line.find("<--") != std::string::npos ||
                                         std::regex_search(line, std::regex(R"(^\d{4}-\d\d-\d\d )"));
            EXPECT_TRUE(is_head || (may_go_on && !looks_like_head)) << entry.path() << ": " << line;
        }
    }
    EXPECT_GE(files, 20);
    EXPECT_GT(lines, 5000);
}

TEST_F(TraceLog, ShowsNoSecretAndNoName) {
    RunAll(0);
    for (const int status : {401, 403, 423, 500}) {
        for (const char* match :
             {R"("method":"GET","path":"_api","nth":4)", R"("method":"PUT")",
              R"("method":"POST","path":"_api")", R"("path":"CheckIn")", R"("path":"AddUsingPath")"}) {
            m_server->ClearFaults();
            m_server->SetFaults(
                std::string(R"([{"match":{"times":3,)") + match +
                R"(},"fault":{"kind":"status","code":"-2147024891, X","status":)" + std::to_string(status) +
                R"(,"message":"The file Zebra 77.txt is locked by narwhal, see http://ermine.x/sites/team",)" +
                R"("headers":{"Set-Cookie":"FedAuth=)" + kCookie +
                R"(; path=/","Location":"http://ermine.x/Zebra","X-MSDAVEXT_Error":"589829; Zebra%20badger"}}}])");
            const std::string zebra = m_server->Url("Zebra 77.txt");
            Run({"get", zebra, (m_host.Folder() / "Lemur").string()}, -1);
            Run({"put", (m_host.Folder() / "Meerkat.txt").string(), zebra}, -1);
            Run({"put", (m_host.Folder() / "Meerkat.txt").string(), m_server->Url("Okapi/Eland.txt")}, -1);
            m_server->ClearFaults();
            Run({"rm", m_server->Url("Okapi/Eland.txt")}, -1);
            Run({"recover", "--send", "--yes"}, -1);
            Run({"checkin", zebra, "--comment", "Quokka"}, -1);
        }
    }
    m_server->CheckOutAs("narwhal", "Zebra 77.txt");
    Run({"ls", m_server->Url("")});
    Run({"put", (m_host.Folder() / "Meerkat.txt").string(), m_server->Url("Zebra 77.txt")}, 1);
    Run({"checkout", m_server->Url("Zebra 77.txt")}, 1);
    Run({"signout", m_server->Site()});
    const std::string log = m_host.TraceLog();
    ASSERT_GT(log.size(), 500000u);
    EXPECT_NE(log.find("Authorization: Bearer ..."), std::string::npos) << "the line stays, its value goes";
    EXPECT_NE(log.find("\nCookie: FedAuth...\n"), std::string::npos);
    EXPECT_NE(log.find("X-RequestDigest: ..."), std::string::npos);
    EXPECT_NE(log.find("http://111.1.1.1:"), std::string::npos) << "addresses are there, masked";
    for (const std::string& secret : Secrets()) {
        for (size_t at = log.find(secret); at != std::string::npos; at = log.find(secret, at + 1)) {
            const size_t line = log.rfind('\n', at) + 1;
            ADD_FAILURE() << secret << " in: " << log.substr(line, std::min<size_t>(at - line + 80, 400));
            break;
        }
    }
    const std::regex digest("0x[0-9A-F]{40,}");
    EXPECT_FALSE(std::regex_search(log, digest));
}

TEST_F(TraceLog, IsNotWrittenAtLevelNone) {
    ASSERT_EQ(m_host.Run({"ls", m_server->Url("")}).status, 0);
    ASSERT_EQ(m_host.Run({"get", m_server->Url("None.txt"), "-", "--log-level", "0"}).status, 1);
    EXPECT_EQ(m_host.TraceLog(), "");
}

}  // namespace
