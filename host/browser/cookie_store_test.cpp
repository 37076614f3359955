// The browser's stored cookies: saving, deleting, and damaged files.
#include "host/browser/cookie_store.h"

#include <gtest/gtest.h>

#include "host/base/failure.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using testing_support::ReadText;
using testing_support::TempFolder;
using testing_support::WriteText;

class Cookies : public ::testing::Test {
protected:
    static std::string Cookie(const std::string& name, const std::string& domain,
                              const std::string& expires = "4102444800") {
        return R"({"name":")" + name + R"(","value":"secret","domain":")" + domain + R"(","expires":)" +
               expires + "}";
    }
    // The names of the loaded cookies, in their order.
    std::string Names(const std::u16string& group) const {
        const std::string text = store.Load(group);
        std::string names;
        constexpr std::string_view kName = "\"name\":\"";
        for (auto at = text.find(kName); at != std::string::npos; at = text.find(kName, at)) {
            at += kName.size();
            names += text.substr(at, text.find('"', at) - at) + " ";
        }
        return names;
    }

    TempFolder folder;
    std::vector<std::string> warnings;
    Profile profile{folder / "profile", [this](const std::string& line) { warnings.push_back(line); }};
    CookieStore store{profile, std::make_shared<const Cipher>(profile.file("key"))};
};

TEST_F(Cookies, OnlyThoseThatOutliveTheBrowserAreKeptAndOnlyEnciphered) {
    EXPECT_EQ(store.Load(u"ds"), "[]");
    store.Save(u"ds", "[" + Cookie("kept", "a.test") + "," + Cookie("past", "a.test", "1000") +
                          R"(,{"name":"session","value":"secret","domain":"a.test"},7])");
    store.Save(u"other", "[" + Cookie("theirs", "a.test") + "]");
    EXPECT_EQ(Names(u"ds"), "kept ");
    EXPECT_EQ(Names(u"other"), "theirs ");
    const std::string text = ReadText(profile.file("cookies.json"));
    EXPECT_EQ(text.find("secret"), std::string::npos) << text;
    EXPECT_EQ(text.find("kept"), std::string::npos) << text;
    store.Save(u"ds", "[]");
    EXPECT_EQ(Names(u"ds"), "");
    EXPECT_EQ(Names(u"other"), "theirs ");
}

TEST_F(Cookies, AHostIsForgottenAloneAndADomainWithAllBelowIt) {
    const std::string all = "[" + Cookie("host", "a.test") + "," + Cookie("domain", ".a.test") + "," +
                            Cookie("below", "x.A.test") + "," + Cookie("tail", "xa.test") + "]";
    store.Save(u"ds", all);
    store.Delete(u"ds", u"A.test");
    EXPECT_EQ(Names(u"ds"), "below tail ");
    store.Save(u"ds", all);
    store.Delete(u"ds", u"y.a.test");
    EXPECT_EQ(Names(u"ds"), "host below tail ") << "the domain's goes to that host, too";
    store.Save(u"ds", all);
    store.Delete(u"other", u".a.test");
    EXPECT_EQ(Names(u"ds"), "host domain below tail ");
    store.Delete(u"ds", u".a.test");
    EXPECT_EQ(Names(u"ds"), "tail ");
}

TEST_F(Cookies, UnreadableCookiesCountAsNoneWithAWarning) {
    store.Save(u"ds", "[" + Cookie("kept", "a.test") + "]");
    const fs::path file = profile.file("cookies.json");
    std::string text = ReadText(file);
    text[text.find("sph1:") + 20] ^= 1;
    WriteText(file, text);
    EXPECT_EQ(store.Load(u"ds"), "[]");
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_NE(warnings[0].find("the browser's cookies can't be read"), std::string::npos) << warnings[0];
    store.Delete(u"ds", u"a.test");
    EXPECT_EQ(ReadText(file).find("sph1:"), std::string::npos) << "nobody can use it any more";
    for (const char* broken : {"", "[", "[]", R"({"ds":5})", R"({"ds":"plain"})"}) {
        WriteText(file, broken);
        EXPECT_EQ(store.Load(u"ds"), "[]") << broken;
        store.Save(u"ds", "[" + Cookie("new", "a.test") + "]");
        EXPECT_EQ(Names(u"ds"), "new ") << broken;
    }
}

}  // namespace
}  // namespace host
