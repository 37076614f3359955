// The navigator's decisions, against a real server.
#include <gtest/gtest.h>

#include "afs/file_system.h"
#include "base/log.h"
#include "browse/folders_navigator.h"
#include "host/base/text.h"
#include "tests/interfaces/inside_host.h"
#include "tests/support/trace_log.h"

namespace dialogs {

namespace {

using namespace testing_support;

class Navigator : public ::testing::TestWithParam<bool> {
protected:
    Navigator()
        : m_server(GetParam() ? std::vector<std::string>{}
                              : std::vector<std::string>{"--generation", "2013"}) {
        m_account = MakeAccount(m_inside.host(), m_server.Site(), LoginOf(m_server, "alice"));
        Require(m_inside.host().Bind(m_account.account.get(), nullptr, m_root), "binding");
        for (const char* folder : {"A", "A/B 100%", "C"})
            Require(fs()->CreateFolder(Name(folder).get(), 0, nullptr, nullptr), folder);
        for (const char* document : {"A/a #1.txt", "A/B 100%/b.txt", "c.txt"})
            m_server.WriteAs("alice", document, "x");
        m_navigator = std::make_unique<FoldersNavigator>(fs());
    }
    ~Navigator() override {
        m_navigator.reset();
        m_root.reset();
        m_account = {};
    }
    FileSystem* fs() { return static_cast<FileSystem*>(m_inside.plugin().m_file_system.get()); }
    ComPtr<TMK::IAFS_Name> Name(const std::string& item) {
        ComPtr<TMK::IAFS_Name> name;
        const std::u16string url = host::ToUtf16(m_server.Origin() + DevServer::PathOf(item));
        Require(fs()->StringToName(url.c_str(), 0, m_root.get(), name.put()), item);
        return name;
    }
    // Below the library; "/" for the site.
    std::string PathOf(TMK::IAFS_Name* name) {
        if (!name) return "none";
        Bstr url;
        fs()->NameToString(name, 0, nullptr, url.put());
        const std::string text = host::ToUtf8(url.view());
        const std::string library = m_server.Origin() + DevServer::PathOf("");
        if (text == m_server.Site()) return "/";
        return text.size() < library.size() ? "" : text.substr(library.size());
    }
    ComPtr<TMK::IAFS_Name> Item(const std::string& title) {
        for (const auto& [name, information] : m_navigator->GetItems()) {
            Bstr text;
            information->get_Title(text.put());
            if (host::ToUtf8(text.view()) == title) return name;
        }
        throw std::runtime_error("there is no " + title);
    }
    HRESULT Go(const ComPtr<TMK::IAFS_Name>& name) { return m_navigator->SetFolder(name.get(), {}); }

    DevServer m_server;
    interfaces::InsideHost m_inside;
    TestAccount m_account;
    ComPtr<TMK::IAFS_Name> m_root;
    std::unique_ptr<FoldersNavigator> m_navigator;
};

INSTANTIATE_TEST_SUITE_P(, Navigator, ::testing::Values(true, false),
                         [](const auto& row) { return row.param ? "modern" : "y2013"; });

struct Move {
    const char* what;
    std::function<ComPtr<TMK::IAFS_Name>()> to;
    const char* folder;
    const char* parent;
    size_t items;
    const char* logged;
};

TEST_P(Navigator, DecidesWhereAnItemLeads) {
    const auto named = [&](const char* item) { return [this, item] { return Name(item); }; };
    const auto shown = [&](const char* title) { return [this, title] { return Item(title); }; };
    const std::string unrelated = "Navigating to unrelated folder";
    const Move moves[] = {
        {"a folder at first", named("A"), "A", "", 2, "unrelated folder"},
        {"a child of the list", shown("B 100%"), "A/B 100%", "A", 1,
         "child folder - use current folder as parent"},
        {"a file of the list", shown("b.txt"), "A/B 100%", "A", 1, "child file - keep current folder"},
        {"the same by another object", named("A/B 100%"), "A/B 100%", "A", 1, "same folder - just refresh"},
        {"a file elsewhere", named("A/a #1.txt"), "A", "", 2, "unrelated file - use file's parent"},
        {"a child by another object", named("A/B 100%"), "A/B 100%", "A", 1, "unrelated folder"},
        {"a child file by another object", named("A/B 100%/b.txt"), "A/B 100%", "A", 1, "unrelated file"},
        {"the library", named(""), "", "/", 3, "unrelated folder"},
        {"the site", [&] { return m_root; }, "/", "none", 1, "unrelated folder"},
    };
    for (const Move& move : moves) {
        SCOPED_TRACE(move.what);
        const ComPtr<TMK::IAFS_Name> to = move.to();
        HRESULT result = E_FAIL;
        const std::string log = LogOf(Log::information, [&] { result = Go(to); });
        EXPECT_EQ(result, S_OK);
        EXPECT_EQ(PathOf(m_navigator->GetFolder().get()), move.folder);
        EXPECT_EQ(PathOf(m_navigator->GetParent().get()), move.parent);
        EXPECT_EQ(m_navigator->GetItems().size(), move.items);
        EXPECT_NE(log.find(move.logged), std::string::npos) << log;
        EXPECT_NE(log.find("Enumeration is complete"), std::string::npos) << log;
    }
}

TEST_P(Navigator, KeepsWhatItHasUnlessAllSucceeds) {
    ASSERT_EQ(Go(Name("A")), S_OK);
    const FoldersNavigator::Items before = m_navigator->GetItems();
    EXPECT_TRUE(FAILED(Go(Name("none"))));
    EXPECT_TRUE(FAILED(Go(Name("none/file.txt"))));
    EXPECT_EQ(PathOf(m_navigator->GetFolder().get()), "A");
    EXPECT_EQ(m_navigator->GetItems(), before);
    // Stopped in the middle, by the filter that sees the first item.
    const auto stop = [&](TMK::IAFS_Name*) {
        m_navigator->Stop();
        return true;
    };
    EXPECT_EQ(m_navigator->SetFolder(Name("A/B 100%").get(), stop), static_cast<HRESULT>(0x821704C7));
    EXPECT_EQ(m_navigator->GetItems(), before);
    m_server.ClearRequests();
    EXPECT_EQ(Go(Name("C")), static_cast<HRESULT>(0x821704C7)) << "for good";
    EXPECT_TRUE(m_server.Requests().empty());
}

TEST_P(Navigator, FiltersAndEmptiesTheList) {
    ASSERT_EQ(m_navigator->SetFolder(Name("A").get(), [&](auto* name) { return PathOf(name) != "A/B 100%"; }),
              S_OK);
    EXPECT_EQ(m_navigator->GetItems().size(), 1u);
    EXPECT_EQ(Go({}), S_FALSE);
    EXPECT_TRUE(m_navigator->GetItems().empty());
    EXPECT_EQ(PathOf(m_navigator->GetFolder().get()), "A");
    EXPECT_EQ(PathOf(m_navigator->GetParent().get()), "none");
}

// What the list asks on the main thread was fetched before.
TEST_P(Navigator, LeavesNothingToAskForAfterwards) {
    ASSERT_EQ(Go(Name("A/B 100%/b.txt")), S_OK);
    m_server.ClearRequests();
    ComPtr<TMK::IAFS_FileInfo> info;
    for (const auto& name : {m_navigator->GetFolder(), m_navigator->GetParent(), Item("b.txt")})
        EXPECT_EQ(fs()->GetFileInfo(name.get(), nullptr, nullptr, info.put()), S_OK);
    EXPECT_TRUE(m_server.Requests().empty());
}

}  // namespace

}  // namespace dialogs
