// A terminal with nobody at it: what no script answers counts as closed. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/prompts/terminal.h"

namespace testing_support {

class SilentTerminal final : public host::Terminal {
public:
    bool CanAsk() const override { return false; }
    void Tell(std::string_view) override {}
    std::optional<std::string> Ask(std::string_view, bool) override { return std::nullopt; }
};

}  // namespace testing_support
