// Header texts of callers, header blocks of servers, places of redirects, and the table of error numbers.
#include "internet/headers.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include "internet/credentials.h"
#include "internet/errors.h"
#include "internet/target.h"

namespace platform::internet {
namespace {

constexpr DWORD kAdd = HTTP_ADDREQ_FLAG_ADD;
constexpr DWORD kReplace = HTTP_ADDREQ_FLAG_REPLACE;

std::string Joined(const RequestHeaders& headers) {
    std::string text;
    for (const Header& header : headers.all()) text += header.name + "=" + header.value + ";";
    return text;
}

ResponseHeaders Block(std::initializer_list<std::string_view> lines) {
    ResponseHeaders headers;
    for (std::string_view line : lines) EXPECT_TRUE(headers.AddLine(line));
    return headers;
}

TEST(RequestHeaders, LinesEndWithOrWithoutACarriageReturnAndReplaceByName) {
    RequestHeaders headers;
    EXPECT_EQ(headers.Add(u"A: 1\nB:2\r\nC:  x: y \n", kAdd | kReplace), 0u);
    EXPECT_EQ(headers.Add(u"a: 3", kAdd | kReplace), 0u);
    EXPECT_EQ(headers.Add(u"b: 4\n", kAdd), 0u);
    EXPECT_EQ(Joined(headers), "B=2;C=x: y;a=3;b=4;");
    EXPECT_EQ(headers.Add(u"B:", kReplace), 0u);
    EXPECT_EQ(headers.Add(u"D: 1", kReplace), static_cast<DWORD>(ERROR_HTTP_HEADER_NOT_FOUND));
    EXPECT_EQ(headers.Add(u"A: 9", 0), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(Joined(headers), "C=x: y;a=3;");
}

TEST(RequestHeaders, ATextWithOneBadLineChangesNothing) {
    RequestHeaders headers;
    for (std::u16string_view bad : {std::u16string_view(u"A: 1\nB: x\ry"), std::u16string_view(u"A: 1\0", 5),
                                    std::u16string_view(u"no colon"), std::u16string_view(u": nameless"),
                                    std::u16string_view(u"bad name: x"), std::u16string_view(u"A: \u0001")})
        EXPECT_EQ(headers.Add(bad, kAdd), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(Joined(headers), "");
}

TEST(ResponseHeaders, TheLastBlockCounts) {
    const ResponseHeaders headers = Block({"HTTP/1.1 100 Continue\r\n", "\r\n", "HTTP/1.1 200\r\n",
                                           "A: 1\r\n", "a :2 \n", "broken\r\n", "\r\n", "Late: 1\r\n"});
    EXPECT_EQ(headers.status(), 200u);
    EXPECT_EQ(headers.reason(), "");
    EXPECT_TRUE(headers.complete());
    EXPECT_EQ(headers.Find("A", 0), "1");
    EXPECT_EQ(headers.Find("A", 1), "2");
    EXPECT_EQ(headers.Find("A", 2), std::nullopt);
    EXPECT_EQ(headers.Find("Late", 0), std::nullopt);
    EXPECT_EQ(headers.lines().size(), 4u);
}

TEST(ResponseHeaders, AFoldedLineBelongsToTheOneBefore) {
    const ResponseHeaders headers = Block({"HTTP/1.1 200 OK\r\n", " Set-Cookie: no\r\n", "Allow: GET,\r\n",
                                           "\t PUT\r\n", " Set-Cookie: evil=1\r\n", "B: 2\r\n", "\r\n"});
    EXPECT_EQ(headers.Find("Allow", 0), "GET, PUT Set-Cookie: evil=1");
    EXPECT_EQ(headers.Find("B", 0), "2");
    EXPECT_EQ(headers.Find("Set-Cookie", 0), std::nullopt);
}

TEST(ResponseHeaders, AreLimitedOverAllBlocks) {
    ResponseHeaders headers;
    const std::string line = "X: " + std::string(1000, 'x') + "\r\n";
    int taken = 0;
    while (taken < 1000 && headers.AddLine(taken % 10 ? std::string_view(line) : "HTTP/1.1 100 C\r\n"))
        ++taken;
    EXPECT_GT(taken, 250);
    EXPECT_LT(taken, 320);
}

TEST(HeaderBytes, AreUtf8OrElseLatin1) {
    EXPECT_EQ(FromHeaderBytes("\xC3\xA9"), u"\u00E9");
    EXPECT_EQ(FromHeaderBytes("caf\xE9"), u"caf\u00E9");
}

TEST(Targets, ObjectsFitIntoARequestLine) {
    EXPECT_EQ(MakeObject(u""), "/");
    EXPECT_EQ(MakeObject(u"a b/\u00FC#%20%zz?q='x'"), "/a%20b/%C3%BC%23%20%zz?q='x'");
    EXPECT_EQ(MakeObject(u"/x\r\nInjected: 1"), "/x%0D%0AInjected:%201");
    EXPECT_EQ(MakeHost(u"::1"), "[::1]");
    for (const char16_t* bad : {u"", u"a b", u"a/b", u"a@b", u"a:80", u"[::1]x", u"a\r\n"})
        EXPECT_EQ(MakeHost(bad), std::nullopt);
}

TEST(Targets, LocationsAreResolvedForHttpAlone) {
    const Target base{false, "host", 8080, "/a/b?q"};
    EXPECT_EQ(Resolve(base, "c d?x#f").value_or(Target()).url(), "http://host:8080/a/c%20d?x");
    EXPECT_EQ(Resolve(base, "https://Other/").value_or(Target()).url(), "https://Other/");
    EXPECT_EQ(Resolve(base, "//other:81/x").value_or(Target()).url(), "http://other:81/x");
    for (std::string_view bad :
         {"ftp://host/", "file:///etc/passwd", "javascript:1", "http://", "http://h:99999/"})
        EXPECT_FALSE(Resolve(base, bad).has_value()) << bad;
}

TEST(Targets, SecretsGoToTheSameHostAndNeverFromTlsToPlain) {
    const Target plain{false, "host", 80, "/"};
    const Target secure{true, "HOST", 443, "/"};
    EXPECT_TRUE(MayShareSecrets(plain, secure));
    EXPECT_FALSE(MayShareSecrets(secure, plain));
    EXPECT_FALSE(MayShareSecrets(plain, {false, "host", 81, "/"}));
    EXPECT_FALSE(MayShareSecrets(plain, {false, "host.evil", 80, "/"}));
}

TEST(Schemes, BasicComesOnlyWhenNothingStrongerIsOffered) {
    EXPECT_EQ(ChooseScheme(CURLAUTH_BASIC | CURLAUTH_DIGEST, false), CURLAUTH_DIGEST);
    EXPECT_EQ(ChooseScheme(CURLAUTH_BASIC | CURLAUTH_NTLM | CURLAUTH_NEGOTIATE, false), CURLAUTH_NTLM);
    EXPECT_EQ(ChooseScheme(CURLAUTH_DIGEST | CURLAUTH_NTLM | CURLAUTH_NEGOTIATE, true), CURLAUTH_NEGOTIATE);
    EXPECT_EQ(ChooseScheme(CURLAUTH_BASIC | CURLAUTH_NEGOTIATE, false), CURLAUTH_NEGOTIATE);
    EXPECT_EQ(ChooseScheme(CURLAUTH_BASIC, true), CURLAUTH_BASIC);
    EXPECT_EQ(ChooseScheme(CURLAUTH_BEARER, true), 0u);
}

TEST(Errors, LibraryCodesHaveTheirNumbers) {
    const struct {
        CURLcode code;
        DWORD error;
    } rows[] = {{CURLE_OK, 0},
                {CURLE_OPERATION_TIMEDOUT, 12002},
                {CURLE_URL_MALFORMAT, 12005},
                {CURLE_COULDNT_RESOLVE_HOST, 12007},
                {CURLE_COULDNT_CONNECT, 12029},
                {CURLE_PARTIAL_FILE, 12030},
                {CURLE_RECV_ERROR, 12031},
                {CURLE_SEND_FAIL_REWIND, 12032},
                {CURLE_GOT_NOTHING, 12152},
                {CURLE_WEIRD_SERVER_REPLY, 12152},
                {CURLE_SSL_CONNECT_ERROR, 12157},
                {CURLE_PEER_FAILED_VERIFICATION, 12175},
                {CURLE_FTP_WEIRD_PASV_REPLY, 12004}};
    for (const auto& [code, error] : rows) EXPECT_EQ(ErrorFromCurl(code), error) << code;
}

}  // namespace
}  // namespace platform::internet
