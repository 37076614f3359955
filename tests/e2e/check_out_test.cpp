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
