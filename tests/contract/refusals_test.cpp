// A modern site that is as strict as real ones: what is asked for once more, and with how many requests.
#include <gtest/gtest.h>

#include <algorithm>

#include "base/text/encoding.h"
#include "sharepoint/rest/web.h"
#include "tests/support/dev_server.h"

namespace contract {

namespace {

using namespace testing_support;

struct StrictSite {
    explicit StrictSite(const std::vector<std::string>& options) : server(options) {
        http->SetAuthToken(FromUtf8(server.Token("alice")));
        web = SharePointRestAPI::Web::Create(http, FromUtf8(server.Site()));
    }
    // Binds an item, and forgets what that cost.
    std::shared_ptr<SharePoint::Object> Bind(const std::string& item) {
        const std::u16string url = FromUtf8(server.Origin() + DevServer::PathOf(item));
        auto object = web->BindObject(url, SharePoint::Web::BindObjectType::any);
        if (!object) throw std::runtime_error("nothing at " + item);
        server.ClearRequests();
        return object;
    }

    DevServer server;
    std::shared_ptr<Http::Session> http =
        Http::Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
    std::shared_ptr<SharePointRestAPI::Web> web;
};

TEST(StrictServer, ListsAFolderBeyondItsThresholdInPages) {
    StrictSite site({"--list-threshold", "10", "--seed-count", "Many=25"});
    const auto folder = site.Bind("Many");
    const auto all = folder->AsFolder()->Enumerate();
    ASSERT_EQ(all.size(), 25u);
    EXPECT_EQ(site.server.Requests().size(), 1u + 1u + 3u) << "the refusal, a digest, three pages";
    const std::string name = ToUtf8(all.front()->GetInformation().m_name);
    site.server.CheckOutAs("bob", "Many/" + name);

    std::u16string unread = u"before";
    const auto again = folder->AsFolder()->Enumerate(&unread);
    EXPECT_EQ(unread, u"");
    const auto held = std::count_if(again.begin(), again.end(), [](const auto& child) {
        return child->GetInformation().m_checkout_user.find(u"bob") != std::u16string::npos;
    });
    EXPECT_EQ(held, 1);
    const auto direct = site.Bind("Many/" + ToUtf8(again.back()->GetInformation().m_name));
    const SharePoint::Information& told = again.back()->GetInformation();
    EXPECT_EQ(told.m_path, direct->GetInformation().m_path);
    EXPECT_EQ(told.m_size, direct->GetInformation().m_size);
    EXPECT_EQ(told.m_modified_time, direct->GetInformation().m_modified_time);
    EXPECT_EQ(told.m_created_time, direct->GetInformation().m_created_time);

    site.server.SetFaults(
        R"([{"match":{"path":"RenderListData","nth":2},"fault":{"kind":"status","status":500}}])");
    EXPECT_TRUE(folder->AsFolder()->Enumerate(&unread).empty()) << "half a folder is none";
    EXPECT_NE(unread, u"");
}

TEST(StrictServer, WorksOnADocumentWithALongPath) {
    StrictSite site({"--max-url", "260"});
    const std::string name = std::string(180, 'n') + ".txt";
    ASSERT_TRUE(site.web->CreateFile(FromUtf8(site.server.Origin() + DevServer::PathOf(name))));
    const auto file = site.Bind(name)->AsFile();
    EXPECT_EQ(file->Read().GetStatus(), 200u);
    EXPECT_EQ(site.server.Requests().size(), 1u) << "the limit is known by now";
    EXPECT_TRUE(file->CheckOut());
    EXPECT_NE(site.server.CheckedOutBy(name), "");
}

}  // namespace

}  // namespace contract
