// Settings templates from outside, over a tree that already holds values; the first byte says where the
// stored JSON ends and the template begins.
#include <cstdint>
#include <string_view>

#include "host/base/failure.h"
#include "host/profile/settings_tree.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t cut = std::min<std::size_t>(data[0], input.size());
    const auto tree = std::make_shared<host::SettingsTree>();
    try {
        if (cut > 0) tree->FromJson(input.substr(0, cut));
    } catch (const host::Failure&) {
    }
    const auto cab = tree->View();
    const auto xml = input.substr(cut);
    if (FAILED(cab->SetTemplate2(xml.data(), static_cast<LONG>(xml.size()), u"Root"))) return 0;
    // What was accepted must be stored and read back as the same.
    const std::string stored = tree->ToJson();
    const auto again = std::make_shared<host::SettingsTree>();
    again->FromJson(stored);
    again->SetTemplate(xml, u"Root");
    if (again->ToJson() != stored) __builtin_trap();
    return 0;
}
