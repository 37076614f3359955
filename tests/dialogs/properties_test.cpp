// A document's library columns in the plug-in's dialog, and check-ins that wait for them.
#include <cstdlib>
#include <ctime>

#include "host/dialogs/property_list.h"
#include "tests/dialogs/dialog_driver.h"
#include "tests/interfaces/decisions.h"
#include "tests/interfaces/window.h"

namespace dialogs {

namespace {

using host::PropertyListControl;
using host::PropertyRow;
using host::ToUtf16;
using host::ToUtf8;
using interfaces::Tab;
using interfaces::Window;

const std::string kDocument = "report.txt";
const std::string kRefused = "sp.msg.CheckInRequiredProperties";

PropertyListControl& Properties(DialogWindow& window) {
    return *window.Find<PropertyListControl>(u"lst.properties");
}

const PropertyRow& Row(DialogWindow& window, const std::string& title) {
    for (const PropertyRow& row : Properties(window).rows())
        if (ToUtf8(row.title) == title) return row;
    throw std::runtime_error("there is no row " + title);
}

void Set(DialogWindow& window, const std::string& title, const Variant& value) {
    EXPECT_EQ(Properties(window).SetValue(Row(window, title), value), S_OK) << title;
}

Variant Text(const std::string& text) {
    return Variant(std::u16string_view(ToUtf16(text)));
}

Variant Number(VARTYPE type, double number) {
    Variant value;
    value.vt = type;
    value.dblVal = number;
    return value;
}

Variant Date(SYSTEMTIME time) {
    double days = 0;
    EXPECT_TRUE(SystemTimeToVariantTime(&time, &days));
    return Number(VT_DATE, days);
}

void Click(DialogWindow& window, std::u16string_view button) {
    EXPECT_EQ(window.Find<host::ButtonControl>(button)->Click(), S_OK);
}

// The zone of this program for as long as the object lives.
class Zone {
public:
    explicit Zone(const std::string& name) {
        setenv("TZ", name.c_str(), 1);
        tzset();
    }
    ~Zone() {
        unsetenv("TZ");
        tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;
};

struct Site {
    std::string generation;
    friend std::ostream& operator<<(std::ostream& stream, const Site& site) {
        return stream << site.generation;
    }
};

class PropertiesDialog : public ::testing::TestWithParam<Site> {
protected:
    // Tokens are for the test's own look at what is stored.
    PropertiesDialog()
        : m_server({"--generation", GetParam().generation, "--auth",
                    IsModern() ? "bearer" : "digest,basic,bearer"}) {
        m_server.WriteAs("alice", kDocument, "first");
    }
    ~PropertiesDialog() override {
        if (!m_window) return;
        EXPECT_EQ(dialogs().problem(), "");
        EXPECT_TRUE(dialogs().IsDone()) << "steps are left";
    }
    bool IsModern() const { return GetParam().generation == "modern"; }
    DevServer& server() { return m_server; }
    void Define(const std::string& json) { m_server.Admin("column", json); }
    void DefineAll() {
        for (
            const char* column :
            {R"({"name":"Topic","title":"Topic","type":"Text","description":"In a few words","max_length":90})",
             R"({"name":"Remarks","title":"Remarks","type":"Note"})",
             R"({"name":"Due","title":"Due","type":"DateTime","display_format":0})",
             R"({"name":"Met","title":"Met","type":"DateTime","display_format":1})",
             R"({"name":"Stage","title":"Stage","type":"Choice","choices":["new","done"]})",
             R"({"name":"Ok","title":"Ok","type":"Boolean"})",
             R"({"name":"Amount","title":"Amount","type":"Number"})",
             R"({"name":"Who","title":"Who","type":"User"})",
             R"({"name":"Page","title":"Page","type":"URL"})",
             R"({"name":"Part","title":"Part","type":"Lookup"})"})
            Define(column);
    }
    Window& window() {
        if (!m_window) m_window = std::make_unique<Window>(m_server, "alice");
        return *m_window;
    }
    host::testing::ScriptedDialogs& dialogs() { return window().front_end().dialogs; }
    void Then(const std::string& what, Driver::Action action) { dialogs().Then(what, std::move(action)); }
    Tab Open(DWORD flags = interfaces::kRead) { return window().OpenTab(kDocument, flags); }
    HRESULT ClickProperties(const Tab& tab) { return window().Click("sp.cmd.fileProperties", tab); }
    // What the server holds of a column, as its own JSON text.
    std::string Stored(const std::string& column) {
        std::string answer =
            m_server
                .Rest("alice", "GET",
                      "/_api/Web/GetFileByServerRelativeUrl('/sites/team/Shared%20Documents/" + kDocument +
                          "')/ListItemAllFields?$select=" + column)
                .body;
        const std::string key = "\"" + column + "\":";
        const auto at = answer.find(key);
        if (at == std::string::npos) return answer;
        const auto end = answer.find_last_of('}');
        return answer.substr(at + key.size(), end - at - key.size());
    }
    std::string Prompts() {
        std::string ids;
        for (const auto& prompt : window().TakePrompts()) ids += (ids.empty() ? "" : " ") + prompt.id;
        return ids;
    }

private:
    DevServer m_server;
    std::unique_ptr<Window> m_window;
};

TEST_P(PropertiesDialog, EachKindIsEditedAndStored) {
    DefineAll();
    const Tab tab = Open();
    Then("edit", [&](DialogWindow& w) {
        EXPECT_EQ(ToUtf8(w.title()), "Properties");
        EXPECT_EQ(TextOf(w, u"lbl.RequiredFields"), "* - required properties");
        EXPECT_EQ(ToUtf8(Row(w, "Topic").description), "In a few words");
        EXPECT_EQ(Row(w, "Topic").max_length, 90u);
        EXPECT_THROW(Row(w, "Who"), std::runtime_error);
        EXPECT_EQ(Row(w, "Stage").choices.size(), IsModern() ? 0u : 2u);
        Set(w, "Topic", Text(R"(<b>R&D</b> "Größe" 🎈 \ 'x')"));
        Set(w, "Remarks", Text("one\ntwo\t\"three\""));
        Set(w, "Due", Date({2026, 11, 0, 23, 0, 0, 0, 0}));
        Set(w, "Met", Date({2026, 3, 0, 29, 2, 30, 59, 0}));
        Set(w, "Stage", IsModern() ? Text("done") : Variant(LONG{1}));
        Set(w, "Ok", Variant(true));
        Set(w, "Amount", Number(VT_R8, -12.5));
        Click(w, u"btn.ok");
    });
    EXPECT_EQ(ClickProperties(tab), S_OK);
    EXPECT_EQ(Prompts(), "");
    EXPECT_NE(Stored("Topic").find(R"(R&D)"), std::string::npos) << Stored("Topic");
    EXPECT_EQ(Stored("Stage"), "\"done\"");
    EXPECT_EQ(Stored("Ok"), "true");
    EXPECT_EQ(Stored("Amount"), "-12.5");
    EXPECT_EQ(Stored("Due").substr(0, 11), "\"2026-11-23");
    EXPECT_EQ(Stored("Met").substr(0, 20), "\"2026-03-29T02:30:59");
    Then("look again", [&](DialogWindow& w) {
        const auto value = [&](const std::string& title) { return Properties(w).ValueOf(Row(w, title)); };
        EXPECT_EQ(ToUtf8(value("Topic").bstrVal), R"(<b>R&D</b> "Größe" 🎈 \ 'x')");
        EXPECT_EQ(ToUtf8(value("Remarks").bstrVal), "one\ntwo\t\"three\"");
        EXPECT_EQ(value("Due").dblVal, Date({2026, 11, 0, 23, 0, 0, 0, 0}).dblVal);
        EXPECT_EQ(value("Met").dblVal, Date({2026, 3, 0, 29, 2, 30, 59, 0}).dblVal);
        EXPECT_EQ(value("Amount").dblVal, -12.5);
        Set(w, "Topic", Text("thrown away"));
        Click(w, u"btn.cancel");
    });
    server().ClearRequests();
    EXPECT_EQ(ClickProperties(tab), S_OK);
    EXPECT_NE(Stored("Topic").find("R&D"), std::string::npos) << "Cancel stores nothing";
}

// A document half of whose columns are empty is the usual one.
TEST_P(PropertiesDialog, OnlyWhatWasEditedIsSent) {
    DefineAll();
    const Tab tab = Open();
    Then("edit one", [&](DialogWindow& w) {
        EXPECT_EQ(Properties(w).ValueOf(Row(w, "Amount")).type(), VT_EMPTY);
        EXPECT_EQ(Properties(w).ValueOf(Row(w, "Due")).dblVal, 0) << "no date";
        Set(w, "Remarks", Text("only this"));
        Click(w, u"btn.ok");
    });
    ClickProperties(tab);
    EXPECT_EQ(Prompts(), "");
    EXPECT_EQ(Stored("Remarks"), "\"only this\"");
    EXPECT_EQ(Stored("Due"), "null");
    server().ClearRequests();
    Then("touch nothing", [&](DialogWindow& w) { Click(w, u"btn.ok"); });
    ClickProperties(tab);
    for (const auto& request : server().Log()) EXPECT_EQ(request.method, "GET") << request.path;
}

TEST_P(PropertiesDialog, DatesKeepTheirDayInEveryZone) {
    Define(R"({"name":"Due","title":"Due","type":"DateTime","display_format":0})");
    Define(R"({"name":"Met","title":"Met","type":"DateTime","display_format":1})");
    for (const char* const name : {"UTC", "ABC-14", "XYZ+11:30"}) {
        const Zone zone(name);
        SCOPED_TRACE(name);
        const Tab tab = Open();
        Then("edit", [&](DialogWindow& w) {
            EXPECT_EQ(Row(w, "Due").flags, 0u);
            EXPECT_EQ(Row(w, "Met").flags, DWORD{TMK::UIX_Prop_ShowTime});
            Set(w, "Due", Date({2024, 2, 0, 29, 0, 0, 0, 0}));
            Set(w, "Met", Date({2024, 12, 0, 31, 23, 59, 59, 0}));
            Click(w, u"btn.ok");
        });
        ClickProperties(tab);
        EXPECT_EQ(Stored("Due").substr(0, 11), "\"2024-02-29");
        EXPECT_EQ(Stored("Met").substr(0, 20), "\"2024-12-31T23:59:59");
        Then("other values for the next zone", [&](DialogWindow& w) {
            EXPECT_EQ(Properties(w).ValueOf(Row(w, "Due")).dblVal, Date({2024, 2, 0, 29, 0, 0, 0, 0}).dblVal);
            Set(w, "Due", Date({2001, 1, 0, 1, 0, 0, 0, 0}));
            Set(w, "Met", Date({2001, 1, 0, 1, 0, 0, 1, 0}));
            Click(w, u"btn.ok");
        });
        ClickProperties(tab);
    }
}

TEST_P(PropertiesDialog, AValueThatTheServerRefusesIsToldAndNotStored) {
    Define(R"({"name":"Share","title":"Share","type":"Number","minimum":0,"maximum":10})");
    const Tab tab = Open();
    Then("too much", [&](DialogWindow& w) {
        Set(w, "Share", Number(VT_R8, 11));
        Click(w, u"btn.ok");
    });
    ClickProperties(tab);
    const auto prompts = window().TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0].style, interfaces::kWarning);
    EXPECT_FALSE(prompts[0].text.empty());
    EXPECT_EQ(Stored("Share"), "null");
}

TEST_P(PropertiesDialog, ADocumentWithoutEditableColumnsIsTold) {
    // The library's own column.
    server().SetFaults(R"([{"match":{"path":"ParentList/Fields","times":1},"fault":
        {"kind":"body","content_type":"application/json","text":"{\"value\":[],\"d\":{\"results\":[]}}"}}])");
    const Tab tab = Open();
    EXPECT_EQ(ClickProperties(tab), S_OK);
    const auto prompts = window().TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0].id, "sp.msg.dontHaveSupportedProperties");
    EXPECT_EQ(prompts[0].style, 0x10000100u);
    EXPECT_NE(prompts[0].text.find(kDocument), std::string::npos);
}

// Two required columns; each refusal tells so and shows the form again.
TEST_P(PropertiesDialog, ACheckInGoesOnOnceItsColumnsAreFilled) {
    Define(R"({"name":"Owner1","title":"Owner","type":"Text","required":true})");
    Define(R"({"name":"Amount","title":"Amount","type":"Number","required":true})");
    const Tab tab = Open(interfaces::kCheckOut);
    Then("one of them", [&](DialogWindow& w) {
        Set(w, "* Owner", Text("A&B \"C\""));
        Click(w, u"btn.ok");
    });
    Then("the other one", [&](DialogWindow& w) {
        EXPECT_EQ(ToUtf8(Properties(w).ValueOf(Row(w, "* Owner")).bstrVal), "A&B \"C\"") << "it is kept";
        Set(w, "* Amount", Number(VT_R8, 3));
        Click(w, u"btn.ok");
    });
    EXPECT_EQ(Hex(window().Exec(tab.file.get(), u"CheckIn")), Hex(S_OK)) << window().TakeMessage();
    EXPECT_EQ(Prompts(), kRefused + " " + kRefused);
    EXPECT_EQ(server().Look(kDocument).checked_out_by, "");
    EXPECT_EQ(server().Look(kDocument).version, "2.0") << "a major one, as at first";
    EXPECT_EQ(Stored("Owner1"), R"("A&B \"C\"")");
}

TEST_P(PropertiesDialog, ACheckInThatIsGivenUpKeepsTheCheckOut) {
    Define(R"({"name":"Owner1","title":"Owner","type":"Text","required":true})");
    Define(R"({"name":"Amount","title":"Amount","type":"Number","required":true})");
    const Tab tab = Open(interfaces::kCheckOut);
    Then("one of them", [&](DialogWindow& w) {
        Set(w, "* Owner", Text("me"));
        Click(w, u"btn.ok");
    });
    Then("give up", [&](DialogWindow& w) { w.CloseByPerson(); });
    EXPECT_EQ(Hex(window().Exec(tab.file.get(), u"CheckIn")), Hex(E_FAIL));
    EXPECT_NE(window().TakeMessage().find("Some required properties are not filled out for the document."),
              std::string::npos);
    EXPECT_EQ(server().Look(kDocument).checked_out_by, "alice");
    EXPECT_EQ(Stored("Owner1"), "\"me\"") << "nothing is lost";
}

TEST_P(PropertiesDialog, ARequiredColumnThatCantBeShownIsNamedAsSuch) {
    Define(R"({"name":"Who","title":"Who","type":"User","required":true})");
    const Tab tab = Open(interfaces::kCheckOut);
    EXPECT_EQ(Hex(window().Exec(tab.file.get(), u"CheckIn")), Hex(E_FAIL));
    EXPECT_NE(window().TakeMessage().find("SharePoint webpage"), std::string::npos);
    EXPECT_EQ(Prompts(), "");
}

INSTANTIATE_TEST_SUITE_P(Sites, PropertiesDialog, ::testing::Values(Site{"modern"}, Site{"2013"}),
                         [](const auto& test) { return "Of" + test.param.generation; });

class PropertiesOf2010 : public PropertiesDialog {};

TEST_P(PropertiesOf2010, AreNotSupported) {
    const Tab tab = Open(interfaces::kCheckOut);
    EXPECT_EQ(ClickProperties(tab), S_OK);
    const auto prompts = window().TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0].id, "sp.msg.PropertiesAreNotSupported");
    EXPECT_EQ(prompts[0].style, 0x10000100u);
}

INSTANTIATE_TEST_SUITE_P(Sites, PropertiesOf2010, ::testing::Values(Site{"2010"}),
                         [](const auto& test) { return "Of" + test.param.generation; });

}  // namespace

}  // namespace dialogs
