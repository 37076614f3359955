// The forms sign-in against a scripted browser, and the OAuth flow against a scripted host.
#include "session/authentication.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/failure.h"
#include "base/text/encoding.h"
#include "session/browser_cookies.h"
#include "tests/support/plugin/scripted_browser.h"
#include "tests/support/trace_log.h"

namespace {

using Cookies = Http::Session::AuthCookies;

constexpr const char16_t* kServer = u"http://portal.corp.example";
constexpr const char16_t* kRequired = u"http://portal.corp.example/_forms/default.aspx";
constexpr const char16_t* kReturn = u"http://portal.corp.example/_layouts/15/start.aspx";
const Cookies kBoth = {{u"FedAuth", u"fed"}, {u"rtFa", u"rt"}};

ScriptedCookie Fed(const char16_t* domain = u"portal.corp.example", const char16_t* path = u"/",
                   const char16_t* value = u"fed") {
    return {u"FedAuth", value, domain, path};
}
ScriptedCookie RtFa(const char16_t* domain = u"portal.corp.example", const char16_t* path = u"/") {
    return {u"rtFa", u"rt", domain, path};
}

struct SignedIn {
    HRESULT result;
    Cookies cookies;
};

SignedIn SignIn(BrowserScript& script, const char16_t* return_url) {
    SignedIn answer;
    answer.result = AuthenticateWithMicrosoftForms(answer.cookies, kRequired, return_url, kServer,
                                                   MakeObject<ScriptedHost>(script).get());
    return answer;
}

SignedIn SignIn(const std::vector<ScriptedPage>& pages, const char16_t* return_url) {
    BrowserScript script;
    script.pages = pages;
    return SignIn(script, return_url);
}

TEST(FormsSignIn, TakesTheCookiesAtTheReturnAddressAndNotBefore) {
    BrowserScript script;
    script.pages = {{kRequired, {{Fed(), RtFa()}}},
                    {kReturn, {{RtFa(), Fed()}}, false},
                    {u"http://PORTAL.corp.example/_layouts/15/start.aspx/", {{RtFa(), Fed()}}}};
    const SignedIn answer = SignIn(script, kReturn);
    EXPECT_EQ(answer.result, S_OK);
    EXPECT_EQ(answer.cookies, kBoth);  // in this order, whatever the browser's
    EXPECT_EQ(script.cookie_requests, 1u);
    EXPECT_EQ(script.shown_pages, 3u);
    EXPECT_FALSE(script.visible);
    EXPECT_EQ(script.first_url, kRequired);
    EXPECT_EQ(script.cookie_group, u"ds");
}

TEST(FormsSignIn, HasOneTryAtTheReturnAddress) {
    const std::vector<std::optional<std::vector<ScriptedCookie>>> lists = {
        std::nullopt, std::vector<ScriptedCookie>{}, {{Fed()}}, {{RtFa()}}};
    for (const auto& list : lists) {
        BrowserScript script;
        script.pages = {{kReturn, list}, {kReturn, {{Fed(), RtFa()}}}};
        const SignedIn answer = SignIn(script, kReturn);
        EXPECT_EQ(answer.result, E_CANCELED);
        EXPECT_TRUE(answer.cookies.empty());
        EXPECT_EQ(script.shown_pages, 1u);
    }
}

TEST(FormsSignIn, WithoutAReturnAddressWaitsForThePageThatBringsBoth) {
    BrowserScript script;
    script.pages = {{kRequired, std::nullopt},
                    {u"http://login.example/", std::vector<ScriptedCookie>{}},
                    {u"http://login.example/2", {{Fed(u"login.example")}}},
                    {u"http://broken/", {{Fed(), RtFa()}}, false},
                    {u"http://portal.corp.example/", {{Fed(), RtFa()}}},
                    {u"http://portal.corp.example/never", {}}};
    const SignedIn answer = SignIn(script, u"");
    EXPECT_EQ(answer.result, S_OK);
    EXPECT_EQ(answer.cookies, kBoth);
    EXPECT_EQ(script.shown_pages, 5u);
    EXPECT_TRUE(script.visible);
}

TEST(FormsSignIn, EndsOnHalfASignInEvenWithoutAReturnAddress) {
    BrowserScript script;
    script.pages = {{kRequired, {{Fed()}}}, {kRequired, {{Fed(), RtFa()}}}};
    EXPECT_EQ(SignIn(script, u"").result, E_CANCELED);
    EXPECT_EQ(script.shown_pages, 1u);
}

TEST(FormsSignIn, IsCancelledByClosingTheWindow) {
    EXPECT_EQ(SignIn(std::vector<ScriptedPage>{}, u"").result, E_CANCELED);
    EXPECT_EQ(SignIn({{kRequired, {{Fed(), RtFa()}}}}, kReturn).result, E_CANCELED);
    EXPECT_EQ(SignIn({{kRequired, std::vector<ScriptedCookie>{}}}, u"").result, E_CANCELED);
}

TEST(FormsSignIn, TakesTheFirstCookieThatIsTheServersOwn) {
    const std::vector<ScriptedCookie> cookies = {Fed(u"other.example", u"/", u"bad"),
                                                 Fed(u"portal.corp.example", u"/sites", u"deep"),
                                                 {u"fedauth", u"case", u"portal.corp.example"},
                                                 Fed(u"Corp.EXAMPLE"),
                                                 Fed(u"portal.corp.example", u"/", u"second"),
                                                 RtFa(u"other.example"),
                                                 RtFa(u".corp.example")};
    const SignedIn answer = SignIn({{kReturn, cookies}}, kReturn);
    EXPECT_EQ(answer.result, S_OK);
    EXPECT_EQ(answer.cookies, kBoth);
}

TEST(FormsSignIn, SecureCookiesStayOnTls) {
    struct Case {
        const char16_t* server;
        HRESULT result;
    };
    for (const Case& c :
         {Case{u"http://portal.corp.example", E_CANCELED}, Case{u"https://portal.corp.example", S_OK},
          Case{u"HTTPS://portal.corp.example:8443", S_OK}}) {
        ScriptedCookie fed = Fed();
        fed.secure = true;
        BrowserScript script;
        script.pages = {{kReturn, {{fed, RtFa()}}}};
        Cookies cookies;
        EXPECT_EQ(AuthenticateWithMicrosoftForms(cookies, kRequired, kReturn, c.server,
                                                 MakeObject<ScriptedHost>(script).get()),
                  c.result)
            << ToUtf8(c.server);
        EXPECT_EQ(cookies.empty(), c.result != S_OK);
    }
}

TEST(FormsSignIn, AnAnswerThatComesAfterTheEndAddsNothing) {
    BrowserScript script;
    script.pages = {{u"http://portal.corp.example/", {{Fed(), RtFa()}}},
                    {u"http://portal.corp.example/2", {{Fed(), RtFa()}}}};
    // Both pages are shown before the first answer arrives.
    script.before_ready = [&] {
        script.queue.push_back([&] { static_cast<scripted::Window*>(script.window)->on_idle(); });
    };
    const SignedIn answer = SignIn(script, u"");
    EXPECT_EQ(answer.result, S_OK);
    EXPECT_EQ(answer.cookies, kBoth);
}

TEST(FormsSignIn, SaysWhyNoBrowserCouldBeShown) {
    BrowserScript script;
    script.create_object = E_NOTIMPL;
    EXPECT_EQ(SignIn(script, u"").result, E_NOTIMPL);
    Cookies cookies;
    EXPECT_EQ(AuthenticateWithMicrosoftForms(cookies, kRequired, u"", kServer, nullptr), E_INVALIDARG);
    // A server whose name can't be read gives no cookie to anybody, and no exception to the browser.
    BrowserScript unreadable;
    unreadable.pages = {{kRequired, {{Fed(), RtFa()}}}};
    EXPECT_EQ(AuthenticateWithMicrosoftForms(cookies, kRequired, u"", u"nonsense",
                                             MakeObject<ScriptedHost>(unreadable).get()),
              E_CANCELED);
}

TEST(BrowserCookies, BelongToTheirDomainAndBelowAndToTheStartOfThePath) {
    struct Case {
        const char16_t *url, *domain, *path;
        bool matches;
    };
    const Case cases[] = {
        {u"http://a.example", u"a.example", u"/", true},
        {u"http://a.example:8080", u"a.example", u"/", true},
        {u"http://sub.A.example", u".a.EXAMPLE", u"/", true},
        {u"http://a.example", u".a.example", u"/", false},  // longer than the host
        {u"http://a.example", u"b.example", u"/", false},
        {u"http://nota.example", u"a.example", u"/", false},  // ends so, and is another host
        {u"http://sub.a.example", u"a.example", u"/", true},
        {u"http://a.example", u"sub.a.example", u"/", false},
        {u"http://a.example", u"", u"", true},
        {u"http://a.example", u"a.example", u"/sites", false},
        {u"http://a.example/sites/x", u"a.example", u"/sites", true},
        {u"http://a.example/sites", u"a.example", u"/Sites", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(CookieMatchesUrl(c.url, c.domain, c.path), c.matches)
            << ToUtf8(c.url) << " " << ToUtf8(c.domain) << " " << ToUtf8(c.path);
    }
    EXPECT_THROW(CookieMatchesUrl(u"ftp://a.example", u"a.example", u"/"), Exception);
}

TEST(FormsSignIn, LeavesNoSecretAndNoAddressInTheLog) {
    const std::string log = testing_support::LogOf(Log::verbose, [] {
        SignIn({{u"http://portal.corp.example/?code=hiddencode", std::vector<ScriptedCookie>{}},
                {u"http://portal.corp.example/?code=hiddencode", {{Fed()}}}},
               u"");
        SignIn({{kRequired, {}}, {kReturn, {{Fed(u"portal.corp.example", u"/", u"hiddenfed"), RtFa()}}}},
               kReturn);
    });
    EXPECT_NE(log.find("FedAuth cookie not found on navigating to 'http://xxxxxx"), std::string::npos) << log;
    EXPECT_NE(log.find("rtFa cookie not found on navigating to 'http://xxxxxx"), std::string::npos) << log;
    EXPECT_NE(log.find("Navigating to non-return URL 'http://xxxxxx"), std::string::npos) << log;
    EXPECT_NE(log.find("return URL is 'http://xxxxxx"), std::string::npos) << log;
    for (const char* secret : {"hidden", "portal", "corp"})
        EXPECT_EQ(log.find(secret), std::string::npos) << secret << "\n" << log;
}

}  // namespace
