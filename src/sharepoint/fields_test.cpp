// The columns of a document with canned answers: the exact requests, the value of each kind, and the saved
// text.
#include "sharepoint/fields.h"

#include <gtest/gtest.h>

#include "base/text/encoding.h"
#include "sharepoint/fields_text.h"
#include "sharepoint/tests/named_rows_test.h"
#include "tests/support/loopback/loopback_test_server.h"

namespace {

using SharePoint::Field;
using SharePoint::FieldsData;

constexpr const char16_t* kAccept[] = {u"application/json; odata=nometadata", nullptr};

const std::string kDocument =
    "GET /sites/a%20b/_api/Web/GetFileByServerRelativePath(decodedurl='/sites/a%20b/it%27%27s.pdf')";

// Answers the two questions of a load in turn, in either form, and all else with an empty body.
struct Site {
    FieldsData Load(const std::string& definitions, const std::string& item) {
        answers = {
            is_verbose ? R"({"d":{"results":)" + definitions + "}}" : R"({"value":)" + definitions + "}",
            is_verbose ? R"({"d":)" + item + "}" : item};
        return LoadAnswers();
    }
    FieldsData LoadAnswers() {
        served = 0;
        return fields.Load("test", Source());
    }
    SharePoint::FieldsSource Source() {
        return {*session, u"sites/a%20b", u"sites/a b/it's.pdf", kAccept, is_verbose, forms};
    }

    bool is_verbose = false;
    std::string status = "200 OK";
    std::vector<std::string> answers;
    size_t served = 0;
    SharePoint::DocumentFields fields;
    SharePoint::AddressForms forms;
    LoopbackTestServer::Handler reply;  // instead of all that
    LoopbackTestServer server{[this](const LoopbackTestServer::Request& request) {
        if (reply) return reply(request);
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
        EXPECT_EQ(site.fields.m_list_item_id, u"17");
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
    const auto digest = [&](const std::u16string&) {
        ++digests;
        return std::u16string(u"0xAB,now");
    };
    const auto save = [&](const SharePoint::DocumentFields::DigestSource& get_digest,
                          const std::vector<std::shared_ptr<Field>>& fields) {
        const SharePoint::DocumentFields kept{{fields, false}, u"17"};
        return kept.Save("test", site.Source(), get_digest);
    };
    const std::vector<std::shared_ptr<Field>> one{
        std::make_shared<Field>(MakeField(2, Variant(std::u16string_view(u"x"))))};
    EXPECT_TRUE(save(digest, {}));
    EXPECT_EQ(digests, 0) << "without changes, no digest is asked for";
    EXPECT_FALSE(save([](const std::u16string&) { return std::u16string(); }, one));
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

// A server that takes columns under its own names alone, and at most two in an address.
struct StrictSite : Site {
    StrictSite() {
        reply = [this](const LoopbackTestServer::Request& request) {
            const std::string& target = request.target;
            const bool is_plain = (target + request.body).find("OData_") == std::string::npos;
            if (target.find("EntityPropertyName") != std::string::npos) return Answer("200 OK", names);
            if (target.find("/Fields?") != std::string::npos) return Answer("200 OK", definitions);
            if (is_plain || target.size() > longest) return Answer("400 Bad Request", "{}");
            return Answer("200 OK", target.find("OData__A") != std::string::npos
                                        ? R"({"ID":3,"OData__A":"a","OData__x0031_":"1"})"
                                        : R"({"ID":3,"C":"c"})");
        };
        // Three columns whose names are longer than one address together.
        definitions = R"({"value":)" +
                      Array({Definition("_A", 2, true), Definition("_x0031_", 2), Definition("C", 2)}) + "}";
        names = R"({"value":[{"StaticName":"_A","EntityPropertyName":"OData__A"},)"
                R"({"StaticName":"_x0031_","EntityPropertyName":"OData__x0031_"},)"
                R"({"StaticName":"C","EntityPropertyName":"C"}]})";
    }
    std::string definitions, names;
    size_t longest = 4000;
};

TEST(Fields, AreAskedForAndSavedUnderTheServersNamesAfterARefusal) {
    StrictSite site;
    FieldsData data = site.fields.Load("test", site.Source());
    auto lines = site.server.Lines();
    ASSERT_EQ(lines.size(), 4u) << "definitions, a refusal, the names, the values";
    EXPECT_EQ(lines[1], kDocument + "/ListItemAllFields?$select=ID,_A,_x0031_,C");
    EXPECT_EQ(lines[3], kDocument + "/ListItemAllFields?$select=ID,OData__A,OData__x0031_,C");
    EXPECT_EQ(site.fields.m_list_item_id, u"3");
    EXPECT_FALSE(data.has_unsupported_required);
    ASSERT_EQ(data.fields.size(), 2u) << "the answer has no C";
    EXPECT_EQ(std::u16string(data.fields[1]->m_value.get().bstrVal), u"1");

    site.server.Forget();
    site.fields.m_fields_data = data;
    EXPECT_TRUE(site.fields.Save("test", site.Source(), [](const auto&) { return std::u16string(u"d"); }));
    const auto requests = site.server.Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].body, R"({"_A":"a","_x0031_":"1"})");
    EXPECT_EQ(requests[1].body, R"({"OData__A":"a","OData__x0031_":"1"})");
}

TEST(Fields, TooManyForOneAddressAreAskedForInSeveral) {
    Site site;
    std::string elements, long_name(90, 'n');
    for (int i = 0; i < 40; ++i) elements += (i ? "," : "") + Definition(long_name + std::to_string(i), 2);
    site.reply = [&](const LoopbackTestServer::Request& request) {
        const std::string& target = request.target;
        if (target.find("/Fields?") != std::string::npos)
            return Answer("200 OK", R"({"value":[)" + elements + "]}");
        if (target.size() > 2048) return Answer("404 Not Found", "<html>too long</html>");
        std::string item = R"({"ID":3)";
        for (int i = 0; i < 40; ++i) {
            const std::string name = long_name + std::to_string(i);
            if ((target + ",").find("," + name + ",") != std::string::npos) item += ",\"" + name + "\":\"v\"";
        }
        return Answer("200 OK", item + "}");
    };
    const FieldsData data = site.fields.Load("test", site.Source());
    EXPECT_EQ(data.fields.size(), 40u);
    EXPECT_EQ(site.server.Lines().size(), 6u) << "definitions, a refusal, the names, three parts";
}

TEST(Fields, AreSavedOnceMoreWithANewDigestWhereTheOldOneIsRefused) {
    Site site;
    site.reply = [](const LoopbackTestServer::Request& request) {
        if (request.Header("x-requestdigest") == "new") return Answer("204 No Content");
        return Answer("403 Forbidden", R"({"odata.error":{"code":"-2130575251, SPException"}})");
    };
    const SharePoint::DocumentFields kept{
        {{std::make_shared<Field>(MakeField(2, Variant(std::u16string_view(u"x"))))}, false}, u"17"};
    const auto save = [&](const std::u16string& second) {
        site.server.Forget();
        return kept.Save("test", site.Source(), [&](const std::u16string& refused) {
            return refused.empty() ? std::u16string(u"old") : second;
        });
    };
    EXPECT_TRUE(save(u"new"));
    EXPECT_EQ(site.server.Lines().size(), 3u) << "the refused one is sent twice by the sign-in";
    EXPECT_THROW(save(u"other"), Http::HttpException);
}

struct LoadRow {
    const char* name;
    std::string definition;
    std::string more = {};  // of the item, with a comma in front
    bool is_kept = true;
    bool has_unsupported_required = false;
};

class LoadedColumn : public testing::TestWithParam<LoadRow> {};

TEST_P(LoadedColumn, IsLeftOutWhenItCannotBeShownOrRead) {
    Site site;
    const FieldsData data = site.Load(Array({GetParam().definition, Definition("Z", 2)}),
                                      R"({"ID":1,"Z":"z")" + GetParam().more + "}");
    EXPECT_EQ(data.fields.size(), GetParam().is_kept ? 2u : 1u);
    EXPECT_EQ(data.has_unsupported_required, GetParam().has_unsupported_required);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LoadedColumn,
    testing::Values(
        LoadRow{.name = "Lookup", .definition = Definition("A", 7), .is_kept = false},
        LoadRow{.name = "RequiredLookup",
                .definition = Definition("A", 7, true),
                .is_kept = false,
                .has_unsupported_required = true},
        LoadRow{.name = "RequiredOfUnknownKind",
                .definition = Definition("A", 15, true),
                .is_kept = false,
                .has_unsupported_required = true},
        LoadRow{.name = "NoValue", .definition = Definition("A", 2), .is_kept = false},
        LoadRow{.name = "RequiredNoValue",
                .definition = Definition("A", 2, true),
                .is_kept = false,
                .has_unsupported_required = true},
        LoadRow{
            .name = "NoDate", .definition = Definition("A", 4), .more = R"(,"A":"soon")", .is_kept = false},
        LoadRow{.name = "RequiredNoDate",
                .definition = Definition("A", 4, true),
                .more = R"(,"A":"soon")",
                .is_kept = false,
                .has_unsupported_required = true},
        LoadRow{.name = "NullDate", .definition = Definition("A", 4, true), .more = R"(,"A":null)"},
        LoadRow{.name = "NumberAsText", .definition = Definition("A", 2, true), .more = R"(,"A":3)"},
        LoadRow{.name = "TextAsBoolean", .definition = Definition("A", 8, true), .more = R"(,"A":"true")"},
        LoadRow{.name = "WrappedChoices",
                .definition = Definition("A", 6, true, R"(,"Choices":{"results":["x"]})"),
                .more = R"(,"A":"x")"}),
    NameOfRow());

TEST(Fields, AreNoneOrAFailureForAnswersOfAnotherShape) {
    Site site;
    EXPECT_TRUE(site.Load("[]", "{}").fields.empty());
    EXPECT_EQ(site.server.Lines().size(), 1u) << "without columns, no values are asked for";
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

TEST(Fields, AreSavedAsExactText) {
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

struct ChangeRow {
    const char* name;
    const char16_t* changes;
    const char* saved = nullptr;  // null: refused
};

class Change : public testing::TestWithParam<ChangeRow> {};

TEST_P(Change, FitsItsColumnOrIsRefused) {
    Site site;
    const FieldsData data = site.Load(
        Array({Definition("A", 2, true, R"(,"MaxLength":5)"), Definition("B", 3), Definition("C", 4),
               Definition("D", 6, false, R"(,"Choices":["x","y"])"), Definition("E", 8), Definition("F", 9)}),
        R"({"ID":1,"A":"a","B":null,"C":null,"D":"x","E":false,"F":7})");
    const auto saved = [&] {
        return SharePoint::SerializeFields(SharePoint::ChangedFields(data, GetParam().changes).fields);
    };
    if (GetParam().saved) {
        EXPECT_EQ(saved(), GetParam().saved);
    } else {
        EXPECT_THROW(saved(), HResultException);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Change,
    testing::Values(
        ChangeRow{.name = "Nothing", .changes = u"{}", .saved = "}"},
        ChangeRow{.name = "TextAtItsLimit", .changes = uR"({"A":"12345"})", .saved = R"({"A":"12345"})"},
        ChangeRow{.name = "TextBeyondItsLimit", .changes = uR"({"A":"123456"})"},
        ChangeRow{.name = "EmptyText", .changes = uR"({"A":""})", .saved = R"({"A":""})"},
        ChangeRow{.name = "TextThatWouldBreakTheBody",
                  .changes = uR"({"A":"\"\\\n"})",
                  .saved = R"({"A":"\"\\\n"})"},
        ChangeRow{.name = "NonAsciiTextAtItsLimit",
                  .changes = u"{\"A\":\"\u00E4\u00E4\u00E4\u00E4\u00E4\"}",
                  .saved = "{\"A\":\"\u00E4\u00E4\u00E4\u00E4\u00E4\"}"},
        ChangeRow{.name = "LongNote",
                  .changes = uR"({"B":"longer than a text"})",
                  .saved = R"({"B":"longer than a text"})"},
        ChangeRow{.name = "AllOthers",
                  .changes = uR"({"D":"y","E":"yes","F":"-2.5","C":"2026-05-01T10:20:30Z"})",
                  .saved = R"({"D":"y","E":true,"F":-2.500000,"C":"2026-05-01T10:20:30"})"},
        ChangeRow{.name = "NoJson", .changes = u""}, ChangeRow{.name = "Number", .changes = uR"({"A":1})"},
        ChangeRow{.name = "UnknownColumn", .changes = uR"({"X":"x"})"},
        ChangeRow{.name = "EmptyDate", .changes = uR"({"C":""})"},
        ChangeRow{.name = "NoDate", .changes = uR"({"C":"today"})"},
        ChangeRow{.name = "NoChoice", .changes = uR"({"D":"z"})"},
        ChangeRow{.name = "NoBoolean", .changes = uR"({"E":"maybe"})"},
        ChangeRow{.name = "TextBehindTheNumber", .changes = uR"({"F":"1x"})"},
        ChangeRow{.name = "Infinity", .changes = uR"({"F":"inf"})"},
        ChangeRow{.name = "NoNumber", .changes = uR"({"F":"nan"})"}),
    NameOfRow());

}  // namespace
