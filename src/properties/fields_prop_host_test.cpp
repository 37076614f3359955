// Columns as the host's list of properties sees them, row by row.
#include "properties/fields_prop_host.h"

#include <gtest/gtest.h>

#include "base/scaffolding.h"

namespace {

using namespace TMK;
using SharePoint::Field;

std::shared_ptr<Field> Column(uint32_t kind, std::vector<std::u16string> choices = {}) {
    auto field = std::make_shared<Field>();
    field->m_kind = kind;
    field->m_title = u"Title";
    field->m_choices = std::move(choices);
    return field;
}

Variant Double(VARTYPE type, double number) {
    Variant value;
    value.vt = type;
    value.dblVal = number;
    return value;
}

struct Reading {
    HRESULT result;
    Variant value;
};

class PropHost : public ::testing::Test {
protected:
    void Add(std::shared_ptr<Field> field) { m_fields.push_back(std::move(field)); }
    Reading Read(UINT index) {
        Variant value(u"from before");
        const HRESULT result = m_host->GetValue(index, &value);
        return {result, value};
    }
    HRESULT Write(UINT index, const Variant& value) { return m_host->SetValue(index, &value); }
    ComPtr<IUIX_PropInfo> Info(UINT index) {
        ComPtr<IUIX_PropInfo> info;
        EXPECT_EQ(m_host->GetInfo(index, info.put()), S_OK);
        return info;
    }

    Fields m_fields;
    const ComPtr<FieldsPropHost> m_host = MakeObject<FieldsPropHost>(&m_fields);
};

struct KindRow {
    uint32_t kind;
    DWORD shown_kind;
    DWORD flags;
    Variant good, wrong;  // of the type that it takes, and of another one
};

TEST_F(PropHost, EachKindHasItsEditorAndTakesItsTypeAlone) {
    const KindRow rows[] = {
        {2, UIX_Prop_String, 0, Variant(u"a"), Variant(true)},
        {3, UIX_Prop_String, 1024, Variant(u"a\nb"), Double(VT_R8, 1)},
        {4, UIX_Prop_Date, 0x100000, Double(VT_DATE, 41395.5), Double(VT_R8, 2)},
        {6, UIX_Prop_Choice, 0, Variant(LONG{1}), Variant(LONG{2})},
        {8, UIX_Prop_Bool, 0, Variant(true), Variant(LONG{1})},
        {9, UIX_Prop_Number, 0, Double(VT_R8, -2.5), Variant(u"3")},
    };
    for (const KindRow& row : rows) {
        SCOPED_TRACE(row.kind);
        const UINT index = static_cast<UINT>(m_fields.size());
        Add(Column(row.kind,
                   row.kind == 6 ? std::vector<std::u16string>{u"x", u"y"} : std::vector<std::u16string>{}));
        DWORD kind = 99, flags = 99;
        EXPECT_EQ(Info(index)->get_Kind(&kind), S_OK);
        EXPECT_EQ(Info(index)->get_Flags(&flags), S_OK);
        EXPECT_EQ(kind, row.shown_kind);
        EXPECT_EQ(flags, row.flags);
        EXPECT_EQ(Write(index, row.good), S_OK);
        const Variant stored = Read(index).value;
        EXPECT_EQ(Write(index, row.wrong), row.kind == 6 ? E_INVALIDARG : S_OK);
        EXPECT_EQ(Write(index, Variant(static_cast<IUnknown*>(nullptr))), S_OK);
        const Variant after = Read(index).value;
        if (row.kind == 6) continue;
        EXPECT_EQ(after.type(), row.kind == 4 ? VT_R8 : row.good.type());
        EXPECT_EQ(after.type(), stored.type());
        EXPECT_TRUE(after.type() == VT_BSTR ? std::u16string(after.bstrVal) == stored.bstrVal
                                            : after.llVal == stored.llVal);
    }
}

TEST_F(PropHost, AnUnknownKindShowsNoEditorAndKeepsItsValue) {
    Add(Column(20));
    m_fields[0]->m_value = Variant(u"kept");
    DWORD kind = 99, flags = 99;
    Info(0)->get_Kind(&kind);
    Info(0)->get_Flags(&flags);
    EXPECT_EQ(kind, 0u);
    EXPECT_EQ(flags, 0u);
    EXPECT_EQ(Read(0).value.type(), VT_EMPTY);
    EXPECT_EQ(Write(0, Variant(u"other")), S_OK);
    EXPECT_EQ(std::u16string(m_fields[0]->m_value.bstrVal), u"kept");
}

TEST_F(PropHost, ADateIsAnObjectOfItsOwnAndKeepsTheSecond) {
    Add(Column(4));
    m_fields[0]->m_value = Variant(u"no date");
    EXPECT_EQ(Read(0).value.type(), VT_R8);
    EXPECT_EQ(Read(0).value.dblVal, 0) << "there is none yet";
    ASSERT_EQ(m_fields[0]->m_value.type(), VT_UNKNOWN);
    SYSTEMTIME time{2024, 2, 0, 29, 23, 59, 58, 0};
    double days = 0;
    ASSERT_TRUE(SystemTimeToVariantTime(&time, &days));
    EXPECT_EQ(Write(0, Double(VT_DATE, days)), S_OK);
    const SYSTEMTIME kept = SharePoint::DateOf(*m_fields[0]).time;
    EXPECT_EQ(kept.wSecond, 58);
    EXPECT_EQ(kept.wDay, 29);
    EXPECT_DOUBLE_EQ(Read(0).value.dblVal, days);
    EXPECT_EQ(Write(0, Double(VT_DATE, 1e9)), S_OK) << "no date at all";
    EXPECT_DOUBLE_EQ(Read(0).value.dblVal, days);
    ComPtr<IFieldDateTimeData> data;
    ASSERT_EQ(m_fields[0]->GetDateTimeData(data), S_OK);
    data->put_DisplayFormat(0);
    DWORD flags = 99;
    Info(0)->get_Flags(&flags);
    EXPECT_EQ(flags, 0u) << "a day has no time";
}

TEST_F(PropHost, AChoiceIsFoundByItsExactTextAndSetByItsIndex) {
    Add(Column(6, {u"Draft", u"Final"}));
    m_fields[0]->m_value = Variant(u"Final");
    EXPECT_EQ(Read(0).value.type(), VT_I4);
    EXPECT_EQ(Read(0).value.lVal, 1);
    for (const char16_t* other : {u"final", u"Fina", u"Final ", u""}) {
        m_fields[0]->m_value = Variant(other);
        EXPECT_EQ(Read(0).value.type(), VT_EMPTY);
    }
    EXPECT_EQ(Write(0, Variant(u"1")), S_OK);
    EXPECT_EQ(std::u16string(m_fields[0]->m_value.bstrVal), u"Final");
    EXPECT_EQ(Write(0, Variant(u"Final")), S_OK) << "no number counts as the first one";
    EXPECT_EQ(std::u16string(m_fields[0]->m_value.bstrVal), u"Draft");
    for (const LONG outside : {2, -1}) EXPECT_EQ(Write(0, Variant(outside)), E_INVALIDARG);
    EXPECT_EQ(std::u16string(m_fields[0]->m_value.bstrVal), u"Draft");
    UINT count = 0;
    Bstr text;
    PARAM_T parameter = 99;
    EXPECT_EQ(Info(0)->get_ChoicesCount(&count), S_OK);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(Info(0)->GetChoice(1, text.put(), &parameter), S_FALSE);
    EXPECT_EQ(text.str(), u"Final");
    EXPECT_EQ(parameter, 0u);
    EXPECT_EQ(Info(0)->GetChoice(2, text.put(), nullptr), S_FALSE);
    EXPECT_EQ(text.str(), u"");
}

TEST_F(PropHost, WithoutAListAChoiceIsTyped) {
    Add(Column(6));
    EXPECT_EQ(Write(0, Variant(u"Final")), S_OK);
    EXPECT_EQ(std::u16string(Read(0).value.bstrVal), u"Final");
    EXPECT_EQ(Write(0, Variant(LONG{0})), E_INVALIDARG);
}

TEST_F(PropHost, ARowTellsItsTitleDescriptionAndLength) {
    Add(Column(2));
    Add(Column(2));
    m_fields[1]->m_required = true;
    m_fields[1]->m_description = u"What it is about";
    m_fields[1]->m_max_length = 12;
    Bstr text;
    UINT number = 99;
    EXPECT_EQ(Info(0)->get_Title(text.put()), S_OK);
    EXPECT_EQ(text.str(), u"Title");
    EXPECT_EQ(Info(0)->get_MaxLength(&number), S_FALSE);
    EXPECT_EQ(number, 0u);
    Info(1)->get_Title(text.put());
    EXPECT_EQ(text.str(), u"* Title");
    Info(1)->get_Description(text.put());
    EXPECT_EQ(text.str(), u"What it is about");
    EXPECT_EQ(Info(1)->get_MaxLength(&number), S_OK);
    EXPECT_EQ(number, 12u);
    EXPECT_EQ(Info(1)->get_Index(&number), S_OK);
    EXPECT_EQ(number, 1u);
    EXPECT_EQ(m_host->PositionToIndex(1, &number), S_OK);
    EXPECT_EQ(number, 1u);
    double minimum = 0, maximum = 0;
    LONG digits = 0, step = 0, rest[3] = {9, 9, 9};
    EXPECT_EQ(Info(1)->GetRange(&minimum, &maximum, &digits, &step, &rest[0], &rest[1], &rest[2]), S_FALSE);
    EXPECT_EQ(std::vector<double>({minimum, maximum}), std::vector<double>({-1, 1}));
    EXPECT_EQ(std::vector<LONG>({digits, step, rest[0], rest[1], rest[2]}),
              std::vector<LONG>({8, -1, 0, 0, 0}));
}

TEST_F(PropHost, WhatIsOutsideOrNullIsRefused) {
    Add(Column(2));
    ComPtr<IUIX_PropInfo> info;
    const Variant value(u"x");
    EXPECT_EQ(m_host->GetInfo(1, info.put()), E_FAIL);
    EXPECT_EQ(m_host->GetInfo(0, nullptr), E_POINTER);
    EXPECT_EQ(Read(1).result, E_FAIL);
    EXPECT_EQ(Read(1).value.type(), VT_EMPTY);
    EXPECT_EQ(m_host->GetValue(0, nullptr), E_POINTER);
    EXPECT_EQ(m_host->SetValue(1, &value), E_FAIL);
    EXPECT_EQ(m_host->SetValue(0, nullptr), E_POINTER);
    EXPECT_EQ(m_host->get_Count(nullptr), E_POINTER);
    EXPECT_EQ(Info(0)->GetChoice(0, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(Info(0)->get_Title(nullptr), E_POINTER);
    EXPECT_EQ(Info(0)->get_Icon(nullptr), E_POINTER);
    EXPECT_EQ(Info(0)->GetRange(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), E_POINTER);
}

}  // namespace
