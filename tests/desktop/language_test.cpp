// The window's language: packs are complete, and a switch changes everything that is shown.
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <algorithm>
#include <pugixml.hpp>
#include <regex>
#include <set>

#include "tests/desktop/editor_test.h"
#include "tests/support/row_name.h"

namespace desktop_tests {
namespace {

namespace fs = std::filesystem;
using Texts = std::map<std::string, std::string>;

Texts TextsOf(const fs::path& file, const std::string& space) {
    pugi::xml_document document;
    EXPECT_TRUE(document.load_file(file.c_str())) << file;
    Texts texts;
    for (const auto& module : document.select_nodes("/Localization/Product/Language/Module")) {
        if (module.node().attribute("namespace").value() != space) continue;
        for (const auto& text : module.node().child("Strings").children("text"))
            texts[text.attribute("id").value()] = text.text().get();
    }
    return texts;
}

// Placeholders and tags, each once: what a translation must keep, in any order.
std::set<std::string> PartsOf(const std::string& text) {
    static const std::regex part("%[0-9s]|</?[bi]>|\n- ");
    return {std::sregex_token_iterator(text.begin(), text.end(), part), {}};
}

void ExpectSameParts(const std::string& english, const std::string& translation) {
    EXPECT_FALSE(translation.empty()) << english;
    EXPECT_EQ(PartsOf(english), PartsOf(translation)) << english << "\n" << translation;
    const auto has_mnemonic = [](const std::string& text) { return text.find('&') != std::string::npos; };
    EXPECT_EQ(has_mnemonic(english), has_mnemonic(translation)) << english << "\n" << translation;
}

// The texts that a source file gives to be translated, as C++ writes them.
std::set<std::string> EnglishTextsOf(const std::string& source) {
    static const std::string text = R"(((?:u?"(?:[^"\\]|\\.)*"\s*)+))";
    static const std::regex calls(
        "(?:\\btr\\(\\s*|translate\\(\\s*\"[^\"]*\",\\s*|SetTranslated\\([^,]*, \"\\w+\",\\s*|"
        "\\{\\s*\"(?:sp\\.)?btn\\.\\w+\",\\s*|\\bAdd(?:ForTab)?\\(\\s*\\{\\s*u\"cmd\\.[\\w.]+\",\\s*|"
        "AddForPages\\(u\"[^\"]*\",\\s*|Add\\(QStringLiteral\\(\"[^\"]*\"\\), QStringLiteral\\()" +
        text);
    static const std::regex piece(R"xx("((?:[^"\\]|\\.)*)")xx");
    std::set<std::string> texts;
    for (std::sregex_iterator call(source.begin(), source.end(), calls), end; call != end; ++call) {
        const std::string literals = (*call)[1];
        std::string joined;
        for (std::sregex_token_iterator at(literals.begin(), literals.end(), piece, 1), none; at != none;
             ++at)
            joined += *at;
        joined = std::regex_replace(joined, std::regex(R"(\\n)"), "\n");
        joined = std::regex_replace(joined, std::regex(R"(\\u2026)"), "…");
        joined = std::regex_replace(joined, std::regex(R"(\\u00b0)"), "°");
        texts.insert(joined);
    }
    return texts;
}

TEST(LanguagePack, HasEveryTextOfThePlugInWithItsPlaceholdersAndTags) {
    const Texts english = TextsOf(SOURCE_FOLDER "/src/resources/localization.xml", "sp");
    Texts german = TextsOf(LANGUAGE_FOLDER "/de.xml", "sp");
    EXPECT_GT(english.size(), 100u);
    for (const auto& [id, text] : english) {
        SCOPED_TRACE(id);
        ASSERT_TRUE(german.count(id));
        ExpectSameParts(text, german.extract(id).mapped());
    }
    for (const auto& [id, text] : german) ADD_FAILURE() << id << " is no text of the plug-in any more";
}

TEST(LanguagePack, HasEveryTextOfTheWindow) {
    Texts german = TextsOf(LANGUAGE_FOLDER "/de.xml", "editor");
    std::set<std::string> seen;
    for (const auto& file : fs::recursive_directory_iterator(SOURCE_FOLDER "/host/desktop")) {
        const std::string name = file.path().filename().string();
        if (!name.ends_with(".cpp") || name.ends_with("_test.cpp")) continue;
        for (const std::string& text : EnglishTextsOf(ReadText(file.path()))) {
            SCOPED_TRACE(name + ": " + text);
            EXPECT_TRUE(german.count(text));
            if (seen.insert(text).second && german.count(text)) ExpectSameParts(text, german[text]);
        }
    }
    EXPECT_GT(seen.size(), 150u);
}

struct BarsRow {
    std::string what;
    desktop::Bars bars;
    friend std::ostream& operator<<(std::ostream& stream, const BarsRow& row) { return stream << row.what; }
};

class LanguageTest : public EditorTest, public ::testing::WithParamInterface<BarsRow> {
protected:
    std::string Text(const QString& action) { return m_editor->Action(action)->text().toStdString(); }
    // What the bars at the top say, whichever they are.
    std::string Top() {
        std::string titles;
        if (GetParam().bars == desktop::Bars::menus) {
            for (const QAction* const menu : m_editor->window().menuBar()->actions())
                titles += menu->text().toStdString() + " ";
        } else {
            const auto* const ribbon = m_editor->window().findChild<QTabWidget*>("ribbon");
            for (int i = 0; i < ribbon->count(); ++i) titles += ribbon->tabText(i).toStdString() + " ";
        }
        return titles;
    }
    // The information bars of both documents: texts and buttons.
    std::vector<std::string> Bars() {
        std::vector<std::string> bars;
        for (auto* const tab : m_editor->window().findChildren<desktop::DocumentTab*>()) {
            bars.push_back(tab->info_bar().findChild<QLabel*>("text")->text().toStdString());
            bars.back() += " | " + tab->info_bar().findChild<QPushButton*>()->text().toStdString();
        }
        return bars;
    }
    void Use(const QString& code) {
        m_editor->Trigger("cmd.language." + code);
        // Bars are made anew once for all changes.
        QCoreApplication::processEvents();
    }
};

TEST_P(LanguageTest, ASwitchChangesBarsTextsAndPromptsOfOpenDocuments) {
    m_server->WriteAs("bob", "b.pdf", MakePdf(1));
    Start({.bars = GetParam().bars, .has_languages = true});
    for (const char* name : {kName, "b.pdf"}) m_editor->Open(m_server->Url(name));
    const std::string top = Top();
    const std::vector<std::string> bars = Bars();
    ASSERT_EQ(bars.size(), 2u);
    EXPECT_EQ(bars[0], std::string(kNotCheckedOut) + " | Check &Out");
    Use("de");
    const std::string german =
        "Die Datei ist nicht ausgecheckt. Das Bearbeiten und die interaktiven Funktionen sind gesperrt. | "
        "Aus&checken";
    EXPECT_EQ(Bars(), std::vector(2, german));
    EXPECT_NE(Top(), top);
    EXPECT_NE(Top().find("Ansicht"), std::string::npos) << Top();
    EXPECT_EQ(Text("sp.cmd.checkOut"), "Aus&checken");
    EXPECT_EQ(m_editor->Action("sp.cmd.checkOut")->statusTip().toStdString(),
              "Das Dokument aus SharePoint auschecken.");
    EXPECT_EQ(Text("cmd.page.rotateRight"), "Nach &rechts drehen");
    EXPECT_EQ(m_editor->window().findChild<QLineEdit*>("address")->placeholderText().toStdString(),
              "Adresse eines SharePoint-Dokuments oder eine Datei");
    EXPECT_EQ(m_editor->window().findChild<QLabel*>("page")->text().toStdString(), "Seite 1 von 1");
    m_editor->Click("sp.cmd.enableEditing");
    ASSERT_TRUE(m_editor->Comes([this] { return m_editor->Action("cmd.page.rotateRight")->isEnabled(); }));
    Rotate();
    std::string question;
    m_editor->Answer("editor.unsaved.question", [&](QDialog& dialog) {
        question = dialog.findChild<QPushButton*>("btn.dontSave")->text().toStdString() + " " +
                   dialog.findChild<QPushButton*>("btn.cancel")->text().toStdString();
        Press(dialog, "btn.cancel");
    });
    CloseTab();
    EXPECT_EQ(question, "&Nicht speichern &Abbrechen");
    Use("en");
    EXPECT_EQ(Bars()[0], bars[0]);
    EXPECT_EQ(Top(), top);
}

INSTANTIATE_TEST_SUITE_P(All, LanguageTest,
                         ::testing::Values(BarsRow{"Ribbon", desktop::Bars::ribbon},
                                           BarsRow{"Menus", desktop::Bars::menus}),
                         RowName());

TEST_F(EditorTest, KeepsTheChosenLanguageForTheNextStart) {
    Start({.has_languages = true});
    m_editor->Trigger("cmd.language.de");
    m_editor.reset();
    Start({.has_languages = true});
    EXPECT_EQ(m_editor->Action("cmd.save")->text().toStdString(), "&Speichern");
    EXPECT_TRUE(m_editor->Action("cmd.language.de")->isChecked());
    m_editor.reset();
    // A profile whose pack is gone speaks English.
    Start();
    EXPECT_EQ(m_editor->Action("cmd.save")->text().toStdString(), "&Save");
}

TEST_F(EditorTest, SphostPromptsInTheLanguageThatItIsTold) {
    ASSERT_EQ(m_sphost.Run({"prefs", "on_open_checked_out_none=1"}).status, 0);
    const auto log = m_seed / "prompts";
    const ProcessResult german =
        m_sphost.Run({"edit", m_server->Url(kName), "--language", "de", "--yes", "--prompt-log", log.string(),
                      "--", "sh", "-c", "printf x >> \"$0\""});
    EXPECT_NE(ReadText(log).find("Sie können die Datei a.pdf beim Öffnen auschecken."), std::string::npos)
        << ReadText(log);
    const ProcessResult unknown = m_sphost.Run({"ls", m_server->Url(""), "--language", "xx"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("choose of en, de"), std::string::npos) << unknown.err;
}

}  // namespace
}  // namespace desktop_tests
