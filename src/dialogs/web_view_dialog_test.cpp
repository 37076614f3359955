// The browser window against a scripted browser: how it starts, what it tells its caller, and how it ends.
#include "dialogs/web_view_dialog.h"

#include <gtest/gtest.h>

#include <pugixml.hpp>
#include <set>

#include "base/resources.h"
#include "base/text/encoding.h"
#include "tests/support/plugin/scripted_browser.h"

namespace {

using TMK::WebViewDlg;

ScriptedPage Page(const char16_t* url, bool success = true) {
    return {url, std::vector<ScriptedCookie>{}, success};
}

BrowserScript TwoPages() {
    BrowserScript script;
    script.pages = {Page(u"http://a/"), Page(u"http://b/")};
    return script;
}

// Runs the window with callbacks that note what they hear.
struct Shown {
    explicit Shown(BrowserScript& browser) : script(browser) {}
    HRESULT Show() {
        const auto dialog = MakeObject<WebViewDlg>(MakeObject<ScriptedHost>(script).get());
        dialog->m_sCookiesGroupName = u"group";
        return dialog->DoModal(
            u"http://start/",
            [&](const char16_t* url) {
                urls.push_back(ToUtf8(url));
                if (FAILED(navigated)) return navigated;
                return asks ? dialog->RequestCookies() : S_OK;
            },
            [&](const char16_t* url, ICoreWebView2CookieList* cookies, bool& done) {
                cookie_urls.push_back(ToUtf8(url) + (cookies ? "" : " null"));
                done = cookie_urls.size() >= done_at;
                return cookies_result;
            });
    }
    BrowserScript& script;
    bool asks = true;
    HRESULT navigated = S_OK;
    size_t done_at = 100;
    HRESULT cookies_result = S_OK;
    std::vector<std::string> urls;
    std::vector<std::string> cookie_urls;
};

TEST(WebViewDlg, StaysOpenPageAfterPageUntilItsCallerIsDone) {
    BrowserScript script;
    script.pages = {Page(u"http://a/"), Page(u"http://broken/", false), Page(u"http://b/"),
                    Page(u"http://c/")};
    Shown run(script);
    run.done_at = 2;
    EXPECT_EQ(run.Show(), S_OK);
    EXPECT_EQ(run.urls, (std::vector<std::string>{"http://a/", "http://b/"}));
    EXPECT_EQ(run.cookie_urls, run.urls);
    EXPECT_EQ(script.shown_pages, 3u);
    EXPECT_EQ(script.first_url, u"http://start/");
    EXPECT_EQ(script.cookie_group, u"group");
    EXPECT_EQ(script.style, 0x86CD0000u);
    EXPECT_EQ(script.settings, (std::vector<std::string>{"status=0", "scripts=1", "dialogs=1", "messages=1",
                                                         "menus=0", "tools=0"}));
    // Nothing of it is left behind: the control, the window and this object let go of each other.
    EXPECT_EQ(script.life, (std::vector<std::string>{"closed", "destroyed", "browser gone"}));
    EXPECT_EQ(script.window, nullptr);
}

TEST(WebViewDlg, AsksTheHostForADialogOfItsTemplates) {
    BrowserScript script;
    Shown(script).Show();
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(script.template_text.c_str()));
    EXPECT_TRUE(document.child("dialogs").find_child_by_attribute("id", ToUtf8(script.template_id).c_str()));
}

TEST(WebViewDlg, TheEndOfTheWindowDecides) {
    struct Case {
        std::optional<LONGLONG> end;
        HRESULT result;
    };
    for (const Case& c : {Case{std::nullopt, E_CANCELED}, Case{0, E_CANCELED}, Case{2, E_CANCELED},
                          Case{1, S_OK}, Case{E_ACCESSDENIED, E_ACCESSDENIED}, Case{7, 7}}) {
        BrowserScript script;
        script.pages = {Page(u"http://a/")};
        script.ends_with = c.end;
        EXPECT_EQ(Shown(script).Show(), c.result);
    }
}

TEST(WebViewDlg, AFailureInAnswerToCookiesIsACancellation) {
    BrowserScript script = TwoPages();
    Shown run(script);
    run.done_at = 1;
    run.cookies_result = E_UNEXPECTED;
    EXPECT_EQ(run.Show(), E_CANCELED);
    EXPECT_EQ(script.shown_pages, 1u);
}

TEST(WebViewDlg, AFailureWithoutAnEndKeepsTheWindowOpen) {
    BrowserScript script = TwoPages();
    Shown run(script);
    run.cookies_result = E_UNEXPECTED;
    EXPECT_EQ(run.Show(), E_CANCELED);
    EXPECT_EQ(run.cookie_urls.size(), 2u);
}

TEST(WebViewDlg, AFailedPageCallbackAsksForCookiesOnceMoreAndEnds) {
    BrowserScript script = TwoPages();
    Shown run(script);
    run.navigated = E_FAIL;
    EXPECT_EQ(run.Show(), E_CANCELED);
    EXPECT_EQ(run.cookie_urls, std::vector<std::string>{"http://a/"});
    EXPECT_EQ(script.shown_pages, 1u);
    // The last answer may still be the good one.
    BrowserScript second;
    second.pages = {Page(u"http://a/")};
    Shown lucky(second);
    lucky.navigated = E_FAIL;
    lucky.done_at = 1;
    EXPECT_EQ(lucky.Show(), S_OK);
}

TEST(WebViewDlg, EndsWhenNoCookiesCanBeAskedFor) {
    BrowserScript script = TwoPages();
    script.request_cookies = E_FAIL;
    Shown run(script);
    EXPECT_EQ(run.Show(), E_CANCELED);
    EXPECT_EQ(script.shown_pages, 1u);
    EXPECT_TRUE(run.cookie_urls.empty());
}

TEST(WebViewDlg, GivesAMissingListOnAsNull) {
    BrowserScript script;
    script.pages = {{u"http://a/", std::nullopt, true}};
    Shown run(script);
    run.done_at = 1;
    EXPECT_EQ(run.Show(), S_OK);
    EXPECT_EQ(run.cookie_urls, std::vector<std::string>{"http://a/ null"});
}

TEST(WebViewDlg, ItsControlFollowsTheWindowsSizeOnceItIsReady) {
    BrowserScript script;
    size_t before = 1;
    script.before_ready = [&] {
        static_cast<scripted::Window*>(script.window)->Resize(400);
        before = script.settings.size();
        script.queue.push_back([&] { static_cast<scripted::Window*>(script.window)->Resize(300); });
    };
    EXPECT_EQ(Shown(script).Show(), E_CANCELED);
    EXPECT_EQ(before, 0u);
    ASSERT_FALSE(script.bounds.empty());
    EXPECT_EQ(script.bounds.back().right, 300);
    EXPECT_EQ(script.handled_events,
              (std::vector<DWORD>{TMK::UIX_Event_Size, TMK::UIX_Event_Size, TMK::UIX_Event_BeforeDestroy}));
}

TEST(WebViewDlg, AResizeWithNoControlChangesNothing) {
    BrowserScript script;
    const auto dialog = MakeObject<WebViewDlg>(MakeObject<ScriptedHost>(script).get());
    TMK::UIX_Event event{};
    event.nCode = TMK::UIX_Event_Size;
    EXPECT_EQ(dialog->OnEvent(&event), S_OK);
    EXPECT_TRUE(script.bounds.empty());
    EXPECT_EQ(dialog->OnEvent(nullptr), E_POINTER);
    EXPECT_EQ(dialog->OnInitalized(), E_UNEXPECTED);
}

TEST(WebViewDlg, SaysWhatKeptItFromStarting) {
    {
        BrowserScript script;
        script.create_object = E_ACCESSDENIED;
        EXPECT_EQ(Shown(script).Show(), E_ACCESSDENIED);
    }
    {
        BrowserScript script;
        script.gives_object = false;
        EXPECT_EQ(Shown(script).Show(), E_UNEXPECTED);
    }
    {
        BrowserScript script;
        script.create_web_view = E_NOTIMPL;
        EXPECT_EQ(Shown(script).Show(), E_UNEXPECTED);
        EXPECT_EQ(script.life, std::vector<std::string>{"destroyed"});
    }
    {
        BrowserScript script;  // the window stays empty until it is closed
        script.has_settings = false;
        EXPECT_EQ(Shown(script).Show(), E_CANCELED);
        EXPECT_EQ(script.first_url, u"");
    }
    BrowserScript script;
    const auto dialog = MakeObject<WebViewDlg>(MakeObject<ScriptedHost>(script).get());
    EXPECT_EQ(dialog->DoModal(nullptr, {}, {}), E_INVALIDARG);
    EXPECT_EQ(MakeObject<WebViewDlg>(nullptr)->DoModal(u"http://a/", {}, {}), E_INVALIDARG);
}

TEST(WebViewDlg, DeletesCookiesWithoutAWindow) {
    BrowserScript script;
    const auto host = MakeObject<ScriptedHost>(script);
    EXPECT_EQ(MakeObject<WebViewDlg>(host.get())->DeleteCookies(u"ds", u".x.example", nullptr), S_OK);
    EXPECT_EQ(script.deleted, std::vector<std::u16string>{u".x.example"});
    EXPECT_EQ(script.cookie_group, u"ds");
    EXPECT_EQ(script.life, std::vector<std::string>{"browser gone"});
    script.create_web_view = E_NOTIMPL;
    EXPECT_EQ(MakeObject<WebViewDlg>(host.get())->DeleteCookies(u"ds", u"x", nullptr), E_UNEXPECTED);
    EXPECT_EQ(MakeObject<WebViewDlg>(nullptr)->DeleteCookies(u"ds", u"x", nullptr), E_INVALIDARG);
}

std::string_view Resource(WORD id) {
    const ResourceData data = FindResourceData(id, u"XML");
    return {static_cast<const char*>(data.data), data.size};
}

std::set<std::string> ControlsOf(const pugi::xml_node& dialog) {
    std::set<std::string> ids;
    for (const pugi::xml_node& control : dialog.child("items").children())
        ids.insert(control.attribute("id").value());
    return ids;
}

TEST(DialogTemplates, HoldTheControlsThatTheirWindowsName) {
    struct Case {
        const char* id;
        int width;
        int height;
        size_t count;
        std::set<std::string> named;
    };
    const std::set<std::string> browser = {"lst.files",    "ed.name",      "cb.filter", "btn.ok",
                                           "btn.cancel",   "btn.settings", "pic1",      "cb.url",
                                           "btn.navigate", "btn.signOut",  "lb.url"};
    const Case cases[] = {
        {"OpenDialog", 700, 480, 12, browser},
        {"SaveDialog", 700, 480, 12, browser},
        {"WebBrowserDialog", 500, 500, 0, {}},
        {"DlgAppPrefs.SharePoint.Name",
         480,
         445,
         28,
         {"cb.whenOpenDocumentCheckoutNone", "cb.whenSaveConflict", "cb.afterSave", "cb.closeNeedCheckIn",
          "cb.closeDoesNotNeedCheckIn", "cb.defaultCheckInType",
          "check.whenOpenDocumentCheckOutNoneDisableEditing", "check.whenOpenCheckOutOtherShowWarning",
          "check.whenOpenDocumentCheckOutOtherDisableEditing", "check.whenOpenNoPermissionsShowWarning",
          "check.whenOpenNoPermissionsDisableEditing", "ed.defaultCheckInComment", "check.showHiddenItems",
          "btn.resetPreferences", "btn.advancedPreferences"}},
        {"AdvancedPreferencesDialog",
         480,
         400,
         13,
         {"check.hidePaths", "ed.hiddenPaths", "cb.logLevel", "ed.numberOfDaysToStoreLogs",
          "ed.currenLogFile", "btn.openLog", "btn.openLogFolder", "btn.clearLogs", "btn.ok", "btn.cancel"}},
        {"FilePropertiesDlg", 350, 290, 4, {"lst.properties", "lbl.RequiredFields", "btn.ok", "btn.cancel"}},
        {"CreateAccountDlg",
         400,
         140,
         7,
         {"img.sharepoint", "lbl.url", "ed.url", "lb.apiver", "cb.APIVer", "btn.ok", "btn.cancel"}},
    };
    pugi::xml_document templates;
    const std::string_view text = Resource(IDR_DIALOGS_XML);
    ASSERT_TRUE(templates.load_buffer(text.data(), text.size()));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
        const pugi::xml_node dialog = templates.child("dialogs").find_child_by_attribute("id", c.id);
        ASSERT_TRUE(dialog);
        EXPECT_EQ(dialog.attribute("width").as_int(), c.width);
        EXPECT_EQ(dialog.attribute("height").as_int(), c.height);
        const std::set<std::string> ids = ControlsOf(dialog);
        EXPECT_EQ(ids.size(), c.count);
        for (const std::string& id : c.named) EXPECT_TRUE(ids.contains(id)) << id;
        for (const pugi::xml_node& control : dialog.child("items").children()) {
            EXPECT_LE(control.attribute("x").as_int() + control.attribute("width").as_int(), c.width);
            EXPECT_LE(control.attribute("y").as_int() + control.attribute("height").as_int(), c.height);
        }
    }
    const auto dialogs = templates.child("dialogs").children("dialog");
    EXPECT_EQ(std::distance(dialogs.begin(), dialogs.end()), 7);
}

// The host's language packs replace texts by id, so the ids and their order are a contract.
TEST(Localization, HasEveryTextOnceUnderItsModule) {
    pugi::xml_document catalogue;
    ASSERT_TRUE(
        catalogue.load_buffer(Resource(IDR_LOCALIZATION_XML).data(), Resource(IDR_LOCALIZATION_XML).size()));
    const pugi::xpath_node module = catalogue.select_node("/Localization/Product/Language/Module");
    EXPECT_EQ(module.node().attribute("name").value(), std::string("SharePoint"));
    EXPECT_EQ(module.node().attribute("namespace").value(), std::string("sp"));
    std::vector<std::string> ids;
    for (const pugi::xml_node& text : module.node().child("Strings").children("text")) {
        ids.push_back(text.attribute("id").value());
        std::string value = text.child_value();
        EXPECT_FALSE(value.empty()) << ids.back();
        // The one text with a placeholder of another kind; its user knows.
        if (ids.back() == "lb.sharePointPlaceValidUrl") value.replace(value.find("%s"), 2, "%1");
        EXPECT_EQ(value.find("  "), std::string::npos) << ids.back();
        for (auto at = value.find('%'); at != std::string::npos; at = value.find('%', at + 1)) {
            EXPECT_TRUE(at + 1 < value.size() && isdigit(static_cast<unsigned char>(value[at + 1])))
                << ids.back() << ": " << value;
        }
    }
    EXPECT_EQ(ids.size(), 189u);
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size());
    EXPECT_EQ(ids.front(), "DlgAppPrefs.SharePoint.Name");
}

TEST(DialogTemplates, EveryTextOfThePlugInStandsInTheCatalogue) {
    pugi::xml_document templates;
    pugi::xml_document catalogue;
    ASSERT_TRUE(templates.load_buffer(Resource(IDR_DIALOGS_XML).data(), Resource(IDR_DIALOGS_XML).size()));
    ASSERT_TRUE(
        catalogue.load_buffer(Resource(IDR_LOCALIZATION_XML).data(), Resource(IDR_LOCALIZATION_XML).size()));
    constexpr std::string_view kOwn = "$$$.sp.";
    size_t checked = 0;
    for (const pugi::xpath_node& found : templates.select_nodes("//@text | //dialog/@title")) {
        const std::string value = found.attribute().value();
        if (!value.starts_with(kOwn)) {
            EXPECT_TRUE(value == "$$$.btn.ok" || value == "$$$.btn.cancel") << value;
            continue;
        }
        ++checked;
        EXPECT_TRUE(catalogue.select_node(("//text[@id='" + value.substr(kOwn.size()) + "']").c_str()))
            << value;
    }
    EXPECT_GT(checked, 30u);
}

}  // namespace
