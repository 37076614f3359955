#include "host/browser/window_browser.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <set>

#include "host/base/environment.h"
#include "host/base/failure.h"
#include "host/base/json.h"
#include "host/browser/browser_program.h"

namespace host {

namespace {

using Note = std::function<void(const std::string&)>;

bool HasDisplay() {
    return IsAnySet({"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"});
}

// A proxy that asks for a password looks the same as a site that does.
std::string AskedBy() {
    return IsProxySet()
               ? "the site (or the proxy on the way to it, when its address lacks the name and the password)"
               : "the site";
}

class Message {
public:
    explicit Message(const char* what) : m_json(rapidjson::kObjectType) {
        Add("do", rapidjson::Value(rapidjson::StringRef(what)));
    }
    Message& With(const char* name, const std::u16string& text) {
        return Add(name, rapidjson::Value(ToUtf8(text).c_str(), m_json.GetAllocator()));
    }
    Message& With(const char* name, int number) { return Add(name, rapidjson::Value(number)); }
    Message& With(const char* name, bool on) { return Add(name, rapidjson::Value(on)); }
    std::string Line() const { return CompactText(m_json); }

private:
    Message& Add(const char* name, rapidjson::Value value) {
        m_json.AddMember(rapidjson::StringRef(name), value, m_json.GetAllocator());
        return *this;
    }
    Json m_json;
};

std::u16string WideTextOf(const rapidjson::Value& json, const char* name) {
    return ToUtf16(TextOf(json, name));
}

int NumberOf(const rapidjson::Value& json, const char* name) {
    const auto member = json.FindMember(name);
    return member != json.MemberEnd() && member->value.IsInt() ? member->value.GetInt() : 0;
}

bool IsTrue(const rapidjson::Value& json, const char* name) {
    const auto member = json.FindMember(name);
    return member != json.MemberEnd() && member->value.IsBool() && member->value.GetBool();
}

std::optional<std::vector<BrowserCookie>> CookiesOf(const rapidjson::Value& json) {
    const auto list = json.FindMember("cookies");
    if (list == json.MemberEnd() || !list->value.IsArray()) return std::nullopt;
    std::vector<BrowserCookie> cookies;
    for (const auto& item : list->value.GetArray()) {
        if (!item.IsObject()) continue;
        cookies.push_back({WideTextOf(item, "name"), WideTextOf(item, "value"), WideTextOf(item, "domain"),
                           WideTextOf(item, "path"), IsTrue(item, "secure")});
    }
    return cookies;
}

const char* NameOf(BrowserSetting setting) {
    switch (setting) {
        case BrowserSetting::scripts:
            return "scripts";
        case BrowserSetting::script_dialogs:
            return "scriptDialogs";
        case BrowserSetting::context_menus:
            return "contextMenus";
        default:
            return nullptr;  // the program has no such setting
    }
}

// Where the program's events go; gone with the pane.
struct PaneEvents {
    BrowserListener& listener;
    bool has_page = false;
};

void Dispatch(PaneEvents& events, const Json& message) {
    const std::u16string event = WideTextOf(message, "event");
    if (event == u"ready") {
        events.listener.OnReady();
    } else if (event == u"navigated") {
        events.has_page = true;
        const auto success = message.FindMember("success");
        events.listener.OnNavigated(WideTextOf(message, "url"), success != message.MemberEnd() &&
                                                                    success->value.IsBool() &&
                                                                    success->value.GetBool());
    } else if (event == u"cookies") {
        events.listener.OnCookies(CookiesOf(message));
    } else if (event == u"resized") {
        events.listener.OnResized(NumberOf(message, "width"), NumberOf(message, "height"));
    } else if (event == u"closed") {
        events.listener.OnClosed();
    }
}

class WindowPane;
using Panes = std::set<WindowPane*>;

class WindowPane final : public BrowserPane {
public:
    WindowPane(MainThread& main_thread, const fs::path& program, CookieStore cookies, Note note,
               BrowserListener& listener, std::u16string group, std::shared_ptr<Panes> panes)
        : m_main_thread(main_thread),
          m_cookies(std::move(cookies)),
          m_note(std::move(note)),
          m_group(std::move(group)),
          m_panes(std::move(panes)),
          m_events(std::make_shared<PaneEvents>(PaneEvents{listener})),
          m_program(
              program, [this](const std::string& line) { OnLine(line); },
              [this](int status) { OnEnd(status); }) {
        m_program.Send(R"({"do":"start","cookies":)" + m_cookies.Load(m_group) + "}");
        m_panes->insert(this);
    }
    ~WindowPane() override {
        m_panes->erase(this);
        m_closing = true;
    }

    HRESULT Navigate(const std::u16string& url) override {
        return Send(Message("navigate").With("url", url));
    }
    HRESULT RequestCookies() override { return m_events->has_page ? Send(Message("cookies")) : E_UNEXPECTED; }
    void SetVisible(bool visible) override { Send(Message("visible").With("on", visible)); }
    void SetBounds(const RECT& bounds) override {
        Send(Message("size")
                 .With("width", static_cast<int>(bounds.right - bounds.left))
                 .With("height", static_cast<int>(bounds.bottom - bounds.top)));
    }
    void Set(BrowserSetting setting, bool on) override {
        if (const char* name = NameOf(setting))
            Send(Message("set").With("what", ToUtf16(name)).With("on", on));
    }

    const std::u16string& group() const { return m_group; }
    void Delete(const std::u16string& host) { Send(Message("delete").With("host", host)); }

private:
    HRESULT Send(const Message& message) { return m_program.Send(message.Line()) ? S_OK : E_FAIL; }

    template <class Work>
    void Post(Work work) {
        m_main_thread.Post([weak = std::weak_ptr(m_events), work = std::move(work)] {
            if (const auto events = weak.lock()) work(*events);
            return S_OK;
        });
    }
    // The program's thread. Cookies are stored even after the pane was closed.
    void OnLine(const std::string& line) {
        const auto message = std::make_shared<const Json>(ParseJsonObject(line));
        if (TextOf(*message, "event") == "store") {
            Keep(*message);
            return;
        }
        if (TextOf(*message, "event") == "refused") {
            m_note(RefusedPage(TextOf(*message, "url")));
            return;
        }
        Post([message](PaneEvents& events) { Dispatch(events, *message); });
    }
    void Keep(const Json& message) {
        const auto list = message.FindMember("cookies");
        if (list == message.MemberEnd()) return;
        try {
            m_cookies.Save(m_group, CompactText(list->value));
        } catch (const std::exception& failure) {
            m_note(std::string("the browser's cookies can't be kept: ") + failure.what());
        }
    }
    // The program's thread.
    void OnEnd(int) {
        if (m_closing) return;
        m_note("the browser window ended by itself");
        Post([](PaneEvents& events) { events.listener.OnClosed(); });
    }

    MainThread& m_main_thread;
    CookieStore m_cookies;
    const Note m_note;
    const std::u16string m_group;
    const std::shared_ptr<Panes> m_panes;  // the shown ones
    const std::shared_ptr<PaneEvents> m_events;
    std::atomic<bool> m_closing{false};
    BrowserProgram m_program;  // destroyed first, since its thread uses the other members
};

// A pane without a page, for deleting cookies.
class HiddenPane final : public BrowserPane {
public:
    HiddenPane(MainThread& main_thread, BrowserListener& listener)
        : m_events(std::make_shared<PaneEvents>(PaneEvents{listener})) {
        main_thread.Post([weak = std::weak_ptr(m_events)] {
            if (const auto events = weak.lock()) events->listener.OnReady();
            return S_OK;
        });
    }
    HRESULT Navigate(const std::u16string&) override { return E_UNEXPECTED; }
    HRESULT RequestCookies() override { return E_UNEXPECTED; }
    void SetVisible(bool) override {}
    void SetBounds(const RECT&) override {}
    void Set(BrowserSetting, bool) override {}

private:
    const std::shared_ptr<PaneEvents> m_events;
};

class WindowBrowser final : public Browser {
public:
    WindowBrowser(MainThread& main_thread, fs::path program, CookieStore cookies, Note note)
        : m_main_thread(main_thread),
          m_program(std::move(program)),
          m_cookies(std::move(cookies)),
          m_note(std::move(note)) {}

    std::unique_ptr<BrowserPane> Open(BrowserListener& listener, const std::u16string& cookie_group,
                                      bool shown) override {
        if (!shown) return std::make_unique<HiddenPane>(m_main_thread, listener);
        try {
            RequireWindow();
            return std::make_unique<WindowPane>(m_main_thread, m_program, m_cookies, m_note, listener,
                                                cookie_group, m_panes);
        } catch (const Failure& failure) {
            m_note(failure.what());
            throw;
        }
    }
    void DeleteCookies(const std::u16string& cookie_group, const std::u16string& host) override {
        for (WindowPane* pane : *m_panes) {
            if (pane->group() == cookie_group) pane->Delete(host);
        }
        m_cookies.Delete(cookie_group, host);
    }

private:
    void RequireWindow() const {
        const std::string asked = "you have no right to do this (HTTP 403), or " + AskedBy() +
                                  " asks for a sign-in in a browser window: ";
        if (!fs::exists(m_program)) {
            throw Failure(E_NOTIMPL, asked + "the program " + m_program.filename().string() +
                                         ", which shows it, is not here");
        }
        if (!HasDisplay()) throw Failure(E_NOTIMPL, asked + "there is no display to show it on");
    }

    const std::shared_ptr<Panes> m_panes = std::make_shared<Panes>();
    MainThread& m_main_thread;
    const fs::path m_program;
    CookieStore m_cookies;
    const Note m_note;
};

}  // namespace

std::unique_ptr<Browser> MakeWindowBrowser(MainThread& main_thread, fs::path program, CookieStore cookies,
                                           std::function<void(const std::string&)> note) {
    return std::make_unique<WindowBrowser>(main_thread, std::move(program), std::move(cookies),
                                           std::move(note));
}

}  // namespace host
