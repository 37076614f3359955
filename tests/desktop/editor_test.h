// A server with one document, a place of it, and an editor in front of them.
#pragma once

#include <gtest/gtest.h>

#include "tests/desktop/editor_driver.h"

namespace desktop_tests {

inline constexpr const char* kName = "a.pdf";
inline constexpr const char* kNotCheckedOut =
    "The file is not checked out. All editing and interactive features are disabled.";

class EditorTest : public ::testing::Test {
protected:
    explicit EditorTest(const std::vector<std::string>& options = {}) {
        WriteText(m_seed / kName, MakePdf(3));
        m_server.emplace(options, m_seed.Path());
        m_sphost.AddPlace(*m_server, "alice");
    }
    void Start(const EditorOptions& options = {}) { m_editor.emplace(m_sphost.Profile(), options); }
    // Opens the document and lifts its restriction.
    void OpenForEditing() {
        m_editor->Open(m_server->Url(kName));
        m_editor->Click("sp.cmd.enableEditing");
        ASSERT_TRUE(
            m_editor->Comes([this] { return m_editor->Action("cmd.page.rotateRight")->isEnabled(); }));
    }
    void Rotate() {
        m_editor->Trigger("cmd.page.rotateRight");
        ASSERT_TRUE(m_editor->tab()->IsModified());
    }
    std::string Rotations() { return RotationsOf(m_server->Document(kName)); }
    void CloseTab() { m_editor->PressKey(Qt::Key_W); }
    bool IsGone() {
        return m_editor->Comes([this] { return m_editor->tab() == nullptr; });
    }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_sphost;
    std::optional<EditorDriver> m_editor;
};

}  // namespace desktop_tests
