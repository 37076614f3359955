#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/scaffolding.h"

namespace {

struct Details final : cCoClassUnknownT<Details, TMK::ITMK_ErrorDetails> {
    HRESULT put_Text(LPCWSTR value) override {
        text = value;
        return S_OK;
    }
    HRESULT Clear() override { return S_OK; }
    std::u16string text;
};

template <typename Thrower>
HRESULT Cross(TMK::ITMK_ErrorDetails* details, Thrower&& thrower) {
    TRACE_NAME("Cross");
    try {
        thrower();
        return S_OK;
    }
    HOST_BOUNDARY(details)
}

TEST(Boundary, TurnsExceptionsIntoResultsAndHandsOnGivenTexts) {
    const auto details = MakeObject<Details>();
    EXPECT_EQ(Cross(details.get(), [] { throw HResultException(E_FAIL); }), E_FAIL);
    EXPECT_EQ(details->text, u"");
    EXPECT_EQ(Cross(details.get(), [] { throw HResultException(E_CANCELED, u"why"); }), E_CANCELED);
    EXPECT_EQ(details->text, u"why");
    EXPECT_EQ(Cross(details.get(), [] { throw ApiException(5); }), static_cast<HRESULT>(0x80070005));
    EXPECT_EQ(details->text, u"why");
    EXPECT_EQ(Cross(details.get(), [] { throw Exception(u"plain"); }), E_FAIL);
    EXPECT_EQ(details->text, u"plain");
    EXPECT_EQ(Cross(nullptr, [] { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(Cross(nullptr, [] { throw 7; }), E_FAIL);
}

TEST(ErrorTexts, HaveTheirShapes) {
    bool has_text = true;
    SetLastError(0);
    EXPECT_EQ(GetApiErrorText(0, has_text), u"System error code 0: <no system error information avaliable>");
    EXPECT_FALSE(has_text);
    EXPECT_EQ(GetApiErrorText(static_cast<DWORD>(E_CANCELED), has_text), u"Canceled");
    EXPECT_TRUE(GetApiErrorText(12007, has_text).starts_with(u"System error code 12007: "));
    EXPECT_TRUE(has_text);
    EXPECT_TRUE(HResultException(E_FAIL).message.starts_with(u"HRESULT 0x80004005: "));
}

TEST(ErrorTexts, TakeTheServersOwnWordsFromTheRegisteredReader) {
    bool has_text = true;
    SetServerErrorReader(nullptr);
    EXPECT_EQ(GetApiErrorText(12003, has_text),
              u"System error code 12003: <no system error information avaliable>");
    SetServerErrorReader([] { return std::u16string(u"go away"); });
    EXPECT_EQ(GetApiErrorText(12003, has_text), u"System error code 12003: go away");
    EXPECT_FALSE(has_text);
    SetServerErrorReader(nullptr);
}

}  // namespace
