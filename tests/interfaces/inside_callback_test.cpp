// The cache's callback call by call, and small objects that no host operation gives.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "afs/document/cache_callback.h"
#include "afs/file_system.h"
#include "afs/names/enumeration.h"
#include "afs/names/tmk_string.h"
#include "base/failure.h"
#include "host/base/text.h"
#include "session/account_data.h"
#include "tests/interfaces/inside_host.h"

namespace interfaces {

namespace {

class Callback : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_seed.emplace();
        WriteText(*s_seed / "a.txt", "content");
        s_server.emplace(std::vector<std::string>{}, s_seed->Path());
    }
    static void TearDownTestSuite() {
        s_server.reset();
        s_seed.reset();
    }
    void SetUp() override {
        Plugin& plugin = m_inside.plugin();
        m_account = MakeObject<AccountData>(plugin, host::ToUtf16(s_server->Site()), 1u);
        m_account->SetAuthToken(host::ToUtf16(s_server->Token("alice")));
        const auto files = m_inside.host().FileSystem();
        ASSERT_EQ(m_inside.host().Bind(m_account.get(), nullptr, m_root), S_OK);
        ASSERT_EQ(files->StringToName(u"Shared Documents/a.txt", 0, m_root.get(), m_name.put()), S_OK);
        m_callback =
            MakeObject<CacheCallback>(*static_cast<FileSystem&>(*plugin.m_file_system).GetName(m_name.get()));
        m_canceled->Cancel();
    }
    void TearDown() override {
        m_callback.reset();
        m_name.reset();
        m_root.reset();
        m_account.reset();
    }
    HRESULT Read(LONGLONG pos, LONGLONG size, LONGLONG* out_size = nullptr) {
        return m_callback->Read(pos, m_bytes, size, out_size, m_details.get(), nullptr);
    }
    HRESULT Write(LONGLONG pos, const std::string& bytes) {
        return m_callback->Write(pos, bytes.data(), static_cast<LONGLONG>(bytes.size()), nullptr,
                                 m_details.get(), nullptr);
    }
    std::size_t Downloads() const {
        const auto requests = s_server->Requests();
        return static_cast<std::size_t>(
            std::count_if(requests.begin(), requests.end(), [](const std::string& request) {
                return request.starts_with("GET") && request.find("$value") != std::string::npos;
            }));
    }

    static inline std::optional<TempFolder> s_seed;
    static inline std::optional<DevServer> s_server;
    InsideHost m_inside;
    ComPtr<AccountData> m_account;
    ComPtr<TMK::IAFS_Name> m_root, m_name;
    ComPtr<CacheCallback> m_callback;
    ComPtr<host::CancelFlag> m_canceled = host::Make<host::CancelFlag>();
    ComPtr<host::ErrorDetails> m_details = host::Make<host::ErrorDetails>();
    char m_bytes[64] = {};
};

TEST_F(Callback, ADownloadIsOneStreamFromTheStartToTheEnd) {
    LONGLONG size = 0;
    s_server->ClearRequests();
    EXPECT_EQ(m_callback->Read(0, nullptr, 4, &size, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(Read(0, 0), E_INVALIDARG);
    EXPECT_EQ(Read(1, 4), E_INVALIDARG);
    EXPECT_EQ(Downloads(), 0u);
    std::string content;
    HRESULT result = S_OK;
    while ((result = Read(static_cast<LONGLONG>(content.size()), 3, &size)) == S_OK) {
        ASSERT_GT(size, 0);
        ASSERT_LE(size, 3);
        content.append(m_bytes, static_cast<std::size_t>(size));
        EXPECT_EQ(Read(0, 3), E_INVALIDARG);  // a stream has no earlier position
        EXPECT_NE(m_details->Text().find("random reading is not supported"), std::string::npos);
    }
    EXPECT_EQ(result, E_SP_EOF);
    EXPECT_EQ(content, "content");
    EXPECT_EQ(Downloads(), 1u);
    EXPECT_EQ(Read(0, 3, &size), S_OK);
    EXPECT_EQ(Downloads(), 2u);
    EXPECT_EQ(m_callback->Read(size, m_bytes, 3, nullptr, nullptr, m_canceled.get()), E_CANCELED);
    EXPECT_EQ(Read(0, 3, &size), S_OK);
    EXPECT_EQ(Downloads(), 3u);
}

TEST_F(Callback, AnErrorPageIsNoContent) {
    for (const char* fault : {R"({"kind": "status", "status": 404})", R"({"kind": "status", "status": 500})",
                              R"({"kind": "sign-in-page"})"}) {
        s_server->SetFaults(std::string(R"([{"match": {"path": "$value", "times": 9}, "fault": )") + fault +
                            "}]");
        EXPECT_TRUE(FAILED(Read(0, 64))) << fault;
        EXPECT_FALSE(m_details->Text().empty()) << fault;
        s_server->ClearFaults();
        LONGLONG size = 0;
        EXPECT_EQ(Read(0, 64, &size), S_OK);
        EXPECT_EQ(std::string(m_bytes, static_cast<std::size_t>(size)), "content");
        EXPECT_EQ(m_callback->Read(size, m_bytes, 3, nullptr, nullptr, m_canceled.get()), E_CANCELED);
    }
}

TEST_F(Callback, AnUploadTakesItsStepsInOrder) {
    EXPECT_EQ(Write(0, "x"), E_FAIL);
    EXPECT_NE(m_details->Text().find("Write is called without prior BeginWrite"), std::string::npos);
    EXPECT_EQ(m_callback->EndWrite(nullptr, nullptr), E_FAIL);
    EXPECT_EQ(m_callback->SetSize(4, nullptr, nullptr), S_OK);
    EXPECT_EQ(m_callback->BeginWrite(nullptr, nullptr), S_OK);
    EXPECT_EQ(m_callback->Write(0, nullptr, 1, nullptr, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(Write(0, ""), E_INVALIDARG);
    EXPECT_EQ(Write(0, "ab"), S_OK);
    EXPECT_EQ(Write(1, "x"), E_INVALIDARG);
    EXPECT_NE(m_details->Text().find("random writing is not supported"), std::string::npos);
    EXPECT_EQ(m_callback->EndWrite(nullptr, nullptr), E_FAIL);
    EXPECT_EQ(s_server->Document("a.txt"), "content");
}

TEST_F(Callback, ACancelledUploadStopsUnlessAllHasGone) {
    EXPECT_EQ(m_callback->SetSize(3, nullptr, m_canceled.get()), E_CANCELED);
    EXPECT_EQ(m_callback->BeginWrite(nullptr, m_canceled.get()), E_CANCELED);
    LONGLONG size = 7;
    EXPECT_EQ(m_callback->GetSize(&size, nullptr, m_canceled.get()), E_CANCELED);
    EXPECT_EQ(m_callback->GetSize(nullptr, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(m_callback->SetSize(7, nullptr, nullptr), S_OK);
    EXPECT_EQ(m_callback->BeginWrite(nullptr, nullptr), S_OK);
    EXPECT_EQ(Write(0, "con"), S_OK);
    EXPECT_EQ(m_callback->EndWrite(nullptr, m_canceled.get()), E_CANCELED);
    EXPECT_EQ(m_callback->EndWrite(nullptr, nullptr), E_FAIL);
    EXPECT_EQ(s_server->Document("a.txt"), "content");
    EXPECT_EQ(m_callback->BeginWrite(nullptr, nullptr), S_OK);
    EXPECT_EQ(Write(0, "CONTENT"), S_OK);
    EXPECT_EQ(m_callback->EndWrite(nullptr, m_canceled.get()), S_OK);
    EXPECT_EQ(s_server->Document("a.txt"), "CONTENT");
    EXPECT_EQ(m_callback->GetSize(&size, nullptr, nullptr), S_OK);
    EXPECT_EQ(size, 7);
    s_server->WriteAs("alice", "a.txt", "content");
}

TEST_F(Callback, NamesAreCollected) {
    ComPtr<TMK::IAFS_NamesCollection> names;
    UINT count = 7;
    ComPtr<TMK::IAFS_Name> name;
    ComPtr<IUnknown> steps;
    EXPECT_EQ(NamesCollection::Create(nullptr), E_POINTER);
    ASSERT_EQ(NamesCollection::Create(names.put()), S_OK);
    EXPECT_EQ(names->get_Count(nullptr), E_POINTER);
    EXPECT_EQ(names->get_Count(&count), S_OK);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(names->Add(nullptr), E_INVALIDARG);
    EXPECT_EQ(names->Add(m_name.get()), S_OK);
    EXPECT_EQ(names->Add(m_root.get()), S_OK);
    EXPECT_EQ(names->get_Count(&count), S_OK);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(names->get_Item(0, nullptr), E_POINTER);
    EXPECT_EQ(names->get_Item(2, name.put()), E_INVALIDARG);
    EXPECT_FALSE(name);
    EXPECT_EQ(names->get_Item(1, name.put()), S_OK);
    EXPECT_EQ(name, m_root);
    EXPECT_EQ(names->get__NewEnum(nullptr), E_POINTER);
    EXPECT_EQ(names->get__NewEnum(steps.put()), S_OK);
    EXPECT_TRUE(steps);
}

TEST(TextObjects, KeepTheirText) {
    const auto text = MakeObject<Utility::TMKString>();
    Bstr value;
    VARIANT_BOOL empty = VARIANT_FALSE;
    UINT length = 7;
    EXPECT_EQ(text->get_IsEmpty(&empty), S_OK);
    EXPECT_EQ(empty, VARIANT_TRUE);
    EXPECT_EQ(text->put_Value(u"abc"), S_OK);
    EXPECT_EQ(text->get_Length(&length), S_OK);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(text->SetValue(u"xyz", 2), S_OK);
    EXPECT_EQ(text->get_Value(value.put()), S_OK);
    EXPECT_EQ(value.str(), u"xy");
    EXPECT_EQ(text->SetValue(nullptr, 2), S_OK);
    EXPECT_EQ(text->get_IsEmpty(&empty), S_OK);
    EXPECT_EQ(empty, VARIANT_TRUE);
    EXPECT_EQ(text->put_Value(u"abc"), S_OK);
    EXPECT_EQ(text->put_Value(nullptr), S_OK);
    EXPECT_EQ(text->get_Length(&length), S_OK);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(text->put_Value(u"abc"), S_OK);
    EXPECT_EQ(text->Clear(), S_OK);
    EXPECT_EQ(text->get_IsEmpty(&empty), S_OK);
    EXPECT_EQ(empty, VARIANT_TRUE);
    EXPECT_EQ(text->get_Value(nullptr), E_POINTER);
    EXPECT_EQ(text->get_IsEmpty(nullptr), E_POINTER);
    EXPECT_EQ(text->get_Length(nullptr), E_POINTER);
}

}  // namespace

}  // namespace interfaces
