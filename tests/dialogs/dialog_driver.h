// A person in front of the plug-in's dialogs, played by a script: the loaded library in the reference host,
// signed in to a real server. Main thread.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "host/base/host_objects.h"
#include "host/dialogs/controls.h"
#include "host/dialogs/list_control.h"
#include "tests/interfaces/editor.h"

namespace dialogs {

using namespace testing_support;
using host::DialogWindow;
using interfaces::Editor;
using interfaces::Hex;
using interfaces::kCanceled;

// What the host asks of a dialog. An empty text or index is left to the template.
struct Wishes {
    std::string folder = {};  // below the library
    std::string file_name = {};
    std::string filters = "All|*.*|";
    int filter_index = 0;
    std::string default_ext = {};
    int flags = 0;
    std::string title = {}, action = {}, cancel = {}, settings = {};
    ComPtr<IUnknown> settings_callbacks = {};
    bool from_site = false;  // no folder is named
};

// What became of a dialog.
struct Outcome {
    HRESULT result = E_FAIL;
    DWORD choice = 0;
    std::vector<std::string> names;  // below the library
    int filter_index = 0;
};

class Driver : public Editor {
public:
    explicit Driver(const DevServer& server, const std::string& user = "alice",
                    const interfaces::PreferenceValues& preferences = {});

    using Action = std::function<void(DialogWindow&)>;
    // Acts as soon as the folder is shown and can be used.
    void Then(const std::string& what, Action action);
    void ThenWhen(const std::string& what, host::testing::ScriptedDialogs::Condition condition,
                  Action action);

    Outcome Open(const Wishes& wishes = {}) { return Show(TMK::AFS_Dlg_OpenFiles, wishes); }
    Outcome Save(const Wishes& wishes = {}) { return Show(TMK::AFS_Dlg_SaveFile, wishes); }

    // Clicks a command of the bar: "createFolder", "delete", "folder.up". False when it can't be used.
    bool Command(DialogWindow& window, const std::string& name);
    // The ids of the prompts since the last call, one blank between them.
    std::string Prompts();
    // The plug-in's names of items below the library.
    std::vector<std::string> NamesOf(TMK::IAFS_NamesCollection* names);

private:
    Outcome Show(DWORD type, const Wishes& wishes);
};

host::ListControl& List(DialogWindow& window);
bool IsUsable(DialogWindow& window);
std::string TextOf(DialogWindow& window, std::u16string_view id);
void Type(DialogWindow& window, const std::string& name);
void PressOk(DialogWindow& window);
bool IsEnabled(DialogWindow& window, std::u16string_view id);
// The rows from the top, as "title" or "title.extension".
std::vector<std::string> Rows(DialogWindow& window);
LONG RowOf(DialogWindow& window, const std::string& row);  // fails the test when there is none
void Select(DialogWindow& window, const std::vector<std::string>& rows);
void DoubleClick(DialogWindow& window, const std::string& row);

inline host::PromptAnswer Press(const std::string& button) {
    host::PromptAnswer answer;
    answer.button = button;
    return answer;
}

// Each test runs on either generation, with a server of its own.
class PlaceDialogs : public ::testing::TestWithParam<bool> {
protected:
    PlaceDialogs()
        : m_server(GetParam() ? std::vector<std::string>{}
                              : std::vector<std::string>{"--generation", "2013"}) {}
    ~PlaceDialogs() override {
        EXPECT_EQ(m_driver ? m_driver->front_end().dialogs.problem() : "", "");
        m_driver.reset();
        EXPECT_EQ(host::LiveObjects(), 0) << "the dialog holds something of the host";
    }
    DevServer& server() { return m_server; }
    Driver& driver() {
        if (!m_driver) m_driver = std::make_unique<Driver>(m_server);
        return *m_driver;
    }
    void Make(const std::vector<std::string>& documents) {
        for (const std::string& document : documents) m_server.WriteAs("alice", document, "content");
    }
    void MakeFolder(const std::string& folder);
    void RemoveFolder(const std::string& folder);
    void Replace(std::unique_ptr<Driver> driver) { m_driver = std::move(driver); }

private:
    DevServer m_server;
    std::unique_ptr<Driver> m_driver;
};

}  // namespace dialogs
