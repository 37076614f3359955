// The columns of a document against canned answers: what is asked, what each kind becomes, and the bytes that
// save them.
#include "sharepoint/fields.h"

#include <gtest/gtest.h>

#include "base/text/encoding.h"
#include "sharepoint/fields_text.h"
#include "tests/support/loopback_test_server.h"

namespace {

using SharePoint::Field;
using SharePoint::FieldsData;

constexpr const char16_t* kAccept[] = {u"application/json; odata=nometadata", nullptr};

const std::string kDocument =
    "GET /sites/a%20b/_api/Web/GetFileByServerRelativePath(decodedurl='/sites/a%20b/it%27%27s.pdf')";

// Answers the two questions of a load in turn, in either form, and everything after with `last`.
struct Site {
    FieldsData Load(const std::string& definitions, const std::string& item) {
        answers = {
            is_verbose ? R"({"d":{"results":)" + definitions + "}}" : R"({"value":)" + definitions + "}",
            is_verbose ? R"({"d":)" + item + "}" : item};
        return LoadAnswers();
    }
    FieldsData LoadAnswers() {
        served = 0;
        return SharePoint::LoadFields("test", Source(), list_item_id);
    }
    SharePoint::FieldsSource Source() {
        return {*session, u"sites/a%20b", u"sites/a b/it's.pdf", kAccept, is_verbose};
    }

    bool is_verbose = false;
    std::string status = "200 OK";
    std::vector<std::string> answers;
    size_t served = 0;
    std::u16string list_item_id;
    LoopbackTestServer server{[this](const LoopbackTestServer::Request&) {
        return Answer(status, served < answers.size() ? answers[served++] : "");
    }};
    std::shared_ptr<Http::Session> session =
        Http::Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
};

std::string Definition(const std::string& name, int kind, bool required = false,
                       const std::string& more = {}) {
    return R"({"StaticName":")" + name + R"(","FieldTypeKind":)" + std::to_string(kind) + R"(,"Required":)" +
           (required ? "true" : "false") + R"(,"Title":"T )" + name +
           R"(","Description":"","DefaultValue":null)" + more + "}";
}

std::string Array(std::initializer_list<std::string> elements) {
    std::string text;
    for (const std::string& element : elements) text.append(text.empty() ? "[" : ",").append(element);
    return text.append("]");
}

Field MakeField(uint32_t kind, Variant value) {
    Field field;
    field.m_name.assign(1, u'N');
    field.m_kind = kind;
    field.m_value = std::move(value);
    return field;
}

std::string Serialized(std::vector<Field> fields) {
    std::vector<std::shared_ptr<Field>> list;
    for (Field& field : fields) list.push_back(std::make_shared<Field>(std::move(field)));
    return SharePoint::SerializeFields(list);
}

Variant Number(double number) {
    VARIANT value{};
    value.vt = VT_R8;
    value.dblVal = number;
    return Variant(value);
}

TEST(Fields, EachKindIsLoadedInBothFormsOfTheAnswer) {
    for (const bool is_verbose : {false, true}) {
        Site site;
        site.is_verbose = is_verbose;
        const FieldsData data =
            site.Load(Array({Definition("A", 2, true, R"(,"MaxLength":255)"), Definition("B", 3),
                             Definition("C", 4, false, R"(,"DisplayFormat":0)"),
                             Definition("D", 6, false, R"(,"Choices":["x",1,"y"])"), Definition("E", 8),
                             Definition("F", 9), Definition("G", 9), Definition("H", 9), Definition("I", 2)}),
                      R"({"ID":17,"A":"a","B":"b","C":"2026-05-01T10:20:30Z","D":"x","E":true,"F":1.5,"G":7,)"
                      R"("H":5000000000,"I":null})");
        EXPECT_EQ(site.list_item_id, u"17");
        EXPECT_FALSE(data.has_unsupported_required);
        EXPECT_EQ(
            ToUtf8(SharePoint::DescribeFields(data)),
            R"({"requiredUnsupported":false,"fields":[)"
            R"({"name":"A","title":"T A","kind":"text","required":true,"value":"a","maxLength":255},)"
            R"({"name":"B","title":"T B","kind":"note","required":false,"value":"b"},)"
            R"({"name":"C","title":"T C","kind":"date","required":false,"value":"2026-05-01"},)"
            R"({"name":"D","title":"T D","kind":"choice","required":false,"value":"x","choices":["x","y"]},)"
            R"({"name":"E","title":"T E","kind":"yes/no","required":false,"value":true},)"
            R"({"name":"F","title":"T F","kind":"number","required":false,"value":1.5},)"
            R"({"name":"G","title":"T G","kind":"number","required":false,"value":7},)"
            R"({"name":"H","title":"T H","kind":"number","required":false,"value":5000000000},)"
            R"({"name":"I","title":"T I","kind":"text","required":false,"value":null}]})");
        EXPECT_EQ(data.fields[6]->m_value.type(), VT_I4);
        EXPECT_EQ(data.fields[7]->m_value.type(), VT_I8);
        const auto lines = site.server.Lines();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0], kDocument +
                                "/ListItemAllFields/ParentList/"
                                "Fields?$select=StaticName,FieldTypeKind,Required,Title,Description,"
                                "DefaultValue,Choices,DisplayFormat,MaxLength&$filter=(ReadOnlyField+eq+"
                                "false)+and+(Hidden+eq+"
                                "false)+and(Group+ne+'_Hidden')+and+(StaticName+ne+'FileLeafRef')");
        EXPECT_EQ(lines[1], kDocument + "/ListItemAllFields?$select=ID,A,B,C,D,E,F,G,H,I");
        EXPECT_EQ(site.server.Requests()[1].Header("if-match"), "*");
    }
}

TEST(Fields, AreSavedInOneChangeOfTheListItemUnderADigest) {
    Site site;
    int digests = 0;
    const auto digest = [&] {
        ++digests;
        return std::u16string(u"0xAB,now");
    };
    const auto save = [&](const std::function<std::u16string()>& get_digest,
                          const std::vector<std::shared_ptr<Field>>& fields) {
        return SharePoint::SaveFields("test", site.Source(), get_digest, u"17", fields);
    };
    const std::vector<std::shared_ptr<Field>> one{
        std::make_shared<Field>(MakeField(2, Variant(std::u16string_view(u"x"))))};
    EXPECT_TRUE(save(digest, {}));
    EXPECT_EQ(digests, 0) << "nothing to change asks for nothing";
    EXPECT_FALSE(save([] { return std::u16string(); }, one));
    EXPECT_TRUE(site.server.Lines().empty());
    EXPECT_TRUE(save(digest, one));
    const auto requests = site.server.Requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].Line(), "POST" + kDocument.substr(3) + "/ListItemAllFields/ParentList/Items(17)");
    EXPECT_EQ(requests[0].Header("x-http-method"), "MERGE");
    EXPECT_EQ(requests[0].Header("if-match"), "*");
    EXPECT_EQ(requests[0].Header("content-type"), "application/json");
    EXPECT_EQ(requests[0].Header("x-requestdigest"), "0xAB,now");
    EXPECT_EQ(requests[0].body, SharePoint::SerializeFields(one));
    site.status = "403 Forbidden";
    EXPECT_THROW(save(digest, one), Http::HttpException);
}

TEST(Fields, WhatCantBeShownOrReadIsLeftOutAndToldWhenItIsRequired) {
    const struct {
        std::string definition, item;
        size_t fields;
        bool is_told;
    } rows[] = {
        {Definition("A", 7), "{}", 1, false},                     // a lookup
        {Definition("A", 7, true), "{}", 1, true},                // a required one
        {Definition("A", 15, true), "{}", 1, true},               // a kind beyond the known
        {Definition("A", 2), "{}", 1, false},                     // no such member
        {Definition("A", 2, true), "{}", 1, true},                //
        {Definition("A", 4), R"({"A":"soon"})", 1, false},        // no date
        {Definition("A", 4, true), R"({"A":"soon"})", 1, true},   //
        {Definition("A", 4, true), R"({"A":null})", 2, false},    // no value is no failure
        {Definition("A", 2, true), R"({"A":null})", 2, false},    //
        {Definition("A", 2, true), R"({"A":3})", 2, false},       // nor is another type
        {Definition("A", 8, true), R"({"A":"true"})", 2, false},  //
        {Definition("A", 6, true, R"(,"Choices":{"results":["x"]})"), R"({"A":"x"})", 2, false},
    };
    for (const auto& row : rows) {
        Site site;
        const std::string item =
            row.item == "{}" ? R"({"ID":1,"Z":"z"})" : R"({"ID":1,"Z":"z",)" + row.item.substr(1);
        const FieldsData data = site.Load(Array({row.definition, Definition("Z", 2)}), item);
        EXPECT_EQ(data.fields.size(), row.fields) << row.definition << row.item;
        EXPECT_EQ(data.has_unsupported_required, row.is_told) << row.definition << row.item;
    }
}

TEST(Fields, RefusalsAndAnswersOfAnotherShape) {
    Site site;
    EXPECT_TRUE(site.Load("[]", "{}").fields.empty());
    EXPECT_EQ(site.server.Lines().size(), 1u) << "without columns nothing more is asked";
    site.answers = {R"({"other":1})"};
    EXPECT_TRUE(site.LoadAnswers().fields.empty());
    EXPECT_THROW(site.Load(R"([{"FieldTypeKind":2,"Required":false}])", "{}"), Exception);
    EXPECT_THROW(site.Load(R"([7])", "{}"), Exception);
    site.status = "500 Internal Server Error";
    for (const char* code : {"-2113929210", "-2113929210, System.IO"}) {
        site.answers = {std::string(R"({"odata.error":{"code":")") + code + R"("}})"};
        try {
            site.LoadAnswers();
            FAIL() << code;
        } catch (const HResultException& failure) {
            EXPECT_EQ(failure.code, E_NOTIMPL);
        }
    }
    site.answers = {R"({"odata.error":{"code":"-1"}})"};
    EXPECT_THROW(site.LoadAnswers(), Http::HttpException);
    site.status = "404 Not Found";
    EXPECT_THROW(site.LoadAnswers(), Http::HttpException);
}

TEST(Fields, TheTextThatSavesThemIsExact) {
    EXPECT_EQ(Serialized({}), "}");
    EXPECT_EQ(Serialized({MakeField(7, Variant(u"x"))}), "}");
    EXPECT_EQ(
        Serialized({MakeField(2, Variant(u"a\"b")), MakeField(3, {}), MakeField(6, Variant(u"\u00E9"))}),
        "{\"N\":\"a\"b\",\"N\":\"\",\"N\":\"\u00E9\"}");
    EXPECT_EQ(Serialized({MakeField(8, Variant(true)), MakeField(8, Variant(false))}),
              R"({"N":true,"N":false})");
    EXPECT_EQ(Serialized({MakeField(9, Number(12.5)), MakeField(9, Number(-1e20))}),
              R"({"N":12.500000,"N":-100000000000000000000.000000})");
    EXPECT_EQ(Serialized({MakeField(9, Variant(LONG{7})), MakeField(2, Variant(u"x"))}),
              R"({"N":null,,"N":"x"})");
    EXPECT_EQ(Serialized({MakeField(8, {})}), R"({"N":null,})");
    Field date = MakeField(4, {});
    ComPtr<IFieldDateTimeData> data;
    ASSERT_EQ(date.GetDateTimeData(data), S_OK);
    data->put_DateTime({2026, 5, 0, 1, 10, 20, 30, 0});
    EXPECT_EQ(Serialized({date}), R"({"N":"2026-05-01T10:20:30"})");
    data->put_DisplayFormat(0);
    EXPECT_EQ(Serialized({date}), R"({"N":"2026-05-01"})");
    EXPECT_EQ(MakeField(2, {}).GetDateTimeData(data), E_UNEXPECTED);
}

TEST(Fields, ChangesFitTheirColumnOrNothingIsChanged) {
    Site site;
    const FieldsData data = site.Load(
        Array({Definition("A", 2, true, R"(,"MaxLength":5)"), Definition("C", 4),
               Definition("D", 6, false, R"(,"Choices":["x","y"])"), Definition("E", 8), Definition("F", 9)}),
        R"({"ID":1,"A":"a","C":null,"D":"x","E":false,"F":7})");
    const auto saved = [&](const char16_t* changes) {
        return SharePoint::SerializeFields(SharePoint::ChangedFields(data, changes).fields);
    };
    EXPECT_EQ(saved(u"{}"), "}");
    EXPECT_EQ(saved(uR"({"A":"\"\\\n"})"), R"({"A":"\"\\\n"})") << "what would break the body is escaped";
    EXPECT_EQ(saved(uR"({"D":"y","E":"yes","F":"-2.5","C":"2026-05-01T10:20:30Z"})"),
              R"({"D":"y","E":true,"F":-2.500000,"C":"2026-05-01T10:20:30"})");
    for (const char16_t* changes : {u"", u"[]", uR"({"A":1})", uR"({"B":"x"})", uR"({"A":"longer"})",
                                    uR"({"C":""})", uR"({"C":"today"})", uR"({"D":"z"})", uR"({"E":"maybe"})",
                                    uR"({"F":""})", uR"({"F":"1x"})", uR"({"F":"inf"})", uR"({"F":"nan"})"}) {
        EXPECT_THROW(saved(changes), HResultException) << ToUtf8(changes);
    }
}

}  // namespace
