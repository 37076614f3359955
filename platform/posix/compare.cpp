// Comparison of text: without case, by logical order, and the extension of a file name.
// Any thread; comparing for equality allocates nothing.
#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "platform/text.h"

namespace {

using View = std::u16string_view;

constexpr char16_t FoldAscii(char16_t c) {
    return c >= u'A' && c <= u'Z' ? c + 0x20 : c;
}

const UNormalizer2* Nfc() {
    static const UNormalizer2* const instance = [] {
        UErrorCode error = U_ZERO_ERROR;
        return unorm2_getNFCInstance(&error);
    }();
    return instance;
}

// Gives the units of a text one by one: decomposed, folded, without ignorable characters.
class FoldedUnits {
public:
    FoldedUnits(View text, bool fold) : m_text(text), m_fold(fold) {}

    // -1 at the end.
    int next() {
        while (m_at == m_end) {
            if (m_text.empty()) return -1;
            const char16_t first = m_text.front();
            if (first < 0x80) {
                m_text.remove_prefix(1);
                return m_fold ? FoldAscii(first) : first;
            }
            Load();
        }
        return m_units[m_at++];
    }

private:
    void Load() {
        std::size_t used = 0;
        UChar32 c;
        U16_NEXT(m_text.data(), used, m_text.size(), c);
        const View source = m_text.substr(0, used);
        m_text.remove_prefix(used);
        m_at = m_end = 0;
        if (u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT)) return;
        std::array<char16_t, 32> decomposed;
        UErrorCode error = U_ZERO_ERROR;
        int32_t count = unorm2_getDecomposition(Nfc(), c, decomposed.data(),
                                                static_cast<int32_t>(decomposed.size()), &error);
        if (U_FAILURE(error) || count < 0) {
            std::copy(source.begin(), source.end(), decomposed.begin());
            count = static_cast<int32_t>(source.size());
        }
        error = U_ZERO_ERROR;
        if (m_fold) {
            m_end = u_strFoldCase(m_units.data(), static_cast<int32_t>(m_units.size()), decomposed.data(),
                                  count, U_FOLD_CASE_DEFAULT, &error);
        }
        if (!m_fold || U_FAILURE(error)) {
            std::copy_n(decomposed.begin(), count, m_units.begin());
            m_end = count;
        }
    }

    View m_text;
    bool m_fold;
    int m_at = 0;
    int m_end = 0;
    std::array<char16_t, 64> m_units;
};

int CompareFolded(View a, View b, bool fold) {
    FoldedUnits left(a, fold);
    FoldedUnits right(b, fold);
    for (;;) {
        const int x = left.next();
        const int y = right.next();
        if (x != y) return x < y ? CSTR_LESS_THAN : CSTR_GREATER_THAN;
        if (x < 0) return CSTR_EQUAL;
    }
}

// The user's collation of single characters; case makes no difference, accents do.
class CharacterOrder {
public:
    CharacterOrder() {
        UErrorCode error = U_ZERO_ERROR;
        m_collator = ucol_open("", &error);
        if (U_SUCCESS(error)) ucol_setStrength(m_collator, UCOL_SECONDARY);
        for (char16_t c = 0; c < 128; ++c) m_sorted[c] = c;
        std::stable_sort(m_sorted.begin(), m_sorted.end(), [this](auto a, auto b) { return Slow(a, b) < 0; });
        int rank = 0;
        for (std::size_t i = 0; i < m_sorted.size(); ++i) {
            if (i > 0 && Slow(m_sorted[i - 1], m_sorted[i]) < 0) ++rank;
            m_ranks[m_sorted[i]] = rank;
        }
    }

    int Compare(UChar32 a, UChar32 b) const {
        if (a == b) return 0;
        if (a < 128 && b < 128)
            return m_ranks[static_cast<std::size_t>(a)] - m_ranks[static_cast<std::size_t>(b)];
        return Slow(a, b);
    }

    // Bytes that compare like the characters; those of one are never the beginning of those of another.
    void AppendKey(UChar32 c, std::string& key) const {
        if (!m_collator) {
            key += ByteOf(0);
            for (int shift = 16; shift >= 0; shift -= 8) key += static_cast<char>(c >> shift);
            return;
        }
        if (c < 128) {
            key += ByteOf(m_ranks[static_cast<std::size_t>(c)]);
            return;
        }
        // The first character of ASCII that is not before this one.
        const auto found = std::partition_point(m_sorted.begin(), m_sorted.end(),
                                                [&](char16_t x) { return Slow(x, c) < 0; });
        if (found != m_sorted.end() && Slow(*found, c) == 0) {
            key += ByteOf(m_ranks[*found]);
            return;
        }
        key += static_cast<char>(found == m_sorted.end() ? kBehindAscii : ByteOf(m_ranks[*found]) - 1);
        AppendCollationKey(c, key);
    }

private:
    int Slow(UChar32 a, UChar32 b) const {
        if (!m_collator) return a < b ? -1 : a > b;
        char16_t left[2], right[2];
        int32_t left_size = 0, right_size = 0;
        U16_APPEND_UNSAFE(left, left_size, a);
        U16_APPEND_UNSAFE(right, right_size, b);
        return ucol_strcoll(m_collator, left, left_size, right, right_size);
    }

    // Every second byte, so that what lies between two characters of ASCII has a byte of its own.
    static constexpr int kFirstAscii = 4;
    static constexpr int kBehindAscii = 0xFF;
    static char ByteOf(int rank) { return static_cast<char>(kFirstAscii + 2 * rank); }

    // Ends with the zero that ICU puts behind each key.
    void AppendCollationKey(UChar32 c, std::string& key) const {
        char16_t text[2];
        int32_t size = 0;
        U16_APPEND_UNSAFE(text, size, c);
        std::array<uint8_t, 64> bytes{};
        const int32_t capacity = static_cast<int32_t>(bytes.size());
        const int32_t length = ucol_getSortKey(m_collator, text, size, bytes.data(), capacity);
        key.append(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::size_t>(std::min(length, capacity)));
    }

    UCollator* m_collator = nullptr;
    std::array<char16_t, 128> m_sorted;
    std::array<int, 128> m_ranks;
};

const CharacterOrder& UsersOrder() {
    static const CharacterOrder order;
    return order;
}

constexpr bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

// Takes a run of digits off the text, without its leading zeros.
View TakeNumber(View& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsDigit);
    View digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    digits.remove_prefix(std::min(digits.find_first_not_of(u'0'), digits.size()));
    return digits;
}

int CompareNumbers(View a, View b) {
    if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

UChar32 TakeCharacter(View& text) {
    std::size_t used = 0;
    UChar32 c;
    U16_NEXT(text.data(), used, text.size(), c);
    text.remove_prefix(used);
    return c;
}

// Numbers come before all characters; of two the one with more digits is greater.
void AppendNumberKey(View digits, std::string& key) {
    constexpr char kNumber = 2;
    constexpr std::size_t kLong = 0xFF;
    key += kNumber;
    key += static_cast<char>(std::min(digits.size(), kLong));
    if (digits.size() >= kLong) {
        for (int shift = 24; shift >= 0; shift -= 8) key += static_cast<char>(digits.size() >> shift);
    }
    for (const char16_t digit : digits) key += static_cast<char>(digit);
}

constexpr int Sign(int value) {
    return (value > 0) - (value < 0);
}

}  // namespace

int CompareStringW(LCID locale, DWORD flags, LPCWSTR a, int a_length, LPCWSTR b, int b_length) {
    if (!a || !b || locale != LOCALE_INVARIANT || (flags & ~NORM_IGNORECASE)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    View left = a_length < 0 ? View(a) : View(a, static_cast<std::size_t>(a_length));
    View right = b_length < 0 ? View(b) : View(b, static_cast<std::size_t>(b_length));
    const bool fold = (flags & NORM_IGNORECASE) != 0;
    const std::size_t shorter = std::min(left.size(), right.size());
    std::size_t i = 0;
    while (i < shorter) {
        const char16_t x = left[i];
        const char16_t y = right[i];
        if ((x | y) >= 0x80 || (x != y && (!fold || FoldAscii(x) != FoldAscii(y)))) break;
        ++i;
    }
    return CompareFolded(left.substr(i), right.substr(i), fold);
}

int StrCmpLogicalW(LPCWSTR a, LPCWSTR b) {
    const CharacterOrder& order = UsersOrder();
    View left = a ? View(a) : View();
    View right = b ? View(b) : View();
    while (!left.empty() && !right.empty()) {
        const bool left_number = IsDigit(left.front());
        const bool right_number = IsDigit(right.front());
        if (left_number != right_number) return left_number ? -1 : 1;
        const int result = left_number ? CompareNumbers(TakeNumber(left), TakeNumber(right))
                                       : order.Compare(TakeCharacter(left), TakeCharacter(right));
        if (result) return Sign(result);
    }
    return static_cast<int>(right.empty()) - static_cast<int>(left.empty());
}

int LCMapStringW(LCID locale, DWORD flags, LPCWSTR text, int length, LPWSTR key, int key_size) {
    const bool is_known = locale == LOCALE_USER_DEFAULT || locale == LOCALE_SYSTEM_DEFAULT;
    if (!is_known || !text || key_size < 0 || (key_size > 0 && !key)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (flags != (LCMAP_SORTKEY | NORM_IGNORECASE | SORT_DIGITSASNUMBERS)) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    const CharacterOrder& order = UsersOrder();
    thread_local std::string made;
    made.clear();
    View rest = length < 0 ? View(text) : View(text, static_cast<std::size_t>(length));
    while (!rest.empty()) {
        if (IsDigit(rest.front())) {
            AppendNumberKey(TakeNumber(rest), made);
        } else {
            order.AppendKey(TakeCharacter(rest), made);
        }
    }
    const int needed = static_cast<int>(made.size());
    if (key_size == 0) return needed;
    if (key_size < needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::copy(made.begin(), made.end(), reinterpret_cast<char*>(key));
    return needed;
}

LPWSTR PathFindExtensionW(LPCWSTR path) {
    if (!path) return nullptr;
    const View text(path);
    const std::size_t dot = text.rfind(u'.');
    const bool found = dot != View::npos && text.find_first_of(u"\\ ", dot) == View::npos;
    return const_cast<LPWSTR>(path + (found ? dot : text.size()));
}
