// The internet handles of a plug-in at work: those of a session stay until it ends, those of a request go
// with it, however it ends.
#include <gtest/gtest.h>

#include "host/base/host_objects.h"
#include "host/base/text.h"
#include "platform/posix/internet/open_handles.h"
#include "tests/interfaces/inside_host.h"
#include "tests/support/dev_server.h"

namespace interfaces {

namespace {

constexpr DWORD kWrite = TMK::AFS_OpenFile_Read | TMK::AFS_OpenFile_Write | TMK::AFS_OpenFile_OpenExisting;

class Handles : public ::testing::TestWithParam<const char*> {
protected:
    HRESULT Open(const std::string& document, ComPtr<TMK::IAFS_File>& file) {
        ComPtr<TMK::IAFS_Name> name;
        const std::u16string url = host::ToUtf16(m_server.Origin() + DevServer::PathOf(document));
        const auto files = m_inside->host().FileSystem();
        if (const HRESULT result = files->StringToName(url.c_str(), 0, m_root.get(), name.put());
            FAILED(result))
            return result;
        return files->OpenFile(name.get(), kWrite, m_details.get(), nullptr, file.put());
    }
    HRESULT Save(const std::string& document, const std::string& bytes) {
        ComPtr<TMK::IAFS_File> file;
        if (const HRESULT result = Open(document, file); FAILED(result)) return result;
        const auto size = static_cast<LONGLONG>(bytes.size());
        if (const HRESULT result = file->SetSize(0, nullptr, nullptr); FAILED(result)) return result;
        if (const HRESULT result = file->Write(bytes.data(), size, nullptr, nullptr, nullptr); FAILED(result))
            return result;
        return file->Flush(m_details.get(), nullptr);
    }

    DevServer m_server{{"--generation", GetParam()}};
    std::optional<InsideHost> m_inside;
    ComPtr<TMK::IAFS_Name> m_root;
    ComPtr<host::ErrorDetails> m_details = host::Make<host::ErrorDetails>();
};

TEST_P(Handles, AreClosedWithTheirRequestsAndWithTheSession) {
    m_server.WriteAs("alice", "a.txt", "first");
    const std::size_t before = platform::internet::OpenHandleCount();
    m_inside.emplace();
    TestAccount account = MakeAccount(m_inside->host(), m_server.Site(), LoginOf(m_server, "alice"));
    ASSERT_EQ(m_inside->host().Bind(account.account.get(), nullptr, m_root), S_OK);
    const std::size_t of_session = platform::internet::OpenHandleCount();
    EXPECT_GT(of_session, before);
    EXPECT_EQ(Save("a.txt", "second"), S_OK);
    EXPECT_EQ(m_server.Document("a.txt"), "second");
    ComPtr<TMK::IAFS_File> file;
    EXPECT_NE(Open("none.txt", file), S_OK);
    const struct {
        const char* document;  // what was not sent keeps a document busy
        const char* match;
        const char* fault;
    } rows[] = {
        {.document = "b.txt", .match = R"("method":"PUT")", .fault = R"({"kind":"drop-upload","after":3})"},
        {.document = "c.txt", .match = R"("method":"PUT")", .fault = R"({"kind":"status","status":423})"},
        {.document = "d.txt", .match = R"("path":"d.txt")", .fault = R"({"kind":"drop-body"})"},
    };
    const std::string big(3'000'000, 'b');
    for (const auto& row : rows) {
        m_server.WriteAs("alice", row.document, "first");
        m_server.SetFaults(R"([{"match":{"times":0,)" + std::string(row.match) + R"(},"fault":)" + row.fault +
                           "}]");
        EXPECT_NE(Save(row.document, big), S_OK) << row.fault;
        EXPECT_GT(m_server.FaultsFired(), 0) << row.fault;
        m_server.ClearFaults();
    }
    EXPECT_EQ(platform::internet::OpenHandleCount(), of_session) << "no request keeps its handle";
    m_root.reset();
    account = {};
    m_inside.reset();
    EXPECT_EQ(platform::internet::OpenHandleCount(), before) << "nor does the session";
}

INSTANTIATE_TEST_SUITE_P(Generation, Handles, ::testing::Values("modern", "2013"),
                         [](const auto& row) { return std::string("Of") + row.param; });

}  // namespace

}  // namespace interfaces
