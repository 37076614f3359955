// A person for the windows of plug-ins, without a display: steps, each of which waits for a window and acts
// on it. A step whose time never comes closes the window and is told by `problem`. Main thread only.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "host/dialogs/dialog_window.h"

namespace host::testing {

class ScriptedDialogs final : public DialogViews {
public:
    using Condition = std::function<bool(DialogWindow&)>;
    using Action = std::function<void(DialogWindow&)>;

    // Acts once the condition holds. The steps of all windows are one row, so that a window in front of
    // another one is next.
    void Then(std::string name, Condition condition, Action action) {
        m_steps.push_back({std::move(name), std::move(condition), std::move(action)});
    }
    void Then(std::string name, Action action) {
        Then(
            std::move(name), [](DialogWindow&) { return true; }, std::move(action));
    }
    bool IsDone() const { return m_steps.empty(); }
    const std::string& problem() const { return m_problem; }

    std::chrono::milliseconds patience{20000};
    bool cancels_progress = false;
    std::vector<ProgressTexts> progress;  // what the windows of progress have shown

    std::unique_ptr<DialogView> Show(DialogWindow& window) override {
        m_since = Clock::now();
        return std::make_unique<View>(*this, window);
    }
    std::unique_ptr<ProgressView> ShowProgress(const ProgressTexts& texts,
                                               ComPtr<CancelFlag> cancel) override {
        progress.push_back(texts);
        if (cancels_progress) cancel->Cancel();
        return std::make_unique<ProgressNotes>(*this);
    }

private:
    using Clock = std::chrono::steady_clock;
    struct Step {
        std::string name;
        Condition condition;
        Action action;
    };
    class View final : public DialogView {
    public:
        View(ScriptedDialogs& script, DialogWindow& window) : m_script(script), m_window(window) {}
        void Poll() override { m_script.Poll(m_window); }

    private:
        ScriptedDialogs& m_script;
        DialogWindow& m_window;
    };
    class ProgressNotes final : public ProgressView {
    public:
        explicit ProgressNotes(ScriptedDialogs& script) : m_script(script) {}
        void Update(const ProgressTexts& texts) override { m_script.progress.push_back(texts); }

    private:
        ScriptedDialogs& m_script;
    };

    void Poll(DialogWindow& window) {
        if (!m_steps.empty() && m_steps.front().condition(window)) {
            const Step step = std::move(m_steps.front());
            m_steps.pop_front();
            m_since = Clock::now();
            step.action(window);
        } else if (Clock::now() - m_since > patience) {
            if (m_problem.empty()) {
                m_problem = m_steps.empty()
                                ? "no step is left for the window '" + ToUtf8(window.title()) + "'"
                                : "waited in vain for the step '" + m_steps.front().name + "'";
            }
            window.CloseByPerson();
        }
    }

    std::deque<Step> m_steps;
    Clock::time_point m_since = Clock::now();
    std::string m_problem;
};

}  // namespace host::testing
