// The file system's operations one by one: arguments, cancel flags, names, items, accounts and progress
// monitors.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "host/base/text.h"
#include "host/base/variants.h"
#include "hostapi/irgc.h"
#include "tests/interfaces/editor.h"

namespace interfaces {

namespace {

using Call = std::function<HRESULT(TMK::ITMK_CancelFlag*)>;

class FileSystemTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_server = std::make_unique<DevServer>();
        s_server->Upload("alice", "a.txt", "one");
        s_editor = std::make_unique<Editor>(*s_server, "alice");
        s_other = std::make_unique<Editor>(*s_server, "bob");
        const auto folder = s_editor->Name("Folder");
        ASSERT_EQ(fs()->CreateFolder(folder.get(), 0, nullptr, nullptr), S_OK);
        s_server->Upload("alice", "Folder/b.txt", "two and more");
    }
    static void TearDownTestSuite() {
        s_other.reset();
        s_editor.reset();
        EXPECT_EQ(host::LiveObjects(), 0);
        s_server.reset();
    }
    static TMK::IAFS_FileSys* fs() { return s_editor->file_system(); }
    static Editor& editor() { return *s_editor; }
    static DevServer& server() { return *s_server; }
    static ComPtr<TMK::IAFS_Name> Name(const std::string& item) { return s_editor->Name(item); }
    // A name that this file system didn't make.
    static TMK::IAFS_Name* Foreign() { return s_other->root(); }

    static std::string Text(TMK::IAFS_Name* name, DWORD flags = 0, TMK::IAFS_Name* parent = nullptr) {
        Bstr text;
        const HRESULT result = fs()->NameToString(name, flags, parent, text.put());
        return result == S_OK ? host::ToUtf8(text.view()) : Hex(result);
    }
    // What a comparison of two names says.
    using Comparison = HRESULT (TMK::IAFS_FileSys::*)(TMK::IAFS_Name*, TMK::IAFS_Name*, VARIANT_BOOL*);
    static VARIANT_BOOL Compare(Comparison comparison, TMK::IAFS_Name* a, TMK::IAFS_Name* b) {
        VARIANT_BOOL result = 7;
        EXPECT_EQ((fs()->*comparison)(a, b, &result), S_OK);
        return result;
    }
    static bool Exists(const std::string& item) {
        ComPtr<TMK::IAFS_FileInfo> info;
        return fs()->GetFileInfo(Name(item).get(), nullptr, nullptr, info.put()) == S_OK;
    }

    static inline std::unique_ptr<DevServer> s_server;
    static inline std::unique_ptr<Editor> s_editor;
    static inline std::unique_ptr<Editor> s_other;
};

TEST_F(FileSystemTest, SaysWhatItIs) {
    Bstr text;
    EXPECT_EQ(fs()->get_Name(text.put()), S_OK);
    EXPECT_EQ(text.str(), u"SharePoint");
    EXPECT_EQ(fs()->get_DispName(text.put()), S_OK);
    EXPECT_FALSE(text.empty());
    EXPECT_NE(text.str(), u"sp.str.sharePoint");
    DWORD features = 0;
    EXPECT_EQ(fs()->get_Features(nullptr, &features), S_OK);
    EXPECT_EQ(features, 0x3000A7FFu);
    EXPECT_EQ(fs()->get_Features(Name("a.txt").get(), &features), S_OK);
    EXPECT_EQ(features, 0x3000A7FFu);
    ComPtr<TMK::IUIX_Icon> icon;
    EXPECT_EQ(fs()->get_Icon(icon.put()), S_OK);
    EXPECT_TRUE(icon);
    EXPECT_EQ(fs()->put_UserText(u"a text"), S_OK);
    EXPECT_EQ(fs()->get_UserText(text.put()), S_OK);
    EXPECT_EQ(text.str(), u"a text");
    EXPECT_EQ(fs()->put_UserText(nullptr), S_OK);
    EXPECT_EQ(fs()->get_UserText(text.put()), S_OK);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(fs()->put_Prop(nullptr, u"x", Variant()), E_NOTIMPL);
    EXPECT_EQ(fs()->GetVolumeSpace(nullptr, nullptr, nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(fs()->BindClose(), S_OK);
    ComPtr<TMK::IAFS_DlgParams> parameters;
    EXPECT_EQ(fs()->CreateDlgParams(TMK::AFS_Dlg_OpenFiles, 0, parameters.put()), S_OK);
    EXPECT_TRUE(parameters);
}

TEST_F(FileSystemTest, ASetCancelFlagComesBeforeEverythingElse) {
    const Variant nothing;
    const std::map<std::string, Call> calls = {
        {"Exec", [&](auto* c) { return fs()->Exec(nullptr, nullptr, nothing, nullptr, nullptr, c); }},
        {"Exec SignOut",
         [&](auto* c) { return fs()->Exec(nullptr, u"SignOut", nothing, nullptr, nullptr, c); }},
        {"BindToPath", [&](auto* c) { return fs()->BindToPath(nullptr, nullptr, 0, nullptr, c, nullptr); }},
        {"BindToObject",
         [&](auto* c) { return fs()->BindToObject(nullptr, nullptr, 0, nullptr, c, nullptr); }},
        {"BindFlush", [&](auto* c) { return fs()->BindFlush(nullptr, 0, nullptr, nullptr, c); }},
        {"EnumFolder", [&](auto* c) { return fs()->EnumFolder(nullptr, 0, c, nullptr); }},
        {"OpenFile", [&](auto* c) { return fs()->OpenFile(nullptr, 0, nullptr, c, nullptr); }},
        {"CreateFolder", [&](auto* c) { return fs()->CreateFolder(Name("never").get(), 0, nullptr, c); }},
        {"Move", [&](auto* c) { return fs()->Move(nullptr, nullptr, nullptr, c); }},
        {"Copy", [&](auto* c) { return fs()->Copy(nullptr, nullptr, nullptr, c); }},
        {"Rename", [&](auto* c) { return fs()->Rename(nullptr, nullptr, nullptr, c); }},
        {"Delete", [&](auto* c) { return fs()->Delete(Name("a.txt").get(), nullptr, c); }},
        {"GetFileInfo", [&](auto* c) { return fs()->GetFileInfo(nullptr, nullptr, c, nullptr); }},
        {"GetVolumeSpace", [&](auto* c) { return fs()->GetVolumeSpace(nullptr, nullptr, nullptr, c); }},
    };
    const auto canceled = Canceled();
    server().ClearRequests();
    for (const auto& [name, call] : calls) EXPECT_EQ(Hex(call(canceled.get())), Hex(kCanceled)) << name;
    EXPECT_EQ(server().Requests(), std::vector<std::string>());
    EXPECT_TRUE(Exists("a.txt"));
}

struct Refusal {
    std::string what;
    std::function<HRESULT()> call;
};

// A null name and a name of another file system.
TEST_F(FileSystemTest, NamesThatAreNotItsOwnAreRefusedWithoutTheServer) {
    const auto b = Name("b.txt");
    ComPtr<TMK::IAFS_Name> name;
    ComPtr<TMK::IAFS_FileInfo> info;
    ComPtr<TMK::IAFS_EnumFolder> items;
    ComPtr<TMK::IAFS_File> file;
    Bstr text;
    Variant value;
    VARIANT_BOOL flag = VARIANT_FALSE;
    const Variant nothing;
    server().ClearRequests();
    for (TMK::IAFS_Name* const bad : {static_cast<TMK::IAFS_Name*>(nullptr), Foreign()}) {
        const auto exec = [&](LPCWSTR command) {
            return fs()->Exec(bad, command, nothing, nullptr, nullptr, nullptr);
        };
        const Refusal refusals[] = {
            {"get_Prop", [&] { return fs()->get_Prop(bad, u"CheckedOut", value.put()); }},
            {"get_Prop of the thumbnail", [&] { return fs()->get_Prop(bad, u"Thumbnail", value.put()); }},
            {"SignOut", [&] { return exec(u"SignOut"); }},
            {"CreateCacheOnLocalFile", [&] { return exec(u"CreateCacheOnLocalFile"); }},
            {"DeleteFileCacheEntry", [&] { return exec(u"DeleteFileCacheEntry"); }},
            {"BindFlush", [&] { return fs()->BindFlush(bad, 0, nullptr, nullptr, nullptr); }},
            {"EnumFolder", [&] { return fs()->EnumFolder(bad, 0, nullptr, items.put()); }},
            {"StringToName", [&] { return fs()->StringToName(u"http://x/", 1, bad, name.put()); }},
            {"NameToString", [&] { return fs()->NameToString(bad, 0, nullptr, text.put()); }},
            {"NameGetParent", [&] { return fs()->NameGetParent(bad, name.put()); }},
            {"NameIsChildOf", [&] { return fs()->NameIsChildOf(bad, b.get(), &flag); }},
            {"OpenFile", [&] { return fs()->OpenFile(bad, 1, nullptr, nullptr, file.put()); }},
            {"CreateFolder", [&] { return fs()->CreateFolder(bad, 0, nullptr, nullptr); }},
            {"Move", [&] { return fs()->Move(bad, b.get(), nullptr, nullptr); }},
            {"Move to", [&] { return fs()->Move(b.get(), bad, nullptr, nullptr); }},
            {"Copy", [&] { return fs()->Copy(bad, b.get(), nullptr, nullptr); }},
            {"Copy to", [&] { return fs()->Copy(b.get(), bad, nullptr, nullptr); }},
            {"Rename", [&] { return fs()->Rename(bad, b.get(), nullptr, nullptr); }},
            {"Rename to", [&] { return fs()->Rename(b.get(), bad, nullptr, nullptr); }},
            {"Delete", [&] { return fs()->Delete(bad, nullptr, nullptr); }},
            {"GetFileInfo", [&] { return fs()->GetFileInfo(bad, nullptr, nullptr, info.put()); }},
        };
        for (const Refusal& r : refusals)
            EXPECT_EQ(Hex(r.call()), Hex(E_INVALIDARG)) << r.what << (bad ? " of a foreign name" : "");
    }
    EXPECT_EQ(Hex(fs()->NameToString(b.get(), 0, Foreign(), text.put())), Hex(E_INVALIDARG));
    EXPECT_EQ(Hex(fs()->NameIsChildOf(b.get(), Foreign(), &flag)), Hex(E_INVALIDARG));
    EXPECT_EQ(Hex(fs()->NamesAreEqual(b.get(), Foreign(), &flag)), Hex(E_INVALIDARG));
    EXPECT_EQ(Hex(fs()->NamesAreEqual(Foreign(), b.get(), &flag)), Hex(E_INVALIDARG));
    EXPECT_EQ(server().Requests(), std::vector<std::string>());
    EXPECT_FALSE(name || info || items || file);
}

TEST_F(FileSystemTest, OtherBadArgumentsAreRefusedWithoutTheServer) {
    const auto a = Name("a.txt");
    const auto context = host::MakeBindContext(editor().host().front_end(), std::nullopt);
    ComPtr<TMK::IAFS_Name> name;
    ComPtr<TMK::IAFS_NamesCollection> names;
    Variant value;
    const Variant nothing;
    const Variant no_account(a.get());
    DWORD choice = 0;
    const auto exec = [&](TMK::IAFS_Name* of, LPCWSTR command, const Variant& data) {
        return fs()->Exec(of, command, data, nullptr, nullptr, nullptr);
    };
    const auto bind_path = [&](LPCWSTR path, TMK::IAFS_BindContext* in, TMK::IAFS_Name** out) {
        return fs()->BindToPath(path, in, 0, nullptr, nullptr, out);
    };
    const auto bind_object = [&](IUnknown* object, TMK::IAFS_Name** out) {
        return fs()->BindToObject(object, context.get(), 0, nullptr, nullptr, out);
    };
    const auto show = [&](DWORD type, TMK::IAFS_Name* folder, TMK::IAFS_NamesCollection** out,
                          DWORD* pressed) {
        return fs()->ShowDlg(type, folder, nullptr, nullptr, out, pressed);
    };
    const Refusal invalid[] = {
        {"get_Prop unknown", [&] { return fs()->get_Prop(a.get(), u"Colour", value.put()); }},
        {"get_Prop of nothing", [&] { return fs()->get_Prop(a.get(), nullptr, value.put()); }},
        {"Exec of nothing", [&] { return exec(nullptr, nullptr, nothing); }},
        {"Exec unknown", [&] { return exec(a.get(), u"Frobnicate", nothing); }},
        {"SignOut of no account", [&] { return exec(nullptr, u"SignOut", no_account); }},
        {"BindToPath without a path", [&] { return bind_path(nullptr, context.get(), name.put()); }},
        {"BindToPath without a context", [&] { return bind_path(u"http://x/", nullptr, nullptr); }},
        {"BindToObject of nothing", [&] { return bind_object(nullptr, name.put()); }},
        {"BindToObject of no account", [&] { return bind_object(a.get(), name.put()); }},
        {"StringToName of nothing", [&] { return fs()->StringToName(nullptr, 0, nullptr, nullptr); }},
        {"ShowDlg of no kind", [&] { return show(0, a.get(), names.put(), &choice); }},
        {"ShowDlg without a folder", [&] { return show(1, nullptr, names.put(), &choice); }},
    };
    const Refusal without_out[] = {
        {"get_Name", [&] { return fs()->get_Name(nullptr); }},
        {"get_Features", [&] { return fs()->get_Features(a.get(), nullptr); }},
        {"get_UserText", [&] { return fs()->get_UserText(nullptr); }},
        {"get_DispName", [&] { return fs()->get_DispName(nullptr); }},
        {"get_Icon", [&] { return fs()->get_Icon(nullptr); }},
        {"get_Prop", [&] { return fs()->get_Prop(a.get(), u"CheckedOut", nullptr); }},
        {"BindToPath", [&] { return bind_path(u"http://x/", context.get(), nullptr); }},
        {"BindToObject", [&] { return bind_object(nullptr, nullptr); }},
        {"StringToName", [&] { return fs()->StringToName(u"http://x/", 0, editor().root(), nullptr); }},
        {"NameToString", [&] { return fs()->NameToString(a.get(), 0, nullptr, nullptr); }},
        {"NameGetParent", [&] { return fs()->NameGetParent(a.get(), nullptr); }},
        {"NameIsChildOf", [&] { return fs()->NameIsChildOf(a.get(), a.get(), nullptr); }},
        {"NamesAreEqual", [&] { return fs()->NamesAreEqual(a.get(), a.get(), nullptr); }},
        {"OpenFile", [&] { return fs()->OpenFile(a.get(), 1, nullptr, nullptr, nullptr); }},
        {"ShowDlg names", [&] { return show(1, a.get(), nullptr, &choice); }},
        {"ShowDlg choice", [&] { return show(2, a.get(), names.put(), nullptr); }},
        {"GetProgressMon", [&] { return fs()->GetProgressMon(0, nullptr); }},
        {"CreateAccount", [&] { return fs()->CreateAccount(u"http://x/", nullptr, 0, 0, 0, nullptr); }},
    };
    server().ClearRequests();
    for (const Refusal& r : invalid) EXPECT_EQ(Hex(r.call()), Hex(E_INVALIDARG)) << r.what;
    for (const Refusal& r : without_out) EXPECT_EQ(Hex(r.call()), Hex(E_POINTER)) << r.what;
    EXPECT_EQ(server().Requests(), std::vector<std::string>());
    EXPECT_FALSE(name || names);
    EXPECT_EQ(choice, 2u);  // an open dialog that is not shown counts as cancelled
}

TEST_F(FileSystemTest, FailedOperationsClearTheirOutArguments) {
    TMK::IAFS_Name* name = editor().root();
    EXPECT_EQ(fs()->StringToName(u"x", 2, editor().root(), &name), E_INVALIDARG);
    EXPECT_EQ(name, nullptr);
    name = editor().root();
    EXPECT_EQ(fs()->NameGetParent(nullptr, &name), E_INVALIDARG);
    EXPECT_EQ(name, nullptr);
    name = editor().root();
    EXPECT_EQ(fs()->BindToPath(u"x", nullptr, 0, nullptr, Canceled().get(), &name), kCanceled);
    EXPECT_EQ(name, nullptr);
    TMK::IAFS_File* file = reinterpret_cast<TMK::IAFS_File*>(editor().root());
    EXPECT_EQ(fs()->OpenFile(nullptr, 1, nullptr, nullptr, &file), E_INVALIDARG);
    EXPECT_EQ(file, nullptr);
}

TEST_F(FileSystemTest, StringsBecomeNames) {
    const std::u16string web = host::ToUtf16(server().Site());
    struct Case {
        std::u16string text;
        DWORD flags = 0;
        HRESULT result = S_OK;
        std::string url = {};  // empty: no name is made
    };
    const std::string origin = server().Origin();
    const std::u16string other_host = u"http://elsewhere.example/sites/team/a.txt";
    const Case cases[] = {
        {.text = web + u"/x y.txt", .url = origin + "/sites/team/x y.txt"},
        {.text = web + u"/x.txt", .flags = 1, .url = origin + "/sites/team/x.txt"},
        {.text = u"Shared Documents/r.txt", .url = origin + "/sites/team/Shared Documents/r.txt"},
        {.text = u"/Shared Documents/r.txt", .url = origin + "/sites/team/Shared Documents/r.txt"},
        {.text = web + u"/x.txt", .flags = 2, .result = E_INVALIDARG},
        {.text = u"x.txt", .flags = 2, .result = E_INVALIDARG},
        {.text = u"x.txt", .flags = 4, .result = E_INVALIDARG},
        {.text = web + u"/x.txt", .flags = 8},
        {.text = other_host, .result = E_INVALIDARG},
        {.text = host::ToUtf16(origin) + u"/sites/elsewhere/x.txt", .result = E_INVALIDARG},
        {.text = u"a:b.txt", .result = static_cast<HRESULT>(0x803D0020)},
        {.text = u"a*b.txt", .result = static_cast<HRESULT>(0x803D0020)},
    };
    for (const Case& c : cases) {
        ComPtr<TMK::IAFS_Name> name;
        EXPECT_EQ(Hex(fs()->StringToName(c.text.c_str(), c.flags, editor().root(), name.put())),
                  Hex(c.result))
            << host::ToUtf8(c.text) << " " << c.flags;
        EXPECT_EQ(name ? Text(name.get()) : "", c.url);
    }
    ComPtr<TMK::IAFS_Name> same;
    EXPECT_EQ(fs()->StringToName((web + u"/").c_str(), 0, editor().root(), same.put()), S_OK);
    EXPECT_EQ(same.get(), editor().root());
    ComPtr<TMK::IAFS_FileSys> maker;
    EXPECT_EQ(same->get_FileSys(maker.put()), S_OK);
    EXPECT_EQ(maker.get(), fs());
    EXPECT_EQ(same->get_FileSys(nullptr), E_POINTER);
}

TEST_F(FileSystemTest, NamesBecomeStrings) {
    const std::string site = server().Site();
    const auto folder = Name("Folder");
    const auto b = Name("Folder/b.txt");
    EXPECT_EQ(Text(editor().root()), site);
    EXPECT_EQ(Text(editor().root(), TMK::AFS_Name2String_Relative), Hex(E_INVALIDARG));
    EXPECT_EQ(Text(b.get(), TMK::AFS_Name2String_Relative), "Shared Documents/Folder/b.txt");
    EXPECT_EQ(Text(b.get(), 0, folder.get()), "b.txt");
    EXPECT_EQ(Text(b.get(), 0, b.get()), Hex(E_INVALIDARG));
    EXPECT_EQ(Text(folder.get(), 0, b.get()), Hex(E_INVALIDARG));
    EXPECT_EQ(Text(Name("Folder/").get()), site + "/Shared Documents/Folder");
}

TEST_F(FileSystemTest, NamesHaveParentsUpToTheWeb) {
    auto name = Name("Folder/b.txt");
    std::vector<std::string> texts;
    while (name && texts.size() < 9) {
        ComPtr<TMK::IAFS_Name> parent;
        ASSERT_EQ(fs()->NameGetParent(name.get(), parent.put()), S_OK);
        if (parent) texts.push_back(Text(parent.get()));
        name = parent;
    }
    EXPECT_GE(texts.size(), 3u);
    EXPECT_EQ(texts[0], server().Site() + "/Shared Documents/Folder");
    EXPECT_EQ(texts[2], server().Site());
    ComPtr<TMK::IAFS_Name> above(editor().root());
    EXPECT_EQ(fs()->NameGetParent(editor().root(), above.put()), S_OK);
    EXPECT_FALSE(above);
}

TEST_F(FileSystemTest, NamesAreComparedByTheirUrls) {
    const auto equal = [](TMK::IAFS_Name* a, TMK::IAFS_Name* b) {
        return Compare(&TMK::IAFS_FileSys::NamesAreEqual, a, b);
    };
    const auto a = Name("Folder/a");
    EXPECT_EQ(equal(a.get(), a.get()), VARIANT_TRUE);
    EXPECT_EQ(equal(a.get(), Name("folder/A/").get()), VARIANT_TRUE);
    EXPECT_EQ(equal(a.get(), Name("Folder/b").get()), VARIANT_FALSE);
    EXPECT_EQ(equal(nullptr, nullptr), VARIANT_TRUE);
    EXPECT_EQ(equal(Foreign(), Foreign()), VARIANT_TRUE);
    EXPECT_EQ(equal(a.get(), nullptr), VARIANT_FALSE);
    EXPECT_EQ(equal(nullptr, a.get()), VARIANT_FALSE);
}

TEST_F(FileSystemTest, AChildIsBelowItsParentAndOnTheServer) {
    const auto is_child = [](TMK::IAFS_Name* name, TMK::IAFS_Name* parent) {
        return Compare(&TMK::IAFS_FileSys::NameIsChildOf, name, parent);
    };
    const auto folder = Name("Folder");
    const auto b = Name("Folder/b.txt");
    server().ClearRequests();
    EXPECT_EQ(is_child(b.get(), folder.get()), VARIANT_TRUE);
    EXPECT_FALSE(server().Requests().empty());
    server().ClearRequests();
    EXPECT_EQ(is_child(b.get(), folder.get()), VARIANT_TRUE);  // it knows its object now
    EXPECT_EQ(is_child(folder.get(), b.get()), VARIANT_FALSE);
    EXPECT_EQ(is_child(b.get(), b.get()), VARIANT_FALSE);
    EXPECT_EQ(is_child(Name("a.txt").get(), folder.get()), VARIANT_FALSE);
    EXPECT_EQ(server().Requests(), std::vector<std::string>());
    EXPECT_EQ(is_child(Name("Folder/none.txt").get(), folder.get()), VARIANT_FALSE);
}

TEST_F(FileSystemTest, BindsToPathsAndAccounts) {
    const auto context = host::MakeBindContext(editor().host().front_end(), std::nullopt);
    ComPtr<TMK::IAFS_Name> name;
    EXPECT_EQ(fs()->BindToObject(editor().account(), nullptr, 0, nullptr, nullptr, name.put()), S_OK);
    EXPECT_EQ(Text(name.get()), server().Site());
    EXPECT_EQ(fs()->BindToObject(editor().account(), context.get(), 0, nullptr, nullptr, name.put()), S_OK);
    EXPECT_EQ(fs()->BindFlush(name.get(), 0, nullptr, nullptr, nullptr), S_OK);
    // An address that is not of SharePoint fails before any prompt.
    EXPECT_EQ(fs()->BindToPath(u"relative/path", context.get(), 0, nullptr, nullptr, name.put()),
              E_INVALIDARG);
    EXPECT_FALSE(name);
}

// With nothing but an address the plug-in makes the account itself, and the host's sign-in gives its token.
TEST(FileSystemOfANewcomer, BindsToAnAddressAndMakesItsAccount) {
    const DevServer server({"--approve", "alice"});
    Editor editor(server, "alice", {{"api_version", "1"}});
    editor.host().oauth().SetOverride(server.Site(), {server.Origin() + "/organizations/", ""});
    TMK::IAFS_FileSys* const fs = editor.file_system();
    server.Upload("alice", "a.txt", "one");
    const auto context = host::MakeBindContext(editor.host().front_end(), std::nullopt);
    const auto text = [&](TMK::IAFS_Name* name) {
        Bstr shown;
        EXPECT_EQ(fs->NameToString(name, 0, nullptr, shown.put()), S_OK);
        return host::ToUtf8(shown.view());
    };
    ComPtr<TMK::IAFS_Name> name;
    ASSERT_EQ(
        Hex(fs->BindToPath(editor.Url("a.txt").c_str(), context.get(), 0, nullptr, nullptr, name.put())),
        Hex(S_OK));
    EXPECT_TRUE(text(name.get()).starts_with(server.Site())) << text(name.get());
    ComPtr<TMK::IAFS_Name> document;
    ASSERT_EQ(fs->StringToName(editor.Url("a.txt").c_str(), 0, name.get(), document.put()), S_OK);
    ComPtr<TMK::IAFS_FileInfo> info;
    EXPECT_EQ(fs->GetFileInfo(document.get(), nullptr, nullptr, info.put()), S_OK);

    ComPtr<TMK::IAFS_AccountData> account;
    ASSERT_EQ(Hex(fs->CreateAccount(editor.Url("a.txt").c_str(), nullptr, 0, 0, 0, account.put())),
              Hex(S_OK));
    const auto cab = std::make_shared<host::SettingsTree>();
    ASSERT_EQ(account->SaveTo(cab->View().get()), S_OK);
    EXPECT_EQ(host::ToUtf8(host::StringOf(host::ChildOf(cab->View().get(), u"Url").get())), server.Site());
    server.ClearRequests();
    ASSERT_EQ(fs->BindToObject(account.get(), context.get(), 0, nullptr, nullptr, name.put()), S_OK);
    for (const std::string& request : server.Requests())
        EXPECT_EQ(request.find("oauth2"), std::string::npos) << "the account keeps its sign-in: " << request;
}

// A picture of one page is the thumbnail; an answer that is none fails.
TEST_F(FileSystemTest, ThumbnailsArePicturesOfOnePage) {
    server().Upload("alice", "seen.pdf", "%PDF-1.4\n%%EOF\n");
    Variant value;
    ASSERT_EQ(Hex(fs()->get_Prop(Name("seen.pdf").get(), u"Thumbnail", value.put())), Hex(S_OK));
    ASSERT_EQ(value.type(), VT_UNKNOWN);
    const auto page = ComPtr<IUnknown>(value.get().punkVal).as<TMK::IRGC_Page>();
    ASSERT_TRUE(page);
    UINT width = 0, height = 0;
    EXPECT_EQ(page->get_Size(&width, &height), S_OK);
    EXPECT_GT(width * height, 0u);
    for (const char* fault :
         {R"({"kind": "body", "text": "<html>no picture</html>", "content_type": "image/png"})",
          R"({"kind": "status", "status": 404, "text": "gone"})"}) {
        server().SetFaults(std::string(R"([{"match": {"path": "getpreview", "times": 0}, "fault": )") +
                           fault + "}]");
        Variant none;
        EXPECT_TRUE(FAILED(fs()->get_Prop(Name("seen.pdf").get(), u"Thumbnail", none.put()))) << fault;
        EXPECT_EQ(none.type(), VT_EMPTY) << fault;
        server().ClearFaults();
    }
}

TEST_F(FileSystemTest, PropertiesOfItems) {
    Variant value;
    EXPECT_EQ(fs()->get_Prop(nullptr, u"canCREATEcacheonlocalfile", value.put()), S_OK);
    EXPECT_EQ(value.type(), VT_BOOL);
    EXPECT_EQ(value.get().boolVal, VARIANT_TRUE);
    EXPECT_EQ(fs()->get_Prop(Name("a.txt").get(), u"checkedout", value.put()), S_OK);
    EXPECT_EQ(value.get().boolVal, VARIANT_FALSE);
    server().Upload("alice", "taken.txt", "x");
    server().Upload("alice", "mine.txt", "x");
    server().CheckOutAs("bob", "taken.txt");
    server().CheckOutAs("alice", "mine.txt");
    EXPECT_EQ(fs()->get_Prop(Name("taken.txt").get(), u"CheckedOut", value.put()), S_OK);
    EXPECT_EQ(value.get().boolVal, VARIANT_FALSE);
    EXPECT_EQ(fs()->get_Prop(Name("mine.txt").get(), u"CheckedOut", value.put()), S_OK);
    EXPECT_EQ(value.get().boolVal, VARIANT_TRUE);
    EXPECT_EQ(fs()->get_Prop(Name("Folder").get(), u"CheckedOut", value.put()), E_INVALIDARG);
    EXPECT_EQ(fs()->get_Prop(Name("none.txt").get(), u"CheckedOut", value.put()), E_INVALIDARG);
    EXPECT_EQ(fs()->get_Prop(Name("Folder").get(), u"Thumbnail", value.put()), E_INVALIDARG);
}

TEST_F(FileSystemTest, ARefusedCopyFailsAlsoWhereTheTargetLooksLikeTheCopy) {
    server().Upload("alice", "from.txt", "11111");
    server().Upload("alice", "to.txt", "22222");
    server().CheckOutAs("bob", "to.txt");
    EXPECT_EQ(fs()->Copy(Name("from.txt").get(), Name("to.txt").get(), editor().details(), nullptr), E_FAIL);
    EXPECT_NE(editor().TakeMessage().find("did not copy"), std::string::npos);
    EXPECT_EQ(server().Document("to.txt"), "22222");
    // Copied twice within a second, it is the same once more.
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(fs()->Copy(Name("from.txt").get(), Name("new.txt").get(), editor().details(), nullptr),
                  S_OK)
            << editor().TakeMessage();
    }
    EXPECT_EQ(server().Document("new.txt"), "11111");
}

TEST_F(FileSystemTest, MakesMovesCopiesRenamesAndDeletes) {
    server().Upload("alice", "start.txt", "moved about");
    const auto run = [&](const char* what, HRESULT result) {
        EXPECT_EQ(Hex(result), Hex(S_OK)) << what << ": " << editor().TakeMessage();
    };
    TMK::ITMK_ErrorDetails* const details = editor().details();
    const auto deep = Name("New/Deep");
    run("make", fs()->CreateFolder(deep.get(), 0, details, nullptr));
    ComPtr<TMK::IAFS_FileInfo> info;
    DWORD attributes = 0;
    server().ClearRequests();
    run("info", fs()->GetFileInfo(deep.get(), details, nullptr, info.put()));
    EXPECT_EQ(server().Requests(), std::vector<std::string>());  // the name has what was made
    run("attributes", info->get_Attributes(&attributes));
    EXPECT_EQ(attributes, static_cast<DWORD>(TMK::AFS_FileAttribute_Folder));

    run("copy", fs()->Copy(Name("start.txt").get(), Name("New/copy.txt").get(), details, nullptr));
    EXPECT_EQ(server().Document("New/copy.txt"), "moved about");
    const auto moved = Name("New/Deep/moved.txt");
    run("move", fs()->Move(Name("start.txt").get(), moved.get(), details, nullptr));
    EXPECT_EQ(server().Document("New/Deep/moved.txt"), "moved about");
    EXPECT_FALSE(Exists("start.txt"));
    run("rename", fs()->Rename(moved.get(), Name("New/Deep/other.txt").get(), details, nullptr));
    EXPECT_EQ(server().Document("New/Deep/other.txt"), "moved about");
    EXPECT_FALSE(Exists("New/Deep/moved.txt"));
    EXPECT_EQ(fs()->Move(Name("New").get(), Name("Newer").get(), details, nullptr), E_INVALIDARG);
    EXPECT_EQ(fs()->Copy(Name("New").get(), Name("Newer").get(), details, nullptr), E_INVALIDARG);
    run("rename folder", fs()->Rename(Name("New").get(), Name("Newer").get(), details, nullptr));
    EXPECT_EQ(server().Document("Newer/Deep/other.txt"), "moved about");
    run("delete", fs()->Delete(Name("Newer/copy.txt").get(), details, nullptr));
    EXPECT_FALSE(Exists("Newer/copy.txt"));
    run("delete folder", fs()->Delete(Name("Newer").get(), details, nullptr));
    EXPECT_FALSE(Exists("Newer/Deep/other.txt"));
    for (const auto& gone : {Name("Newer"), Name("none.txt")}) {
        EXPECT_EQ(fs()->Delete(gone.get(), details, nullptr), E_INVALIDARG);
        EXPECT_EQ(fs()->Rename(gone.get(), Name("x").get(), details, nullptr), E_INVALIDARG);
        EXPECT_EQ(fs()->Move(gone.get(), Name("x").get(), details, nullptr), E_INVALIDARG);
        EXPECT_EQ(fs()->GetFileInfo(gone.get(), details, nullptr, info.put()), E_INVALIDARG);
    }
}

// The server's answer to these isn't looked at, so a request that had no effect must still fail.
TEST_F(FileSystemTest, WhatTheServerDidNotDoIsAFailure) {
    server().Upload("alice", "held.txt", "x");
    server().CheckOutAs("bob", "held.txt");
    TMK::ITMK_ErrorDetails* const details = editor().details();
    EXPECT_EQ(Hex(fs()->Delete(Name("held.txt").get(), details, nullptr)), Hex(E_FAIL));
    EXPECT_EQ(editor().TakeMessage(), "The server did not delete the item.");
    EXPECT_EQ(Hex(fs()->Rename(Name("held.txt").get(), Name("free.txt").get(), details, nullptr)),
              Hex(E_FAIL));
    EXPECT_EQ(editor().TakeMessage(), "The server did not rename the item.");
    EXPECT_TRUE(Exists("held.txt"));
}

TEST_F(FileSystemTest, PreferencesAreChangedOneByOneOrRefused) {
    const auto read = [&](std::u16string_view name) {
        Variant value;
        EXPECT_EQ(fs()->get_Prop(nullptr, u"preferences", value.put()), S_OK);
        const std::vector<Variant> all = host::ElementsOf(value);
        EXPECT_EQ(all.size() % 3, 0u);
        for (std::size_t i = 0; i + 2 < all.size(); i += 3)
            if (name == all[i].bstrVal) return all[i + 1];
        return Variant();
    };
    const auto set = [&](const std::vector<Variant>& change) {
        return Hex(
            fs()->Exec(nullptr, u"setpreference", host::ArrayOf(change).get(), nullptr, nullptr, nullptr));
    };
    const Variant name(u"log_level");
    const LONG before = read(u"log_level").lVal;
    for (const std::vector<Variant>& bad : {std::vector<Variant>{},
                                            {name},
                                            {name, Variant(LONG{5})},
                                            {name, Variant(LONG{-1})},
                                            {name, Variant(u"1")},
                                            {name, Variant(true)},
                                            {Variant(LONG{1}), Variant(LONG{1})},
                                            {Variant(u"nothing"), Variant(LONG{1})},
                                            {Variant(u"hide_paths"), Variant(LONG{1})},
                                            {Variant(u"hidden_paths"), Variant()},
                                            {Variant(u"show_hidden_items"), Variant(LONG{1})}})
        EXPECT_EQ(set(bad), Hex(E_INVALIDARG));
    EXPECT_EQ(read(u"log_level").lVal, before);
    const LONG other = before == 0 ? 1 : 0;
    EXPECT_EQ(set({name, Variant(other)}), Hex(S_OK));
    EXPECT_EQ(read(u"log_level").lVal, other);
    EXPECT_EQ(editor().Preference("log_level"), std::to_string(other)) << "saved";
    EXPECT_EQ(set({name, Variant(before)}), Hex(S_OK));
}

TEST_F(FileSystemTest, CacheEntriesAreAddedAndDeletedByName) {
    const TempFolder folder;
    WriteText(folder / "local.txt", "from a local file");
    const auto a = Name("a.txt");
    const auto exec = [&](LPCWSTR command, const std::vector<Variant>& values) {
        const Variant data = host::ArrayOf(values);
        const HRESULT result = fs()->Exec(a.get(), command, data, nullptr, nullptr, nullptr);
        EXPECT_EQ(data.get().parray->cLocks, 0u);
        return Hex(result);
    };
    const Variant own(a.get());
    const Variant foreign(Foreign());
    const Variant path(std::u16string_view(host::ToUtf16((folder / "local.txt").string())));
    const Variant number(LONG{1});
    const std::string bad = Hex(E_INVALIDARG);
    LPCWSTR const add = u"createcacheonlocalfile";
    LPCWSTR const remove = u"DeleteFileCacheEntry";
    EXPECT_EQ(exec(add, {own}), bad);
    EXPECT_EQ(exec(add, {path, own}), bad);
    EXPECT_EQ(exec(add, {own, number}), bad);
    EXPECT_EQ(exec(add, {foreign, path}), bad);
    EXPECT_EQ(exec(add, {own, path, number}), bad);
    EXPECT_EQ(exec(remove, {}), bad);
    EXPECT_EQ(exec(remove, {number}), bad);
    EXPECT_EQ(exec(remove, {foreign}), bad);
    EXPECT_EQ(exec(remove, {own, path}), bad);
    EXPECT_EQ(Hex(fs()->Exec(a.get(), remove, own, nullptr, nullptr, nullptr)), bad);

    EXPECT_EQ(exec(add, {own, path, Variant(false)}), Hex(S_OK));
    EXPECT_TRUE(std::filesystem::exists(folder / "local.txt"));
    EXPECT_EQ(editor().host().cache()->Unsent().size(), 1u);
    EXPECT_EQ(exec(remove, {own, Variant(true)}), Hex(S_OK));
    EXPECT_EQ(exec(remove, {own, number}), Hex(S_OK));
    EXPECT_EQ(exec(remove, {own}), Hex(S_OK));
    EXPECT_EQ(editor().host().cache()->Unsent().size(), 0u);
}

TEST_F(FileSystemTest, SigningOutOfAnAccountNeedsNoSession) {
    EXPECT_EQ(fs()->Exec(nullptr, u"signOUT", Variant(static_cast<IUnknown*>(editor().account())), nullptr,
                         nullptr, nullptr),
              S_OK);
}

TEST_F(FileSystemTest, ProgressMonitorsBelongToTheirThreads) {
    const auto make = [] { return host::Make<host::ProgressMonitor>([](std::uint64_t, std::uint64_t) {}); };
    const auto mine = make();
    const auto newer = make();
    const auto theirs = make();
    ComPtr<TMK::ITMK_ProgressMon> found;
    EXPECT_EQ(fs()->SetProgressMon(nullptr), S_FALSE);
    EXPECT_EQ(fs()->GetProgressMon(0, found.put()), S_FALSE);
    EXPECT_EQ(fs()->SetProgressMon(mine.get()), S_OK);
    std::thread([&] {
        ComPtr<TMK::ITMK_ProgressMon> other;
        EXPECT_EQ(fs()->GetProgressMon(0, other.put()), S_FALSE);
        EXPECT_FALSE(other);
        EXPECT_EQ(fs()->SetProgressMon(theirs.get()), S_OK);
        EXPECT_EQ(fs()->GetProgressMon(0, other.put()), S_OK);
        EXPECT_EQ(other.get(), theirs.get());
        EXPECT_EQ(fs()->SetProgressMon(nullptr), S_OK);
    }).join();
    EXPECT_EQ(fs()->GetProgressMon(0, found.put()), S_OK);
    EXPECT_EQ(found.get(), mine.get());
    EXPECT_EQ(fs()->SetProgressMon(newer.get()), S_OK);
    EXPECT_EQ(fs()->GetProgressMon(0, found.put()), S_OK);
    EXPECT_EQ(found.get(), newer.get());
    EXPECT_EQ(fs()->SetProgressMon(nullptr), S_OK);
    EXPECT_EQ(fs()->SetProgressMon(nullptr), S_FALSE);
    found = mine;
    EXPECT_EQ(fs()->GetProgressMon(0, found.put()), S_FALSE);
    EXPECT_FALSE(found);
}

}  // namespace

}  // namespace interfaces
