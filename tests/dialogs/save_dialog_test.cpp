// Choosing where to save: names, extensions, replacing, and what the host asks of the window.
#include "host/base/object.h"
#include "tests/dialogs/dialog_driver.h"

namespace dialogs {

namespace {

class SaveDialog : public PlaceDialogs {};

INSTANTIATE_TEST_SUITE_P(, SaveDialog, ::testing::Values(true, false),
                         [](const auto& row) { return row.param ? "modern" : "y2013"; });

using Names = std::vector<std::string>;

struct TypedRow {
    std::string typed;
    std::string filters;
    std::string default_ext;
    Names names;
    std::string prompts = {};
    std::string answer = {};  // to the question whether to replace
};

// Each row types a name and presses OK; a dialog that stays is closed.
TEST_P(SaveDialog, MakesANameOfWhatIsTyped) {
    const std::string pdf = "PDF|*.pdf|Word|*.docx|All|*.*|";
    const std::string all = "All|*.*|PDF|*.pdf|";
    const std::string replace = "sp.msg.saveReplace";
    const std::string invalid = "sp.msg.invalidFileName";
    Make({"there.pdf", "plain"});
    MakeFolder("Folder.x");
    const TypedRow rows[] = {
        {"new", pdf, "", {"new.pdf"}},
        {"new.PDF", pdf, "pdf", {"new.PDF"}},
        {"new.docx", pdf, "", {"new.pdf"}},
        {"new.b", pdf, "", {"new.b.pdf"}},
        {"new", all, "", {"new"}},
        {"new", all, "pdf", {"new.pdf"}},
        {"new.txt", all, "pdf", {"new.txt.pdf"}},
        {"new.", all, "pdf", {"new.pdf"}},
        {" Bob's #1 (50%) & [x] \xE6\x96\x87 \xF0\x9F\x98\x80 ",
         pdf,
         "",
         {"Bob's #1 (50%) & [x] \xE6\x96\x87 \xF0\x9F\x98\x80.pdf"}},
        {"THERE", pdf, "", {"there.pdf"}, replace, "sp.btn.saveReplace"},
        {"there", pdf, "", {}, replace, "btn.cancel"},
        {"there.pdf", all, "", {}, replace, "btn.cancel"},
        {"plain", all, "", {"plain"}, replace, "sp.btn.saveReplace"},
        {"a?b", pdf, "", {}, invalid},
        {"a/b", all, "", {}, invalid},
        {"\"one\" \"there\" \"two\"",
         pdf,
         "",
         {"there.pdf", "one.pdf", "two.pdf"},
         replace,
         "sp.btn.saveReplace"},
        {"\"one\"\"t*wo\"", pdf, "", {"one.pdf"}, invalid},
        {"\"open quote", pdf, "", {"open quote.pdf"}},
        {"\"\"", pdf, "", {}},
    };
    for (const TypedRow& row : rows)
        if (!row.answer.empty()) driver().Answer(replace, Press(row.answer));
    for (const TypedRow& row : rows) {
        SCOPED_TRACE(row.typed + " with " + row.filters);
        driver().Then("type", [&](auto& w) {
            EXPECT_FALSE(IsEnabled(w, u"btn.ok"));
            Type(w, row.typed);
            PressOk(w);
            if (w.IsModal()) w.CloseByPerson();
        });
        const Outcome outcome = driver().Save({.filters = row.filters, .default_ext = row.default_ext});
        Names names = outcome.names;
        Names expected = row.names;
        std::sort(names.begin(), names.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(names, expected);
        EXPECT_EQ(outcome.choice, row.names.empty() ? 2u : 1u);
        EXPECT_EQ(driver().Prompts(), row.prompts);
    }
}

TEST_P(SaveDialog, AFoldersNameEntersItWhateverTheFilter) {
    MakeFolder("Plans");
    Make({"Plans/old.pdf"});
    driver().Then("type the folder", [](auto& w) {
        Type(w, "plans");
        PressOk(w);
    });
    driver().Then("type the document", [](auto& w) {
        EXPECT_EQ(Rows(w), (Names{"../", "old.pdf"}));
        EXPECT_EQ(TextOf(w, u"ed.name"), "plans") << "what is typed stays";
        Type(w, "new");
        PressOk(w);
    });
    EXPECT_EQ(driver().Save({.filters = "PDF|*.pdf|"}).names, Names{"Plans/new.pdf"});
}

TEST_P(SaveDialog, AsksBeforeADoubleClickedDocumentIsReplaced) {
    Make({"a.pdf", "b.pdf"});
    driver().Answer("sp.msg.saveReplace", Press("btn.cancel"));
    driver().Answer("sp.msg.saveReplace", Press("sp.btn.saveReplace"));
    driver().Then("decline, then agree", [](auto& w) {
        DoubleClick(w, "a.pdf");
        EXPECT_TRUE(w.IsModal());
        DoubleClick(w, "b.pdf");
    });
    EXPECT_EQ(driver().Save().names, Names{"b.pdf"});
    const auto prompts = driver().TakePrompts();
    ASSERT_EQ(prompts.size(), 2u);
    EXPECT_NE(prompts[0].text.find("a.pdf"), std::string::npos);
    EXPECT_EQ(prompts[0].style, 0x10000200u);
}

TEST_P(SaveDialog, AnotherFilterChangesTheTypedExtension) {
    driver().Then("change", [](auto& w) {
        EXPECT_EQ(TextOf(w, u"ed.name"), "report");
        EXPECT_TRUE(IsEnabled(w, u"btn.ok"));
        auto& filter = *w.template Find<host::ComboControl>(u"cb.filter");
        filter.SelectItem(1);
        EXPECT_EQ(TextOf(w, u"ed.name"), "report.docx");
        filter.SelectItem(0);
        EXPECT_EQ(TextOf(w, u"ed.name"), "report.pdf");
        filter.SelectItem(2);
        EXPECT_EQ(TextOf(w, u"ed.name"), "report.pdf");
        w.CloseByPerson();
    });
    driver().Save({.file_name = "report", .filters = "PDF|*.pdf|Word|*.docx|All|*|"});
}

struct Settings final : host::Object<TMK::IUIX_SettingsCallbacks> {
    HRESULT OnSettings(TMK::IUIX_Obj* dialog) override {
        asked += dialog ? 1 : 100;
        return S_OK;
    }
    int asked = 0;
};

TEST_P(SaveDialog, LooksAsTheHostWishes) {
    const auto settings = host::Make<Settings>();
    driver().Then("look", [](auto& w) {
        EXPECT_EQ(host::ToUtf8(w.title()), "Keep it");
        EXPECT_EQ(TextOf(w, u"btn.ok"), "Keep");
        EXPECT_EQ(TextOf(w, u"btn.cancel"), "No");
        EXPECT_EQ(TextOf(w, u"btn.settings"), "More");
        EXPECT_EQ(w.template Find<host::ButtonControl>(u"btn.settings")->Click(), S_OK);
        for (const char16_t* hidden : {u"cb.url", u"btn.navigate", u"btn.signOut"})
            EXPECT_FALSE(w.Find(hidden)->is_shown());
        EXPECT_EQ(w.template Find<host::ButtonControl>(u"btn.cancel")->Click(), S_OK);
    });
    driver().Save({.title = "Keep it",
                   .action = "Keep",
                   .cancel = "No",
                   .settings = "More",
                   .settings_callbacks = settings});
    EXPECT_EQ(settings->asked, 1);
    driver().Then("look again", [](auto& w) {
        EXPECT_NE(w.title(), u"");
        EXPECT_NE(TextOf(w, u"btn.ok"), "");
        EXPECT_FALSE(w.Find(u"btn.settings")->is_shown());
        w.CloseByPerson();
    });
    driver().Save();
}

TEST_P(SaveDialog, OffersTheHostsFilters) {
    const auto texts = [](DialogWindow& w) {
        Names names;
        for (const auto& item : w.Find<host::ComboControl>(u"cb.filter")->items())
            names.push_back(host::ToUtf8(item.text));
        return names;
    };
    Names open, save;
    driver().Then("open", [&](auto& w) {
        open = texts(w);
        w.CloseByPerson();
    });
    driver().Open({.filters = ""});
    driver().Then("save", [&](auto& w) {
        save = texts(w);
        w.CloseByPerson();
    });
    driver().Save({.filters = ""});
    ASSERT_EQ(save.size(), 2u);
    ASSERT_EQ(open.size(), 3u) << ::testing::PrintToString(open);
    EXPECT_EQ(open[0], save[0]);
    EXPECT_EQ(open[2], save[1]);
}

}  // namespace

}  // namespace dialogs
