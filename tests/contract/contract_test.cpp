// What every backend promises of a site, its folders and documents; where they differ, the test says how.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "base/text/encoding.h"
#include "sharepoint/fields_text.h"
#include "tests/contract/contract_site.h"

namespace contract {

namespace {

using Type = SharePoint::Web::BindObjectType;
using State = SharePoint::File::CheckOutState;

const std::vector<std::string> kHardNames = {"C# & more.txt",    "100% sure.txt",   "it's.txt",
                                             "a+b.txt",          "[x] (y) {z}.txt", "\u00C4\u00DC \u00DF.txt",
                                             "\u6587\u66F8.txt", "%41%20x.txt",     "a;b,c=d@e!$.txt"};

std::vector<std::string> Sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
}

// The status of the failure that `work` throws, 0 when it throws none.
uint32_t StatusOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const Http::HttpException& failure) {
        return failure.status;
    }
    return 0;
}

TEST_P(Contract, BindsWhatIsThereByItsKindAndNothingElse) {
    Make("Folder/a.txt", "one");
    const auto file = Find("Folder/a.txt");
    ASSERT_TRUE(file && file->AsFile());
    EXPECT_FALSE(file->AsFolder() || file->AsWeb());
    EXPECT_EQ(file->GetWeb().get(), &Site());
    const auto folder = Find("Folder");
    ASSERT_TRUE(folder && folder->AsFolder());
    EXPECT_FALSE(folder->AsFile() || folder->AsWeb());
    EXPECT_TRUE(Find("Folder/a.txt", "alice", Type::file));
    EXPECT_FALSE(Find("Folder/a.txt", "alice", Type::folder));
    EXPECT_TRUE(Find("Folder", "alice", Type::folder));
    EXPECT_FALSE(Find("Folder", "alice", Type::file));
    EXPECT_FALSE(Find("none.txt"));
    EXPECT_FALSE(Find("None/none.txt"));
    const auto web = Site().BindObject(FromUtf8(server().Site()), Type::any);
    ASSERT_TRUE(web && web->AsFolder());
    EXPECT_FALSE(Site().BindObject(u"http://elsewhere.example/sites/team/x.txt", Type::any));
    EXPECT_FALSE(Site().IsFileKnownMissing(Url("Folder/a.txt")));
    EXPECT_TRUE(Site().IsFileKnownMissing(Url("none.txt")));
}

TEST_P(Contract, ReportsTheSameOfADocument) {
    Make("Folder/a.txt", "four");
    const SharePoint::Information told = Find("Folder/a.txt")->GetInformation();
    EXPECT_EQ(told.m_name, u"a.txt");
    EXPECT_EQ(told.m_path, Path("Folder/a.txt"));
    EXPECT_EQ(told.m_size, 4u);
    EXPECT_GT(told.m_created_time, 0u);
    EXPECT_GE(told.m_modified_time, told.m_created_time);
    EXPECT_EQ(told.m_checkout_user, u"");
    // Only WebDAV gives the last author.
    EXPECT_EQ(told.m_modified_by.find(u"alice") != std::u16string::npos, !IsRest())
        << ToUtf8(told.m_modified_by);
    const SharePoint::Information folder = Find("Folder")->GetInformation();
    EXPECT_EQ(folder.m_name, u"Folder");
    EXPECT_EQ(folder.m_path, Path("Folder"));
    EXPECT_EQ(folder.m_size, 0u);
    EXPECT_GT(folder.m_created_time, 0u);
}

TEST_P(Contract, ListsAFolderWithOneRequest) {
    EXPECT_EQ(Children(""), std::vector<std::string>());
    for (const char* name : {"Folder/b.txt", "Folder/a.txt", "Folder/Deep/c.txt"}) Make(name, "x");
    EXPECT_EQ(Children("Folder"), (std::vector<std::string>{"Deep/", "a.txt", "b.txt"}));
    const auto folder = Find("Folder");
    server().ClearRequests();
    const auto children = folder->AsFolder()->Enumerate();
    EXPECT_EQ(server().Requests().size(), 1u);
    for (const auto& child : children) EXPECT_EQ(child->GetInformation().m_size, child->AsFile() ? 1u : 0u);
}

TEST_P(Contract, MakesFilesAndFoldersWithTheirParents) {
    const auto made = Site().CreateFile(Url("One/Two/new.txt"));
    ASSERT_TRUE(made && made->AsFile());
    EXPECT_EQ(Look("One/Two/new.txt").bytes, "");
    EXPECT_TRUE(Look("One/Two/new.txt").exists);
    const auto folder = Site().CreateFolder(Url("One/Three/Four"));
    ASSERT_TRUE(folder && folder->AsFolder());
    EXPECT_EQ(Children("One"), (std::vector<std::string>{"Three/", "Two/"}));
    EXPECT_TRUE(Site().CreateFolder(Url("One/Three"))) << "an existing folder is no failure";
    EXPECT_FALSE(Site().CreateFile(u"http://elsewhere.example/sites/team/x.txt"));
    EXPECT_FALSE(Site().CreateFolder(u"http://elsewhere.example/sites/team/x"));
}

TEST_P(Contract, CarriesBytesUnchanged) {
    Make("a.txt", "first");
    const auto file = FindFile("a.txt");
    std::string big(3 * 1024 * 1024 + 17, '\0');
    for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 31 >> 3);
    for (const std::string& bytes : {std::string(), std::string("a\r\n\0b", 5), big}) {
        Write(*file, bytes);
        EXPECT_EQ(Look("a.txt").bytes == bytes, true) << bytes.size();
        EXPECT_EQ(Read(*file) == bytes, true) << bytes.size();
    }
}

TEST_P(Contract, SpecialNamesSurviveEveryOperation) {
    for (const std::string& name : kHardNames) {
        SCOPED_TRACE(name);
        const std::string folder = "in " + name;
        Make(folder + "/" + name, "content");
        EXPECT_EQ(Children(folder), std::vector<std::string>{name});
        EXPECT_EQ(Find(folder + "/" + name)->GetInformation().m_path, Path(folder + "/" + name));
        EXPECT_EQ(Read(*FindFile(folder + "/" + name)), "content");
        FindFile(folder + "/" + name)->Copy(Path("copy " + name));
        EXPECT_EQ(Look("copy " + name).bytes, "content");
        FindFile("copy " + name)->Move(Path(folder + "/moved " + name));
        EXPECT_EQ(Look(folder + "/moved " + name).bytes, "content");
        EXPECT_FALSE(Look("copy " + name).exists);
        Find(folder)->Rename(Path("new " + folder));
        EXPECT_EQ(Children("new " + folder), Sorted({name, "moved " + name}));
        EXPECT_EQ(FindFile("new " + folder + "/" + name)->GetCheckOutState(nullptr), State::none);
        Find("new " + folder)->Delete();
        EXPECT_FALSE(Find("new " + folder));
    }
}

TEST_P(Contract, MovingAndCopyingReplaceTheTarget) {
    Make("a.txt", "new");
    Make("b.txt", "old");
    FindFile("a.txt")->Copy(Path("b.txt"));
    EXPECT_EQ(Look("b.txt").bytes, "new");
    Make("c.txt", "older");
    FindFile("a.txt")->Move(Path("c.txt"));
    EXPECT_EQ(Look("c.txt").bytes, "new");
    EXPECT_FALSE(Look("a.txt").exists);
}

TEST_P(Contract, ItemsDeletedMeanwhile) {
    Make("a.txt", "x");
    const auto object = Find("a.txt");
    Find("a.txt")->Delete();
    EXPECT_FALSE(Look("a.txt").exists);
    // REST leaves the check to the caller; WebDAV reports it.
    EXPECT_EQ(StatusOf([&] { object->Delete(); }), IsRest() ? 0u : 404u);
    EXPECT_EQ(StatusOf([&] { EXPECT_EQ(object->AsFile()->Read().GetStatus(), 404u); }), IsRest() ? 0u : 404u);
}

TEST_P(Contract, CheckOutStatesAndTheirHolders) {
    Make("a.txt", "x");
    EXPECT_EQ(FindFile("a.txt")->GetCheckOutState(nullptr), State::none);
    EXPECT_TRUE(FindFile("a.txt")->CheckOut());
    EXPECT_NE(Look("a.txt").checked_out_by.find("alice"), std::string::npos);
    EXPECT_EQ(FindFile("a.txt")->GetCheckOutState(nullptr), State::me);
    std::u16string holder;
    EXPECT_EQ(FindFile("a.txt", "bob")->GetCheckOutState(&holder), State::other_user);
    // REST gives no name.
    EXPECT_EQ(holder.find(u"lice") != std::u16string::npos, !IsRest()) << ToUtf8(holder);
    EXPECT_FALSE(Find("a.txt")->GetInformation().m_checkout_user.empty());
    EXPECT_EQ(FindFile("a.txt")->DiscardCheckOut(), SharePoint::File::dcrOk);
    EXPECT_EQ(Look("a.txt").checked_out_by, "");
}

TEST_P(Contract, CheckInsMakeTheVersionsTheyName) {
    Make("a.txt", "x");
    const auto edit_and_check_in = [&](const std::u16string& comment, uint32_t type) {
        const auto file = FindFile("a.txt");
        EXPECT_TRUE(file->CheckOut());
        Write(*file, ToUtf8(comment));
        EXPECT_EQ(file->CheckIn(comment, type), SharePoint::File::cirOk);
    };
    edit_and_check_in(u"second", 1);
    const std::string major = Look("a.txt").version;
    EXPECT_TRUE(major.ends_with(".0")) << major;
    edit_and_check_in(u"it's third", 0);
    EXPECT_TRUE(Look("a.txt").version.ends_with(".1")) << Look("a.txt").version;
    EXPECT_EQ(Look("a.txt").comment, "it's third");
    edit_and_check_in(u"fourth", 2);
    EXPECT_TRUE(Look("a.txt").version.ends_with(".1")) << Look("a.txt").version;
    EXPECT_EQ(Look("a.txt").bytes, "fourth");
    EXPECT_EQ(Look("a.txt").checked_out_by, "");
}

TEST_P(Contract, OthersCantTouchWhatIsCheckedOut) {
    Make("a.txt", "mine");
    FindFile("a.txt")->CheckOut();
    const auto other = FindFile("a.txt", "bob");
    EXPECT_NE(StatusOf([&] { Write(*other, "theirs"); }), 0u);
    // REST says no, SOAP throws.
    EXPECT_EQ(StatusOf([&] { EXPECT_FALSE(other->CheckOut()); }) == 0, IsRest());
    EXPECT_NE(StatusOf([&] { EXPECT_NE(other->CheckIn(u"no", 1), SharePoint::File::cirOk); }), 0u);
    EXPECT_EQ(Look("a.txt").bytes, "mine");
    EXPECT_NE(Look("a.txt").checked_out_by.find("alice"), std::string::npos);
}

TEST_P(Contract, ReadersReadAndCantChange) {
    Make("a.txt", "x");
    const auto object = Find("a.txt", "carol");
    ASSERT_TRUE(object);
    EXPECT_EQ(Read(*object->AsFile()), "x");
    EXPECT_TRUE(Find("a.txt")->CanEdit());
    // REST takes the right to look at items for the right to edit them.
    EXPECT_EQ(object->CanEdit(), IsRest());
    EXPECT_EQ(StatusOf([&] { Write(*object->AsFile(), "y"); }), 403u);
    EXPECT_EQ(Look("a.txt").bytes, "x");
}

TEST_P(Contract, ColumnsAreLoadedAndSaved) {
    if (!HasColumns()) {
        Make("a.txt", "x");
        EXPECT_NE(StatusOf([&] { FindFile("a.txt")->LoadFields(); }), 0u) << "there is nobody to ask";
        return;
    }
    for (const char* column : {R"({"name":"Topic","title":"Topic","type":"Text","required":true})",
                               R"({"name":"Remarks","title":"Remarks","type":"Note"})",
                               R"({"name":"Due","title":"Due","type":"DateTime","display_format":0})",
                               R"({"name":"Met","title":"Met","type":"DateTime","display_format":1})",
                               R"({"name":"Stage","title":"Stage","type":"Choice","choices":["new","done"]})",
                               R"({"name":"Ok","title":"Ok","type":"Boolean"})",
                               R"({"name":"Amount","title":"Amount","type":"Number"})",
                               R"({"name":"Who","title":"Who","type":"User"})"}) {
        DefineColumn(column);
    }
    Make("a.txt", "x");
    const auto file = FindFile("a.txt");
    EXPECT_TRUE(file->SaveFields()) << "nothing to save is no failure";
    file->CheckOut();
    EXPECT_EQ(file->CheckIn(u"too early", 1), SharePoint::File::cirRequiredProperties);
    const SharePoint::FieldsData loaded = file->LoadFields();
    EXPECT_FALSE(loaded.has_unsupported_required);
    // A verbose answer wraps the choices, which the loader leaves alone.
    file->SetFields(SharePoint::ChangedFields(
        loaded,
        uR"({"Topic":"it's \"so\"","Remarks":"é\n文","Due":"2026-11-23","Met":"2026-11-23T10:20:30Z",)"
        uR"("Stage":"done","Ok":"yes","Amount":"12.5"})"));
    EXPECT_TRUE(file->SaveFields());
    const std::string told = ToUtf8(SharePoint::DescribeFields(FindFile("a.txt")->LoadFields()));
    for (const char* value :
         {R"("value":"it's \"so\"")", R"("value":"é\n文")", R"("value":"2026-11-23")",
          R"("value":"2026-11-23T10:20:30")", R"("value":"done")", R"("value":true)", R"("value":12.5)"}) {
        EXPECT_NE(told.find(value), std::string::npos) << value << " in " << told;
    }
    EXPECT_EQ(told.find("Who"), std::string::npos);
    EXPECT_EQ(file->CheckIn(u"now", 1), SharePoint::File::cirOk);
    DefineColumn(R"({"name":"Owner","title":"Owner","type":"User","required":true})");
    EXPECT_TRUE(FindFile("a.txt")->LoadFields().has_unsupported_required);
}

INSTANTIATE_TEST_SUITE_P(Backends, Contract,
                         ::testing::Values(Generation::modern, Generation::y2013, Generation::y2010),
                         [](const auto& test) { return std::string("Of") + OptionOf(test.param); });

}  // namespace

}  // namespace contract
