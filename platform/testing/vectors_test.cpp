// Holds the text and URL functions against reference results, one row a case.
// The folder of the tables can be named in TEST_VECTORS.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/url.h"

namespace {

using Row = std::vector<std::u16string>;

std::u16string Widen(const std::string& bytes) {
    if (bytes.empty()) return {};
    std::u16string text(bytes.size(), u'\0');
    text.resize(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()),
                                                     text.data(), static_cast<int>(text.size()))));
    return text;
}

std::string Narrow(std::u16string_view text) {
    std::string bytes(text.size() * 3 + 1, '\0');
    if (text.empty()) return {};
    bytes.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

std::vector<Row> ReadTable(const std::string& name, std::size_t columns) {
    const char* folder = std::getenv("TEST_VECTORS");
    std::ifstream file(std::string(folder && *folder ? folder : VECTORS_FOLDER) + "/" + name);
    EXPECT_TRUE(file.is_open()) << name;
    std::vector<Row> rows;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        Row row;
        const std::u16string text = Widen(line);
        for (std::size_t begin = 0; begin <= text.size();) {
            const std::size_t end = std::min(text.find(u'\t', begin), text.size());
            row.push_back(text.substr(begin, end - begin));
            begin = end + 1;
        }
        row.resize(columns);
        rows.push_back(std::move(row));
    }
    EXPECT_FALSE(rows.empty()) << name;
    return rows;
}

std::u16string Component(LPCWSTR text, DWORD length) {
    return text ? std::u16string(text, length) : std::u16string();
}

std::u16string Number(long long value) {
    return Widen(std::to_string(value));
}

Row CanonicalizeAndCrack(const std::u16string& url, DWORD flags) {
    char16_t buffer[INTERNET_MAX_URL_LENGTH];
    DWORD length = INTERNET_MAX_URL_LENGTH;
    Row row{url, {}, u"0", {}, {}, {}, {}, {}, {}, {}, {}, u"0"};
    if (!InternetCanonicalizeUrlW(url.c_str(), buffer, &length, flags)) {
        row[11] = Number(GetLastError());
        return row;
    }
    row[3] = std::u16string(buffer, length);
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof parts;
    parts.dwHostNameLength = parts.dwUserNameLength = parts.dwPasswordLength = 1;
    parts.dwUrlPathLength = parts.dwExtraInfoLength = 1;
    if (!InternetCrackUrlW(buffer, 0, 0, &parts)) {
        row[11] = Number(GetLastError());
        return row;
    }
    row[2].assign(1, u'1');
    row[4] = Number(parts.nScheme);
    row[5] = Component(parts.lpszHostName, parts.dwHostNameLength);
    row[6] = Number(parts.nPort);
    row[7] = Component(parts.lpszUserName, parts.dwUserNameLength);
    row[8] = Component(parts.lpszPassword, parts.dwPasswordLength);
    row[9] = Component(parts.lpszUrlPath, parts.dwUrlPathLength);
    row[10] = Component(parts.lpszExtraInfo, parts.dwExtraInfoLength);
    return row;
}

// "URL|FLAGS" of a row in which this system is known to differ stands in VECTORS_DIFFERENT.
bool IsKnownToDiffer(const Row& row) {
    const char* different = std::getenv("VECTORS_DIFFERENT");
    return different && Narrow(row[0]) + "|" + Narrow(row[1]) == different;
}

constexpr int Sign(int value) {
    return (value > 0) - (value < 0);
}

TEST(Vectors, UrlsAreCanonicalizedAndCrackedAsOnTheReference) {
    for (const Row& expected : ReadTable("crack.tsv", 12)) {
        const DWORD flags = static_cast<DWORD>(std::stoul(Narrow(expected[1]), nullptr, 16));
        Row actual = CanonicalizeAndCrack(expected[0], flags);
        actual[1] = expected[1];
        if (IsKnownToDiffer(expected)) {
            EXPECT_NE(actual, expected) << "this row need not be left out any more";
            continue;
        }
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ(Narrow(actual[i]), Narrow(expected[i]))
                << Narrow(expected[0]) << " " << Narrow(expected[1]) << " column " << i;
        }
    }
}

TEST(Vectors, LogicalOrderIsTheReferences) {
    for (const Row& row : ReadTable("logical.tsv", 3)) {
        EXPECT_EQ(Sign(StrCmpLogicalW(row[0].c_str(), row[1].c_str())), std::stoi(Narrow(row[2])))
            << Narrow(row[0]) << " | " << Narrow(row[1]);
    }
}

TEST(Vectors, TextsAreEqualWhereTheReferenceSaysSo) {
    for (const Row& row : ReadTable("compare.tsv", 3)) {
        const int result =
            CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, row[0].c_str(), -1, row[1].c_str(), -1);
        ASSERT_NE(result, 0);
        EXPECT_EQ(result == CSTR_EQUAL, row[2] == u"0") << Narrow(row[0]) << " | " << Narrow(row[1]);
    }
}

TEST(Vectors, ExtensionsAreTheReferences) {
    for (const Row& row : ReadTable("extension.tsv", 2))
        EXPECT_EQ(Narrow(PathFindExtensionW(row[0].c_str())), Narrow(row[1])) << Narrow(row[0]);
}

}  // namespace
