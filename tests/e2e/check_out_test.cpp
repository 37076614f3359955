// What a failed edit says about the check-out that it leaves, and which one it gives back.
#include <gtest/gtest.h>

#include "tests/e2e/fault_fixture.h"

namespace {

using namespace testing_support;

class CheckOut : public FaultFixture {
protected:
    CheckOut() : FaultFixture({}, 5000) {
        m_host.AddPlace(*m_server, "alice");
        EXPECT_EQ(m_host.Run({"prefs", "on_open_checked_out_none=8"}).status, 0);
    }

    ProcessResult EditWithCheckOut(const std::string& script) const {
        return m_host.Run({"edit", Url(), "--", "sh", "-c", script});
    }
    static void ExpectHint(const ProcessResult& result) {
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("checked out to you: 'sphost checkin"), std::string::npos) << result.err;
    }
};

TEST_F(CheckOut, OfAnEditWhoseCommandFailsIsGivenBack) {
    const ProcessResult failed = EditWithCheckOut("exit 3");
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(m_server->CheckedOutBy(kName), "") << failed.err;
    m_server->CheckOutAs("alice", kName);
    ExpectHint(EditWithCheckOut("exit 3"));
    EXPECT_NE(m_server->CheckedOutBy(kName), "") << "it was there before";
}

// By the default preferences a save checks in and keeps, and the close then gives the check-out up.
TEST_F(CheckOut, OfBeforeAnEditOutlivesItUnlessSomebodySaysSo) {
    const std::string answer = "sphost.endEarlierCheckOut.question=discard";
    const auto edit = [&](const std::string& content, const std::vector<std::string>& more) {
        std::vector<std::string> words{"edit", Url()};
        words.insert(words.end(), more.begin(), more.end());
        words.insert(words.end(), {"--", "sh", "-c", "printf " + content + " > \"$0\""});
        const ProcessResult result = m_host.Run(words);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(m_server->Document(kName), content);
    };
    m_server->CheckOutAs("alice", kName);
    edit("one", {});
    EXPECT_NE(m_server->CheckedOutBy(kName), "");
    ASSERT_EQ(m_host.Run({"prefs", "on_close_checked_out_no_need_check_in=1"}).status, 0);
    edit("two", {"--yes"});
    EXPECT_NE(m_server->CheckedOutBy(kName), "");
    EXPECT_EQ(m_host.Run({"prefs", "on_close_checked_out_no_need_check_in"}).out,
              "on_close_checked_out_no_need_check_in=1\n");
    ASSERT_EQ(m_host.Run({"prefs", "on_close_checked_out_no_need_check_in=0"}).status, 0);
    edit("three", {"--answer", answer});
    EXPECT_EQ(m_server->CheckedOutBy(kName), "");
    edit("four", {});
    EXPECT_EQ(m_server->CheckedOutBy(kName), "") << "the edit's own is given back";
}

TEST_F(CheckOut, ThatAFailedSaveLeavesIsTold) {
    ExpectHint(EditWithCheckOut("printf mine > \"$0\"; exit 3"));
    EXPECT_NE(m_server->CheckedOutBy(kName), "") << "what waits still needs it";
    const ProcessResult dropped =
        m_host.Run({"recover", "--drop", Url(), "--answer", "sphost.giveUpCheckOut.question=discard"});
    EXPECT_EQ(dropped.status, 0) << dropped.err;
    EXPECT_EQ(m_server->CheckedOutBy(kName), "") << dropped.out;
    SetFault(R"("method":"PUT","times":0)", R"("kind":"status","status":500)");
    ExpectHint(EditWithCheckOut("printf mine > \"$0\""));
    m_server->ClearFaults();
    const ProcessResult kept = m_host.Run({"recover", "--drop", Url()});
    EXPECT_NE(kept.out.find("still checked out to you"), std::string::npos) << kept.out;
    EXPECT_EQ(m_server->Document(kName), kFirst);
}

}  // namespace
