// Which version of a document a handle works on, and that nobody else's is taken for it.
#include "tests/interfaces/decisions.h"

namespace interfaces {

namespace {

const std::string kConflict = "on_save_conflict";
const std::string kQuestionId = "sp.msg.outdatedFileOnWrite.question";

class Versions : public ::testing::TestWithParam<const char*> {
protected:
    Versions() : m_server({"--generation", GetParam()}, Seeded(m_seed)) {}
    static std::filesystem::path Seeded(const TempFolder& folder) {
        WriteText(folder / kName, "first");
        return folder.Path();
    }

    // The request that looks at the document in this dialect.
    std::string Look() const {
        return m_server.IsModern() ? R"("method": "GET", "path": "GetFolderByServerRelativePath")"
                                   : R"("method": "PROPFIND")";
    }
    // Just before the nth look from now on bob saves a document that is as long as alice's.
    void BobSavesBeforeLook(int nth) {
        m_server.SetFaults(R"([{"match": {)" + Look() + R"(, "nth": )" + std::to_string(nth) +
                           R"(}, "fault": {"kind": "newer-version", "user": "bob", "text": "by bob",
                           "document": ")" +
                           DevServer::PathOf(kName) + R"("}}])");
    }
    static void ExpectRead(TMK::IAFS_File* file, const std::string& bytes) {
        char buffer[64];
        LONGLONG read = 0;
        EXPECT_EQ(file->SetPos(0, 0, nullptr), S_OK);
        EXPECT_EQ(file->Read(buffer, sizeof(buffer), &read, nullptr, nullptr), S_OK);
        EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(read)), bytes);
    }
    static HRESULT Send(TMK::IAFS_File* file, const std::string& bytes,
                        TMK::ITMK_ErrorDetails* details = nullptr) {
        EXPECT_EQ(file->SetPos(0, 0, nullptr), S_OK);
        EXPECT_EQ(file->SetSize(0, nullptr, nullptr), S_OK);
        EXPECT_EQ(file->Write(bytes.data(), static_cast<LONGLONG>(bytes.size()), nullptr, nullptr, nullptr),
                  S_OK);
        return file->Flush(details, nullptr);
    }
    // Reopens for a save and cancels it; whether that was asked about.
    static bool IsAsked(Editor& editor, TMK::IAFS_File* file) {
        editor.TakePrompts();
        const HRESULT result = file->Reopen(kWrite, nullptr, nullptr);
        const auto prompts = editor.TakePrompts();
        EXPECT_EQ(Hex(result), Hex(prompts.empty() ? S_OK : kCanceled));
        return prompts.size() == 1 && prompts[0].id == kQuestionId;
    }

    static inline const std::string kName = "a.txt";
    const TempFolder m_seed;
    const DevServer m_server;
};

TEST_P(Versions, WhatOthersSaveRightAfterACheckInIsNotOnesOwn) {
    Editor editor(m_server, "alice");
    const auto file = editor.Open(kName, kWrite).file;
    ASSERT_TRUE(file);
    ASSERT_EQ(Send(file.get(), "second"), S_OK);
    m_server.ClearRequests();
    BobSavesBeforeLook(1);
    ASSERT_EQ(editor.Exec(file.get(), u"CheckIn"), S_OK) << editor.TakeMessage();
    EXPECT_TRUE(IsAsked(editor, file.get()));
    EXPECT_EQ(m_server.Look(kName).bytes, "by bob");
}

TEST_P(Versions, ACheckInThatSucceededIsNotFailedByALookAfterIt) {
    Editor editor(m_server, "alice");
    const auto file = editor.Open(kName, kWrite).file;
    ASSERT_TRUE(file);
    m_server.SetFaults(R"([{"match": {)" + Look() + R"(}, "fault": {"kind": "status", "status": 503}}])");
    EXPECT_EQ(editor.Exec(file.get(), u"CheckIn"), S_OK) << editor.TakeMessage();
    EXPECT_EQ(m_server.FaultsFired(), 0);
    EXPECT_EQ(m_server.Look(kName).checked_out_by, "");
}

TEST_P(Versions, WhatOthersSaveRightAfterAnUploadIsNotOnesOwn) {
    Editor editor(m_server, "alice");
    const auto file = editor.Open(kName, kWrite).file;
    ASSERT_TRUE(file);
    BobSavesBeforeLook(2);  // the first is before the upload
    EXPECT_EQ(Send(file.get(), "mine 1", editor.details()), S_OK);
    EXPECT_EQ(m_server.FaultsFired(), 1);
    EXPECT_NE(editor.TakeMessage().find("somebody else may have saved"), std::string::npos);
    EXPECT_TRUE(IsAsked(editor, file.get()));
    EXPECT_EQ(m_server.Look(kName).bytes, "by bob");
}

TEST_P(Versions, AnOldOrEqualDateDoesNotHideAnotherVersion) {
    for (const std::string modified : {"2001-02-03T04:05:06Z", "2020-01-01T00:00:00Z"}) {
        m_server.AdminFor("write", "alice&modified=2020-01-01T00:00:00Z", kName, "first");
        Editor asking(m_server, "alice");
        Editor refusing(m_server, "alice", {{kConflict, "0"}});
        const auto asked = asking.Open(kName, kRead).file;
        const auto refused = refusing.Open(kName, kRead).file;
        ASSERT_TRUE(asked && refused);
        m_server.AdminFor("write", "bob&modified=" + modified, kName, "other");
        EXPECT_TRUE(IsAsked(asking, asked.get())) << modified;
        EXPECT_EQ(Hex(refused->Reopen(kWrite, nullptr, nullptr)), Hex(kOutdated)) << modified;
    }
}

// A check-out, a check-in and a save of one's own change what the server names the version by, too.
TEST_P(Versions, OnesOwnStepsAreNoConflict) {
    Editor editor(m_server, "alice", {{kConflict, "0"}, {"on_after_save", "24"}});
    const auto file = editor.Open(kName, kRead).file;
    const auto other = editor.Open(kName, kRead).file;
    ASSERT_TRUE(file && other);
    ASSERT_EQ(editor.Exec(other.get(), u"CheckOut"), S_OK);
    for (const std::string bytes : {"second", "third"}) {
        ASSERT_EQ(file->Reopen(kWrite, editor.details(), nullptr), S_OK) << editor.TakeMessage();
        ASSERT_EQ(Send(file.get(), bytes, editor.details()), S_OK) << editor.TakeMessage();
        ASSERT_EQ(editor.Exec(file.get(), u"PerformAfterSave"), S_OK) << editor.TakeMessage();
    }
    ASSERT_EQ(editor.Exec(file.get(), u"CheckIn"), S_OK) << editor.TakeMessage();
    EXPECT_EQ(file->Reopen(kWrite, editor.details(), nullptr), S_OK) << editor.TakeMessage();
    EXPECT_EQ(editor.TakeMessage(), "");
}

TEST_P(Versions, TheBytesOfACopyInUseKeepTheirVersion) {
    Editor editor(m_server, "alice");
    const auto first = editor.Open(kName, kRead).file;
    ASSERT_TRUE(first);
    ExpectRead(first.get(), "first");
    m_server.WriteAs("bob", kName, "by bob");
    const Opened second = editor.Open(kName, kRead);
    if (!second.file) return;  // a host may refuse to open it
    char buffer[64];
    LONGLONG read = 0;
    ASSERT_EQ(second.file->Read(buffer, sizeof(buffer), &read, nullptr, nullptr), S_OK);
    const bool is_old = std::string(buffer, static_cast<std::size_t>(read)) == "first";
    EXPECT_EQ(IsAsked(editor, second.file.get()), is_old);
    EXPECT_TRUE(IsAsked(editor, first.get()));
}

// A second handle shares the local copy, whose version was told before the discard.
// A discard puts back the time of the version before.
TEST_P(Versions, AnotherHandleKnowsItsVersionAfterADiscardOfALaterTime) {
    m_server.AdminFor("write", "alice&modified=2000-02-03T04:05:06Z", kName, "first");
    Editor editor(m_server, "alice");
    const auto file = editor.Open(kName, kWrite).file;
    ASSERT_TRUE(file);
    ASSERT_EQ(Send(file.get(), "second"), S_OK);
    editor.Exec(file.get(), u"DiscardCheckOut");
    const auto other = editor.Open(kName, kRead).file;
    ASSERT_TRUE(other);
    m_server.AdminFor("write", "bob&modified=2001-02-03T04:05:06Z", kName, "by bob");
    EXPECT_TRUE(IsAsked(editor, other.get()));
    EXPECT_EQ(m_server.Look(kName).bytes, "by bob");
}

TEST_P(Versions, AnotherHandleKnowsItsVersionAfterADiscard) {
    Editor editor(m_server, "alice");
    const auto file = editor.Open(kName, kWrite).file;
    ASSERT_TRUE(file);
    ASSERT_EQ(Send(file.get(), "second"), S_OK);
    editor.Exec(file.get(), u"DiscardCheckOut");
    const auto other = editor.Open(kName, kRead).file;
    ASSERT_TRUE(other);
    ExpectRead(other.get(), "second");
    m_server.AdminFor("write", "bob&modified=2001-02-03T04:05:06Z", kName, "by bob");
    EXPECT_TRUE(IsAsked(editor, other.get()));
    EXPECT_EQ(m_server.Look(kName).bytes, "by bob");
}

TEST_P(Versions, AnUploadThatWasNotTakenIsNoticedAtTheSameSize) {
    Editor editor(m_server, "alice");
    const auto file = editor.Open(kName, kWrite).file;
    ASSERT_TRUE(file);
    m_server.SetFaults(R"([{"match": {"method": "PUT"}, "fault": {"kind": "status", "status": 204}}])");
    EXPECT_EQ(Hex(Send(file.get(), "other", editor.details())), Hex(E_FAIL));
    EXPECT_NE(editor.TakeMessage().find("still has the version from before"), std::string::npos);
    EXPECT_EQ(m_server.Look(kName).bytes, "first");
    EXPECT_EQ(Send(file.get(), "first", editor.details()), S_OK) << editor.TakeMessage();
}

// A page of anybody's in place of an answer, and nothing to be seen of the document from some moment on.
TEST_P(Versions, ASaveThatTheServerNeverTookFailsWhateverCanBeSeenOfIt) {
    const std::string look = m_server.IsModern() ? "GET" : "PROPFIND";
    for (int first = 1; first <= 6; ++first) {
        Editor editor(m_server, "alice");
        const auto file = editor.Open(kName, kWrite).file;
        ASSERT_TRUE(file);
        m_server.SetFaults(
            R"([{"match": {"method": "PUT", "times": 0}, "fault": {"kind": "status", "status": 200}},
                               {"match": {"method": ")" +
            look + R"(", "nth": )" + std::to_string(first) +
            R"(, "times": 0}, "fault": {"kind": "status", "status": 200}}])");
        EXPECT_TRUE(FAILED(Send(file.get(), "other", editor.details()))) << first;
        m_server.ClearFaults();
        EXPECT_EQ(m_server.Look(kName).bytes, "first");
    }
}

class SharedNeed : public Versions {
protected:
    // What the close of a handle that sent nothing itself asks about.
    static std::string AskedOnClose(Editor& editor, TMK::IAFS_File* file) {
        EXPECT_EQ(file->Close(TMK::AFS_CloseFile_AllowUI, nullptr, nullptr), S_OK);
        const auto prompts = editor.TakePrompts();
        return prompts.size() == 1 ? prompts[0].id : "";
    }
    static inline const PreferenceValues kAsk{{"on_close_checked_out_need_check_in", "1"},
                                              {"on_close_checked_out_no_need_check_in", "1"}};
    static inline const std::string kCheckIn = "sp.msg.askForCheckInOnClose";
    static inline const std::string kDiscard = "sp.msg.askForDiscardCheckOutOnClose";
};

TEST_P(SharedNeed, ASaveByAnyHandleWaitsForACheckInByAll) {
    Editor editor(m_server, "alice", kAsk);
    auto first = editor.Open(kName, kWrite).file;
    const auto second = editor.Open(kName, kRead).file;
    ASSERT_TRUE(first && second);
    EXPECT_EQ(AskedOnClose(editor, second.get()), kDiscard);
    ASSERT_EQ(Send(first.get(), "second"), S_OK);
    EXPECT_EQ(AskedOnClose(editor, second.get()), kCheckIn);
    first.reset();
    const auto third = editor.Open(kName, kRead).file;
    EXPECT_EQ(AskedOnClose(editor, third.get()), kCheckIn);
    ASSERT_EQ(editor.Exec(third.get(), u"CheckIn"), S_OK) << editor.TakeMessage();
    ASSERT_EQ(editor.Exec(third.get(), u"CheckOut"), S_OK) << editor.TakeMessage();
    EXPECT_EQ(AskedOnClose(editor, second.get()), kDiscard);
}

TEST_P(SharedNeed, ASaveThroughAnotherSessionOnTheSiteCounts) {
    Editor editor(m_server, "alice", kAsk);
    const auto writer = editor.Open(kName, kWrite).file;
    ComPtr<TMK::IAFS_Name> other_root;
    ASSERT_EQ(editor.host().Bind(editor.account(), nullptr, other_root), S_OK);
    ComPtr<TMK::IAFS_Name> name;
    ASSERT_EQ(editor.file_system()->StringToName(editor.Url(kName).c_str(), 0, other_root.get(), name.put()),
              S_OK);
    ComPtr<TMK::IAFS_File> reader;
    ASSERT_EQ(editor.file_system()->OpenFile(name.get(), kRead, nullptr, nullptr, reader.put()), S_OK);
    EXPECT_EQ(AskedOnClose(editor, reader.get()), kDiscard);
    ASSERT_EQ(Send(writer.get(), "second"), S_OK);
    EXPECT_EQ(AskedOnClose(editor, reader.get()), kCheckIn);
}

TEST_P(SharedNeed, ASaveByBindFlushOrACloneCounts) {
    for (const bool by_clone : {false, true}) {
        Editor editor(m_server, "alice", kAsk);
        const auto file = editor.Open(kName, kWrite).file;
        ASSERT_TRUE(file);
        ComPtr<TMK::IAFS_File> clone;
        ASSERT_EQ(file->Clone(clone.put()), S_OK);
        TMK::IAFS_File* const writer = by_clone ? clone.get() : file.get();
        ASSERT_EQ(writer->SetSize(0, nullptr, nullptr), S_OK);
        ASSERT_EQ(writer->Write("second", 6, nullptr, nullptr, nullptr), S_OK);
        ASSERT_EQ(by_clone ? clone->Flush(nullptr, nullptr)
                           : editor.file_system()->BindFlush(editor.root(), 0, nullptr, nullptr, nullptr),
                  S_OK);
        EXPECT_EQ(AskedOnClose(editor, file.get()), kCheckIn) << by_clone;
        ASSERT_EQ(editor.Exec(file.get(), u"CheckIn"), S_OK) << editor.TakeMessage();
    }
}

TEST_P(Versions, ACloseThatCouldNotAskSaysSo) {
    Editor editor(m_server, "alice");
    const auto file = editor.Open(kName, kWrite).file;
    ASSERT_TRUE(file);
    m_server.SetFaults(m_server.IsModern()
                           ? R"([{"match": {"path": "currentUser", "times": 0},
                                  "fault": {"kind": "status", "status": 500}}])"
                           : R"([{"match": {"path_regex": "usergroup|shtml|author", "times": 0},
                                  "fault": {"kind": "status", "status": 500}}])");
    EXPECT_EQ(Hex(file->Close(TMK::AFS_CloseFile_CheckIn, editor.details(), nullptr)), Hex(S_OK));
    EXPECT_NE(editor.TakeMessage().find("does not say whether the document is checked out to you"),
              std::string::npos);
    m_server.ClearFaults();
    EXPECT_EQ(m_server.Look(kName).checked_out_by, "alice");
    EXPECT_EQ(file->Close(TMK::AFS_CloseFile_CheckIn, editor.details(), nullptr), S_OK);
    EXPECT_EQ(file->Close(TMK::AFS_CloseFile_CheckIn, editor.details(), nullptr), S_OK);
    EXPECT_EQ(editor.TakeMessage(), "");
}

const auto kGenerations = ::testing::Values("modern", "2013");
const auto kGenerationName = [](const auto& row) { return std::string(row.param); };

INSTANTIATE_TEST_SUITE_P(Generation, Versions, kGenerations, kGenerationName);
INSTANTIATE_TEST_SUITE_P(Generation, SharedNeed, kGenerations, kGenerationName);

}  // namespace

}  // namespace interfaces
