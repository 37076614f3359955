// Ctrl-C while the server is silent: the command ends at once as cancelled, and not with the server's limit.
#include <gtest/gtest.h>

#include <csignal>

#include "tests/e2e/fault_fixture.h"

namespace {

using namespace testing_support;

class Interrupt : public FaultFixture, public testing::WithParamInterface<const char*> {
protected:
    // The server's own limit is far longer than a test may take.
    Interrupt() : FaultFixture({"--generation", GetParam()}, 600'000) { m_host.AddPlace(*m_server, "alice"); }

    // Runs a command, interrupts it when the server has fallen silent; what it said.
    std::string Interrupted(const std::vector<std::string>& command) {
        const auto process = m_host.Start(command);
        EXPECT_TRUE(Comes([&] { return m_server->FaultsFired() > 0 || !process->IsRunning(); }));
        process->Signal(SIGINT);
        EXPECT_EQ(process->Wait(), 3) << m_host.LastError();
        return m_host.LastError();
    }
};

TEST_P(Interrupt, EndsTheWaitForASilentServer) {
    const std::string library = m_server->Site() + "/Shared%20Documents";
    for (const char* fault : {"stall", "stall-headers", "stall-body"}) {
        for (const auto& command : std::vector<std::vector<std::string>>{
                 {"ls", library}, Get(), Put("new.txt"), {"checkout", Url()}}) {
            SCOPED_TRACE(fault + (" " + command.front()));
            SetFault(R"("times":0)", std::string(R"("kind":")") + fault + '"');
            EXPECT_NE(Interrupted(command).find("cancelled"), std::string::npos);
        }
    }
    m_server->ClearFaults();
    EXPECT_EQ(m_server->Document(kName), kFirst);
    EXPECT_EQ(m_server->CheckedOutBy(kName), "");
}

TEST_P(Interrupt, OfAnUploadKeepsWhatWasSaved) {
    SetFault(R"("method":"PUT","times":0)", R"("kind":"stall")");
    Interrupted(Edit());
    m_server->ClearFaults();
    EXPECT_EQ(m_server->Document(kName), kFirst);
    EXPECT_EQ(m_host.Run({"recover", "--send", "--yes", Url()}).status, 0);
    EXPECT_EQ(m_server->Document(kName), kSecond);
}

INSTANTIATE_TEST_SUITE_P(Generations, Interrupt, testing::Values("modern", "2013"),
                         [](const auto& row) { return std::string("Of") + row.param; });

}  // namespace
