// Whether a string leads to SharePoint: its form, and what servers of every kind make of the probe.
#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/text/encoding.h"
#include "session/session.h"
#include "session/sharepoint_checker.h"
#include "tests/support/loopback/loopback_test_server.h"
#include "tests/support/loopback/older_site_answers.h"

namespace {

using Request = LoopbackTestServer::Request;
using testing_support::WebAnswer;
using testing_support::WebUrlAnswer;

constexpr char kVersion15[] = "MicrosoftSharePointTeamServices: 15.0.0.4420\r\n";

// A site that answers HEAD with `head`, and SOAP or WebDAV with `refusal` unless that is empty.
struct Site {
    std::string head = Answer("200 OK", "", kVersion15);
    std::string soap_refusal;
    std::string dav_refusal;
    LoopbackTestServer server{[this](const Request& request) {
        const std::string url = "http://" + request.Header("host") + "/sites/team";
        if (request.method == "HEAD") return head;
        if (request.method == "POST") return soap_refusal.empty() ? WebUrlAnswer(url) : soap_refusal;
        return dav_refusal.empty() ? WebAnswer(url) : dav_refusal;
    }};
    std::u16string Url() const { return server.Url() + u"/sites/team"; }
    size_t Heads() const {
        size_t heads = 0;
        for (const Request& request : server.Requests()) heads += request.method == "HEAD";
        return heads;
    }
};

constexpr char kNegotiate[] = "WWW-Authenticate: NTLM\r\nWWW-Authenticate: Basic realm=\"x\"\r\n";

TEST(Probe, FindsAnOpenSite) {
    Site site;
    EXPECT_TRUE(Session::IsSharePoint(site.Url()));
    EXPECT_GE(site.server.Requests().size(), 3u);
}

TEST(Probe, TakesARefusalForASignOfLife) {
    for (const char* status : {"401 Unauthorized", "403 Forbidden"}) {
        Site soap;
        soap.soap_refusal = Answer(status, "", kNegotiate);
        EXPECT_TRUE(Session::IsSharePoint(soap.Url())) << status;
        EXPECT_EQ(soap.server.Requests().size(), 2u) << status;  // nobody was asked, nothing sent again
        Site dav;
        dav.dav_refusal = Answer(status);
        EXPECT_TRUE(Session::IsSharePoint(dav.Url())) << status;
    }
}

TEST(Probe, LeavesOtherServersAlone) {
    for (const char* headers :
         {"", "MicrosoftSharePointTeamServices: 14.0.0.7015\r\n", "MicrosoftSharePointTeamServices: x\r\n"}) {
        for (const char* status : {"200 OK", "401 Unauthorized", "403 Forbidden", "500 Down"}) {
            Site site;
            site.head = Answer(status, "", headers);
            EXPECT_FALSE(Session::IsSharePoint(site.Url())) << headers << status;
            EXPECT_EQ(site.server.Requests().size(), site.Heads()) << headers << status;
        }
    }
}

TEST(Probe, ItsOwnHeadMayBeRefused) {
    Site site;
    site.head = Answer("401 Unauthorized", "", std::string(kVersion15) + kNegotiate);
    EXPECT_TRUE(Session::IsSharePoint(site.Url()));
}

TEST(Probe, AServerThatBreaksDownIsNoSharePoint) {
    Site site;
    site.dav_refusal = Answer("500 Down");
    EXPECT_FALSE(Session::IsSharePoint(site.Url()));
}

TEST(Probe, FollowsARedirect) {
    Site site;
    LoopbackTestServer front([&](const Request& request) {
        return Answer("302 Found", "", "Location: " + ToUtf8(site.server.Url()) + request.target + "\r\n");
    });
    EXPECT_THROW(Session::IsSharePoint(front.Url() + u"/sites/team"),
                 HResultException);  // another server's web
    EXPECT_EQ(site.Heads(), 1u);
    Site plain;
    plain.head = Answer("200 OK");
    LoopbackTestServer elsewhere([&](const Request& request) {
        return Answer("302 Found", "", "Location: " + ToUtf8(plain.server.Url()) + request.target + "\r\n");
    });
    EXPECT_FALSE(Session::IsSharePoint(elsewhere.Url() + u"/sites/team"));
}

TEST(Probe, SaysWhenNothingAnswers) {
    std::u16string url;
    {
        const LoopbackTestServer gone([](const Request&) { return std::string(); });
        url = gone.Url();
    }
    EXPECT_THROW(Session::IsSharePoint(url), ApiException);
    EXPECT_THROW(Session::IsSharePoint(u"ftp://host/"), Exception);
}

TEST(SharepointChecker, AsksTheServerOfEveryFormOfAnAddressAndOfNothingElse) {
    Site site;
    const std::u16string port = site.server.Url().substr(std::u16string_view(u"http://127.0.0.1:").size());
    for (const std::u16string& text :
         {site.Url(), site.Url() + u"/Shared%20Documents/a.pdf", u"\\\\127.0.0.1@" + port + u"\\sites\\team",
          u"\\\\127.0.0.1@" + port + u"\\DavWWWRoot\\sites\\team"}) {
        site.server.Forget();
        EXPECT_TRUE(Utility::SharepointChecker::IsSharePoint(text)) << ToUtf8(text);
        EXPECT_EQ(site.Heads(), 1u) << ToUtf8(text);
        EXPECT_TRUE(Utility::SharepointChecker::IsSharePoint(text));
        EXPECT_EQ(site.Heads(), 2u) << ToUtf8(text);  // the answer is not remembered
    }
    site.server.Forget();
    for (const char16_t* text :
         {u"", u"C:\\folder\\a.pdf", u"/home/alice/a.pdf", u"a.pdf", u"ftp://127.0.0.1/"})
        EXPECT_FALSE(Utility::SharepointChecker::IsSharePoint(text)) << ToUtf8(text);
    EXPECT_TRUE(site.server.Requests().empty());
}

}  // namespace
