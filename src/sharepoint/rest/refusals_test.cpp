// What is asked or changed once more after a refusal that servers are known for, and how often.
#include <gtest/gtest.h>

#include "sharepoint/tests/site_test_fixture.h"

namespace {

constexpr char kUnknownFunction[] =
    R"({"error":{"code":"-1, Microsoft.SharePoint.Client.ResourceNotFoundException"}})";
constexpr char kOldDigest[] = R"({"error":{"code":"-2130575251, Microsoft.SharePoint.SPException"}})";

// A server of 2013: it knows items by URL alone.
struct OlderRest : RestSite {
    OlderRest() {
        own_reply = [server_reply = own_reply](const Request& request) -> std::optional<std::string> {
            if (request.target.find("decodedurl") != std::string::npos)
                return Answer("404 Not Found", kUnknownFunction);
            return server_reply(request);
        };
        answers["GET " + Api() + "/web/GetFolderByServerRelativeUrl('/sites/docs/L')"] =
            D(Folder("/sites/docs/L"));
        answers["GET " + Api() + "/web/GetFileByServerRelativeUrl('/sites/docs/L/it%27%27s.pdf')"] =
            D(File("/sites/docs/L/it's.pdf"));
    }
};

TEST(Refusal, ItemsAreAskedForByUrlFromThenOn) {
    OlderRest site;
    ASSERT_NE(site.Bind(u"sites/docs/L"), nullptr);
    EXPECT_EQ(site.server.Lines().size(), 2u) << "by path, then by URL";
    site.server.Forget();
    const auto file = site.Bind(u"sites/docs/L/it's.pdf");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(site.server.Lines().size(), 2u) << "folder and file, both by URL";
    site.server.Forget();
    file->AsFile()->Read();
    file->Delete();
    const std::string address = site.Api() + "/web/GetFileByServerRelativeUrl('/sites/docs/L/it%27%27s.pdf')";
    EXPECT_EQ(site.server.Lines(),
              (std::vector<std::string>{"GET " + address + "/$value", "POST " + site.Api() + "/contextinfo",
                                        "DELETE " + address}));
}

TEST(Refusal, ADocumentIsMadeByUrl) {
    OlderRest site;
    const std::string add = site.Api() +
                            "/web/GetFolderByServerRelativeUrl('/sites/docs/L')/Files/add(url='"
                            "it%27%27s.pdf',%20%20overwrite=true)";
    site.answers["POST " + add] = RestSite::D("{}");
    EXPECT_NE(site.web->CreateFile(site.Url(u"sites/docs/L/it's.pdf")), nullptr);
}

TEST(Refusal, AMissingDocumentIsAskedForOnlyOnce) {
    RestSite site;
    EXPECT_EQ(site.Bind(u"sites/docs/L/no.pdf"), nullptr);
    EXPECT_EQ(site.server.Lines().size(), 2u) << "as a folder and as a file";
}

TEST(Refusal, ALongPathMovesIntoTheQuery) {
    RestSite site;
    const std::string name(300, 'n');
    const std::string alias = "?@a1='/sites/docs/" + name + "'";
    const auto own = site.own_reply;
    site.own_reply = [&](const RestSite::Request& request) -> std::optional<std::string> {
        if (request.target.find('?') == std::string::npos && request.target.size() > 300)
            return Answer("400 Bad Request", "<html>maxUrlLength</html>");
        return own(request);
    };
    site.answers["GET " + site.Api() + "/web/GetFileByServerRelativePath(decodedurl=@a1)" + alias] =
        RestSite::D(RestSite::File("/sites/docs/" + name));
    const auto file = site.Bind(u"sites/docs/" + FromUtf8(name));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(site.server.Lines().size(), 3u) << "one refusal; its length is known then";
    site.server.Forget();
    file->AsFile()->Read();
    EXPECT_EQ(site.server.Lines(),
              (std::vector<std::string>{"GET " + site.Api() +
                                        "/web/GetFileByServerRelativePath(decodedurl=@a1)/$value" + alias}));
}

TEST(Refusal, AFolderIsMovedWithoutFlags) {
    RestSite site;
    site.AddFolder("sites/docs/L", RestSite::Folder("/sites/docs/L"));
    const auto folder = site.BindKnown(u"sites/docs/L");
    const std::string move = "POST " + site.FolderAddress("sites/docs/L") + "')/moveto('/sites/docs/M'";
    site.answers[move + ",%20flags=1)"] = Answer("400 Bad Request", "{}");
    site.answers[move + ")"] = Answer("200 OK");
    folder->Rename(u"sites/docs/M");
    EXPECT_EQ(site.server.Lines(), (std::vector<std::string>{"POST " + site.Api() + "/contextinfo",
                                                             move + ",%20flags=1)", move + ")"}));
}

TEST(Refusal, AChangeIsMadeAgainOnceWithANewDigest) {
    RestSite site;
    site.AddFile("sites/docs/a.pdf", RestSite::File("/sites/docs/a.pdf"));
    const auto file = site.BindKnown(u"sites/docs/a.pdf");
    int accepted = 2;
    const auto own = site.own_reply;
    site.own_reply = [&](const RestSite::Request& request) -> std::optional<std::string> {
        if (!request.Has("x-requestdigest")) return own(request);
        return request.Header("x-requestdigest") == "digest" + std::to_string(accepted)
                   ? Answer("200 OK")
                   : Answer("403 Forbidden", kOldDigest);
    };
    EXPECT_TRUE(file->AsFile()->CheckOut());
    EXPECT_EQ(site.digests, 2);
    accepted = 0;
    site.digests = 0;
    EXPECT_FALSE(file->AsFile()->CheckOut());
    EXPECT_EQ(site.digests, 2) << "one new digest, and no third try";
}

}  // namespace
