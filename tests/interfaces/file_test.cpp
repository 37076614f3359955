// One open document's operations on its bytes, and the objects of listings.
#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

#include "host/base/text.h"
#include "tests/interfaces/decisions.h"

namespace interfaces {

namespace {

constexpr HRESULT kWrongMode = static_cast<HRESULT>(0x8007139F);

class FileTest : public DecisionTest {
protected:
    FileTest() : m_editor(Server(), "alice") {}
    ComPtr<TMK::IAFS_File> Open(const std::string& document, DWORD flags) {
        Opened opened = m_editor.Open(document, flags);
        EXPECT_EQ(Hex(opened.result), Hex(S_OK)) << opened.message;
        return opened.file;
    }
    static std::string ReadAll(TMK::IAFS_File* file) {
        std::string bytes(64, '\0');
        LONGLONG read = 0;
        EXPECT_EQ(file->SetPos(0, 0, nullptr), S_OK);
        EXPECT_EQ(file->Read(bytes.data(), static_cast<LONGLONG>(bytes.size()), &read, nullptr, nullptr),
                  S_OK);
        bytes.resize(static_cast<std::size_t>(read));
        return bytes;
    }
    static LONGLONG Position(TMK::IAFS_File* file) {
        LONGLONG position = -1;
        EXPECT_EQ(file->GetPos(&position), S_OK);
        return position;
    }

    Editor m_editor;
};

TEST_F(FileTest, NullArgumentsAndUnknownNamesAreRefused) {
    const auto file = Open(MakeDocument(), kRead);
    Variant value;
    const Variant nothing;
    const std::vector<std::pair<const char*, std::function<HRESULT()>>> null_outs = {
        {"get_Name", [&] { return file->get_Name(nullptr); }},
        {"get_OpenFlags", [&] { return file->get_OpenFlags(nullptr); }},
        {"get_IoMode", [&] { return file->get_IoMode(nullptr); }},
        {"Clone", [&] { return file->Clone(nullptr); }},
        {"IsCloneOf", [&] { return file->IsCloneOf(file.get(), nullptr); }},
        {"GetPos", [&] { return file->GetPos(nullptr); }},
        {"GetSize", [&] { return file->GetSize(nullptr, nullptr, nullptr); }},
        {"GetStream", [&] { return file->GetStream(nullptr); }},
        {"get_Prop", [&] { return file->get_Prop(u"TempFileName", nullptr); }},
    };
    for (const auto& [name, call] : null_outs) EXPECT_EQ(Hex(call()), Hex(E_POINTER)) << name;
    EXPECT_EQ(file->get_Prop(u"VirtualPDF", value.put()), E_NOTIMPL);
    EXPECT_EQ(file->get_Prop(u"Colour", value.put()), E_INVALIDARG);
    EXPECT_EQ(file->get_Prop(nullptr, value.put()), E_INVALIDARG);
    for (LPCWSTR name : {u"TempFileName", u"CheckedOut", u"VirtualPDF", u"Colour"})
        EXPECT_EQ(file->put_Prop(name, nothing), E_INVALIDARG);
    EXPECT_EQ(file->put_Prop(nullptr, nothing), E_INVALIDARG);
    EXPECT_EQ(m_editor.Exec(file.get(), nullptr), E_INVALIDARG);
    EXPECT_EQ(m_editor.Exec(file.get(), u"Frobnicate"), E_INVALIDARG);
    EXPECT_EQ(m_editor.TakeMessage(), "Unsupported command \"Frobnicate\"");
}

TEST_F(FileTest, ASetCancelFlagComesFirst) {
    const auto file = Open(MakeDocument(), kWrite);
    char byte = 0;
    LONGLONG size = 0;
    const Variant nothing;
    const auto flag = Canceled();
    Server().ClearRequests();
    const std::vector<std::pair<const char*, std::function<HRESULT()>>> calls = {
        {"Read", [&] { return file->Read(nullptr, 1, nullptr, nullptr, flag.get()); }},
        {"Write", [&] { return file->Write(&byte, 1, nullptr, nullptr, flag.get()); }},
        {"SetSize", [&] { return file->SetSize(0, nullptr, flag.get()); }},
        {"GetSize", [&] { return file->GetSize(&size, nullptr, flag.get()); }},
        {"Flush", [&] { return file->Flush(nullptr, flag.get()); }},
        {"Reopen", [&] { return file->Reopen(kRead, nullptr, flag.get()); }},
        {"Close", [&] { return file->Close(4, nullptr, flag.get()); }},
        {"Exec", [&] { return file->Exec(nullptr, nothing, nullptr, nullptr, flag.get()); }},
        {"Exec CheckIn", [&] { return file->Exec(u"CheckIn", nothing, nullptr, nullptr, flag.get()); }},
    };
    for (const auto& [name, call] : calls) EXPECT_EQ(Hex(call()), Hex(kCanceled)) << name;
    EXPECT_EQ(Server().Requests(), std::vector<std::string>());
    EXPECT_EQ(ReadAll(file.get()), "first");
}

TEST_F(FileTest, ModesAllowWhatTheySay) {
    const std::string document = MakeDocument();
    char byte = 'x';
    const auto reading = Open(document, kRead);
    EXPECT_EQ(reading->Write(&byte, 1, nullptr, nullptr, nullptr), kWrongMode);
    EXPECT_EQ(reading->SetSize(0, nullptr, nullptr), kWrongMode);
    DWORD mode = 7;
    EXPECT_EQ(reading->get_IoMode(&mode), S_OK);
    EXPECT_EQ(mode, 0u);
    const auto writing = Open(document, TMK::AFS_OpenFile_Write);
    DWORD flags = 0;
    EXPECT_EQ(writing->get_OpenFlags(&flags), S_OK);
    EXPECT_EQ(flags, static_cast<DWORD>(TMK::AFS_OpenFile_Write | TMK::AFS_OpenFile_OpenExisting));
    EXPECT_EQ(writing->Read(&byte, 1, nullptr, nullptr, nullptr), kWrongMode);
    ComPtr<TMK::IAFS_File> clone;
    EXPECT_EQ(writing->Clone(clone.put()), kWrongMode);
    EXPECT_FALSE(clone);
}

TEST_F(FileTest, ClonesShareTheDocumentAndNotThePosition) {
    const auto file = Open(MakeDocument(), kRead);
    ASSERT_EQ(file->SetPos(3, 0, nullptr), S_OK);
    ComPtr<TMK::IAFS_File> clone;
    ASSERT_EQ(file->Clone(clone.put()), S_OK);
    EXPECT_EQ(Position(clone.get()), 0);
    EXPECT_EQ(ReadAll(clone.get()), "first");
    EXPECT_EQ(Position(file.get()), 3);
    VARIANT_BOOL is_clone = 7;
    EXPECT_EQ(clone->IsCloneOf(file.get(), &is_clone), S_OK);
    EXPECT_EQ(is_clone, VARIANT_TRUE);
    EXPECT_EQ(clone->IsCloneOf(Open(MakeDocument(), kRead).get(), &is_clone), S_OK);
    EXPECT_EQ(is_clone, VARIANT_FALSE);
    is_clone = 7;
    EXPECT_EQ(clone->IsCloneOf(nullptr, &is_clone), S_OK);
    EXPECT_EQ(is_clone, VARIANT_FALSE);
    ComPtr<TMK::IAFS_Name> name;
    ComPtr<TMK::IAFS_Name> same;
    EXPECT_EQ(file->get_Name(name.put()), S_OK);
    EXPECT_EQ(clone->get_Name(same.put()), S_OK);
    EXPECT_EQ(name, same);
    // A clone has no plug-in: what needs the preferences fails and does not crash.
    EXPECT_EQ(m_editor.Exec(clone.get(), u"PerformAfterSave"), E_FAIL);
}

TEST_F(FileTest, SeekingStaysWithinTheDocument) {
    const auto file = Open(MakeDocument(), kRead);
    ASSERT_EQ(ReadAll(file.get()), "first");
    struct Case {
        LONGLONG start, offset;
        int32_t origin;
        LONGLONG position;
    };
    const Case cases[] = {
        {0, 2, 0, 2},  {0, 99, 0, 5},        {0, -1, 0, 0},        {2, 2, 1, 4},         {2, -1, 1, 1},
        {2, -9, 1, 0}, {2, 9, 1, 5},         {0, 0, 2, 5},         {0, -2, 2, 3},        {0, 1, 2, 5},
        {0, -9, 2, 0}, {4, INT64_MAX, 1, 5}, {4, INT64_MIN, 1, 0}, {0, INT64_MAX, 2, 5}, {0, INT64_MIN, 0, 0},
    };
    for (const Case& c : cases) {
        LONGLONG position = -1;
        ASSERT_EQ(file->SetPos(c.start, 0, nullptr), S_OK);
        EXPECT_EQ(file->SetPos(c.offset, c.origin, &position), S_OK);
        EXPECT_EQ(position, c.position) << c.start << " " << c.offset << " " << c.origin;
        EXPECT_EQ(Position(file.get()), c.position);
    }
    for (const int32_t origin : {-1, 3}) EXPECT_EQ(file->SetPos(0, origin, nullptr), E_INVALIDARG);
}

TEST_F(FileTest, OnlyWrittenBytesAreFlushed) {
    const std::string document = MakeDocument();
    const auto file = Open(document, kWrite);
    LONGLONG size = -1;
    ASSERT_EQ(file->SetSize(2, nullptr, nullptr), S_OK);
    Server().ClearRequests();
    EXPECT_EQ(file->Flush(nullptr, nullptr), S_OK);
    EXPECT_EQ(Server().Requests(), std::vector<std::string>());
    ASSERT_EQ(file->SetPos(0, 2, nullptr), S_OK);
    LONGLONG written = 0;
    EXPECT_EQ(file->Write("xyz", 3, &written, nullptr, nullptr), S_OK);
    EXPECT_EQ(written, 3);
    EXPECT_EQ(Position(file.get()), 5);
    m_editor.details()->put_Text(u"old");
    EXPECT_EQ(file->GetSize(&size, m_editor.details(), nullptr), S_OK);
    EXPECT_EQ(size, 5);
    EXPECT_EQ(m_editor.TakeMessage(), "");
    EXPECT_EQ(file->Flush(nullptr, nullptr), S_OK);
    EXPECT_EQ(Server().Look(document).bytes, "fixyz");
    Server().ClearRequests();
    EXPECT_EQ(file->Flush(nullptr, nullptr), S_OK);
    EXPECT_EQ(Server().Requests(), std::vector<std::string>());
}

// Each redirect of an upload asks for the bytes once more; the fourth attempt is the last.
TEST_F(FileTest, AnUploadIsRepeatedThreeTimes) {
    for (const int refusals : {3, 4}) {
        const std::string document = MakeDocument();
        const auto file = Open(document, kWrite);
        ASSERT_EQ(Write(file.get(), "second"), S_OK);
        Server().SetFaults(R"([{"match": {"method": "PUT", "path": "$value", "times": )" +
                           std::to_string(refusals) +
                           R"(}, "fault": {"kind": "redirect", "status": 307, "loop": true}}])");
        Server().ClearRequests();
        const HRESULT result = file->Flush(m_editor.details(), nullptr);
        const auto requests = Server().Requests();
        Server().ClearFaults();
        EXPECT_EQ(Hex(result), refusals == 3 ? Hex(S_OK) : "0x80072F00") << m_editor.TakeMessage();
        EXPECT_EQ(std::count_if(requests.begin(), requests.end(),
                                [](const std::string& r) { return r.starts_with("PUT"); }),
                  4);
        EXPECT_EQ(Server().Look(document).bytes, refusals == 3 ? "second" : "first");
        // What could not be sent stays to be sent.
        EXPECT_EQ(file->Flush(nullptr, nullptr), S_OK);
        EXPECT_EQ(Server().Look(document).bytes, "second");
    }
}

TEST_F(FileTest, ACancelEndsTheWaitForABusyServer) {
    const auto file = Open(MakeDocument(), kRead);
    Server().SetFaults(R"([{"match": {"path": "$value", "times": 9},)"
                       R"( "fault": {"kind": "status", "status": 503, "retry_after": 20}}])");
    const auto flag = host::Make<host::CancelFlag>();
    std::thread person([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        flag->Cancel();
    });
    char byte = 0;
    LONGLONG read = 0;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(FAILED(file->Read(&byte, 1, &read, m_editor.details(), flag.get())));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    person.join();
    Server().ClearFaults();
}

// A digest is used again when it is five seconds past its time, which the server refuses.
TEST_F(FileTest, AnUploadWithAnOldDigestIsSentOnceMore) {
    DevServer server({"--digest-lifetime", "1"});
    Editor editor(server, "alice");
    server.Upload("alice", "old.txt", "first");
    const auto file = editor.Open("old.txt", kWrite).file;
    ASSERT_TRUE(file);
    const auto save = [&](const std::string& bytes) {
        EXPECT_EQ(file->SetPos(0, 0, nullptr), S_OK);
        EXPECT_EQ(Write(file.get(), bytes), S_OK);
        server.ClearRequests();
        EXPECT_EQ(Hex(file->Flush(editor.details(), nullptr)), Hex(S_OK)) << editor.TakeMessage();
        const auto requests = server.Requests();
        return std::count_if(requests.begin(), requests.end(),
                             [](const std::string& r) { return r.starts_with("PUT"); });
    };
    EXPECT_EQ(save("SECOND"), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(6500));
    EXPECT_EQ(save("THIRDS"), 2);
    EXPECT_EQ(server.Document("old.txt"), "THIRDS");
}

TEST_F(FileTest, PropertiesOfAnOpenDocument) {
    const std::string document = MakeDocument();
    const auto file = Open(document, kRead);
    EXPECT_EQ(ReadAll(file.get()), "first");
    Variant value;
    EXPECT_EQ(file->get_Prop(u"tempfilename", value.put()), S_OK);
    ASSERT_EQ(value.type(), VT_BSTR);
    EXPECT_EQ(ReadText(host::ToUtf8(value.get().bstrVal)), "first");
    EXPECT_TRUE(KeepCheckedOut(file.get()));
    EXPECT_EQ(file->put_Prop(u"KEEPCHECKEDOUT", Variant(false)), S_OK);
    EXPECT_FALSE(KeepCheckedOut(file.get()));
    EXPECT_EQ(file->put_Prop(u"KeepCheckedOut", Variant(LONG{0x10})), S_OK);  // whatever its type
    EXPECT_TRUE(KeepCheckedOut(file.get()));
    EXPECT_EQ(file->get_Prop(u"CheckedOut", value.put()), S_OK);
    EXPECT_EQ(value.get().boolVal, VARIANT_FALSE);
    Server().CheckOutAs("alice", document);  // without the plug-in
    EXPECT_EQ(file->get_Prop(u"CheckedOut", value.put()), S_OK);
    EXPECT_EQ(value.get().boolVal, VARIANT_TRUE);
}

TEST_F(FileTest, TheLocalCopyIsDroppedAndFetchedAnew) {
    const std::string document = MakeDocument();
    const auto file = Open(document, kRead);
    EXPECT_EQ(ReadAll(file.get()), "first");
    Server().WriteAs("bob", document, "by bob");
    EXPECT_EQ(m_editor.Exec(file.get(), u"resetcache"), S_OK) << m_editor.TakeMessage();
    EXPECT_EQ(Position(file.get()), 0);
    EXPECT_EQ(ReadAll(file.get()), "by bob");
    EXPECT_EQ(m_editor.Exec(file.get(), u"ReopenCacheFile"), E_INVALIDARG);
    for (const bool for_read : {true, false})
        EXPECT_EQ(file->Exec(u"ReopenCacheFile", Variant(for_read), nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(ReadAll(file.get()), "by bob");
}

TEST_F(FileTest, StreamsReadAndWriteTheDocument) {
    const std::string document = MakeDocument();
    const auto file = Open(document, kWrite);
    ComPtr<IStream> stream;
    ASSERT_EQ(file->GetStream(stream.put()), S_OK);
    char bytes[16] = {};
    ULONG count = 0;
    EXPECT_EQ(stream->Read(bytes, 2, &count), S_OK);
    EXPECT_EQ(std::string(bytes, count), "fi");
    EXPECT_EQ(stream->Read(bytes, sizeof(bytes), &count), S_FALSE);
    EXPECT_EQ(std::string(bytes, count), "rst");
    ULARGE_INTEGER position{};
    EXPECT_EQ(stream->Seek({1}, STREAM_SEEK_SET, &position), S_OK);
    EXPECT_EQ(position.QuadPart, 1u);
    EXPECT_EQ(stream->Write("I", 1, &count), S_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(stream->Seek({-1}, STREAM_SEEK_END, &position), S_OK);
    EXPECT_EQ(position.QuadPart, 4u);
    EXPECT_EQ(stream->Seek({0}, 77, &position), S_OK);  // any other origin is the start
    EXPECT_EQ(position.QuadPart, 0u);
    const auto target = ComPtr<IStream>::attach(SHCreateMemStream(nullptr, 0));
    EXPECT_EQ(stream->CopyTo(target.get(), {100}, nullptr, nullptr), S_FALSE);
    STATSTG stat{};
    ASSERT_EQ(target->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(stat.cbSize.QuadPart, 5u);
    ASSERT_EQ(stream->Stat(&stat, 0), S_OK);
    EXPECT_EQ(stat.type, STGTY_STREAM);
    EXPECT_EQ(stat.cbSize.QuadPart, 5u);
    EXPECT_EQ(stat.pwcsName, nullptr);
    EXPECT_EQ(stream->Stat(nullptr, 0), E_POINTER);
    EXPECT_EQ(stream->Revert(), E_NOTIMPL);
    EXPECT_EQ(stream->LockRegion({0}, {1}, 0), E_NOTIMPL);
    EXPECT_EQ(stream->UnlockRegion({0}, {1}, 0), E_NOTIMPL);
    ComPtr<IStream> clone;
    EXPECT_EQ(stream->Clone(nullptr), E_POINTER);
    EXPECT_EQ(stream->Clone(clone.put()), S_OK);
    EXPECT_EQ(clone->Read(bytes, 5, &count), S_OK);
    EXPECT_EQ(std::string(bytes, count), "fIrst");
    EXPECT_EQ(stream->SetSize({3}), S_OK);
    EXPECT_EQ(stream->Commit(0), S_OK);
    EXPECT_EQ(Server().Look(document).bytes, "fIr");
}

class Listing : public FileTest {
protected:
    ComPtr<TMK::IAFS_EnumFolder> Enumerate(const std::string& folder, HRESULT expected = S_OK) {
        ComPtr<TMK::IAFS_EnumFolder> items;
        EXPECT_EQ(
            Hex(m_editor.file_system()->EnumFolder(m_editor.Name(folder).get(), 0, nullptr, items.put())),
            Hex(expected));
        return items;
    }
    void MakeFolder(const std::string& folder) {
        ASSERT_EQ(m_editor.file_system()->CreateFolder(m_editor.Name(folder).get(), 0, nullptr, nullptr),
                  S_OK);
    }
};

std::vector<std::string> Titles(TMK::IAFS_EnumFolder* items) {
    std::vector<std::string> titles;
    for (;;) {
        ComPtr<TMK::IAFS_EnumFolderItem> item;
        const HRESULT result = items->Next(item.put());
        EXPECT_EQ(result, item ? S_OK : S_FALSE);
        if (!item) break;
        Bstr title;
        EXPECT_EQ(item->get_Title(title.put()), S_OK);
        titles.push_back(host::ToUtf8(title.view()));
    }
    std::sort(titles.begin(), titles.end());
    return titles;
}

TEST_F(Listing, StepsThroughOneListing) {
    MakeFolder("list/inner");
    Server().Upload("alice", "list/a.txt", "first");
    Server().ClearRequests();
    const auto items = Enumerate("list");
    const std::vector<std::string> titles{"a.txt", "inner"};
    EXPECT_EQ(Titles(items.get()), titles);
    const auto after_listing = Server().Requests();
    EXPECT_EQ(Titles(items.get()), std::vector<std::string>());  // the end stays the end
    EXPECT_EQ(items->Reset(0, Canceled().get()), kCanceled);
    EXPECT_EQ(Titles(items.get()), std::vector<std::string>());
    EXPECT_EQ(items->Reset(0, nullptr), S_OK);
    EXPECT_EQ(Titles(items.get()), titles);
    EXPECT_EQ(Server().Requests(), after_listing);
    EXPECT_EQ(items->Next(nullptr), E_POINTER);
    EXPECT_EQ(items->get_Name(nullptr), E_POINTER);
    ComPtr<TMK::IAFS_Name> name;
    EXPECT_EQ(items->get_Name(name.put()), S_OK);
    VARIANT_BOOL equal = VARIANT_FALSE;
    m_editor.file_system()->NamesAreEqual(name.get(), m_editor.Name("list").get(), &equal);
    EXPECT_EQ(equal, VARIANT_TRUE);
}

TEST_F(Listing, EmptyAndImpossibleFolders) {
    MakeFolder("empty");
    EXPECT_EQ(Titles(Enumerate("empty").get()), std::vector<std::string>());
    EXPECT_FALSE(Enumerate(MakeDocument(), E_FAIL));
    EXPECT_FALSE(Enumerate("none", E_FAIL));
}

TEST_F(Listing, ItemsTellWhatTheyAreAndOutliveTheListing) {
    MakeFolder("items/inner");
    Server().Upload("alice", "items/a.txt", "first");
    std::vector<ComPtr<TMK::IAFS_EnumFolderItem>> found;
    {
        const auto items = Enumerate("items");
        ComPtr<TMK::IAFS_EnumFolderItem> item;
        while (items->Next(item.put()) == S_OK) found.push_back(item);
    }
    ASSERT_EQ(found.size(), 2u);
    Server().ClearRequests();
    for (const auto& item : found) {
        Bstr title;
        DWORD attributes = 7;
        ULONGLONG size = 0, created = 0, written = 0, read = 0;
        Variant value;
        EXPECT_EQ(item->get_Title(nullptr), E_POINTER);
        EXPECT_EQ(item->get_Attributes(nullptr), E_POINTER);
        EXPECT_EQ(item->get_Name(nullptr), E_POINTER);
        EXPECT_EQ(item->get_Prop(u"CheckedOut", value.put()), E_NOTIMPL);
        EXPECT_EQ(item->get_Title(title.put()), S_OK);
        EXPECT_EQ(item->get_Attributes(&attributes), S_OK);
        EXPECT_EQ(item->get_CreationTime(&created), S_OK);
        EXPECT_EQ(item->get_LastWriteTime(&written), S_OK);
        EXPECT_EQ(item->get_LastAccessTime(&read), S_OK);
        EXPECT_GT(created, 0u);
        EXPECT_GE(written, created);
        EXPECT_EQ(read, written);
        const bool is_folder = title.view() == u"inner";
        EXPECT_EQ(attributes, is_folder ? static_cast<DWORD>(TMK::AFS_FileAttribute_Folder) : 0u);
        EXPECT_EQ(item->get_Size(&size), is_folder ? E_INVALIDARG : S_OK);
        EXPECT_EQ(size, is_folder ? 0u : 5u);
        ComPtr<TMK::IAFS_Name> name;
        ComPtr<TMK::IAFS_FileInfo> info;
        ASSERT_EQ(item->get_Name(name.put()), S_OK);
        ASSERT_EQ(m_editor.file_system()->GetFileInfo(name.get(), nullptr, nullptr, info.put()), S_OK);
        ULONGLONG again = 0;
        EXPECT_EQ(info->get_LastWriteTime(&again), S_OK);
        EXPECT_EQ(again, written);
        EXPECT_EQ(info->get_Prop(u"x", value.put()), E_NOTIMPL);
    }
    EXPECT_EQ(Server().Requests(), std::vector<std::string>());
}

TEST_F(FileTest, TheLibraryAnswersForItself) {
    ComPtr<TMK::IAFS_AccountData> account(m_editor.account());
    Bstr text;
    LONG match = 0;
    IUnknown* reserved = m_editor.root();
    EXPECT_EQ(account->get_URL(nullptr), E_POINTER);
    EXPECT_EQ(account->get_UserName(nullptr), E_POINTER);
    EXPECT_EQ(account->SaveTo(nullptr), E_POINTER);
    EXPECT_EQ(account->VerifyURL(u"http://x/", nullptr), E_POINTER);
    EXPECT_EQ(account->get_Reserved1(&reserved), S_OK);
    EXPECT_EQ(reserved, nullptr);
    reserved = m_editor.root();
    EXPECT_EQ(account->get_Reserved2(&reserved), S_OK);
    EXPECT_EQ(reserved, nullptr);
    reserved = m_editor.root();
    EXPECT_EQ(account->get_Reserved3(&reserved), S_OK);
    EXPECT_EQ(reserved, nullptr);
    EXPECT_EQ(account->get_URL(text.put()), S_OK);
    EXPECT_EQ(host::ToUtf8(text.view()), Server().Site());
    EXPECT_EQ(account->VerifyURL(m_editor.Url("a.txt").c_str(), &match), S_OK);
    EXPECT_EQ(match, 1);
    for (LPCWSTR url : {static_cast<LPCWSTR>(nullptr), u"", u"http://elsewhere.example/"}) {
        match = 7;
        EXPECT_EQ(account->VerifyURL(url, &match), S_OK);
        EXPECT_EQ(match, 0);
    }
}

}  // namespace

}  // namespace interfaces
