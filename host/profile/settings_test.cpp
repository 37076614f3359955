// Settings trees: templates, typed items, storing, and the refusal of bad input.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "host/base/failure.h"
#include "host/profile/profile.h"
#include "host/profile/settings_tree.h"
#include "tests/support/process.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using testing_support::ReadText;
using testing_support::TempFolder;
using testing_support::WriteText;
using TMK::CabType;

constexpr std::string_view kTemplate = R"(<?xml version="1.0"?><CabTemplate>
<ItemSet id="RootDict">
  <Item id="Level" type="Int" defVal="7"/><Item id="Name" type="String"/><Item id="On" type="Bool" defVal="true"/>
  <Item id="Big" type="Int64" defVal="5000000000"/><Item id="Sub" type="Dictionary" itemSet="SubDict"/>
  <Item id="List" type="Array" itemSet="ListItem"/><Item id="Texts" type="Array" itemSet="TextItem"/>
</ItemSet>
<ItemSet id="SubDict"><Item id="Inner" type="Int" defVal="3"/></ItemSet>
<ItemSet id="ListItem"><Item id="Entry" type="Dictionary" itemSet="SubDict"/></ItemSet>
<ItemSet id="TextItem"><Item type="String"/></ItemSet>
<Root id="Root" itemSet="RootDict"/></CabTemplate>)";

ComPtr<TMK::ITMK_CabNode> Item(TMK::ITMK_CabNode* node, LPCWSTR id) {
    ComPtr<TMK::ITMK_CabNode> item;
    node->get_Item(id, item.put());
    return item;
}

LONGLONG NumberOf(TMK::ITMK_CabNode* node) {
    Variant value;
    EXPECT_EQ(node->get_v(value.put()), S_OK);
    return value.type() == VT_I8 ? value.get().llVal : value.type() == VT_I4 ? value.get().lVal : -1;
}

class Settings : public ::testing::Test {
protected:
    Settings() {
        tree->SetTemplate(kTemplate, u"Root");
        cab = tree->View();
        cab->get_Root(root.put());
    }
    std::shared_ptr<SettingsTree> tree = std::make_shared<SettingsTree>();
    ComPtr<TMK::ITMK_Cab> cab;
    ComPtr<TMK::ITMK_CabNode> root;
};

TEST_F(Settings, ItemsHaveTheirTypesAndDefaults) {
    EXPECT_EQ(NumberOf(Item(root.get(), u"Level").get()), 7);
    EXPECT_EQ(NumberOf(Item(root.get(), u"level").get()), 7) << "ids ignore case";
    EXPECT_EQ(NumberOf(Item(root.get(), u"Big").get()), 5000000000);
    EXPECT_EQ(NumberOf(Item(root.get(), u"Sub.Inner").get()), 3) << "a dotted id is a path";
    Variant unset;
    EXPECT_EQ(Item(root.get(), u"Name")->get_v(unset.put()), S_OK);
    EXPECT_EQ(unset.type(), VT_EMPTY);
    CabType type = CabType::Unset;
    Item(root.get(), u"Name")->get_Type(&type);
    EXPECT_EQ(type, CabType::String);
    ComPtr<TMK::ITMK_CabNode> none;
    EXPECT_EQ(root->get_Item(u"Missing", none.put()), S_FALSE);
    EXPECT_FALSE(none);
}

TEST_F(Settings, ValuesThatDoNotFitAreRefused) {
    const auto level = Item(root.get(), u"Level");
    EXPECT_EQ(level->put_v(Variant(u"12").get()), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(level->put_v(Variant(LONGLONG{1} << 40).get()), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Item(root.get(), u"Name")->put_v(Variant(LONG{1}).get()), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Item(root.get(), u"Sub")->put_v(Variant(LONG{1}).get()), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(NumberOf(level.get()), 7) << "a refused value leaves the old one";
    EXPECT_EQ(level->put_v(Variant(LONGLONG{12}).get()), S_OK);
    EXPECT_EQ(NumberOf(level.get()), 12);
}

TEST_F(Settings, ArraysGrowByTheirTemplateAndKeepLiveViews) {
    const auto list = Item(root.get(), u"List");
    ComPtr<TMK::ITMK_CabNode> first;
    ComPtr<TMK::ITMK_CabNode> outside;
    ASSERT_EQ(list->Append(first.put()), S_OK);
    EXPECT_EQ(NumberOf(Item(first.get(), u"Inner").get()), 3);
    EXPECT_EQ(list->get_ItemAt(1, outside.put()), E_INVALIDARG);
    EXPECT_EQ(list->RemoveAt(0), S_OK);
    EXPECT_EQ(list->RemoveAt(0), E_INVALIDARG);
    EXPECT_EQ(NumberOf(Item(first.get(), u"Inner").get()), 3) << "a view of a removed element stays usable";
    EXPECT_EQ(root->Append(outside.put()), E_INVALIDARG);
}

TEST_F(Settings, StoredValuesComeBackIfTheyStillFit) {
    Item(root.get(), u"Name")->put_v(Variant(u"\u00E4 \u6587 \"x\"").get());
    Item(root.get(), u"Level")->put_v(Variant(LONG{1}).get());
    ComPtr<TMK::ITMK_CabNode> text;
    Item(root.get(), u"Texts")->Append(text.put());
    text->put_v(Variant(u"first").get());
    auto again = std::make_shared<SettingsTree>();
    again->FromJson(tree->ToJson());
    again->SetTemplate(kTemplate, u"Root");
    EXPECT_EQ(again->ToJson(), tree->ToJson());
    again->SetTemplate(R"(<CabTemplate><ItemSet id="A"><Item id="Level" type="String" defVal="d"/>
        <Item id="Name" type="String"/></ItemSet><Root id="Root" itemSet="A"/></CabTemplate>)",
                       u"Root");
    EXPECT_EQ(StringOf(ChildOf(again->View().get(), u"Level").get()), u"d");
    EXPECT_EQ(StringOf(ChildOf(again->View().get(), u"Name").get()), u"\u00E4 \u6587 \"x\"");
}

TEST_F(Settings, BadTemplatesAreRefusedAndLeaveTheTreeAlone) {
    std::string chain = "<CabTemplate>";
    for (int i = 0; i < 40; ++i) {
        const std::string next = std::to_string(i + 1);
        chain += "<ItemSet id='S" + std::to_string(i) + "'><Item id='a' type='Dictionary' itemSet='S" + next +
                 "'/><Item id='b' type='Dictionary' itemSet='S" + next + "'/></ItemSet>";
    }
    chain += "<ItemSet id='S40'/><Root id='Root' itemSet='S0'/></CabTemplate>";
    const std::string around =
        "<CabTemplate><ItemSet id='A'>%</ItemSet><Root id='Root' itemSet='A'/></CabTemplate>";
    const auto in_set = [&](const std::string& item) {
        return std::string(around).replace(around.find('%'), 1, item);
    };
    const std::vector<std::string> bad{
        "",
        "<",
        "<CabTemplate/>",
        "<Other/>",
        std::string(100, '\0'),
        chain,
        in_set("<Item id='x' type='Float'/>"),
        in_set("<Item id='x' type='Int' defVal='many'/>"),
        in_set("<Item id='x' type='Int' defVal='99999999999'/>"),
        in_set("<Item id='x' type='Dictionary'/>"),
        in_set("<Item id='x' type='Dictionary' itemSet='Nowhere'/>"),
        in_set("<Item id='x' type='Int' itemSet='A'/>"),
        in_set("<Item id='x' type='Dictionary' itemSet='A'/>"),  // holds itself
        in_set("<Item id='x' type='Int'/><Item id='x' type='Int'/>"),
        "<CabTemplate><ItemSet id='A'/><ItemSet id='A'/><Root id='Root' itemSet='A'/></CabTemplate>",
        "<CabTemplate><ItemSet id='A'/><Root id='Other' itemSet='A'/></CabTemplate>",
    };
    const std::string before = tree->ToJson();
    for (const std::string& xml : bad) {
        EXPECT_EQ(cab->SetTemplate2(xml.data(), static_cast<LONG>(xml.size()), u"Root"), E_INVALIDARG)
            << xml.substr(0, 90);
    }
    EXPECT_EQ(cab->SetTemplate2(nullptr, 5, u"Root"), E_INVALIDARG);
    EXPECT_EQ(tree->ToJson(), before);
    EXPECT_EQ(NumberOf(Item(root.get(), u"Level").get()), 7);
}

TEST(SettingsStore, DamagedFilesAreMovedAsideWithAWarning) {
    const TempFolder folder;
    const std::vector<std::string> damaged{"",
                                           "{",
                                           "[1]",
                                           "null",
                                           std::string(100000, '['),
                                           "{\"a\":\"\xFF\"}",
                                           "{\"a\":" + std::string(200, '[') + std::string(200, ']') + "}"};
    int warnings = 0;
    const Profile profile(folder.Path(), [&](const std::string&) { ++warnings; });
    for (const std::string& content : damaged) {
        WriteText(folder / "s.json", content);
        const auto tree = profile.LoadTree("s.json");
        EXPECT_EQ(tree->ToJson(), "{}");
        EXPECT_FALSE(fs::exists(folder / "s.json"));
    }
    EXPECT_EQ(warnings, static_cast<int>(damaged.size()));
    EXPECT_EQ(ReadText(folder / "s.json.bad-2"), "{");
}

TEST(SettingsStore, AFailedSaveLeavesTheOldFile) {
    const TempFolder folder;
    WriteText(folder / "s.json", "old");
    testing_support::Process child([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4, 4};
        setrlimit(RLIMIT_FSIZE, &limit);
        try {
            ReplaceFile(folder / "s.json", "new content");
            return 1;
        } catch (const Failure& failure) {
            return failure.code() == HRESULT_FROM_WIN32(223) ? 0 : 2;
        }
    });
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(ReadText(folder / "s.json"), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path()), {}), 1) << "nothing is left beside it";
}

}  // namespace
TEST_F(Settings, KeepObjectsInMemoryAlone) {
    const auto made = std::make_shared<SettingsTree>();
    made->SetTemplate(
        "<CabTemplate><ItemSet id='S'><Item id='It' type='IUnknown'/><Item id='No' type='Int'/></ItemSet>"
        "<Root id='R' itemSet='S'/></CabTemplate>",
        u"R");
    const auto view = made->View();
    const auto item = ChildOf(view.get(), u"It");
    Variant value;
    item->get_v(value.put());
    EXPECT_EQ(value.type(), VT_EMPTY);
    EXPECT_EQ(item->put_v(Variant(LONG{1})), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(ChildOf(view.get(), u"No")->put_v(Variant(view.get())), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(item->put_v(Variant(item.get())), S_OK);
    item->get_v(value.put());
    EXPECT_EQ(value.type(), VT_UNKNOWN);
    EXPECT_EQ(value.punkVal, item.get());
    EXPECT_EQ(made->ToJson(), "{}");
    EXPECT_EQ(item->put_v(Variant(static_cast<IUnknown*>(nullptr))), S_OK);  // else it holds itself
}

}  // namespace host
