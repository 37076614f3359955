// Signing in to a site by each of its ways and out again, with the host's account prompt and browser
// scripted.
#include <gtest/gtest.h>

#include <algorithm>

#include "base/failure.h"
#include "host/base/text.h"
#include "session/account_data.h"
#include "session/session.h"
#include "session/sessions_memory.h"
#include "tests/interfaces/inside_host.h"
#include "tests/support/loopback/loopback_test_server.h"
#include "tests/support/loopback/older_site_answers.h"
#include "tests/support/plugin/scripted_browser.h"
#include "tests/support/trace_log.h"

namespace interfaces {

namespace {

using Request = LoopbackTestServer::Request;

// Answers prompts by a script, and tells what they showed.
class Prompts final : public cCoClassUnknownT<Prompts, TMK::IAFS_BindContext> {
public:
    HRESULT OnGetUserAccount(void*, LPWSTR host, LPWSTR status_text, LPWSTR user, LPWSTR password,
                             BSTR* out_user, BSTR* out_password, void*, DWORD flags) override {
        if (flags & TMK::AFS_BindContext_NoUI) {
            *out_user = Bstr(stored.user).detach();
            *out_password = Bstr(stored.password).detach();
            return S_OK;
        }
        shown.push_back(host::ToUtf8(host) + " " + host::ToUtf8(status_text) + " " + host::ToUtf8(user) +
                        "/" + host::ToUtf8(password));
        if (shown.size() > answers.size()) return E_CANCELED;
        *out_user = Bstr(answers[shown.size() - 1].user).detach();
        *out_password = Bstr(answers[shown.size() - 1].password).detach();
        return S_OK;
    }
    Http::Session::Credentials stored;
    std::vector<Http::Session::Credentials> answers;
    std::vector<std::string> shown;
};

std::string SiteAnswer(const Request& request) {
    const std::string url = "http://" + request.Header("host") + "/sites/team";
    if (request.method == "POST") return WebUrlAnswer(url);
    return request.method == "PROPFIND" ? WebAnswer(url) : Answer("200 OK");
}

std::string BasicSite(const Request& request) {
    if (request.Header("authorization") == "Basic YWxpY2U6c2VjcmV0") return SiteAnswer(request);
    return Answer("401 Not You", "", "WWW-Authenticate: Basic realm=\"x\"\r\n");
}

class SignIn : public ::testing::Test {
protected:
    SignIn() {
        m_host = MakeObject<ScriptedHost>(m_script, m_inside.host().instance());
        plugin().m_tmk_inst = m_host;
    }
    ~SignIn() override { plugin().m_tmk_inst = ComPtr<TMK::ITMK_Inst>(m_inside.host().instance()); }
    Plugin& plugin() { return m_inside.plugin(); }
    ComPtr<AccountData> Account(const LoopbackTestServer& server, const std::u16string& user_info = {}) {
        std::u16string url = server.Url() + u"/sites/team";
        if (!user_info.empty()) url.insert(std::u16string_view(u"http://").size(), user_info + u"@");
        return MakeObject<AccountData>(plugin(), url, 0u);
    }
    // The user and the first letters of the log in of the remembered server.
    std::u16string Remembered(const std::u16string& url) {
        ::Settings::Node node;
        if (FAILED(GetSettings(plugin(), url, false, node)) || !node) return u"nothing";
        return ::Settings::GetString(node.get(), u"Login");
    }
    // The result of the first connection, or the code of what was thrown.
    HRESULT Connect(AccountData& account) {
        try {
            m_session = Session::Create(account, plugin(), m_prompts.get());
            return S_OK;
        } catch (const HResultException& failure) {
            return failure.code;
        } catch (const ApiException& failure) {
            return HRESULT_FROM_WIN32(failure.code);
        }
    }

    BrowserScript m_script;
    InsideHost m_inside;
    ComPtr<ScriptedHost> m_host;
    ComPtr<Prompts> m_prompts = MakeObject<Prompts>();
    std::shared_ptr<Session> m_session;
};

TEST_F(SignIn, AsksTheUserWhomTheHostHasStoredAndRemembersTheAnswer) {
    LoopbackTestServer server(BasicSite);
    const auto account = Account(server);
    m_prompts->stored = {u"bob", u"old"};
    m_prompts->answers = {{u"alice", u"wrong"}, {u"alice", u"secret"}};
    ASSERT_EQ(Connect(*account), S_OK);
    EXPECT_EQ(m_prompts->shown.front(), "127.0.0.1 Not You bob/old");
    EXPECT_EQ(m_prompts->shown.size(), 2u);
    EXPECT_EQ(account->GetCredentials().user, u"alice");
    EXPECT_EQ(account->GetCredentials().password, u"secret");
    EXPECT_EQ(account->GetAuthHeader(), u"Cookie: \n");
    EXPECT_EQ(account->GetAuthToken(), u"");
    EXPECT_EQ(Remembered(server.Url()), u"alice");
    EXPECT_EQ(m_session->GetWebUrl(), server.Url() + u"/sites/team");
}

TEST_F(SignIn, UsesTheAccountsCredentialsThenTheAddresssThenTheHosts) {
    LoopbackTestServer server(BasicSite);
    const auto account = Account(server, u"alice:secret");
    m_prompts->stored = {u"bob", u"old"};
    ASSERT_EQ(Connect(*account), S_OK);
    const auto of_account = Account(server, u"bob:old");
    of_account->SetCredentials({u"alice", u"secret"});
    ASSERT_EQ(Connect(*of_account), S_OK);
    const auto of_host = Account(server);
    m_prompts->stored = {u"alice", u"secret"};
    ASSERT_EQ(Connect(*of_host), S_OK);
    EXPECT_EQ(of_host->GetCredentials().password, u"secret");
    EXPECT_TRUE(m_prompts->shown.empty());
}

TEST_F(SignIn, ShowsTheRememberedUserWhenThereIsNoPassword) {
    LoopbackTestServer server(BasicSite);
    const auto first = Account(server);
    m_prompts->answers = {{u"alice", u"secret"}, {u"alice", u"secret"}};
    ASSERT_EQ(Connect(*first), S_OK);
    m_session.reset();
    LoopbackTestServer* const same = &server;
    const auto second = Account(*same);
    const auto probe = Http::Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
    probe->ResetAuthorizationData({});  // so that the process remembers no user
    ASSERT_EQ(Connect(*second), S_OK);
    EXPECT_EQ(m_prompts->shown.back(), "127.0.0.1 Not You alice/");
}

TEST_F(SignIn, LeavesTheAccountAloneWhenTheUserDeclines) {
    LoopbackTestServer server(BasicSite);
    const auto account = Account(server);
    account->SetCredentials({u"alice", u"wrong"});
    account->SetAuthHeader(u"Cookie: a=b\n");
    account->SetAuthToken(u"token");
    EXPECT_EQ(Connect(*account), E_CANCELED);
    EXPECT_EQ(account->GetCredentials().password, u"wrong");
    EXPECT_EQ(account->GetAuthHeader(), u"Cookie: a=b\n");
    EXPECT_EQ(account->GetAuthToken(), u"token");
    EXPECT_EQ(Remembered(server.Url()), u"nothing");
}

TEST_F(SignIn, ALaterPromptDoesNotReachTheAccount) {
    bool revoked = false;
    LoopbackTestServer server([&](const Request& request) {
        return revoked && request.Header("authorization") != "Basic Ym9iOm5ldw=="
                   ? Answer("401 Not You", "", "WWW-Authenticate: Basic realm=\"x\"\r\n")
                   : SiteAnswer(request);
    });
    const auto account = Account(server, u"alice:secret");
    ASSERT_EQ(Connect(*account), S_OK);
    revoked = true;
    m_prompts->answers = {{u"bob", u"new"}};
    EXPECT_NO_THROW(m_session->GetWeb()->UpdateInformation());
    EXPECT_EQ(m_prompts->shown, std::vector<std::string>{"127.0.0.1 Not You alice/secret"});
    EXPECT_EQ(account->GetCredentials().user, u"alice");
}

TEST_F(SignIn, ARedirectToAnotherHostAsksNobodyAndStoresNothing) {
    std::string own_host;
    const LoopbackTestServer other([&](const Request& request) {
        if (request.Header("authorization").empty())
            return Answer("401 Not You", "", "WWW-Authenticate: Basic realm=\"x\"\r\n");
        Request moved = request;
        for (auto& [name, value] : moved.headers)
            if (name == "host") value = own_host;
        return SiteAnswer(moved);
    });
    LoopbackTestServer server([&](const Request& request) {
        return Answer("307 Moved", "",
                      "Location: " + host::ToUtf8(other.Url(u"localhost")) + request.target + "\r\n");
    });
    own_host = host::ToUtf8(server.Url()).substr(sizeof("http://") - 1);
    const auto account = Account(server);
    m_prompts->answers = {{u"alice", u"of the other host"}};
    // The body does not follow to another host, so nobody is asked for it either.
    EXPECT_EQ(Connect(*account), HRESULT_FROM_WIN32(12156));
    EXPECT_TRUE(m_prompts->shown.empty());
    EXPECT_EQ(account->GetCredentials().user, u"");
    EXPECT_EQ(account->GetCredentials().password, u"");
}

struct FormsSite {
    LoopbackTestServer server{[](const Request& request) {
        if (request.Header("cookie").find("FedAuth=fed; rtFa=rt") != std::string::npos)
            return SiteAnswer(request);
        const std::string origin = "http://" + request.Header("host");
        return Answer("403 Forbidden", "",
                      "X-Forms_Based_Auth_Required: " + origin +
                          "/_forms/default.aspx\r\nX-Forms_Based_Auth_Return_Url: " + origin +
                          "/_layouts/15/start.aspx\r\n");
    }};
    std::vector<ScriptedPage> Pages() const {
        return {{server.Url() + u"/_layouts/15/start.aspx",
                 {{{u"FedAuth", u"fed", u"127.0.0.1"}, {u"rtFa", u"rt", u"127.0.0.1"}}}}};
    }
};

TEST_F(SignIn, GoesThroughTheBrowserForFormsAndNeverAgain) {
    FormsSite site;
    m_script.pages = site.Pages();
    const auto account = Account(site.server);
    ASSERT_EQ(Connect(*account), S_OK);
    EXPECT_EQ(m_script.first_url, site.server.Url() + u"/_forms/default.aspx");
    EXPECT_EQ(account->GetAuthHeader(), u"Cookie: FedAuth=fed; rtFa=rt\n");
    EXPECT_TRUE(m_prompts->shown.empty());
    const size_t before = m_script.shown_pages;
    ASSERT_EQ(Connect(*account), S_OK);  // the account brings the cookies
    EXPECT_EQ(m_script.shown_pages, before);
}

TEST_F(SignIn, LeavesTheAccountAloneWhenTheBrowserIsClosed) {
    FormsSite site;
    const auto account = Account(site.server);
    EXPECT_EQ(Connect(*account), E_CANCELED);
    EXPECT_EQ(account->GetAuthHeader(), u"");
}

TEST_F(SignIn, SignsOutOfTheBrowserTooWithAndWithoutASession) {
    FormsSite site;
    m_script.pages = site.Pages();
    const auto account = Account(site.server);
    ASSERT_EQ(Connect(*account), S_OK);
    m_session->SignOut();
    const std::vector<std::u16string> deleted = m_script.deleted;
    ASSERT_EQ(deleted.size(), 3u);
    EXPECT_EQ(deleted[0], u"127.0.0.1");
    EXPECT_TRUE(deleted[2].starts_with(u"."));
    EXPECT_EQ(m_script.cookie_group, u"ds");
    EXPECT_EQ(m_script.parent, nullptr);
    EXPECT_EQ(account->GetAuthHeader(), u"Cookie: FedAuth=fed; rtFa=rt\n");  // the caller's to clear
    m_script.deleted.clear();
    EXPECT_EQ(Session::SignOut(&plugin(), account.get()), S_OK);
    EXPECT_EQ(m_script.deleted, deleted);
    EXPECT_EQ(Session::SignOut(nullptr, account.get()), E_INVALIDARG);
    EXPECT_EQ(Session::SignOut(&plugin(), nullptr), E_INVALIDARG);
    m_script.create_web_view = E_NOTIMPL;  // nothing to forget where there is no browser
    EXPECT_EQ(Session::SignOut(&plugin(), account.get()), S_OK);
}

TEST_F(SignIn, SigningOutOfOneServerLeavesTheOthersSignedIn) {
    LoopbackTestServer first(BasicSite);
    LoopbackTestServer second(BasicSite);
    m_prompts->answers = {{u"alice", u"secret"}, {u"alice", u"secret"}};
    const auto of_first = Account(first);
    const auto of_second = Account(second);
    ASSERT_EQ(Connect(*of_first), S_OK);
    const auto first_session = m_session;
    ASSERT_EQ(Connect(*of_second), S_OK);
    ASSERT_EQ(m_prompts->shown.size(), 2u);
    const auto ask = [](Session& session) {
        session.GetWeb()->AsWeb()->BindObject(session.GetWebUrl() + u"/doc",
                                              SharePoint::Web::BindObjectType::any);
    };
    first_session->SignOut();
    EXPECT_NO_THROW(ask(*m_session));
    EXPECT_EQ(m_prompts->shown.size(), 2u) << "nobody is asked for the other server";
    EXPECT_THROW(ask(*first_session), HResultException) << "the prompt comes again, and is declined";
    EXPECT_EQ(m_prompts->shown.size(), 3u);
    EXPECT_EQ(m_prompts->shown.back(), "127.0.0.1 Not You alice/") << "the password is gone";
}

TEST_F(SignIn, LeavesNoSecretInTheLog) {
    const std::string log = LogOf(Log::verbose, [&] {
        LoopbackTestServer basic(BasicSite);
        m_prompts->answers = {{u"alice", u"hidden1"}, {u"alice", u"secret"}};
        const auto by_password = Account(basic);
        EXPECT_EQ(Connect(*by_password), S_OK);
        FormsSite forms;
        m_script.pages = forms.Pages();
        m_script.pages[0].cookies->insert(m_script.pages[0].cookies->begin(),
                                          {u"other", u"hidden2", u"127.0.0.1"});
        const auto by_browser = Account(forms.server);
        by_browser->SetAuthHeader(u"Cookie: FedAuth=hidden3; rtFa=hidden4\n");
        by_browser->SetAuthToken(u"hidden5");
        EXPECT_EQ(Connect(*by_browser), S_OK);
        m_session->SignOut();
    });
    EXPECT_NE(log.find("AuthenticateWithMicrosoftForms"), std::string::npos);
    EXPECT_NE(log.find("Session::SignOut"), std::string::npos);
    for (const char* secret :
         {"hidden", "secret", "alice", "YWxpY2U6", "FedAuth=fed", "rtFa=rt", "sites/team"})
        EXPECT_EQ(log.find(secret), std::string::npos) << secret;
}

TEST_F(SignIn, NeedsAContextAndAnAddress) {
    const auto account = MakeObject<AccountData>(plugin(), u"", 0u);
    EXPECT_EQ(Connect(*account), E_INVALIDARG);
    m_prompts.reset();
    account->SetUrl(u"http://127.0.0.1/");
    EXPECT_EQ(Connect(*account), E_INVALIDARG);
}

}  // namespace

}  // namespace interfaces
