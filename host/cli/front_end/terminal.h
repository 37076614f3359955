// A person at a terminal, who reads lines and answers questions. One question at a time; any thread.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace cli {

class Terminal {
public:
    virtual ~Terminal() = default;
    // Whether somebody is there to answer.
    virtual bool CanAsk() const = 0;
    // Shows a line without control characters in it.
    virtual void Show(std::string_view line) = 0;
    // Nothing at the end of input or on an interrupt.
    virtual std::optional<std::string> Ask(std::string_view question, bool echo) = 0;
    // Held for the length of a prompt that takes several questions.
    std::recursive_mutex& mutex() { return m_mutex; }

private:
    std::recursive_mutex m_mutex;
};

// Standard input and standard error of this process.
class ProcessTerminal final : public Terminal {
public:
    bool CanAsk() const override;
    void Show(std::string_view line) override;
    std::optional<std::string> Ask(std::string_view question, bool echo) override;
};

}  // namespace cli
