// The pane of places, and one profile in two windows.
#include <gtest/gtest.h>

#include <QTreeWidget>

#include "tests/desktop/editor_driver.h"

namespace desktop_tests {
namespace {

class Places : public ::testing::Test {
protected:
    Places() {
        WriteText(m_seed / "Plans/b.pdf", MakePdf(1));
        WriteText(m_seed / "a.pdf", MakePdf(2));
        m_server.emplace(std::vector<std::string>{}, m_seed.Path());
        m_sphost.AddPlace(*m_server, "alice");
        m_editor.emplace(m_sphost.Profile());
    }
    QTreeWidget* Tree() { return m_editor->window().findChild<QTreeWidget*>("places"); }
    // Unfolds and waits for more than "Loading".
    std::vector<std::string> Unfold(QTreeWidgetItem* item) {
        item->setExpanded(true);
        EXPECT_TRUE(m_editor->Comes([&] { return m_editor->JobCount() == 0; }));
        std::vector<std::string> names;
        for (int i = 0; i < item->childCount(); ++i) names.push_back(item->child(i)->text(0).toStdString());
        return names;
    }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_sphost;
    std::optional<EditorDriver> m_editor;
};

TEST_F(Places, UnfoldFoldersFirstAndOpenDocuments) {
    QTreeWidgetItem* const site = Tree()->topLevelItem(0);
    EXPECT_EQ(Unfold(site), std::vector<std::string>{"Shared Documents"});
    EXPECT_EQ(Unfold(site->child(0)), (std::vector<std::string>{"Plans", "a.pdf"}));
    EXPECT_EQ(Unfold(site->child(0)->child(0)), std::vector<std::string>{"b.pdf"});
    emit Tree()->itemActivated(site->child(0)->child(1), 0);
    EXPECT_TRUE(m_editor->Comes([this] { return m_editor->IsOpen(); }));
    EXPECT_EQ(m_editor->tab()->pdf()->PageCount(), 2);
}

TEST_F(Places, ARefusedListingShowsItsReasonAndCanBeTriedAgain) {
    m_server->SetFaults(R"([{"match":{"times":0},"fault":{"kind":"status","status":503}}])");
    QTreeWidgetItem* const site = Tree()->topLevelItem(0);
    const auto refused = Unfold(site);
    ASSERT_EQ(refused.size(), 2u);
    EXPECT_NE(refused[0].find("the server is busy (HTTP 503)"), std::string::npos) << refused[0];
    m_server->ClearFaults();
    emit Tree()->itemActivated(site->child(1), 0);
    EXPECT_EQ(Unfold(site), std::vector<std::string>{"Shared Documents"});
}

TEST_F(Places, AnotherProgramOnTheProfileLeavesADocumentAloneThatIsChangedHere) {
    m_editor->Open(m_server->Url("a.pdf"));
    m_editor->Click("sp.cmd.enableEditing");
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->Action("cmd.page.rotateRight")->isEnabled(); }));
    m_editor->Trigger("cmd.page.rotateRight");
    m_editor->Save();
    const std::string saved = m_server->Document("a.pdf");
    const ProcessResult other =
        m_sphost.Run({"edit", m_server->Url("a.pdf"), "--yes", "--", "sh", "-c", "printf x >> \"$0\""});
    EXPECT_NE(other.status, 0) << other.out;
    EXPECT_NE(other.err.find("0x80070020"), std::string::npos) << other.err;
    EXPECT_TRUE(m_server->Document("a.pdf") == saved);
}

}  // namespace
}  // namespace desktop_tests
