// A server with one document, a place on it, and the commands that its faults are tried on. One thread.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/sphost.h"

namespace testing_support {

class FaultFixture : public ::testing::Test {
protected:
    static constexpr char kName[] = "report.txt";
    static inline const std::string kFirst = std::string(200000, 'A');
    static inline const std::string kSecond = "second";

    FaultFixture(const std::vector<std::string>& server_options, int limit_milliseconds) {
        WriteText(m_seed / kName, kFirst);
        m_server.emplace(server_options, m_seed.Path());
        for (const char* limit : {"PLATFORM_RECEIVE_TIMEOUT_MS", "PLATFORM_CONNECT_TIMEOUT_MS"})
            m_host.environment[limit] = std::to_string(limit_milliseconds);
        WriteText(Source(), kSecond);
    }

    std::filesystem::path Source() const { return m_host.Folder() / "source"; }
    std::filesystem::path Target() const { return m_host.Folder() / "target"; }
    std::string Url(const std::string& name = kName) const { return m_server->Url(name); }
    std::vector<std::string> Get() const { return {"get", Url(), Target().string()}; }
    std::vector<std::string> Put(const std::string& name = kName) const {
        return {"put", Source().string(), Url(name)};
    }
    std::vector<std::string> Edit(const std::string& name = kName) const {
        return {"edit", Url(name), "--answer", "sp.msg.askForCheckOutOnOpen=sp.btn.open",
                "--",   "sh",      "-c",       "printf second > \"$0\""};
    }

    void SetFault(const std::string& match, const std::string& fault) {
        m_server->ClearFaults();
        m_server->SetFaults(R"([{"match":{)" + match + R"(},"fault":{)" + fault + "}}]");
    }

    TempFolder m_seed;
    std::optional<DevServer> m_server;
    Sphost m_host;
};

}  // namespace testing_support
