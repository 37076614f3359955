// How many requests an operation costs from a cold start, on every generation; docs/requests.md has the
// reasons.
#include <gtest/gtest.h>

#include "tests/e2e/fault_fixture.h"

namespace {

using namespace testing_support;

struct Costs {
    const char* generation;
    std::size_t listing, get, edit, put;
};

class Requests : public FaultFixture, public testing::WithParamInterface<Costs> {
protected:
    Requests() : FaultFixture({"--generation", GetParam().generation}, 20000) {
        m_host.AddPlace(*m_server, "alice");
        EXPECT_EQ(m_host.Run({"prefs", "on_open_checked_out_none=8"}).status, 0);
    }

    // Runs a command; gives its requests, which a failed expectation shows.
    std::vector<std::string> CostOf(const std::vector<std::string>& command) {
        m_server->ClearRequests();
        const ProcessResult result = m_host.Run(command);
        EXPECT_EQ(result.status, 0) << result.err;
        std::vector<std::string> lines;
        for (const LoggedRequest& request : m_server->Log()) {
            lines.push_back(std::to_string(request.status) + " " + request.method + " " + request.path + "?" +
                            request.query.substr(0, 60) + "\n");
        }
        return lines;
    }
};

TEST_P(Requests, AreNoMoreThanAnOperationNeeds) {
    const auto expect = [&](const char* what, std::size_t most, const std::vector<std::string>& command) {
        const auto requests = CostOf(command);
        std::string lines;
        for (const std::string& request : requests) lines += request;
        EXPECT_LE(requests.size(), most) << what << ":\n" << lines;
    };
    expect("a listing", GetParam().listing, {"ls", m_server->Site() + "/Shared%20Documents"});
    expect("a get", GetParam().get, Get());
    expect("an edit, saved and checked in", GetParam().edit,
           {"edit", Url(), "--yes", "--", "sh", "-c", "printf second > \"$0\""});
    EXPECT_EQ(m_server->Document(kName), kSecond);
    EXPECT_EQ(m_server->CheckedOutBy(kName), "");
    expect("a put", GetParam().put, {"put", "--yes", Source().string(), Url("new.txt")});
}

INSTANTIATE_TEST_SUITE_P(
    Generations, Requests,
    testing::Values(Costs{.generation = "modern", .listing = 4, .get = 8, .edit = 32, .put = 35},
                    Costs{.generation = "2013", .listing = 5, .get = 8, .edit = 23, .put = 22},
                    Costs{.generation = "2010", .listing = 5, .get = 8, .edit = 23, .put = 22}),
    [](const auto& row) { return std::string("Of") + row.param.generation; });

}  // namespace
