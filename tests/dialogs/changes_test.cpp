// Folders made and items deleted in the dialog.
#include "tests/dialogs/dialog_driver.h"

namespace dialogs {

namespace {

class DialogChanges : public PlaceDialogs {
protected:
    static constexpr const char* kQuestion = "sp.addFolder.question.edit.title";

    // Answers the question for a folder's name, or its repetition under another id.
    void AnswerName(const std::string& id, const std::string& name) {
        host::PromptAnswer answer = Press("sp.addFolder.question.button.create");
        answer.text = name;
        driver().Answer(id, answer);
    }
    bool Exists(const std::string& item) {
        ComPtr<TMK::IAFS_FileInfo> info;
        return driver().file_system()->GetFileInfo(driver().Name(item).get(), nullptr, nullptr, info.put()) ==
               S_OK;
    }
};

INSTANTIATE_TEST_SUITE_P(, DialogChanges, ::testing::Values(true, false),
                         [](const auto& row) { return row.param ? "modern" : "y2013"; });

using Names = std::vector<std::string>;

TEST_P(DialogChanges, SavesIntoAFolderThatIsMadeThere) {
    const std::string folder = "Bob's #1 (50%) & [x] \xE6\x96\x87 \xF0\x9F\x98\x80";
    AnswerName(kQuestion, "  " + folder + " ");
    driver().Then("make", [&](auto& w) { EXPECT_TRUE(driver().Command(w, "createFolder")); });
    driver().ThenWhen(
        "enter", [](auto& w) { return IsUsable(w) && Rows(w).size() == 2; },
        [&](auto& w) { DoubleClick(w, folder); });
    driver().Then("save", [&](auto& w) {
        EXPECT_EQ(Rows(w), Names{"../"});
        Type(w, "a");
        PressOk(w);
    });
    EXPECT_EQ(driver().Save({.filters = "PDF|*.pdf|"}).names, Names{folder + "/a.pdf"});
    const auto prompts = driver().TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0].style, 0x14000000u);
}

TEST_P(DialogChanges, RefusesNamesThatCanNotBe) {
    MakeFolder("There \xC3\xA9");
    Make({"file.PDF"});
    const std::string error = "sp.addFolder.question.error.";
    AnswerName(kQuestion, "  ");
    AnswerName(error + "emptyFolderName", "a|b");
    driver().Answer(error + "invalidFolderName", Press("sp.addFolder.question.button.create"));
    AnswerName(error + "invalidFolderName", "there \xC3\x89");
    AnswerName(error + "alreadyExists", "File.pdf");
    driver().Answer(error + "alreadyExists", Press("btn.cancel"));
    driver().Then("make", [&](auto& w) {
        EXPECT_TRUE(driver().Command(w, "createFolder"));
        EXPECT_EQ(Rows(w).size(), 3u);
        w.CloseByPerson();
    });
    driver().Open();
    const auto prompts = driver().TakePrompts();
    ASSERT_EQ(prompts.size(), 6u);
    EXPECT_EQ(prompts[1].style, 0x14000300u);
    EXPECT_EQ(prompts[3].edit_text, "there \xC3\x89");
    EXPECT_EQ(prompts[2].edit_text, "a|b") << "the text is kept";
    EXPECT_NE(prompts[4].text.find("there \xC3\x89"), std::string::npos);
    EXPECT_EQ(prompts[5].id, error + "alreadyExists");
}

TEST_P(DialogChanges, TellsThatAFolderCouldNotBeMade) {
    AnswerName(kQuestion, "new");
    driver().Then("make", [&](auto& w) {
        server().SetFaults(
            R"([{"match":{"path":"/sites/team","times":0},"fault":{"kind":"status","status":403}}])");
        EXPECT_TRUE(driver().Command(w, "createFolder"));
    });
    driver().ThenWhen(
        "close", [&](auto& w) { return IsUsable(w) && driver().Command(w, "folder.up"); },
        [](auto& w) { w.CloseByPerson(); });
    driver().Open();
    server().ClearFaults();
    EXPECT_EQ(driver().Prompts().substr(0, 61), std::string(kQuestion) + " sp.addFolder.error.message");
    EXPECT_FALSE(Exists("new"));
}

TEST_P(DialogChanges, DeletesAfterAQuestionOfTheRightKind) {
    MakeFolder("F");
    Make({"F/x.txt", "a.txt", "b.txt", "c.txt"});
    const auto gone = [&](const std::string& row) {
        return [&, row](DialogWindow& w) {
            const Names rows = IsUsable(w) ? Rows(w) : Names{row};
            return std::find(rows.begin(), rows.end(), row) == rows.end();
        };
    };
    driver().Answer("sp.delete.question.file", Press("btn.cancel"));
    for (const char* id :
         {"sp.delete.question.file", "sp.delete.question.folder", "sp.delete.question.multi"})
        driver().Answer(id, Press("sp.btn.delete.text"));
    driver().Then("decline, then agree", [&](auto& w) {
        EXPECT_FALSE(driver().Command(w, "delete")) << "nothing is selected";
        Select(w, {"../"});
        EXPECT_FALSE(driver().Command(w, "delete")) << "the way up";
        Select(w, {"a.txt"});
        EXPECT_TRUE(driver().Command(w, "delete"));
        EXPECT_EQ(Rows(w).size(), 5u);
        EXPECT_TRUE(driver().Command(w, "delete"));
    });
    driver().ThenWhen("delete the folder", gone("a.txt"), [&](auto& w) {
        Select(w, {"F"});
        EXPECT_TRUE(driver().Command(w, "delete"));
    });
    driver().ThenWhen("delete two", gone("F"), [&](auto& w) {
        Select(w, {"../", "b.txt", "c.txt"});
        EXPECT_TRUE(driver().Command(w, "delete"));
    });
    driver().ThenWhen("close", gone("b.txt"), [&](auto& w) {
        EXPECT_EQ(Rows(w), Names{"../"});
        w.CloseByPerson();
    });
    driver().Open();
    const auto prompts = driver().TakePrompts();
    ASSERT_EQ(prompts.size(), 4u);
    EXPECT_NE(prompts[2].text.find("folder F"), std::string::npos) << prompts[2].text;
    EXPECT_NE(prompts[3].text.find('2'), std::string::npos);
    EXPECT_FALSE(Exists("F"));
}

TEST_P(DialogChanges, GoesOnWhenOneOfThreeCanNotBeDeleted) {
    Make({"a.txt", "b.txt", "c.txt"});
    server().CheckOutAs("bob", "b.txt");
    driver().Answer("sp.delete.question.multi", Press("sp.btn.delete.text"));
    driver().Then("delete", [&](auto& w) {
        Select(w, {"a.txt", "b.txt", "c.txt"});
        EXPECT_TRUE(driver().Command(w, "delete"));
    });
    driver().ThenWhen(
        "close", [](auto& w) { return IsUsable(w) && Rows(w).size() == 2; },
        [](auto& w) {
            EXPECT_EQ(Rows(w), (Names{"../", "b.txt"}));
            w.CloseByPerson();
        });
    driver().Open();
    const auto prompts = driver().TakePrompts();
    ASSERT_EQ(prompts.size(), 2u);
    EXPECT_EQ(prompts[1].id, "sp.delete.error.file");
    EXPECT_NE(prompts[1].text.find("b.txt"), std::string::npos);
    EXPECT_EQ(prompts[1].style, 0x10000300u);
}

TEST_P(DialogChanges, CancelKeepsWhatIsNotReachedYet) {
    Make({"a.txt", "b.txt", "c.txt"});
    driver().Answer("sp.delete.question.multi", Press("sp.btn.delete.text"));
    driver().front_end().dialogs.cancels_progress = true;
    driver().Then("delete", [&](auto& w) {
        server().SetFaults(R"([{"match":{"path":"a.txt"},"fault":{"kind":"delay","milliseconds":600}}])");
        Select(w, {"a.txt", "b.txt", "c.txt"});
        EXPECT_TRUE(driver().Command(w, "delete"));
        EXPECT_FALSE(driver().Command(w, "delete")) << "while one runs";
        EXPECT_FALSE(driver().Command(w, "createFolder")) << "while one runs";
    });
    driver().ThenWhen(
        "close", [](auto& w) { return IsUsable(w) && Rows(w).size() < 4; },
        [](auto& w) {
            EXPECT_EQ(Rows(w), (Names{"../", "b.txt", "c.txt"}));
            w.CloseByPerson();
        });
    driver().Open();
    ASSERT_FALSE(driver().front_end().dialogs.progress.empty());
    EXPECT_EQ(host::ToUtf8(driver().front_end().dialogs.progress.back().title), "Deleting from SharePoint");
}

TEST_P(DialogChanges, AnItemThatIsGoneAlreadyCountsAsDeleted) {
    Make({"a.txt"});
    driver().Answer("sp.delete.question.file", Press("sp.btn.delete.text"));
    driver().Then("delete", [&](auto& w) {
        Require(driver().file_system()->Delete(driver().Name("a.txt").get(), nullptr, nullptr), "deleting");
        Select(w, {"a.txt"});
        EXPECT_TRUE(driver().Command(w, "delete"));
    });
    driver().ThenWhen(
        "close", [](auto& w) { return IsUsable(w) && Rows(w).size() == 1; },
        [](auto& w) { w.CloseByPerson(); });
    driver().Open();
}

}  // namespace

}  // namespace dialogs
