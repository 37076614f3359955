#include "tests/windows/support/image.h"

#include <windows.h>

#include <algorithm>
#include <cctype>

namespace testing_support {

namespace {

// What lies at an offset of a loaded library.
class Bytes {
public:
    explicit Bytes(void* library) : m_base(static_cast<const BYTE*>(library)) {}
    template <class T>
    const T* At(std::size_t offset) const {
        return reinterpret_cast<const T*>(m_base + offset);
    }
    const IMAGE_NT_HEADERS64& Headers() const {
        return *At<IMAGE_NT_HEADERS64>(static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }
    template <class T>
    const T* Directory(int number) const {
        return At<T>(Headers().OptionalHeader.DataDirectory[number].VirtualAddress);
    }

private:
    const BYTE* m_base;
};

std::set<std::string> ExportsOf(const Bytes& bytes) {
    const auto* table = bytes.Directory<IMAGE_EXPORT_DIRECTORY>(IMAGE_DIRECTORY_ENTRY_EXPORT);
    const auto* names = bytes.At<DWORD>(table->AddressOfNames);
    std::set<std::string> exports;
    for (DWORD i = 0; i < table->NumberOfNames; ++i) exports.insert(bytes.At<char>(names[i]));
    // What has a number alone.
    for (DWORD i = table->NumberOfNames; i < table->NumberOfFunctions; ++i)
        exports.insert("#" + std::to_string(table->Base + i));
    return exports;
}

std::set<std::string> ImportsOf(const Bytes& bytes) {
    std::set<std::string> imports;
    for (const auto* row = bytes.Directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT); row->Name;
         ++row) {
        std::string name = bytes.At<char>(row->Name);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        imports.insert(name);
    }
    return imports;
}

std::uint64_t Joined(DWORD high, DWORD low) {
    return std::uint64_t{high} << 32 | low;
}

void ReadVersion(void* library, Image& image) {
    const auto module = static_cast<HMODULE>(library);
    const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16));
    if (!found) return;
    // The fixed part follows the length, the type and the key "VS_VERSION_INFO".
    constexpr std::size_t kFixedPart = 40;
    const auto* data = static_cast<const BYTE*>(LockResource(LoadResource(module, found)));
    const auto* fixed = reinterpret_cast<const VS_FIXEDFILEINFO*>(data + kFixedPart);
    image.file_version = Joined(fixed->dwFileVersionMS, fixed->dwFileVersionLS);
    image.product_version = Joined(fixed->dwProductVersionMS, fixed->dwProductVersionLS);
}

}  // namespace

Image Describe(void* library) {
    const Bytes bytes(library);
    const WORD flags = bytes.Headers().OptionalHeader.DllCharacteristics;
    constexpr WORD kMoves = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA;
    Image image{.exports = ExportsOf(bytes),
                .imports = ImportsOf(bytes),
                .moves = (flags & kMoves) == kMoves,
                .runs_no_data = (flags & IMAGE_DLLCHARACTERISTICS_NX_COMPAT) != 0,
                .timestamp = bytes.Headers().FileHeader.TimeDateStamp};
    ReadVersion(library, image);
    return image;
}

}  // namespace testing_support
