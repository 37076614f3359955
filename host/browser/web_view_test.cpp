// Windows and the browser control as a plug-in uses them, on a browser that follows a script.
#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>

#include "host/base/failure.h"
#include "host/base/object.h"
#include "host/browser/browser_program.h"
#include "host/browser/scripted_browser.h"
#include "host/core/host.h"
#include "host/testing/silent_front_end.h"
#include "hostapi/iuix.h"
#include "hostapi/iweb_view.h"
#include "platform/webview2.h"
#include "tests/support/loopback/loopback_test_server.h"
#include "tests/support/process.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using testing_support::Answer;
using testing_support::LoopbackTestServer;
using testing_support::ReadText;
using testing_support::TempFolder;
using testing_support::WriteText;

// Its browser follows a script.
class ScriptedFrontEnd final : public testing::SilentFrontEnd {
public:
    std::unique_ptr<Browser> MakeBrowser(const Profile&, std::shared_ptr<const Cipher>,
                                         std::function<void(const std::string&)>) override {
        return LoadScriptedBrowser(main_thread(), script);
    }
    fs::path script;
};

constexpr std::string_view kTemplates =
    "<dialogs><dialog id='Other' width='1' height='2'/><dialog id='Web' width='300' height='200'/></dialogs>";

std::string TextOf(LPWSTR text) {
    std::string result = ToUtf8(FromWide(text));
    CoTaskMemFree(text);
    return result;
}

// A sign-in window: asks for the cookies after each page and ends with 1 once one is named "key". What
// happens goes into `life`.
class SignIn final : public Object<TMK::IUIX_ObjImpl> {
public:
    explicit SignIn(TMK::ITMK_Inst* instance) : m_instance(instance) {}

    HRESULT put_Obj(TMK::IUIX_Obj* object) override {
        window = ComPtr<TMK::IUIX_Obj>(object);
        life += object ? "made " : "gone ";
        return S_OK;
    }
    HRESULT OnEvent(TMK::UIX_Event* event) override {
        if (event->nCode == TMK::UIX_Event_BeforeDestroy && view) view->Close();
        if (event->nCode != TMK::UIX_Event_InitDialog) {
            life += std::to_string(event->nCode) + " ";
            return S_OK;
        }
        life += "init ";
        if (FAILED(init_result)) return init_result;
        HWND handle = nullptr;
        window->GetFirstHWND(&handle);
        const Bstr group(u"group");
        return m_instance->CreateWebView(handle, Make<Ready>(*this).get(), group.get(), view.put());
    }

    struct Ready final : Object<TMK::ITMK_WebViewInitializationCallback> {
        explicit Ready(SignIn& owner) : m_owner(&owner) {}
        HRESULT OnInitalized() override { return m_owner->OnReady(); }
        const ComPtr<SignIn> m_owner;
    };
    struct Navigated final : Object<ICoreWebView2NavigationCompletedEventHandler> {
        explicit Navigated(SignIn& owner) : m_owner(&owner) {}
        HRESULT Invoke(ICoreWebView2* sender, ICoreWebView2NavigationCompletedEventArgs* arguments) override {
            return m_owner->OnNavigated(sender, arguments);
        }
        const ComPtr<SignIn> m_owner;
    };
    struct Cookies final : Object<TMK::ITMK_WebViewRequestCookiesCallback> {
        explicit Cookies(SignIn& owner) : m_owner(&owner) {}
        HRESULT OnCookiesCompleted(HRESULT result, IUnknown* list) override {
            return m_owner->OnCookies(result, list);
        }
        const ComPtr<SignIn> m_owner;
    };

    HRESULT OnReady() {
        life += "ready ";
        if (close_at == "ready") return view->Close();
        ComPtr<IUnknown> object;
        view->get_WebView2(object.put());
        const auto browser = object.as<ICoreWebView2>();
        EventRegistrationToken token{};
        browser->add_NavigationCompleted(Make<Navigated>(*this).get(), &token);
        const HRESULT result = view->Navigate(start.c_str(), 0);
        if (FAILED(result)) window->EndModal(2);
        return result;
    }
    HRESULT OnNavigated(ICoreWebView2* sender, ICoreWebView2NavigationCompletedEventArgs* arguments) {
        BOOL success = 9;
        LPWSTR url = nullptr;
        arguments->get_IsSuccess(&success);
        sender->get_Source(&url);
        life += "page=" + TextOf(url) + (success ? " " : "(failed) ");
        view->RequestCookies(Make<Cookies>(*this).get(), 0);
        if (close_at == "page") view->Close();
        return S_OK;
    }
    HRESULT OnCookies(HRESULT result, IUnknown* object) {
        const auto list = ComPtr<IUnknown>(object).as<ICoreWebView2CookieList>();
        if (!list) {
            life += FAILED(result) ? "none " : "? ";
            return S_OK;
        }
        UINT count = 0;
        list->get_Count(&count);
        life += std::to_string(count) + "cookies ";
        for (UINT i = 0; i < count; ++i) {
            ComPtr<ICoreWebView2Cookie> cookie;
            list->GetValueAtIndex(i, cookie.put());
            LPWSTR name = nullptr;
            LPWSTR value = nullptr;
            LPWSTR domain = nullptr;
            LPWSTR path = nullptr;
            cookie->get_Name(&name);
            cookie->get_Value(&value);
            cookie->get_Domain(&domain);
            cookie->get_Path(&path);
            const std::string key = TextOf(name);
            last_cookie = key + "=" + TextOf(value) + "@" + TextOf(domain) + TextOf(path);
            if (key == "key") window->EndModal(1);
        }
        return S_OK;
    }

    std::string life;
    std::string last_cookie;
    HRESULT init_result = S_OK;
    std::string close_at;
    std::u16string start = u"http://start.test/";
    ComPtr<TMK::IUIX_Obj> window;
    ComPtr<TMK::ITMK_WebView> view;

private:
    TMK::ITMK_Inst* m_instance;
};

class WebViews : public ::testing::Test {
protected:
    // No object of the test stays alive.
    ~WebViews() override {
        host.reset();
        EXPECT_EQ(LiveObjects(), m_alive_before);
    }
    void Start(const std::string& pages) {
        WriteText(folder / "script",
                  "{\"pages\":[" + pages + "],\"log\":\"" + (folder / "log").string() + "\"}");
        front_end.script = folder / "script";
        front_end.on_warning = [](const std::string& line) { ADD_FAILURE() << line; };
        host = std::make_unique<Host>(front_end, folder / "profile");
        host->instance()->GetExtension(u"UIX", reinterpret_cast<IUnknown**>(windows.put()));
    }
    HRESULT MakeWindow(SignIn& sign_in, LPCWSTR id = u"Web") {
        TMK::UIX_CreateObjParams parameters{};
        parameters.pImpl = &sign_in;
        parameters.pTemplate = kTemplates.data();
        parameters.nTemplateSize = static_cast<DWORD>(kTemplates.size());
        parameters.szTemplateId = id;
        return windows->CreateObj(&parameters, nullptr);
    }
    // The window's result, from start to end.
    LONGLONG RunWindow(SignIn& sign_in) {
        EXPECT_EQ(MakeWindow(sign_in), S_OK);
        LONGLONG result = -1;
        const ComPtr<TMK::IUIX_Obj> window = sign_in.window;
        m_shown = window->DoModal(TMK::UIX_ObjModal_AppModal, &result);
        EXPECT_EQ(window->Destroy(), S_OK);
        EXPECT_EQ(window->Destroy(), S_FALSE);
        EXPECT_EQ(window->EndModal(1), S_FALSE);
        sign_in.view.reset();
        return result;
    }

    const long m_alive_before = LiveObjects();
    HRESULT m_shown = S_OK;
    TempFolder folder;
    ScriptedFrontEnd front_end;
    std::unique_ptr<Host> host;
    ComPtr<TMK::IUIX_Inst> windows;
    void TearDown() override { windows.reset(); }
};

TEST_F(WebViews, EachPageBringsItsCookiesUntilTheWindowIsEnded) {
    Start(R"({}, {"url":"http://b.test/x","success":false,"cookies":[]},
             {"url":"http://c.test/","cookies":[{"name":"a","value":"1"},
                 {"name":"key","value":"v=2","domain":".c.test","path":"/p"}]},
             {"url":"http://never.test/"})");
    const auto sign_in = Make<SignIn>(host->instance());
    EXPECT_EQ(RunWindow(*sign_in), 1);
    EXPECT_EQ(sign_in->life,
              "made init 6502 ready page=http://start.test/ none page=http://b.test/x(failed) 0cookies "
              "page=http://c.test/ 2cookies 6504 6457 gone ");
    EXPECT_EQ(sign_in->last_cookie, "key=v=2@.c.test/p");
    EXPECT_EQ(ReadText(folder / "log"), "{\"window\":\"group\"}\n{\"navigate\":\"http://start.test/\"}\n");
    // The next window runs the whole script again, also while a worker waits for it.
    const auto again = Make<SignIn>(host->instance());
    LONGLONG result = -1;
    host->main_thread().RunWorker(
        [&] { host->main_thread().Run([&] { return result = RunWindow(*again), S_OK; }, true); });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(again->life, sign_in->life);
}

TEST_F(WebViews, AfterTheLastPageThePersonClosesTheWindow) {
    Start(R"({"cookies":[{"name":"other"}]})");
    const auto sign_in = Make<SignIn>(host->instance());
    EXPECT_EQ(RunWindow(*sign_in), 0);
    EXPECT_EQ(m_shown, S_OK);
    EXPECT_EQ(sign_in->last_cookie, "other=@/");
}

TEST_F(WebViews, AClosedControlSendsNoEventsAndAFailedStartLeavesTheResultAlone) {
    Start("{}, {}");
    // Without the control nothing closes the window, so queued work ends it.
    for (const auto& [where, life] :
         {std::pair{"ready", "made init 6502 ready 6504 6457 gone "},
          std::pair{"page", "made init 6502 ready page=http://start.test/ 6504 6457 gone "}}) {
        const auto sign_in = Make<SignIn>(host->instance());
        sign_in->close_at = where;
        int rounds = 0;
        std::function<HRESULT()> end_later = [&] {
            if (++rounds < 20) return host->main_thread().Post(end_later), S_OK;
            return sign_in->window->EndModal(7);
        };
        host->main_thread().Post(end_later);
        EXPECT_EQ(RunWindow(*sign_in), 7);
        EXPECT_EQ(sign_in->life, life);
    }
    const auto failing = Make<SignIn>(host->instance());
    failing->init_result = E_FAIL;
    EXPECT_EQ(RunWindow(*failing), -1);
    EXPECT_EQ(m_shown, E_FAIL);
    EXPECT_EQ(failing->life, "made init 6457 gone ");
}

TEST_F(WebViews, AHiddenControlDeletesCookiesAndSendsNoEvents) {
    Start("{}");
    const auto sign_in = Make<SignIn>(host->instance());
    const auto ready = Make<SignIn::Ready>(*sign_in);
    const Bstr group(u"group");
    {
        ComPtr<TMK::ITMK_WebView> view;
        ASSERT_EQ(host->instance()->CreateWebView(nullptr, ready.get(), group.get(), view.put()), S_OK);
        EXPECT_EQ(view->DeleteCookies(Bstr(u".c.test").get()), S_OK);
        EXPECT_EQ(view->Navigate(u"http://early.test/", 0), E_UNEXPECTED) << "not ready yet";
    }
    host->main_thread().RunWorker([] {});
    EXPECT_EQ(sign_in->life, "");
    EXPECT_EQ(ReadText(folder / "log"), "{\"hidden\":\"group\"}\n{\"delete\":\".c.test\"}\n");
}

TEST_F(WebViews, OpensHttpAndHttpsAddressesOnly) {
    Start(R"({}, {})");
    const auto sign_in = Make<SignIn>(host->instance());
    for (const char* url : {"file:///etc/passwd", "javascript:alert(1)", "ms-word:ofe|u|http://a.test/",
                            "ftp://a.test/", "httpx://a.test/", "//a.test/", ""}) {
        sign_in->start = ToUtf16(url);
        host->TakeMessage();
        RunWindow(*sign_in);
        EXPECT_NE(host->TakeMessage().find(std::string("http and https addresses only, and not ") + url),
                  std::string::npos)
            << url;
    }
    sign_in->start = u"HTTPS://a.test/";
    RunWindow(*sign_in);
    EXPECT_EQ(host->TakeMessage(), "");
    EXPECT_EQ(ReadText(folder / "log").find("passwd"), std::string::npos);
}

// The browser program itself, without a screen; it talks to this process as to sphost.
TEST(BrowserWindow, FollowsAPageToHttpAndHttpsAddressesOnly) {
    const std::string program = testing_support::ProgramPath("sphost-browser");
    if (!fs::exists(program)) GTEST_SKIP() << "sphost-browser isn't built";
    const TempFolder folder;
    WriteText(folder / "secret.html", "<title>secret</title>");
    const std::string file = "file://" + (folder / "secret.html").string();
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    std::mutex mutex;
    std::string lines;
    BrowserProgram browser(
        program,
        [&](const std::string& line) {
            const std::lock_guard lock(mutex);
            lines += line + "\n";
        },
        [](int) {});
    const auto says = [&](const std::string& text) {
        return testing_support::Comes([&] {
            const std::lock_guard lock(mutex);
            return lines.find(text) != std::string::npos;
        });
    };
    const LoopbackTestServer server([&](const LoopbackTestServer::Request& request) {
        const bool is_start = request.target == "/";
        return Answer("200 OK", is_start ? "<script>location = 'other:x'</script>" : "last",
                      "Content-Type: text/html\r\nConnection: close\r\n");
    });
    const std::string at = "http://127.0.0.1:" + std::to_string(server.Port());
    browser.Send(R"({"do":"start","cookies":[]})");
    ASSERT_TRUE(says("ready"));
    const auto open = [&](const std::string& url) {
        browser.Send(R"({"do":"navigate","url":")" + url + "\"}");
    };
    open(at + "/");
    EXPECT_TRUE(says(R"({"event":"refused","url":"other:x"})")) << lines;
    open(file);
    EXPECT_TRUE(says(R"({"event":"refused","url":")" + file)) << lines;
    open(at + "/last");
    EXPECT_TRUE(says("/last")) << lines;
    const std::lock_guard lock(mutex);
    EXPECT_EQ(lines.find(R"("success":true,"url":"file)"), std::string::npos) << lines;
    unsetenv("QT_QPA_PLATFORM");
}

TEST_F(WebViews, InvalidWindowsControlsAndScriptsAreRefused) {
    Start("{}");
    const auto sign_in = Make<SignIn>(host->instance());
    EXPECT_EQ(MakeWindow(*sign_in, u"Missing"), E_INVALIDARG);
    EXPECT_EQ(sign_in->life, "");
    ComPtr<TMK::ITMK_WebView> view;
    const Bstr group(u"group");
    EXPECT_EQ(host->instance()->CreateWebView(&folder, nullptr, group.get(), view.put()), E_INVALIDARG)
        << "no such window";
    // Unloading a plug-in destroys its windows.
    EXPECT_EQ(MakeWindow(*sign_in), S_OK);
    host->UnloadPlugin();
    EXPECT_EQ(sign_in->life, "made 6457 gone ");
    for (const char* script : {"", "[]", R"({"pages":{}})", R"({"pages":[1]})", R"({"pages":[{"url":5}]})",
                               R"({"pages":[{"cookies":[[]]}]})"}) {
        WriteText(folder / "bad", script);
        front_end.script = folder / "bad";
        EXPECT_THROW(Host(front_end, folder / "other"), Failure) << script;
    }
}

}  // namespace
}  // namespace host
