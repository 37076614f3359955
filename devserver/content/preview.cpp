#include "content/preview.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace devserver {
namespace {

std::string BigEndian(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

std::uint32_t CrcOf(const std::string& bytes) {
    static const auto kTable = [] {
        std::array<std::uint32_t, 256> result{};
        for (std::uint32_t n = 0; n < 256; ++n) {
            auto c = n;
            for (int bit = 0; bit < 8; ++bit) c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            result[n] = c;
        }
        return result;
    }();
    std::uint32_t crc = 0xFFFFFFFFu;
    for (char c : bytes) crc = kTable[(crc ^ static_cast<unsigned char>(c)) & 255] ^ (crc >> 8);
    return ~crc;
}

std::string Chunk(const std::string& type, const std::string& data) {
    return BigEndian(static_cast<std::uint32_t>(data.size())) + type + data + BigEndian(CrcOf(type + data));
}

// A zlib stream of stored blocks; pictures this small need no compression.
std::string StoredZlib(const std::string& data) {
    std::string out("\x78\x01", 2);
    std::uint32_t a = 1, b = 0;
    for (char c : data) {
        a = (a + static_cast<unsigned char>(c)) % 65521;
        b = (b + a) % 65521;
    }
    for (std::size_t at = 0; at < data.size();) {
        auto size = std::min<std::size_t>(65535, data.size() - at);
        bool last = at + size == data.size();
        auto length = static_cast<std::uint16_t>(size), inverse = static_cast<std::uint16_t>(~length);
        out += static_cast<char>(last ? 1 : 0);
        for (auto value : {length, inverse}) {
            out += static_cast<char>(value & 255);
            out += static_cast<char>(value >> 8);
        }
        out.append(data, at, size);
        at += size;
    }
    return out + BigEndian((b << 16) | a);
}

}  // namespace

std::string PreviewPng(const Item& item, int resolution) {
    auto scale = static_cast<std::uint32_t>(std::clamp(resolution, 0, 6)) + 1;
    std::uint32_t width = 48 * scale, height = 64 * scale;
    std::string pixels;
    auto seed = CrcOf(item.name + std::to_string(item.size));
    for (std::uint32_t y = 0; y < height; ++y) {
        pixels += '\0';
        for (std::uint32_t x = 0; x < width; ++x) {
            bool edge = x == 0 || y == 0 || x + 1 == width || y + 1 == height;
            bool line = y % 8 < 3 && x > 5 && x < width - 5 - (seed >> (y / 8 % 4 * 8)) % 16;
            pixels += static_cast<char>(edge ? 96 : line ? 160 : 255);
        }
    }
    auto header = BigEndian(width) + BigEndian(height) + std::string("\x08\x00\x00\x00\x00", 5);
    return std::string("\x89PNG\r\n\x1a\n", 8) + Chunk("IHDR", header) + Chunk("IDAT", StoredZlib(pixels)) +
           Chunk("IEND", "");
}

}  // namespace devserver
