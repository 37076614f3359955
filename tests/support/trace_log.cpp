#include "tests/support/trace_log.h"

#include "tests/support/temp_folder.h"

namespace testing_support {

namespace fs = std::filesystem;

namespace {

void AppendUtf8(std::string& text, char32_t c) {
    if (c < 0x80) {
        text += static_cast<char>(c);
    } else if (c < 0x800) {
        text += {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
    } else {
        text += {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3F)),
                 static_cast<char>(0x80 | (c & 0x3F))};
    }
}

}  // namespace

std::string ReadTraceLogs(const fs::path& temporary_folder) {
    std::string text;
    const fs::path folder = temporary_folder / "TSMK-SharePoint";
    if (!fs::exists(folder)) return text;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string bytes = ReadText(entry.path());
        for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
            AppendUtf8(text, static_cast<char32_t>(static_cast<unsigned char>(bytes[at]) |
                                                   static_cast<unsigned char>(bytes[at + 1]) << 8));
        }
    }
    return text;
}

}  // namespace testing_support
