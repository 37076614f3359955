// Times are told in the zone of the user's system.
#include <cstdlib>
#include <ctime>

#include "tests/interfaces/decisions.h"

namespace interfaces {

namespace {

using ZoneTest = DecisionTest;

// The zone of this program for as long as the object lives.
class Zone {
public:
    explicit Zone(const char* name) {
        setenv("TZ", name, 1);
        tzset();
    }
    ~Zone() {
        unsetenv("TZ");
        tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;
};

TEST_F(ZoneTest, AConflictIsToldWithTheServersTimeInTheUsersZone) {
    const Zone zone("ABC-5:30");
    const std::string document = MakeDocument();
    Editor asking(Server(), "alice", {{"on_save_conflict", "1"}});
    Editor refusing(Server(), "alice", {{"on_save_conflict", "0"}});
    const auto asked = asking.Open(document, kRead).file;
    const auto refused = refusing.Open(document, kRead).file;
    Server().AdminFor("write", "bob&modified=2031-01-15T20:04:06Z", document, "by bob");
    EXPECT_EQ(asked->Reopen(kWrite, nullptr, nullptr), kCanceled);
    const auto prompts = asking.TakePrompts();
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(refused->Reopen(kWrite, refusing.details(), nullptr), kOutdated);
    for (const std::string& text : {prompts[0].text, refusing.TakeMessage()}) {
        EXPECT_NE(text.find("1:34:06"), std::string::npos) << text;
        EXPECT_NE(text.find("16"), std::string::npos) << "it is the next day there: " << text;
    }
}

}  // namespace

}  // namespace interfaces
