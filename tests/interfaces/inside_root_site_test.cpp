// A site at the root of its server: everything of that server lies below it, sharing links too.
#include <gtest/gtest.h>

#include "afs/file_system.h"
#include "base/text/encoding.h"
#include "session/account_data.h"
#include "tests/interfaces/inside_host.h"
#include "tests/support/loopback/loopback_test_server.h"

namespace interfaces {

namespace {

using Request = LoopbackTestServer::Request;

std::string Json(const std::string& value) {
    return Answer("200 OK", "{\"d\":" + value + "}", "Content-Type: application/json\r\n");
}

// Knows one document, by its path and by a sharing link.
std::string RootSite(const Request& request) {
    if (request.target.starts_with("/_api/SP.Web.GetWebUrlFromPageUrl")) {
        return Answer("200 OK", "<?xml version=\"1.0\"?><d:GetWebUrlFromPageUrl xmlns:d=\"urn:d\">http://" +
                                    request.Header("host") + "/</d:GetWebUrlFromPageUrl>");
    }
    if (request.target.ends_with("/_api/contextinfo")) {
        return Json(
            R"({"GetContextWebInformation":{"FormDigestTimeoutSeconds":1800,"FormDigestValue":"d"}})");
    }
    if (request.target.find("GetFileByUrl(@url)") != std::string::npos) {
        return Json(R"({"__metadata":{"type":"SP.File"},"ServerRelativeUrl":"/Docs/a.pdf","Name":"a.pdf",)"
                    R"("Length":"7","TimeLastModified":"2024-05-01T10:00:00Z"})");
    }
    return Answer("404 Not Found", R"({"error":{"code":"-1","message":{"value":"gone"}}})");
}

TEST(RootSite, FollowsASharingLinkToItsDocument) {
    LoopbackTestServer server(RootSite);
    InsideHost inside;
    const auto account =
        MakeAccount(inside.host(), ToUtf8(server.Url()), {.is_modern = true, .token = "token"});
    ComPtr<TMK::IAFS_Name> root, name;
    ASSERT_EQ(inside.host().Bind(account.account.get(), nullptr, root), S_OK);
    server.Forget();
    const auto files = inside.host().FileSystem();
    const std::u16string link = server.Url() + u"/:b:/g/EaBc";
    ASSERT_EQ(files->StringToName(link.c_str(), 0, root.get(), name.put()), S_OK);
    const auto* const file_system = static_cast<FileSystem*>(inside.plugin().m_file_system.get());
    const auto object = file_system->GetName(name.get())->BindObject();
    ASSERT_TRUE(object);
    EXPECT_TRUE(object->AsFile());
    EXPECT_EQ(ToUtf8(object->GetInformation().m_path), "Docs/a.pdf");
    const auto lines = server.Lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.front().find("GetFileByUrl(@url)"), std::string::npos) << lines.front();
}

}  // namespace

}  // namespace interfaces
