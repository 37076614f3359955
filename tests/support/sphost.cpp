#include "tests/support/sphost.h"

#include <stdexcept>

#include "tests/support/trace_log.h"

namespace testing_support {

Sphost::Sphost() : m_profile(m_folder / "profile") {
    std::filesystem::create_directories(m_folder / "tmp");
    environment["TMPDIR"] = (m_folder / "tmp").string();
    environment["LC_ALL"] = "C.UTF-8";
}

ProcessOptions Sphost::Options(const std::vector<std::string>& arguments, const std::string& input) const {
    static int number = 0;
    ProcessOptions options;
    options.arguments = prefix;
    options.arguments.insert(options.arguments.end(),
                             {ProgramPath("sphost"), "--profile", m_profile.string()});
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    options.environment = environment;
    options.input = input;
    options.out = m_folder / ("out" + std::to_string(++number));
    options.err = m_folder / ("err" + std::to_string(number));
    m_last_output = options.out;
    m_last_error = options.err;
    return options;
}

std::string Sphost::LastError() const {
    return std::filesystem::exists(m_last_error) ? ReadText(m_last_error) : std::string();
}

std::string Sphost::LastOutput() const {
    return std::filesystem::exists(m_last_output) ? ReadText(m_last_output) : std::string();
}

ProcessResult Sphost::Run(const std::vector<std::string>& arguments, const std::string& input) const {
    return RunToEnd(Options(arguments, input));
}

ProcessResult Sphost::RunAtTerminal(const std::vector<std::string>& arguments,
                                    const std::string& typed) const {
    return testing_support::RunAtTerminal(Options(arguments, {}), typed);
}

std::unique_ptr<Process> Sphost::Start(const std::vector<std::string>& arguments,
                                       const std::string& input) const {
    return std::make_unique<Process>(Options(arguments, input));
}

void Sphost::AddPlace(const DevServer& server, const std::string& user) const {
    const ProcessResult added =
        server.IsModern()
            ? Run({"place", "add", server.Site(), "--api", "modern", "--token-stdin"},
                  server.Token(user) + "\n")
            : Run({"place", "add", server.Site(), "--api", "compatible", "--user", user, "--password-stdin"},
                  user + "\n");
    if (added.status != 0) throw std::runtime_error("place add: " + added.err);
}

void Sphost::AddPlaceByCode(const DevServer& server) const {
    const ProcessResult added = Run({"place", "add", server.Site(), "--api", "modern", "--authority",
                                     server.Origin() + "/organizations/"});
    if (added.status != 0) throw std::runtime_error("place add: " + added.err);
}

std::string Sphost::TraceLog() const {
    return ReadTraceLogs(m_folder / "tmp");
}

}  // namespace testing_support
