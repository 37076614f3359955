// Strings, variants, arrays and streams: who owns what, and what a copy is.
#include <gtest/gtest.h>

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
        const Variant copy(whole);
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
    EXPECT_FALSE(second);
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
