// The person at the terminal: lines to read and questions to answer, on standard error and standard input.
// One prompt at a time; any thread.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace host {

class Terminal {
public:
    virtual ~Terminal() = default;
    // Whether somebody is there to answer.
    virtual bool CanAsk() const = 0;
    // Shows a line; control characters in it have been taken out by the caller.
    virtual void Tell(std::string_view line) = 0;
    // Nothing at the end of input or on an interrupt.
    virtual std::optional<std::string> Ask(std::string_view prompt, bool echo) = 0;
    // Held for the length of a prompt that takes several questions.
    std::recursive_mutex& mutex() { return m_mutex; }

private:
    std::recursive_mutex m_mutex;
};

// Standard input and standard error of this process.
class ProcessTerminal final : public Terminal {
public:
    bool CanAsk() const override;
    void Tell(std::string_view line) override;
    std::optional<std::string> Ask(std::string_view prompt, bool echo) override;
};

}  // namespace host
