// A place that a person adds in the small window for it.
#include "tests/dialogs/dialog_driver.h"

namespace dialogs {

namespace {

constexpr LONG kModernItem = 1;

class AccountDialog : public ::testing::Test {
protected:
    AccountDialog() {
        m_driver.host().oauth().SetOverride(m_server.Site(), {m_server.Origin() + "/organizations", "test"});
    }
    ~AccountDialog() override {
        EXPECT_EQ(m_driver.front_end().dialogs.problem(), "");
        EXPECT_TRUE(m_driver.front_end().dialogs.IsDone());
    }
    void Answer(const std::string& url, const std::string& expected_before = {}) {
        m_driver.ThenWhen(
            "type", [](auto&) { return true; },
            [=](DialogWindow& w) {
                EXPECT_EQ(TextOf(w, u"ed.url"), expected_before);
                w.Find<host::EditControl>(u"ed.url")->TypeText(host::ToUtf16(url));
                w.Find<host::ComboControl>(u"cb.APIVer")->SelectItem(kModernItem);
                EXPECT_EQ(w.Find<host::ButtonControl>(u"btn.ok")->Click(), S_OK);
            });
    }
    void Close(const std::string& expected_before) {
        m_driver.ThenWhen(
            "close", [](auto&) { return true; },
            [=](DialogWindow& w) {
                EXPECT_EQ(TextOf(w, u"ed.url"), expected_before);
                EXPECT_EQ(w.Find<host::ButtonControl>(u"btn.cancel")->Click(), S_OK);
            });
    }
    HRESULT Create(std::string& url) {
        ComPtr<TMK::IAFS_AccountData> account;
        const HRESULT result =
            m_driver.file_system()->CreateAccount(nullptr, nullptr, 0, 0, 0, account.put());
        Bstr text;
        if (account) account->get_URL(text.put());
        url = host::ToUtf8(text.view());
        EXPECT_EQ(account != nullptr, result == S_OK);
        return result;
    }

    DevServer m_server{{"--approve", "alice"}};
    Driver m_driver{m_server};
};

TEST_F(AccountDialog, MakesAPlaceOfTheSiteThatAnAddressLeadsTo) {
    std::string url;
    Answer(m_server.Url("some document.pdf"));
    EXPECT_EQ(Hex(Create(url)), Hex(S_OK));
    EXPECT_EQ(url, m_server.Site());
    m_driver.ThenWhen(
        "look", [](auto&) { return true; },
        [](DialogWindow& w) {
            const auto& versions = *w.Find<host::ComboControl>(u"cb.APIVer");
            EXPECT_EQ(versions.selected(), kModernItem) << "the choice of the last time";
            EXPECT_EQ(versions.items().size(), 2u);
            EXPECT_EQ(versions.items()[0].text, u"Compatible");
            EXPECT_TRUE(w.Find<host::PictureControl>(u"img.sharepoint")->icon());
            w.CloseByPerson();
        });
    EXPECT_EQ(Hex(Create(url)), Hex(kCanceled));
    EXPECT_EQ(m_driver.Preference("api_version"), "1");
}

TEST_F(AccountDialog, ComesAgainWithTheAddressThatLeadsNowhere) {
    std::string url;
    const std::string wrong = "http://127.0.0.1:1/sites/none/a b";
    Answer(wrong);
    Answer(m_server.Site(), wrong);
    EXPECT_EQ(Hex(Create(url)), Hex(S_OK));
    EXPECT_EQ(url, m_server.Site());
    const auto prompts = m_driver.TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0].id, "sp.lb.sharePointPlaceValidUrl");
    EXPECT_NE(prompts[0].text.find(wrong), std::string::npos) << prompts[0].text;
    Answer(wrong);
    Close(wrong);
    EXPECT_EQ(Hex(Create(url)), Hex(kCanceled));
}

TEST_F(AccountDialog, NothingTypedIsNoPlace) {
    std::string url;
    Answer("");
    EXPECT_TRUE(FAILED(Create(url)));
}

}  // namespace

}  // namespace dialogs
