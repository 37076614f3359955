// What goes wrong while a dialog is open: slow and refusing servers, folders that are gone, an expired
// sign-in.
#include <chrono>
#include <cstdlib>

#include "host/base/host_objects.h"
#include "tests/dialogs/dialog_driver.h"

namespace dialogs {

namespace {

class DialogTrouble : public PlaceDialogs {
protected:
    void SetFault(const std::string& path, const std::string& fault) {
        server().SetFaults(R"([{"match":{"path":")" + path + R"(","times":0},"fault":{)" + fault + "}}]");
    }
    // Removes something behind the dialog's back.
    void Remove(const std::string& item) { RemoveFolder(item); }
};

INSTANTIATE_TEST_SUITE_P(, DialogTrouble, ::testing::Values(true, false),
                         [](const auto& row) { return row.param ? "modern" : "y2013"; });

using Names = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

TEST_P(DialogTrouble, CloseDuringANavigationEndsTheTaskAndFreesEverything) {
    MakeFolder("F");
    setenv("PLATFORM_RECEIVE_TIMEOUT_MS", "600000", 1);
    for (const char* const kind : {"stall", "stall-headers", "stall-body"}) {
        SCOPED_TRACE(kind);
        Replace(std::make_unique<Driver>(server()));
        driver().Then("go", [&](auto& w) {
            SetFault("F", std::string(R"("kind":")") + kind + R"(","after":10)");
            DoubleClick(w, "F");
            EXPECT_FALSE(IsUsable(w));
            EXPECT_FALSE(IsEnabled(w, u"btn.ok"));
        });
        driver().ThenWhen(
            "close", [&](auto&) { return server().FaultsFired() > 0; },
            [&](auto& w) {
                const auto closed = Clock::now();
                w.CloseByPerson();
                EXPECT_LT(Clock::now() - closed, std::chrono::milliseconds(100));
                EXPECT_FALSE(IsEnabled(w, u"btn.cancel")) << "the click was heard";
                EXPECT_TRUE(w.IsModal()) << "the task goes on";
                w.CloseByPerson();
            });
        EXPECT_EQ(Hex(driver().Open().result), Hex(kCanceled));
        EXPECT_EQ(driver().Prompts(), "");
        server().ClearFaults();
        Replace(nullptr);
        EXPECT_EQ(host::LiveObjects(), 0);
    }
    unsetenv("PLATFORM_RECEIVE_TIMEOUT_MS");
}

TEST_P(DialogTrouble, RefusesASecondCommandAloud) {
    MakeFolder("F");
    Make({"a.txt"});
    driver().Answer("sp.delete.question.file", Press("sp.btn.delete.text"));
    driver().Then("delete and go", [&](auto& w) {
        SetFault("a.txt", R"("kind":"delay","milliseconds":700)");
        Select(w, {"a.txt"});
        EXPECT_TRUE(driver().Command(w, "delete"));
        DoubleClick(w, "F");
        EXPECT_EQ(Rows(w).size(), 3u) << "nothing is lost";
        EXPECT_FALSE(driver().Command(w, "createFolder"));
    });
    driver().ThenWhen(
        "go now", [](auto& w) { return IsUsable(w) && Rows(w).size() == 2; },
        [](auto& w) { DoubleClick(w, "F"); });
    driver().Then("close", [](auto& w) {
        EXPECT_EQ(Rows(w), Names{"../"});
        w.CloseByPerson();
    });
    driver().Open();
    EXPECT_EQ(driver().Prompts(), "sp.delete.question.file sp.msg.navigateError");
}

TEST_P(DialogTrouble, AFolderThatIsGoneLeadsToTheSite) {
    MakeFolder("F");
    driver().Then("go", [&](auto& w) {
        Remove("F");
        DoubleClick(w, "F");
    });
    driver().Then("close", [&](auto& w) {
        // A modern server answers for a folder that is gone; an older one refuses, and the site is shown.
        EXPECT_EQ(TextOf(w, u"lb.url"),
                  GetParam() ? server().Site() + "/Shared Documents/F" : server().Site());
        w.CloseByPerson();
    });
    driver().Open();
    MakeFolder("Start");
    const ComPtr<TMK::IAFS_Name> start = driver().Name("Start");
    Remove("Start");
    driver().Then("close", [&](auto& w) {
        EXPECT_EQ(TextOf(w, u"lb.url"), server().Site());
        w.CloseByPerson();
    });
    driver().Open({.folder = "Start"});
    EXPECT_EQ(driver().Prompts(), "");
}

TEST_P(DialogTrouble, AListingThatIsRefusedSaysWhyAndCanBeTriedAgain) {
    MakeFolder("F");
    Make({"F/a.txt"});
    driver().Then("go", [&](auto& w) {
        SetFault("Shared Documents/F",
                 GetParam()
                     ? R"("kind":"status","status":500,"code":"-1","message":"Not now, says the server.")"
                     : R"("kind":"body","text":"<html>Not now</html>","content_type":"text/html")");
        DoubleClick(w, "F");
    });
    driver().ThenWhen(
        "try again", [](auto& w) { return List(w).notice() && IsUsable(w); },
        [&](auto& w) {
            server().ClearFaults();
            EXPECT_EQ(host::ToUtf8(List(w).notice()->text),
                      GetParam() ? "Not now, says the server."
                                 : "The server did not answer with the content of the folder.");
            EXPECT_NE(List(w).notice()->button, u"");
            List(w).PressNoticeButton();
        });
    driver().Then("close", [](auto& w) {
        EXPECT_FALSE(List(w).notice());
        EXPECT_EQ(Rows(w), (Names{"../", "a.txt"}));
        w.CloseByPerson();
    });
    driver().Open();
}

TEST_P(DialogTrouble, NothingToShowAtFirstIsToldAndTriedAgain) {
    driver();
    SetFault("/sites/team", R"("kind":"status","status":503)");
    driver().ThenWhen(
        "try again", [](auto& w) { return List(w).notice().has_value(); },
        [&](auto& w) {
            server().ClearFaults();
            List(w).PressNoticeButton();
        });
    driver().ThenWhen(
        "close", [](auto& w) { return IsUsable(w) && !List(w).notice(); },
        [](auto& w) {
            // A modern site is known without a request, so that its listing alone could not be read.
            EXPECT_EQ(Rows(w), GetParam() ? Names{"Shared Documents"} : Names{"../"});
            w.CloseByPerson();
        });
    driver().Open();
    EXPECT_EQ(driver().Prompts(), GetParam() ? "" : "sp.msg.navigateError");
}

TEST_P(DialogTrouble, AReaderHearsThatNothingCanBeChanged) {
    Make({"a.txt"});
    Replace(std::make_unique<Driver>(server(), "carol"));
    host::PromptAnswer answer = Press("sp.addFolder.question.button.create");
    answer.text = "new";
    driver().Answer("sp.addFolder.question.edit.title", answer);
    driver().Answer("sp.delete.question.file", Press("sp.btn.delete.text"));
    driver().Then("make", [&](auto& w) { EXPECT_TRUE(driver().Command(w, "createFolder")); });
    driver().ThenWhen(
        "delete",
        [&](auto& w) {
            if (!IsUsable(w)) return false;
            Select(w, {"a.txt"});
            return driver().Command(w, "delete");
        },
        [](auto&) {});
    driver().ThenWhen(
        "close", [&](auto& w) { return IsUsable(w) && driver().Command(w, "folder.up"); },
        [](auto& w) { w.CloseByPerson(); });
    driver().Open();
    EXPECT_EQ(driver().Prompts(),
              "sp.addFolder.question.edit.title sp.addFolder.error.message sp.delete.question.file "
              "sp.delete.error.file");
    EXPECT_TRUE(server().Find("a.txt").exists);
}

// A modern site's tokens end; an older one knows names and passwords alone.
TEST(DialogSignIn, AnExpiredSessionIsRenewedAndTheDialogGoesOn) {
    const DevServer server({"--approve", "alice"});
    Driver driver(server);
    driver.host().oauth().SetOverride(server.Site(), {server.Origin() + "/organizations", "test"});
    const auto folder = driver.Name("F");
    ASSERT_EQ(driver.file_system()->CreateFolder(folder.get(), 0, nullptr, nullptr), S_OK);
    driver.Then("go", [&](auto& w) {
        server.Admin("expire-tokens");
        DoubleClick(w, "F");
    });
    driver.Then("close", [](auto& w) {
        EXPECT_EQ(Rows(w), Names{"../"});
        w.CloseByPerson();
    });
    EXPECT_EQ(Hex(driver.Open().result), Hex(kCanceled));
    EXPECT_EQ(driver.Prompts(), "");
    EXPECT_EQ(driver.front_end().dialogs.problem(), "");
}

}  // namespace

}  // namespace dialogs
