// Opening documents: folders, names, selections and filters.
#include "tests/dialogs/dialog_driver.h"

namespace dialogs {

namespace {

class OpenDialog : public PlaceDialogs {};

INSTANTIATE_TEST_SUITE_P(, OpenDialog, ::testing::Values(true, false),
                         [](const auto& row) { return row.param ? "modern" : "y2013"; });

using Names = std::vector<std::string>;

const std::string kOdd = "Bob's #1 (50%) & [x] \xE6\x96\x87\xE4\xBB\xB6 \xF0\x9F\x98\x80.pdf";

TEST_P(OpenDialog, OpensADocumentThreeFoldersDeep) {
    MakeFolder("A");
    MakeFolder("A/50% #1 & 'b'");
    MakeFolder("A/50% #1 & 'b'/\xE6\x96\x87 \xF0\x9F\x98\x80");
    const std::string deep = "A/50% #1 & 'b'/\xE6\x96\x87 \xF0\x9F\x98\x80/" + kOdd;
    Make({deep, "top.pdf"});
    driver().Then("enter A", [](auto& w) {
        EXPECT_EQ(Rows(w), (Names{"../", "A", "top.pdf"}));
        EXPECT_FALSE(IsEnabled(w, u"btn.ok"));
        DoubleClick(w, "A");
    });
    driver().Then("enter the next", [](auto& w) { DoubleClick(w, "50% #1 & 'b'"); });
    driver().Then("enter the last", [](auto& w) {
        EXPECT_EQ(Rows(w), (Names{"../", "\xE6\x96\x87 \xF0\x9F\x98\x80"}));
        Type(w, "\xE6\x96\x87 \xF0\x9F\x98\x80");
        PressOk(w);
    });
    driver().Then("open", [](auto& w) {
        EXPECT_EQ(Rows(w), (Names{"../", kOdd}));
        Select(w, {kOdd});
        EXPECT_EQ(TextOf(w, u"ed.name"), kOdd);
        PressOk(w);
    });
    const Outcome outcome = driver().Open();
    EXPECT_EQ(Hex(outcome.result), Hex(S_OK));
    EXPECT_EQ(outcome.choice, 1u);
    EXPECT_EQ(outcome.names, Names{deep});
    EXPECT_EQ(driver().Prompts(), "");
}

TEST_P(OpenDialog, GoesUpToTheSiteAndNoFurther) {
    MakeFolder("A");
    driver().Then("up by the row", [](auto& w) { DoubleClick(w, "../"); });
    driver().Then("up by the command", [&](auto& w) {
        EXPECT_EQ(Rows(w).size(), 2u);
        EXPECT_TRUE(driver().Command(w, "folder.up"));
    });
    driver().Then("close", [&](auto& w) {
        const Names rows = Rows(w);
        EXPECT_EQ(std::count(rows.begin(), rows.end(), "../"), 0);
        EXPECT_EQ(std::count(rows.begin(), rows.end(), "Shared Documents"), 1);
        EXPECT_FALSE(driver().Command(w, "folder.up"));
        EXPECT_EQ(TextOf(w, u"lb.url"), server().Site());
        w.CloseByPerson();
    });
    const Outcome outcome = driver().Open({.folder = "A"});
    EXPECT_EQ(Hex(outcome.result), Hex(kCanceled));
    EXPECT_EQ(outcome.choice, 2u);
    EXPECT_EQ(outcome.names, Names());
}

TEST_P(OpenDialog, OpensSeveralByQuotedNames) {
    Make({"a b.pdf", "c.pdf", "d.pdf", kOdd});
    driver().Then("select", [](auto& w) {
        Select(w, {"a b.pdf", kOdd});
        EXPECT_EQ(TextOf(w, u"ed.name"), "\"a b.pdf\" \"" + kOdd + "\"");
        Type(w, "  \" A B.pdf \"\"c.PDF\" \"none.pdf\" ");
        List(w).SelectRows({});
        PressOk(w);
    });
    const Outcome outcome = driver().Open();
    EXPECT_EQ(outcome.names, (Names{"a b.pdf", "c.pdf"}));
    EXPECT_EQ(driver().Prompts(), "sp.msg.fileNotFound");
}

TEST_P(OpenDialog, StaysWhenNothingIsFound) {
    Make({"a.pdf"});
    driver().Then("a name that is not there", [](auto& w) {
        Type(w, "none");
        PressOk(w);
        EXPECT_TRUE(w.IsModal());
        Type(w, "   ");
        PressOk(w);
        EXPECT_TRUE(w.IsModal());
        Type(w, "");
        EXPECT_FALSE(IsEnabled(w, u"btn.ok"));
        DoubleClick(w, "a.pdf");
    });
    EXPECT_EQ(driver().Open().names, Names{"a.pdf"});
    EXPECT_EQ(driver().Prompts(), "sp.msg.fileNotFound");
}

TEST_P(OpenDialog, AFilterLeavesOutOtherFilesAndNoFolders) {
    MakeFolder("F.docx");
    Make({"a.pdf", "b.PDF", "c.docx", "d", ".txt"});
    driver().Then("look", [](auto& w) {
        EXPECT_EQ(Rows(w), (Names{"../", "F.docx", "a.pdf", "b.PDF"}));
        w.template Find<host::ComboControl>(u"cb.filter")->SelectItem(1);
        EXPECT_EQ(Rows(w), (Names{"../", "F.docx", ".txt", "a.pdf", "b.PDF", "c.docx", "d"}));
        w.template Find<host::ComboControl>(u"cb.filter")->SelectItem(2);
        EXPECT_EQ(Rows(w), (Names{"../", "F.docx", "c.docx"}));
        w.CloseByPerson();
    });
    EXPECT_EQ(driver().Open({.filters = "PDF|*.pdf|All|*.*|Word|*.doc;*.docx|"}).filter_index, 0)
        << "nothing goes back when nothing is chosen";
    driver().Then("open", [](auto& w) { DoubleClick(w, "c.docx"); });
    EXPECT_EQ(
        driver().Open({.filters = "PDF|*.pdf|All|*.*|Word|*.doc;*.docx|", .filter_index = 2}).filter_index,
        2);
}

TEST_P(OpenDialog, SortsByEachColumnAndKeepsTheSelection) {
    MakeFolder("F");
    Make({"file10.pdf", "file9.txt", "a.doc"});
    driver().Then("sort", [](auto& w) {
        EXPECT_EQ(Rows(w), (Names{"../", "F", "a.doc", "file9.txt", "file10.pdf"}));
        Select(w, {"file9.txt"});
        List(w).ClickHeader(0);
        EXPECT_EQ(Rows(w), (Names{"../", "F", "file10.pdf", "file9.txt", "a.doc"}));
        EXPECT_EQ(List(w).columns()[0].style & 3u, 1u);
        List(w).ClickHeader(1);
        EXPECT_EQ(Rows(w), (Names{"../", "F", "a.doc", "file10.pdf", "file9.txt"}));
        EXPECT_EQ(List(w).columns()[0].style & 3u, 0u);
        EXPECT_EQ(List(w).columns()[1].style & 3u, 2u);
        List(w).ClickHeader(1, 2);  // the right button sorts nothing
        EXPECT_EQ(List(w).columns()[1].style & 3u, 2u);
        EXPECT_EQ(List(w).selected(), (std::set<LONG>{4}));
        PressOk(w);
    });
    EXPECT_EQ(driver().Open().names, Names{"file9.txt"});
}

TEST_P(OpenDialog, ShowsTimesAndSizes) {
    server().WriteAs("alice", "a.pdf", std::string(3000, 'x'));
    driver().Then("look", [](auto& w) {
        const LONG row = RowOf(w, "a.pdf");
        EXPECT_NE(List(w).TextAt(row, 2).text, u"");
        EXPECT_NE(List(w).TextAt(row, 3).text, u"");
        EXPECT_EQ(List(w).TextAt(row, 4).text, u"3 KB");
        EXPECT_TRUE(List(w).IconAt(row, 0));
        EXPECT_EQ(List(w).TextAt(RowOf(w, "../"), 4).text, u"");
        w.CloseByPerson();
    });
    driver().Open();
}

TEST_P(OpenDialog, HidesWhatThePreferencesSay) {
    MakeFolder("Forms");
    Make({"a.pdf", "b.tmp", "Forms/c.tmp"});
    Replace(std::make_unique<Driver>(
        server(), "alice",
        interfaces::PreferenceValues{{"hide_paths", "true"},
                                     {"hidden_paths", "*/*.tmp|/Shared Documents/Forms"}}));
    driver().Then("look", [](auto& w) {
        EXPECT_EQ(Rows(w), (Names{"../", "a.pdf"}));
        // What is out of sight can still be typed.
        Type(w, "Forms");
        PressOk(w);
    });
    driver().Then("look inside", [](auto& w) {
        EXPECT_EQ(Rows(w), (Names{"../"}));
        w.CloseByPerson();
    });
    driver().Open();
}

TEST_P(OpenDialog, BeginsWhereTheLastOneEnded) {
    MakeFolder("A #1");
    Make({"A #1/a.pdf"});
    driver().Then("open", [](auto& w) { DoubleClick(w, "a.pdf"); });
    EXPECT_EQ(driver().Open({.folder = "A #1"}).choice, 1u);
    driver().Then("close", [](auto& w) {
        EXPECT_EQ(Rows(w), (Names{"../", "a.pdf"}));
        w.CloseByPerson();
    });
    driver().Open({.from_site = true});
}

// Only an older server tells that an item is hidden.
TEST(HiddenItems, AreShownOnRequestAlone) {
    const DevServer server({"--generation", "2013", "--auth", "basic"});
    for (const char* name : {"plain.txt", "hidden.txt"}) server.WriteAs("alice", name, "x");
    const HttpAnswer answer = Http(
        {.method = "PROPPATCH",
         .url = server.Url("hidden.txt"),
         .body =
             R"(<D:propertyupdate xmlns:D="DAV:" xmlns:Z="urn:schemas-microsoft-com:"><D:set><D:prop>)"
             "<Z:Win32FileAttributes>00000022</Z:Win32FileAttributes></D:prop></D:set></D:propertyupdate>",
         .headers = {"Authorization: Basic YWxpY2U6YWxpY2U=", "Content-Type: text/xml"}});
    ASSERT_EQ(answer.status, 207) << answer.body;
    for (const bool shown : {false, true}) {
        Driver driver(server, "alice", {{"show_hidden_items", shown ? "true" : "false"}});
        driver.Then("look", [&](auto& w) {
            EXPECT_EQ(Rows(w),
                      shown ? (Names{"../", "hidden.txt", "plain.txt"}) : (Names{"../", "plain.txt"}));
            w.CloseByPerson();
        });
        driver.Open();
        EXPECT_EQ(driver.front_end().dialogs.problem(), "");
    }
}

}  // namespace

}  // namespace dialogs
