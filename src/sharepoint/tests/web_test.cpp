// What the webs of both dialects have in common, with canned answers: binding, links, refusals.
#include <gtest/gtest.h>

#include "sharepoint/tests/named_rows_test.h"
#include "sharepoint/tests/site_test_fixture.h"

namespace {

using Type = SharePoint::Web::BindObjectType;
using Lines = std::vector<std::string>;

enum class Dialect { rest, older };

std::unique_ptr<TestSite> MakeSite(Dialect dialect, const std::u16string& web_path = u"sites/docs") {
    if (dialect == Dialect::rest) return std::make_unique<RestSite>(web_path);
    return std::make_unique<OlderSite>(web_path);
}

std::string NameOf(Dialect dialect) {
    return dialect == Dialect::rest ? "Rest" : "Older";
}

std::ostream& operator<<(std::ostream& stream, Dialect dialect) {
    return stream << NameOf(dialect);
}

class AnyWeb : public testing::TestWithParam<Dialect> {
protected:
    std::unique_ptr<TestSite> m_site = MakeSite(GetParam());
};

TEST_P(AnyWeb, IsAFolderThatCannotBeRenamedOrDeleted) {
    SharePoint::Object& web = *m_site->web_object;
    EXPECT_EQ(web.AsFolder().get(), web.AsWeb().get());
    EXPECT_EQ(web.AsWeb(), web.GetWeb());
    EXPECT_EQ(web.AsFile(), nullptr);
    EXPECT_FALSE(web.CanEdit());
    const auto message_of = [](const auto& change) {
        try {
            change();
        } catch (const Exception& failure) {
            return ToUtf8(failure.message);
        }
        return std::string();
    };
    EXPECT_EQ(message_of([&] { web.Rename(u"x"); }), "Root folder does not support renaming");
    EXPECT_EQ(message_of([&] { web.Delete(); }), "Root folder does not support deleting");
    EXPECT_TRUE(m_site->server.Lines().empty());
}

TEST_P(AnyWeb, IsNotMadeForAnotherServer) {
    for (const char16_t* url : {u"http://other/sites/docs", u"no url", u""}) {
        HRESULT code = S_OK;
        try {
            m_site->CreateWeb(url);
        } catch (const HResultException& failure) {
            code = failure.code;
        }
        EXPECT_EQ(code, E_INVALIDARG) << ToUtf8(url);
    }
    EXPECT_TRUE(m_site->server.Lines().empty());
}

TEST_P(AnyWeb, FollowsASharingLinkToAFile) {
    EXPECT_EQ(StatusOf([&] { m_site->Bind(u":b:/s/x/EaBc"); }), 404u);
    EXPECT_EQ(m_site->server.Lines(), Lines{m_site->LinkLine()});
    m_site->answers[m_site->LinkLine()] =
        m_site->LinkAnswer(R"({"ServerRelativeUrl":"/sites/docs/L/a.pdf","Length":"7"})");
    const auto object = m_site->Bind(u":b:/s/x/EaBc", Type::file);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->GetInformation().m_path, u"sites/docs/L/a.pdf");
    EXPECT_EQ(object->GetInformation().m_name, u"a.pdf");
    EXPECT_EQ(object->GetInformation().m_size, 7u);
    m_site->server.Forget();
    EXPECT_EQ(m_site->Bind(u":b:/s/x/EaBc", Type::folder), nullptr);
    EXPECT_TRUE(m_site->server.Lines().empty()) << "a link never leads to a folder";
}

// Every path lies below a web without a path, and so does the path of a link.
TEST_P(AnyWeb, AtTheRootOfTheServerFollowsASharingLink) {
    const auto root = MakeSite(GetParam(), u"");
    root->answers[root->LinkLine()] = root->LinkAnswer(R"({"ServerRelativeUrl":"/L/a.pdf"})");
    const auto object = root->Bind(u":b:/s/x/EaBc");
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->GetInformation().m_path, u"L/a.pdf");
    EXPECT_EQ(root->server.Lines(), Lines{root->LinkLine()});
    root->AddPlainFile("L/a.pdf");
    EXPECT_NE(root->Bind(u"L/a.pdf", Type::file), nullptr);
}

TEST_P(AnyWeb, MakesNothingOutsideOfItself) {
    SharePoint::Web& web = *m_site->web_object->AsWeb();
    for (const std::u16string& url :
         {m_site->Url(u"sites/docs"), m_site->Url(u"sites/other/x"), std::u16string(u"http://other/x")}) {
        EXPECT_EQ(web.CreateFolder(url), nullptr) << ToUtf8(url);
        EXPECT_EQ(web.CreateFile(url), nullptr) << ToUtf8(url);
        EXPECT_FALSE(web.IsFileKnownMissing(url)) << ToUtf8(url);
    }
    EXPECT_TRUE(m_site->server.Lines().empty());
}

TEST_P(AnyWeb, LeavesAFolderThatExistsAsItIs) {
    m_site->AddPlainFolder("sites/docs/L");
    const auto folder = m_site->web_object->AsWeb()->CreateFolder(m_site->Url(u"sites/docs/L"));
    ASSERT_NE(folder, nullptr);
    EXPECT_NE(folder->AsFolder(), nullptr);
    for (const std::string& line : m_site->server.Lines())
        EXPECT_TRUE(line.starts_with("GET ") || line.starts_with("PROPFIND ")) << line;
}

TEST_P(AnyWeb, LivesAsLongAsAnItemOfIt) {
    m_site->AddPlainFile("sites/docs/a.pdf");
    auto file = m_site->BindKnown(u"sites/docs/a.pdf");
    const std::weak_ptr<SharePoint::Web> web = m_site->web_object->AsWeb();
    m_site.reset();
    EXPECT_FALSE(web.expired());
    EXPECT_EQ(file->GetWeb(), web.lock());
    file.reset();
    EXPECT_TRUE(web.expired());
}

INSTANTIATE_TEST_SUITE_P(Dialects, AnyWeb, testing::Values(Dialect::rest, Dialect::older),
                         [](const auto& test) { return NameOf(test.param); });

template <typename Row>
class AnyWebRows : public testing::TestWithParam<std::tuple<Dialect, Row>> {
protected:
    const Row& GetRow() const { return std::get<1>(this->GetParam()); }
    std::unique_ptr<TestSite> m_site = MakeSite(std::get<0>(this->GetParam()));
};

struct NameOfDialectAndRow {
    template <typename Test>
    std::string operator()(const Test& test) const {
        return NameOf(std::get<0>(test.param)) + std::get<1>(test.param).name;
    }
};

template <typename... Rows>
auto InBothDialects(const Rows&... rows) {
    return testing::Combine(testing::Values(Dialect::rest, Dialect::older), testing::Values(rows...));
}

enum class Kind { nothing, file, folder, web };

struct BindRow {
    const char* name;
    const char16_t* path;
    Type wanted = Type::any;
    Kind bound = Kind::nothing;
};

class BoundKind : public AnyWebRows<BindRow> {};

TEST_P(BoundKind, IsTheOneThatIsAskedFor) {
    m_site->AddPlainFile("sites/docs/a.pdf");
    m_site->AddPlainFolder("sites/docs/L");
    const std::u16string path = GetRow().path;
    const auto object = m_site->web_object->AsWeb()->BindObject(
        path.empty() || path.starts_with(u"http") ? path : m_site->Url(path), GetRow().wanted);
    const Kind bound = !object              ? Kind::nothing
                       : object->AsWeb()    ? Kind::web
                       : object->AsFolder() ? Kind::folder
                                            : Kind::file;
    EXPECT_EQ(bound, GetRow().bound);
    EXPECT_EQ(object && object->AsFile(), bound == Kind::file);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BoundKind,
    InBothDialects(
        BindRow{.name = "AnyFile", .path = u"sites/docs/a.pdf", .bound = Kind::file},
        BindRow{.name = "File", .path = u"sites/docs/a.pdf", .wanted = Type::file, .bound = Kind::file},
        BindRow{.name = "FileAsFolder", .path = u"sites/docs/a.pdf", .wanted = Type::folder},
        BindRow{.name = "AnyFolder", .path = u"sites/docs/L", .bound = Kind::folder},
        BindRow{.name = "Folder", .path = u"sites/docs/L/", .wanted = Type::folder, .bound = Kind::folder},
        BindRow{.name = "FolderAsFile", .path = u"sites/docs/L", .wanted = Type::file},
        BindRow{.name = "Missing", .path = u"sites/docs/none"},
        BindRow{.name = "OtherWeb", .path = u"sites/other/a.pdf"},
        BindRow{.name = "WebInOtherCase", .path = u"SITES/Docs/", .bound = Kind::web},
        BindRow{.name = "Web", .path = u"sites/docs", .wanted = Type::folder, .bound = Kind::web},
        BindRow{.name = "WebAsFile", .path = u"sites/docs", .wanted = Type::file},
        BindRow{.name = "OtherServer", .path = u"http://other/sites/docs/a.pdf"},
        BindRow{.name = "NoUrl", .path = u""}),
    NameOfDialectAndRow());

struct StatusRow {
    const char* name;
    const char* status;
    bool is_missing = false;
};

class KnownMissing : public AnyWebRows<StatusRow> {};

TEST_P(KnownMissing, OnlyWhenTheServerSaysSo) {
    m_site->fallback = Answer(GetRow().status);
    EXPECT_EQ(m_site->web_object->AsWeb()->IsFileKnownMissing(m_site->Url(u"sites/docs/100%20 #\u00E4.pdf")),
              GetRow().is_missing);
    for (const std::string& line : m_site->server.Lines())
        EXPECT_NE(line.find("/100%2520%20%23%C3%A4.pdf"), std::string::npos) << line;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KnownMissing,
    InBothDialects(StatusRow{.name = "NotFound", .status = "404 Not Found", .is_missing = true},
                   StatusRow{.name = "Found", .status = "200 OK"},
                   StatusRow{.name = "SignIn", .status = "401 Unauthorized"},
                   StatusRow{.name = "Forbidden", .status = "403 Forbidden"},
                   StatusRow{.name = "Gone", .status = "410 Gone"},
                   StatusRow{.name = "Busy", .status = "429 Too Many Requests"},
                   StatusRow{.name = "Broken", .status = "500 Oops"}),
    NameOfDialectAndRow());

}  // namespace
