// Programs of the system outside, which `tests/windows/with-starter` starts and ends for this one.
#include "tests/support/process.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <thread>

#include "tests/windows/support/connection.h"

namespace testing_support {

namespace {

// To the starter, by the id of the process; closing the connection kills the process.
std::map<pid_t, Connection>& Connections() {
    static std::map<pid_t, Connection> connections;
    return connections;
}

const char* Variable(const char* name) {
    const char* value = std::getenv(name);
    if (!value)
        throw std::runtime_error(std::string(name) + " isn't set: run this by tests/windows/with-starter");
    return value;
}

std::string DescriptionOf(const ProcessOptions& options) {
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> json(text);
    json.StartObject();
    json.Key("arguments");
    json.StartArray();
    for (const std::string& argument : options.arguments) json.String(argument.c_str());
    json.EndArray();
    json.Key("out");
    json.String(options.out.string().c_str());
    json.Key("err");
    json.String(options.err.string().c_str());
    json.EndObject();
    return std::string(text.GetString()) + "\n";
}

}  // namespace

Process::Process(const ProcessOptions& options) {
    const auto port = static_cast<std::uint16_t>(std::stoi(Variable("STARTER_PORT")));
    static pid_t next = 1;
    m_id = next++;
    Connection& connection = Connections().try_emplace(m_id, port).first->second;
    connection.Send(DescriptionOf(options));
}

Process::~Process() {
    Connections().erase(m_id);
}

bool Process::Reap(int) {
    const auto found = Connections().find(m_id);
    if (found == Connections().end() || !found->second.HasMore()) return false;
    const std::string status = found->second.Receive();
    m_status = status.empty() ? -1 : std::stoi(status);
    return true;
}

bool Process::IsRunning() {
    return !m_status && !Reap(0);
}

void Process::Signal(int number) const {
    if (!m_status) Connections().at(m_id).Send(std::to_string(number) + "\n");
}

int Process::Wait(int limit_seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(limit_seconds);
    while (IsRunning() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return m_status.value_or(-1);
}

std::string ProgramPath(const std::string& name) {
    return Variable("PROGRAMS") + ("/" + name);
}

bool Comes(const std::function<bool()>& event) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!event()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace testing_support
