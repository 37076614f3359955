// Accounts in the host's settings tree and under its cipher, and the plug-in's own answers in each state.
#include <gtest/gtest.h>

#include "host/base/text.h"
#include "session/account_data.h"
#include "session/account_match.h"
#include "tests/interfaces/inside_host.h"

namespace interfaces {

namespace {

constexpr const char16_t* kFields[] = {u"Url", u"WebUrl", u"AuthHeader", u"User", u"Password", u"AuthToken"};

ComPtr<AccountData> MakeAccount(Plugin& plugin) {
    auto account = MakeObject<AccountData>(plugin, u"http://host/sites/a", 1u);
    account->SetWebUrl(u"http://host/sites/a/web");
    account->SetAuthHeader(u"FedAuth=x; rtFa=y");
    account->SetCredentials({u"\u00E4lice", u"pass \U0001F600 word"});
    account->SetAuthToken(u"token");
    return account;
}

TEST(StoredAccounts, ComeBackAsTheyWereSaved) {
    InsideHost inside;
    const auto tree = std::make_shared<host::SettingsTree>();
    const auto cab = tree->View();
    ASSERT_EQ(MakeAccount(inside.plugin())->SaveTo(cab.get()), S_OK);
    const std::string json = tree->ToJson();
    for (const char* secret : {"FedAuth", "lice", "pass", "\"token\""})
        EXPECT_EQ(json.find(secret), std::string::npos) << json;
    const auto restored = std::make_shared<host::SettingsTree>();
    restored->FromJson(json);
    ComPtr<AccountData> account;
    ASSERT_EQ(AccountData::Create(&inside.plugin(), restored->View().get(), account), S_OK);
    EXPECT_EQ(account->GetUrl(), u"http://host/sites/a");
    EXPECT_EQ(account->GetAuthHeader(), u"FedAuth=x; rtFa=y");
    EXPECT_EQ(account->GetCredentials().user, u"\u00E4lice");
    EXPECT_EQ(account->GetCredentials().password, u"pass \U0001F600 word");
    EXPECT_EQ(account->GetAuthToken(), u"token");
    EXPECT_EQ(account->GetApiVersion(), 1u);
    LONG match = 0;
    EXPECT_EQ(account->VerifyURL(u"http://host/sites/a/web/x", &match), S_OK);  // the web's URL came back
    EXPECT_EQ(match, 1);
    EXPECT_EQ(account->VerifyURL(u"http://host/sites/a/x", &match), S_OK);
    EXPECT_EQ(match, 0);
    const auto again = std::make_shared<host::SettingsTree>();
    ASSERT_EQ(account->SaveTo(again->View().get()), S_OK);
    for (const char16_t* field : {u"Url", u"WebUrl"}) {
        EXPECT_EQ(host::StringOf(host::ChildOf(again->View().get(), field).get()),
                  host::StringOf(host::ChildOf(cab.get(), field).get()));
    }
}

TEST(StoredAccounts, PlainTextIsTakenAndForeignCiphertextIsNot) {
    InsideHost inside;
    InsideHost other;
    const auto tree = std::make_shared<host::SettingsTree>();
    ASSERT_EQ(MakeAccount(other.plugin())->SaveTo(tree->View().get()), S_OK);
    host::PutString(tree->View().get(), u"User", u"plain user");
    ComPtr<AccountData> account;
    ASSERT_EQ(AccountData::Create(&inside.plugin(), tree->View().get(), account), S_OK);
    EXPECT_EQ(account->GetUrl(), u"http://host/sites/a");
    EXPECT_EQ(account->GetCredentials().user, u"plain user");
    EXPECT_EQ(account->GetCredentials().password, u"");
    EXPECT_EQ(account->GetAuthToken(), u"");
}

TEST(StoredAccounts, EmptyValuesStayEmpty) {
    InsideHost inside;
    const auto tree = std::make_shared<host::SettingsTree>();
    const auto cab = tree->View();
    ASSERT_EQ(MakeAccount(inside.plugin())->SaveTo(cab.get()), S_OK);
    ASSERT_EQ(MakeObject<AccountData>(inside.plugin(), u"", 0u)->SaveTo(cab.get()), S_OK);
    for (const char16_t* field : kFields)
        EXPECT_EQ(host::StringOf(host::ChildOf(cab.get(), field).get()), u"") << host::ToUtf8(field);
    ComPtr<AccountData> account;
    ASSERT_EQ(AccountData::Create(&inside.plugin(), cab.get(), account), S_OK);
    EXPECT_EQ(account->GetApiVersion(), 0u);
}

TEST(AccountMatch, SchemesHostsPathsAndUsersCountAndPortsDoNot) {
    struct Case {
        const char16_t* input;
        const char16_t* account;
        const char16_t* user;
        bool ignore_path;
        LONG result;
    };
    const Case cases[] = {
        {nullptr, u"http://h/a", u"", false, 0},
        {u"", u"http://h/a", u"", false, 0},
        {u"http://h/sites/a", u"http://h/sites/a", u"u", false, 1},
        {u"http://h/sites/a/b", u"http://h/sites/a", u"u", false, 1},
        {u"http://h/sites/a?web=1", u"http://h/sites/a", u"u", false, 1},
        {u"http://h/sites/a/b#c", u"http://h/sites/a/?x=1", u"u", false, 1},
        {u"http://H/SITES/A/b", u"http://h/sites/a/", u"u", false, 1},
        {u"http://h/sites/ab", u"http://h/sites/a", u"u", false, 0},
        {u"http://h/sites", u"http://h/sites/a", u"u", false, 0},
        {u"http://h/other", u"http://h/sites/a", u"u", true, 1},
        {u"https://h/sites/a", u"http://h/sites/a", u"u", true, 0},
        {u"http://g/sites/a", u"http://h/sites/a", u"u", true, 0},
        {u"http://h:81/sites/a", u"http://h:82/sites/a", u"u", false, 1},
        {u"http://Me@h/sites/a", u"http://h/sites/a", u"mE", false, 2},
        {u"http://you@h/sites/a", u"http://h/sites/a", u"me", false, 0},
        {u"http://you@h/sites/a", u"http://h/sites/a", u"", false, 0},
        {u"http://h/", u"http://h", u"", false, 1},
        {u"http://h/x", u"http://h/", u"", false, 1},
    };
    for (const Case& c : cases) {
        LONG result = 7;
        EXPECT_EQ(MatchAccountUrl(c.input, c.account, c.user, c.ignore_path, result), S_OK);
        EXPECT_EQ(result, c.result) << (c.input ? host::ToUtf8(c.input) : "null") << " "
                                    << host::ToUtf8(c.account);
    }
    LONG result = 7;
    EXPECT_TRUE(FAILED(MatchAccountUrl(u"no address", u"http://h/", u"", false, result)));
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(FAILED(MatchAccountUrl(u"http://h/", u"", u"", false, result)));
}

TEST(PlugIn, OperationsFailAfterUnload) {
    InsideHost inside;
    const ComPtr<TMK::IAFS_FileSys> kept = inside.host().FileSystem();
    const auto monitor = host::Make<host::ProgressMonitor>([](std::uint64_t, std::uint64_t) {});
    ASSERT_EQ(kept->SetProgressMon(monitor.get()), S_OK);
    inside.host().UnloadPlugin();
    Bstr text;
    ComPtr<TMK::IUIX_Icon> icon;
    ComPtr<TMK::ITMK_ProgressMon> found;
    ComPtr<TMK::IAFS_AccountData> account;
    ComPtr<TMK::IAFS_DlgParams> parameters;
    EXPECT_TRUE(FAILED(kept->get_DispName(text.put())));
    EXPECT_TRUE(FAILED(kept->get_Icon(icon.put())));
    EXPECT_TRUE(FAILED(kept->CreateDlgParams(1, 0, parameters.put())));
    EXPECT_TRUE(FAILED(kept->CreateAccount(u"http://x/", nullptr, 0, 0, 0, account.put())));
    EXPECT_EQ(kept->GetProgressMon(0, found.put()), S_FALSE);
    EXPECT_EQ(kept->get_Name(text.put()), S_OK);
}

}  // namespace

}  // namespace interfaces
