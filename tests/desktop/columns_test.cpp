// A document's library columns in the editor: by command, and where a check-in needs them.
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include "tests/desktop/editor_test.h"

namespace desktop_tests {
namespace {

class Columns : public EditorTest {
protected:
    Columns()
        : EditorTest({"--column", R"({"name":"Topic","title":"Topic","type":"Text","required":true})",
                      "--column", R"({"name":"Owner","title":"Owner","type":"Text","required":true})",
                      "--column", R"({"name":"Remarks","title":"Remarks","type":"Note"})"}) {}

    static void Type(QDialog& window, const char* title, const QString& text) {
        auto* const field = window.findChild<QLineEdit*>(QString("property.") + title);
        ASSERT_TRUE(field) << title;
        field->setFocus();
        field->clear();
        QTest::keyClicks(field, text);
    }
    std::string Stored(const std::string& column) {
        return m_server
            ->Rest("alice", "GET",
                   "/_api/Web/GetFileByServerRelativeUrl('/sites/team/Shared%20Documents/a.pdf')"
                   "/ListItemAllFields?$select=" +
                       column)
            .body;
    }
    // Checks out, changes, and checks in as the prompt offers it.
    void CheckInAfterAChange() {
        m_editor->Open(m_server->Url(kName));
        m_editor->Click("sp.cmd.checkOut");
        ASSERT_TRUE(
            m_editor->Comes([this] { return m_editor->Action("cmd.page.rotateRight")->isEnabled(); }));
        m_editor->Answer("sp.msg.checkInDialogMessage", "sp.btn.checkIn");
        m_editor->Answer("sp.msg.CheckInRequiredProperties", "btn.ok");
    }
};

TEST_F(Columns, AreEditedByTheCommandProperties) {
    Start();
    m_editor->Open(m_server->Url(kName));
    m_editor->Answer("FilePropertiesDlg", [](QDialog& window) {
        Type(window, "* Topic", "Plans & <more>");
        auto* const remarks = window.findChild<QPlainTextEdit*>("property.Remarks");
        ASSERT_TRUE(remarks);
        remarks->setFocus();
        QTest::keyClicks(remarks, "one");
        QTest::keyClick(remarks, Qt::Key_Return);
        QTest::keyClicks(remarks, "two");
        Press(window, "btn.ok");
    });
    m_editor->Click("sp.cmd.fileProperties");
    EXPECT_EQ(m_editor->TakeAnswered(), std::vector<std::string>{"FilePropertiesDlg"});
    const auto comes = [this](const char* column, const char* value) {
        return m_editor->Comes([&] { return Stored(column).find(value) != std::string::npos; });
    };
    EXPECT_TRUE(comes("Topic", R"("Topic":"Plans & <more>")")) << Stored("Topic");
    EXPECT_TRUE(comes("Remarks", R"(one\ntwo)")) << Stored("Remarks");
}

TEST_F(Columns, AreAskedForUntilTheCheckInGoesThrough) {
    Start();
    CheckInAfterAChange();
    m_editor->Answer("FilePropertiesDlg", [](QDialog& window) {
        Type(window, "* Topic", "Plans");
        Press(window, "btn.ok");
    });
    m_editor->Answer("sp.msg.CheckInRequiredProperties", "btn.ok");
    m_editor->Answer("FilePropertiesDlg", [](QDialog& window) {
        EXPECT_EQ(window.findChild<QLineEdit*>("property.* Topic")->text(), "Plans") << "it was kept";
        Type(window, "* Owner", "Alice");
        Press(window, "btn.ok");
    });
    m_editor->Trigger("sp.cmd.checkIn");
    EXPECT_TRUE(m_editor->Comes([this] { return m_editor->AnsweredCount() == 5; }));
    EXPECT_TRUE(m_editor->Comes([this] { return m_server->CheckedOutBy(kName).empty(); }));
    EXPECT_NE(Stored("Owner").find(R"("Owner":"Alice")"), std::string::npos) << Stored("Owner");
}

TEST_F(Columns, ThatAreGivenUpKeepTheCheckOutAndSaySo) {
    Start();
    CheckInAfterAChange();
    m_editor->Answer("FilePropertiesDlg", "btn.cancel");
    QString told;
    m_editor->Answer("", [&](QDialog& window) {
        for (const auto* const label : window.findChildren<QLabel*>()) told += label->text();
        window.findChild<QPushButton*>()->click();
    });
    m_editor->Trigger("sp.cmd.checkIn");
    EXPECT_TRUE(m_editor->Comes([this] { return m_editor->AnsweredCount() == 4; }));
    EXPECT_TRUE(told.contains("required properties are not filled out")) << told.toStdString();
    EXPECT_NE(m_server->CheckedOutBy(kName), "");
    EXPECT_TRUE(m_editor->IsOpen());
}

}  // namespace
}  // namespace desktop_tests
