#include "host/browser/scripted_browser.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <fstream>

#include "host/base/failure.h"
#include "host/base/json.h"
#include "host/base/posix_file.h"

namespace host {

namespace {

struct Page {
    std::u16string url;
    bool success = true;
    std::optional<std::vector<BrowserCookie>> cookies;
};

struct Script {
    std::vector<Page> pages;
    std::filesystem::path log;

    void Log(const char* event, const std::u16string& text) const {
        if (log.empty()) return;
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        writer.StartObject();
        writer.Key(event);
        writer.String(ToUtf8(text).c_str());
        writer.EndObject();
        std::ofstream(log, std::ios::app) << buffer.GetString() << '\n';
    }
};

class ScriptedPane final : public BrowserPane {
public:
    ScriptedPane(MainThread& main_thread, std::shared_ptr<const Script> script, BrowserListener& listener)
        : m_state(std::make_shared<State>(main_thread, std::move(script), listener)) {
        Post(m_state, [](State& state) { state.listener.OnReady(); });
    }

    HRESULT Navigate(const std::u16string& url) override {
        m_state->script->Log("navigate", url);
        Post(m_state, [url](State& state) { ShowNext(state, url); });
        return S_OK;
    }
    HRESULT RequestCookies() override {
        if (!m_state->page) return E_UNEXPECTED;
        Post(m_state,
             [cookies = m_state->page->cookies](State& state) { state.listener.OnCookies(cookies); });
        return S_OK;
    }
    void SetVisible(bool visible) override { m_state->script->Log("visible", visible ? u"yes" : u"no"); }
    void SetBounds(const RECT&) override {}
    void Set(BrowserSetting, bool) override {}

private:
    struct State : std::enable_shared_from_this<State> {
        State(MainThread& on, std::shared_ptr<const Script> what, BrowserListener& whom)
            : main_thread(on), script(std::move(what)), listener(whom) {}
        MainThread& main_thread;
        const std::shared_ptr<const Script> script;
        BrowserListener& listener;
        std::size_t next = 0;
        const Page* page = nullptr;
    };

    // Work that is still queued when the pane is closed does nothing.
    template <class Work>
    static void Post(const std::shared_ptr<State>& state, Work work) {
        state->main_thread.Post([weak = std::weak_ptr(state), work = std::move(work)] {
            if (const auto alive = weak.lock()) work(*alive);
            return S_OK;
        });
    }
    static void ShowNext(State& state, const std::u16string& asked_for) {
        if (state.next == state.script->pages.size()) {
            state.listener.OnClosed();
            return;
        }
        state.page = &state.script->pages[state.next++];
        state.listener.OnNavigated(state.page->url.empty() ? asked_for : state.page->url,
                                   state.page->success);
        // After the work that the page has queued.
        Post(state.shared_from_this(), [asked_for](State& later) { ShowNext(later, asked_for); });
    }

    std::shared_ptr<State> m_state;
};

class ScriptedBrowser final : public Browser {
public:
    ScriptedBrowser(MainThread& main_thread, Script script)
        : m_main_thread(main_thread), m_script(std::make_shared<const Script>(std::move(script))) {}

    std::unique_ptr<BrowserPane> Open(BrowserListener& listener, const std::u16string& cookie_group,
                                      bool shown) override {
        m_script->Log(shown ? "window" : "hidden", cookie_group);
        return std::make_unique<ScriptedPane>(m_main_thread, m_script, listener);
    }
    void DeleteCookies(const std::u16string&, const std::u16string& host_name) override {
        m_script->Log("delete", host_name);
    }

private:
    MainThread& m_main_thread;
    const std::shared_ptr<const Script> m_script;
};

std::u16string WideTextOf(const rapidjson::Value& object, const char* name, std::u16string otherwise = {}) {
    const auto member = object.FindMember(name);
    if (member == object.MemberEnd()) return otherwise;
    if (!member->value.IsString()) throw Failure(kBadData, std::string(name) + " is not a text");
    return ToUtf16({member->value.GetString(), member->value.GetStringLength()});
}

template <class Read>
void ForEach(const rapidjson::Value& object, const char* name, Read read) {
    const auto member = object.FindMember(name);
    if (member == object.MemberEnd()) return;
    if (!member->value.IsArray()) throw Failure(kBadData, std::string(name) + " is not a list");
    for (const auto& item : member->value.GetArray()) {
        if (!item.IsObject())
            throw Failure(kBadData, std::string(name) + " holds something else than objects");
        read(item);
    }
}

bool BoolOf(const rapidjson::Value& object, const char* name, bool otherwise) {
    const auto member = object.FindMember(name);
    return member == object.MemberEnd() ? otherwise : member->value.IsBool() && member->value.GetBool();
}

Page ReadPage(const rapidjson::Value& item) {
    Page page;
    page.url = WideTextOf(item, "url");
    page.success = BoolOf(item, "success", true);
    if (item.HasMember("cookies")) page.cookies.emplace();
    ForEach(item, "cookies", [&](const rapidjson::Value& cookie) {
        page.cookies->push_back({WideTextOf(cookie, "name"), WideTextOf(cookie, "value"),
                                 WideTextOf(cookie, "domain"), WideTextOf(cookie, "path", u"/"),
                                 BoolOf(cookie, "secure", false)});
    });
    return page;
}

}  // namespace

std::unique_ptr<Browser> LoadScriptedBrowser(MainThread& main_thread, const std::filesystem::path& file) {
    try {
        const auto text = ReadWhole(file);
        if (!text) throw Failure(kBadData, "there is no such file");
        const std::optional<Json> document = ParseJson(*text);
        if (!document || !document->IsObject()) throw Failure(kBadData, "it is no JSON object");
        Script script;
        script.log = TextOf(*document, "log");
        ForEach(*document, "pages",
                [&](const rapidjson::Value& item) { script.pages.push_back(ReadPage(item)); });
        return std::make_unique<ScriptedBrowser>(main_thread, std::move(script));
    } catch (const Failure& failure) {
        throw Failure(kBadData,
                      "the browser's script " + file.string() + " can't be read: " + failure.what());
    }
}

}  // namespace host
