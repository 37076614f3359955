// Strings, variants, arrays and streams: who owns what, and what a copy is.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "platform/com.h"
#include "platform/com_ptr.h"

namespace {

// Counts its references, and is never deleted.
struct Counted final : IUnknown {
    HRESULT QueryInterface(REFIID iid, void** out_object) override {
        *out_object = iid == kIidOf<IUnknown> ? this : nullptr;
        if (!*out_object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++count; }
    ULONG Release() override { return --count; }
    ULONG count = 0;
};

TEST(Bstr, LengthStandsInFrontAndAZeroBehind) {
    BSTR text = SysAllocStringLen(u"a\0b", 3);
    DWORD bytes;
    std::memcpy(&bytes, reinterpret_cast<char*>(text) - 4, 4);
    EXPECT_EQ(bytes, 6u);
    EXPECT_EQ(SysStringLen(text), 3u);
    EXPECT_EQ(std::u16string(text, 4), std::u16string(u"a\0b\0", 4));
    SysFreeString(text);
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFFF), nullptr);
}

TEST(Variant, ACopyOwnsItsTextAndItsReference) {
    Counted object;
    {
        Variant text(u"text");
        Variant text_copy(text);
        EXPECT_NE(text.get().bstrVal, text_copy.get().bstrVal);
        EXPECT_EQ(std::u16string(text_copy.get().bstrVal), u"text");
        const Variant held(static_cast<IUnknown*>(&object));
        Variant held_copy(held);
        EXPECT_EQ(object.count, 2u);
        held_copy = Variant(true);
        EXPECT_EQ(object.count, 1u);
        EXPECT_EQ(held_copy.get().boolVal, VARIANT_TRUE);
    }
    EXPECT_EQ(object.count, 0u);
    VARIANT bad{};
    bad.vt = 0x0FFF;
    EXPECT_EQ(VariantClear(&bad), DISP_E_BADVARTYPE);
}

struct ConversionRow {
    Variant value;
    HRESULT result;
    LONG number;
};

TEST(Variant, BecomesAWholeNumber) {
    Variant half;
    half.vt = VT_R8;
    half.dblVal = 2.5;
    Variant large(LONGLONG{0x80000000});
    const ConversionRow rows[] = {
        {Variant(), S_OK, 0},
        {Variant(true), S_OK, -1},
        {half, S_OK, 2},
        {Variant(LONGLONG{7}), S_OK, 7},
        {Variant(u" 12 "), S_OK, 12},
        {Variant(u"-3.6"), S_OK, -4},
        {Variant(u"+4"), S_OK, 4},
        {large, DISP_E_OVERFLOW, 0},
        {Variant(u"1e99"), DISP_E_OVERFLOW, 0},
        {Variant(u"two"), DISP_E_TYPEMISMATCH, 0},
        {Variant(u""), DISP_E_TYPEMISMATCH, 0},
        {Variant(static_cast<IUnknown*>(nullptr)), DISP_E_TYPEMISMATCH, 0},
    };
    for (const ConversionRow& row : rows) {
        SCOPED_TRACE(row.value.type());
        Variant target(u"before");
        EXPECT_EQ(VariantChangeType(&target, &row.value, 0, VT_I4), row.result);
        ASSERT_EQ(target.type(), SUCCEEDED(row.result) ? VT_I4 : VT_BSTR);
        EXPECT_TRUE(target.type() == VT_BSTR || target.lVal == row.number) << target.lVal;
    }
    EXPECT_EQ(VariantChangeType(&half, &half, 0, VT_I4), S_OK) << "in place";
    EXPECT_EQ(half.lVal, 2);
}

struct DayRow {
    double days;
    SYSTEMTIME time;
};

TEST(AutomationDate, CountsDaysOnBothSidesOfItsBeginning) {
    const DayRow rows[] = {
        {0, {1899, 12, 6, 30, 0, 0, 0, 0}},     {0.5, {1899, 12, 6, 30, 12, 0, 0, 0}},
        {-1.25, {1899, 12, 5, 29, 6, 0, 0, 0}}, {45351.999988425923, {2024, 2, 4, 29, 23, 59, 59, 0}},
        {-657434, {100, 1, 5, 1, 0, 0, 0, 0}},  {2958465, {9999, 12, 5, 31, 0, 0, 0, 0}},
    };
    for (DayRow row : rows) {
        SCOPED_TRACE(row.days);
        SYSTEMTIME time{};
        ASSERT_TRUE(VariantTimeToSystemTime(row.days, &time));
        EXPECT_EQ(std::memcmp(&time, &row.time, sizeof time), 0)
            << time.wYear << "-" << time.wMonth << "-" << time.wDay << " " << time.wHour << ":"
            << time.wMinute;
        double days = 0;
        ASSERT_TRUE(SystemTimeToVariantTime(&row.time, &days));
        EXPECT_NEAR(days, row.days, 1e-9);
    }
}

TEST(AutomationDate, RefusesWhatIsNoDate) {
    SYSTEMTIME time{2023, 2, 0, 29, 0, 0, 0, 0};
    double days = 0;
    EXPECT_FALSE(SystemTimeToVariantTime(&time, &days));
    time = {};
    EXPECT_FALSE(SystemTimeToVariantTime(&time, &days));
    for (const double wrong : {-657435.0, 2958466.0, std::nan("")})
        EXPECT_FALSE(VariantTimeToSystemTime(wrong, &time)) << wrong;
}

TEST(SafeArray, ElementsAreCopiedOutAndFreedWithTheArray) {
    Counted object;
    SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 5, 2);
    void* data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array, &data), S_OK);
    static_cast<VARIANT*>(data)[0] = Variant(static_cast<IUnknown*>(&object)).detach();
    static_cast<VARIANT*>(data)[1] = Variant(u"path").detach();
    EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(SafeArrayUnaccessData(array), S_OK);
    EXPECT_EQ(SafeArrayUnaccessData(array), E_UNEXPECTED);

    LONG lower = 0, upper = 0;
    EXPECT_EQ(SafeArrayGetLBound(array, 1, &lower), S_OK);
    EXPECT_EQ(SafeArrayGetUBound(array, 1, &upper), S_OK);
    EXPECT_EQ(SafeArrayGetLBound(array, 2, &lower), DISP_E_BADINDEX);
    EXPECT_EQ(lower, 5);
    EXPECT_EQ(upper, 6);

    Variant element;
    LONG index = 5;
    ASSERT_EQ(SafeArrayGetElement(array, &index, element.put()), S_OK);
    EXPECT_EQ(object.count, 2u);
    index = 7;
    EXPECT_EQ(SafeArrayGetElement(array, &index, element.put()), DISP_E_BADINDEX);
    EXPECT_EQ(object.count, 1u);

    Variant whole;
    whole.get().vt = VT_ARRAY | VT_VARIANT;
    whole.get().parray = array;
    {
        Variant copy;
        copy = whole;
        EXPECT_NE(copy.get().parray, array);
        EXPECT_EQ(object.count, 2u);
    }
    whole = Variant();
    EXPECT_EQ(object.count, 0u);
}

TEST(MemoryStream, KeepsWhatIsWrittenAndSeeksInIt) {
    ComPtr<IStream> stream;
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, stream.put()), S_OK);
    ULONG count = 0;
    EXPECT_EQ(stream->Write("hello", 5, &count), S_OK);
    EXPECT_EQ(count, 5u);
    ULARGE_INTEGER position;
    EXPECT_EQ(stream->Seek({-4}, STREAM_SEEK_END, &position), S_OK);
    EXPECT_EQ(position.QuadPart, 1u);
    char buffer[8] = {};
    EXPECT_EQ(stream->Read(buffer, sizeof buffer, &count), S_OK);
    EXPECT_EQ(std::string(buffer, count), "ello");
    EXPECT_EQ(stream->Seek({-1}, STREAM_SEEK_SET, nullptr), STG_E_INVALIDFUNCTION);
    // Writing behind the end fills the gap with zeros.
    EXPECT_EQ(stream->Seek({7}, STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(stream->Write("!", 1, nullptr), S_OK);
    STATSTG status;
    EXPECT_EQ(stream->Stat(&status, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(status.cbSize.QuadPart, 8u);
    EXPECT_EQ(status.type, STGTY_STREAM);
    EXPECT_EQ(stream->Seek({4}, STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(stream->Read(buffer, sizeof buffer, &count), S_OK);
    EXPECT_EQ(std::string(buffer, count), std::string("o\0\0!", 4));
    EXPECT_TRUE(stream.as<ISequentialStream>());
    EXPECT_FALSE(stream.as<IDispatch>());
}

TEST(MemoryStream, CopiesToAnotherAndStartsOverACopyOfGivenBytes) {
    const std::string bytes(100'000, 'x');
    const auto source = ComPtr<IStream>::attach(
        SHCreateMemStream(reinterpret_cast<const BYTE*>(bytes.data()), static_cast<UINT>(bytes.size())));
    HGLOBAL memory = GlobalAlloc(GHND, 0);
    ComPtr<IStream> target;
    ASSERT_EQ(CreateStreamOnHGlobal(memory, FALSE, target.put()), S_OK);
    ULARGE_INTEGER read, written;
    EXPECT_EQ(source->CopyTo(target.get(), {~0ull}, &read, &written), S_OK);
    EXPECT_EQ(written.QuadPart, bytes.size());
    EXPECT_EQ(std::memcmp(GlobalLock(memory), bytes.data(), bytes.size()), 0);
    EXPECT_EQ(GlobalUnlock(memory), FALSE);
    target.reset();
    EXPECT_EQ(GlobalFree(memory), nullptr);
}

TEST(ComPtr, TakesGivesAndMovesReferences) {
    Counted object;
    ComPtr<Counted> first(&object);
    ComPtr<IUnknown> second = first;
    EXPECT_EQ(object.count, 2u);
    ComPtr<IUnknown> third = std::move(second);
    EXPECT_EQ(object.count, 2u);
    EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): what was moved from is null
    EXPECT_TRUE(third.as<IUnknown>());
    EXPECT_EQ(object.count, 2u);
    IUnknown* raw = third.detach();
    EXPECT_EQ(object.count, 2u);
    raw->Release();
    static_cast<void>(first.put());
    EXPECT_EQ(object.count, 0u);
    EXPECT_EQ(ComPtr<IUnknown>().CopyTo(nullptr), E_POINTER);
}

}  // namespace
