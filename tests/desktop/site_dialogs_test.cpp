// Documents opened from a place and saved to it, through the plug-in's own dialog.
#include <gtest/gtest.h>

#include <QLineEdit>
#include <QListWidget>
#include <QTreeView>

#include "tests/desktop/editor_driver.h"

namespace desktop_tests {
namespace {

class SiteDialogs : public ::testing::Test {
protected:
    SiteDialogs() {
        WriteText(m_seed / "Plans/b.pdf", MakePdf(1));
        WriteText(m_seed / "a.pdf", MakePdf(2));
        m_server.emplace(std::vector<std::string>{}, m_seed.Path());
        m_sphost.AddPlace(*m_server, "alice");
        m_editor.emplace(m_sphost.Profile());
    }
    // Waits for the rows of a folder.
    static QTreeView* ListOf(QDialog& dialog) {
        auto* const list = dialog.findChild<QTreeView*>("lst.files");
        EXPECT_TRUE(EditorDriver::Comes([&] { return list->isEnabled() && list->model()->rowCount() > 0; }));
        return list;
    }
    static void Enter(QDialog& dialog, const QString& name) {
        QTreeView* const list = ListOf(dialog);
        for (int row = 0; row < list->model()->rowCount(); ++row) {
            const QModelIndex at = list->model()->index(row, 0);
            if (at.data().toString() == name) return emit list->doubleClicked(at);
        }
        ADD_FAILURE() << "no row " << name.toStdString();
    }
    static bool HasRow(QDialog& dialog, const QString& name) {
        QTreeView* const list = dialog.findChild<QTreeView*>("lst.files");
        for (int row = 0; list->isEnabled() && row < list->model()->rowCount(); ++row)
            if (list->model()->index(row, 0).data().toString() == name) return true;
        return false;
    }
    void EnterLibrary(QDialog& dialog) {
        Enter(dialog, "Shared Documents");
        EXPECT_TRUE(EditorDriver::Comes([&] { return HasRow(dialog, "Plans"); }));
    }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_sphost;
    std::optional<EditorDriver> m_editor;
};

TEST_F(SiteDialogs, OpenADocumentOfAFolder) {
    m_editor->Answer("where.window", "btn.ok");
    m_editor->Answer("OpenDialog", [this](QDialog& dialog) {
        EnterLibrary(dialog);
        Enter(dialog, "Plans");
        EXPECT_TRUE(EditorDriver::Comes([&] { return HasRow(dialog, "b"); }));
        Enter(dialog, "b");
    });
    m_editor->Trigger("cmd.open");
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->IsOpen(); }));
    EXPECT_TRUE(m_editor->tab()->address().endsWith("/Plans/b.pdf"));
    EXPECT_EQ(m_editor->tab()->pdf()->PageCount(), 1);
}

TEST_F(SiteDialogs, SaveUnderANewNameAndGoOnWithIt) {
    m_editor->Open(m_server->Url("a.pdf"));
    m_editor->Answer("where.window", "btn.ok");
    m_editor->Answer("SaveDialog", [this](QDialog& dialog) {
        EnterLibrary(dialog);
        auto* const name = dialog.findChild<QLineEdit*>("ed.name");
        EXPECT_EQ(name->text(), "a.pdf");
        name->selectAll();
        name->insert("100% new #1");
        emit name->textEdited(name->text());
        Press(dialog, "btn.ok");
    });
    m_editor->Trigger("cmd.saveAs");
    ASSERT_TRUE(m_editor->Comes(
        [this] { return m_editor->IsOpen() && m_editor->tab()->Name() == "100% new #1.pdf"; }));
    EXPECT_EQ(m_editor->tab()->pdf()->PageCount(), 2);
    EXPECT_FALSE(m_editor->tab()->IsModified());
    EXPECT_FALSE(m_server->Document("100% new #1.pdf").empty());
}

TEST_F(SiteDialogs, CancelLeavesEverythingAsItWas) {
    m_editor->Answer("where.window", "btn.ok");
    m_editor->Answer("OpenDialog", [](QDialog& dialog) {
        ListOf(dialog);
        Press(dialog, "btn.cancel");
    });
    m_editor->Trigger("cmd.open");
    EXPECT_TRUE(
        m_editor->Comes([this] { return m_editor->AnsweredCount() == 2 && m_editor->JobCount() == 0; }));
    EXPECT_EQ(m_editor->tab(), nullptr);
}

}  // namespace
}  // namespace desktop_tests
