// Broken and hostile JSON and XML, dates, and the SOAP exchange.
#include "sharepoint/reading.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "base/text/encoding.h"
#include "sharepoint/tests/named_rows_test.h"
#include "tests/support/loopback/loopback_test_server.h"

namespace {

using SharePoint2010::Utility::ParseDateTimeIso8601;
using SharePoint2013::Utility::CheckWebDavMultistatus;

std::shared_ptr<Http::Session> Connect(const LoopbackTestServer& server) {
    return Http::Session::Create(u"http://", u"127.0.0.1", server.Port(), {}, {});
}

std::string Repeat(const char* text, size_t count) {
    std::string repeated;
    for (size_t at = 0; at < count; ++at) repeated += text;
    return repeated;
}

bool Parses(const std::string& bytes) {
    Json::Document document;
    const bool parsed = document.Parse(bytes);
    EXPECT_EQ(parsed, document.ErrorCode() == rapidjson::kParseErrorNone);
    EXPECT_TRUE(parsed || document.Root().IsNull());
    return parsed;
}

TEST(Json, RefusesTooManyValues) {
    Json::Document document;
    EXPECT_THROW(document.Parse("[" + Repeat("0,", Json::kMaxValues) + "0]"), Exception);
    EXPECT_TRUE(document.Root().IsNull());
}

TEST(Preview, IsReadUpToItsLimit) {
    constexpr std::size_t kLimit = 16 * 1024 * 1024;
    for (const std::size_t size : {kLimit, kLimit + 1}) {
        const LoopbackTestServer server(
            [&](const LoopbackTestServer::Request&) { return Answer("200 OK", std::string(size, 'x')); });
        std::string bytes;
        const auto read = [&] { SharePoint::ReadPreview(*Connect(server), u"a.pdf", nullptr, bytes); };
        if (size <= kLimit) {
            read();
            EXPECT_EQ(bytes.size(), size);
        } else {
            EXPECT_THROW(read(), Exception);
        }
    }
}

std::size_t g_allocated = 0;

// Listings are the longest answers; each of their texts once took a node of its own.
TEST(Xml, TakesMemoryInProportionToTheAnswer) {
    constexpr std::size_t kCount = 20'000;
    const std::string body = "<m>" + Repeat("<text>t</text>", kCount) + "</m>";
    const LoopbackTestServer server(
        [&](const LoopbackTestServer::Request&) { return Answer("200 OK", body); });
    const auto response = Connect(server)->SendRequest(u"GET", u"x", nullptr, nullptr, nullptr, 0, true);
    const auto allocate = pugi::get_memory_allocation_function();
    const auto deallocate = pugi::get_memory_deallocation_function();
    g_allocated = 0;
    pugi::set_memory_management_functions(
        [](std::size_t size) {
            g_allocated += size;
            return std::malloc(size);
        },
        std::free);
    {
        pugi::xml_document document;
        SharePoint2013::Utility::ReadXml(document, response);
        EXPECT_STREQ(document.child("m").child("text").text().get(), "t");
    }
    pugi::set_memory_management_functions(allocate, deallocate);
    constexpr std::size_t kBuffers = 3 << 19;  // the body's, which grow by powers of four
    constexpr std::size_t kElement = 80;
    EXPECT_LT(g_allocated, kBuffers + kCount * kElement);
}

TEST(Json, RefusesWhatIsNoJson) {
    for (const char* text : {"",
                             " ",
                             "{",
                             "{\"d\":",
                             "{\"d\":{\"a\":1}",
                             "[1,]",
                             "{\"a\" 1}",
                             "nul",
                             "tru",
                             "\"open",
                             "<!DOCTYPE html><html></html>",
                             "{} x",
                             "1e999999",
                             "\"\\ud800\"",
                             "\"\\uddddx\"",
                             "{\"\\udddd\":1}",
                             "\"\\x\"",
                             "{\"a\":1}}",
                             "-",
                             "0x10",
                             "'d'"}) {
        EXPECT_FALSE(Parses(text)) << text;
    }
    for (const char* text : {"{}", "[]", "null", "7", "\"\"", " {\"d\":null}\r\n", "\"\\u0000\""}) {
        EXPECT_TRUE(Parses(text)) << text;
    }
}

TEST(Json, RefusesDeepNestingWithoutOverflow) {
    EXPECT_TRUE(Parses(Repeat("[", Json::kMaxDepth) + Repeat("]", Json::kMaxDepth)));
    EXPECT_FALSE(Parses(Repeat("[", Json::kMaxDepth + 1) + Repeat("]", Json::kMaxDepth + 1)));
    EXPECT_FALSE(Parses(Repeat("[", 100'000) + Repeat("]", 100'000)));
    EXPECT_FALSE(Parses(Repeat("{\"d\":", 100'000)));
    // A long array isn't deep.
    EXPECT_TRUE(Parses("[" + Repeat("{},", 100'000) + "[]]"));
}

TEST(Json, KeepsTextOfAllOfUnicode) {
    Json::Document document;
    ASSERT_TRUE(
        document.Parse("{\"\u00E4\":\"\U0001F600 \\ud83d\\ude00 \\u0041\\/\\n\",\"bad\":\"a\xFF"
                       "b\",\"nul\":\"a\\u0000b\"}"));
    EXPECT_EQ(Json::Text(Json::Member(&document.Root(), u"\u00E4")), u"\U0001F600 \U0001F600 A/\n");
    EXPECT_EQ(Json::Text(Json::Member(&document.Root(), u"bad")), u"a\uFFFDb");
    EXPECT_EQ(Json::Text(Json::Member(&document.Root(), u"nul")), std::u16string_view(u"a\0b", 3));
}

TEST(Json, CanBeParsedAgain) {
    Json::Document document;
    ASSERT_TRUE(document.Parse("{\"a\":\"1\"}"));
    ASSERT_FALSE(document.Parse("{"));
    EXPECT_EQ(Json::Member(&document.Root(), u"a"), nullptr);
    ASSERT_TRUE(document.Parse("{\"a\":\"2\"}"));
    EXPECT_EQ(Json::Text(Json::Member(&document.Root(), u"a")), u"2");
}

TEST(Json, AccessToAnotherTypeThrows) {
    Json::Document document;
    ASSERT_TRUE(document.Parse("{\"a\":1}"));
    EXPECT_THROW(document.Root()[u"none"], Exception);
    EXPECT_THROW(document.Root()[u"a"].GetString(), Exception);
    EXPECT_THROW(document.Root().GetArray(), Exception);
}

struct NumberRow {
    const char* name;
    const char* json;
    std::optional<uint64_t> number = std::nullopt;
};

class JsonNumber : public testing::TestWithParam<NumberRow> {};

TEST_P(JsonNumber, IsReadAlsoFromText) {
    Json::Document document;
    ASSERT_TRUE(document.Parse(GetParam().json));
    EXPECT_EQ(Json::Unsigned(&document.Root()), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, JsonNumber,
    testing::Values(NumberRow{.name = "Text", .json = "\"18057\"", .number = 18057u},
                    NumberRow{.name = "Number", .json = "18057", .number = 18057u},
                    NumberRow{.name = "TooLarge", .json = "\"99999999999999999999\"", .number = UINT64_MAX},
                    NumberRow{.name = "TextBehind", .json = "\"12 bytes\"", .number = 12u},
                    NumberRow{.name = "Empty", .json = "\"\""},
                    NumberRow{.name = "NegativeText", .json = "\"-1\""},
                    NumberRow{.name = "Negative", .json = "-1"},
                    NumberRow{.name = "Fraction", .json = "1.5"}),
    NameOfRow());

TEST(ReadJson, TellsWhetherTheBodyIsJson) {
    std::string body = "{\"d\":1}";
    LoopbackTestServer server([&](const auto&) { return Answer("200 OK", body); });
    const auto session = Connect(server);
    const auto read = [&](Json::Document& document) {
        return SharePoint2010::Utility::ReadJson(
            document, session->SendRequest(u"GET", u"x", nullptr, nullptr, nullptr, 0, false));
    };
    Json::Document document;
    EXPECT_TRUE(read(document));
    EXPECT_EQ(Json::Unsigned(Json::Member(&document.Root(), u"d")), 1u);
    body = "<html>";
    EXPECT_FALSE(read(document));
    EXPECT_TRUE(document.Root().IsNull());
}

constexpr uint64_t kTime = 130118772300000000u;  // 2013-05-01 10:20:30

struct DateRow {
    const char* name;
    const char16_t* text;
    uint64_t time = 0;
};

class IsoDate : public testing::TestWithParam<DateRow> {};

TEST_P(IsoDate, IsReadAsUtcWhateverItsZone) {
    EXPECT_EQ(ParseDateTimeIso8601(GetParam().text, Log::none), GetParam().time);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, IsoDate,
    testing::Values(DateRow{.name = "NoZone", .text = u"2013-05-01T10:20:30", .time = kTime},
                    DateRow{.name = "Utc", .text = u"2013-05-01T10:20:30Z", .time = kTime},
                    DateRow{.name = "East", .text = u"2013-05-01T10:20:30+02:00", .time = kTime},
                    DateRow{.name = "West", .text = u"2013-05-01T10:20:30-07:00", .time = kTime},
                    DateRow{.name = "ShortFields", .text = u"2013-5-1T10:20:30", .time = kTime},
                    DateRow{.name = "PointAlone", .text = u"2013-05-01T10:20:30.", .time = kTime},
                    DateRow{.name = "FirstTime", .text = u"1601-01-01T00:00:00Z"},
                    DateRow{.name = "DayAlone", .text = u"2013-05-01"},
                    DateRow{.name = "BlankForT", .text = u"2013-05-01 10:20:30"},
                    DateRow{.name = "NoSeconds", .text = u"2013-05-01T10:20"},
                    DateRow{.name = "NoSuchMonth", .text = u"2013-13-01T10:20:30"},
                    DateRow{.name = "NoSuchDay", .text = u"2013-02-30T10:20:30"},
                    DateRow{.name = "BasicForm", .text = u"20130501T102030Z"},
                    DateRow{.name = "NegativeDay", .text = u"2013-05--1T10:20:30"},
                    DateRow{.name = "Empty", .text = u""}),
    NameOfRow());

TEST(Date, TakesTheFractionInSinglePrecision) {
    const uint64_t whole = ParseDateTimeIso8601(u"2013-05-01T10:20:30", Log::none);
    const auto ticks = [&](const char16_t* fraction) {
        return ParseDateTimeIso8601(std::u16string(u"2013-05-01T10:20:30") + fraction, Log::none) - whole;
    };
    EXPECT_EQ(ticks(u".5Z"), 5'000'000u);
    EXPECT_EQ(ticks(u".25"), 2'500'000u);
    EXPECT_EQ(ticks(u".0000001"), 1u);
    EXPECT_EQ(ticks(u".0000089Z"), 89u);
    EXPECT_NEAR(static_cast<double>(ticks(u".1234567Z")), 1'234'567.0, 1.0);
    EXPECT_EQ(ticks(u".99999999999999999999999999"), 10'000'000u);
}

TEST(Xml, ThrowsOrLogsWhatIsNoXml) {
    std::string body;
    LoopbackTestServer server([&](const auto&) { return Answer("200 OK", body); });
    const auto session = Connect(server);
    const auto send = [&] { return session->SendRequest(u"GET", u"x", nullptr, nullptr, nullptr, 0, false); };
    pugi::xml_document document;
    body = "<a><b>\xC3\xA4</b></a>";
    SharePoint2010::Utility::ReadResponseXml(document, send());
    EXPECT_STREQ(document.child("a").child("b").text().get(), "\xC3\xA4");
    for (const char* broken : {"", "no xml", "<a><b></a>", "<a"}) {
        body = broken;
        try {
            SharePoint2010::Utility::ReadResponseXml(document, send());
            FAIL() << broken;
        } catch (const Exception& failure) {
            EXPECT_TRUE(failure.message.starts_with(u"XML parse error \"")) << ToUtf8(failure.message);
            EXPECT_NE(failure.message.find(u"\" at char "), std::u16string::npos);
        }
        EXPECT_NO_THROW(SharePoint2013::Utility::ReadXml(document, send()));
        EXPECT_EQ(document.first_child(), pugi::xml_node()) << broken;
    }
    body = Repeat("<a>", 100'000);
    EXPECT_THROW(SharePoint2010::Utility::ReadResponseXml(document, send()), Exception);
    std::u16string text;
    body = "vti_encoding=SR|utf8-nl \xC3\xA4";
    SharePoint2013::Utility::ReadString(text, send());
    EXPECT_EQ(text, u"vti_encoding=SR|utf8-nl \u00E4");
}

TEST(Xml, IsReadAtAnyDepthAndWithoutExpandingEntities) {
    std::string body;
    LoopbackTestServer server([&](const auto&) { return Answer("200 OK", body); });
    const auto session = Connect(server);
    const auto read = [&](pugi::xml_document& document) {
        SharePoint2013::Utility::ReadXml(
            document, session->SendRequest(u"GET", u"x", nullptr, nullptr, nullptr, 0, false));
    };
    {
        constexpr size_t kDepth = 100'000;
        pugi::xml_document document;
        body = Repeat("<a>", kDepth) + "<b/>" + Repeat("</a>", kDepth);
        read(document);
        size_t depth = 0;
        for (pugi::xml_node node = document.first_child(); node; node = node.first_child()) ++depth;
        EXPECT_EQ(depth, kDepth + 1);
        EXPECT_LT(XmlForLog(document).size(), 10'000u);
        read(document);  // frees the first one
    }
    pugi::xml_document document;
    body =
        "<!DOCTYPE a [<!ENTITY x \"boo\"><!ENTITY y \"&x;&x;\"><!ENTITY z SYSTEM \"file:///etc/passwd\">]>"
        "<a b=\"1\" b=\"2\">&x;&y;&z;&lt;&#65;&unknown;</a>";
    read(document);
    EXPECT_STREQ(document.child("a").text().get(), "&x;&y;&z;<A&unknown;");
    EXPECT_STREQ(document.child("a").attribute("b").value(), "1");
    body = std::string("\xFF\xFE<\0a\0>\0\xE4\0<\0/\0a\0>\0", 18);
    read(document);
    EXPECT_STREQ(document.child("a").text().get(), "\xC3\xA4");
    body = Repeat("<!DOCTYPE [", 100'000);
    read(document);
    EXPECT_FALSE(document.first_child());
}

TEST(Xml, RefusesMoreElementsThanMemoryShouldHold) {
    std::string body(16'000'001, '<');
    LoopbackTestServer server([&](const auto&) { return Answer("200 OK", body); });
    const auto session = Connect(server);
    pugi::xml_document document;
    try {
        SharePoint2013::Utility::ReadXml(
            document, session->SendRequest(u"GET", u"x", nullptr, nullptr, nullptr, 0, false));
        FAIL() << "an empty document would look like an empty folder";
    } catch (const Exception& failure) {
        EXPECT_EQ(ToUtf8(failure.message), "The server's answer has too many elements to be read");
    }
}

TEST(Xml, ShowsTheBeginningOfAnElementOnly) {
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(("<a>" + Repeat("<b>secret</b>", 100'000) + "</a>").c_str()));
    const std::u16string shown = XmlForLog(document.child("a"));
    EXPECT_LE(shown.size(), 8192u);
    EXPECT_EQ(shown.find(u"secret"), std::u16string::npos);
}

TEST(Soap, IsOnePostOfAnEnvelope) {
    std::string answer = Answer(
        "200 OK",
        "<?xml version=\"1.0\"?><soap:Envelope xmlns:soap=\"s\"><soap:Body><GetUserInfoResponse xmlns=\"n\">"
        "<GetUserInfoResult><GetUserInfo><User Name=\"Bob\"/></GetUserInfo></GetUserInfoResult>"
        "</GetUserInfoResponse></soap:Body></soap:Envelope>");
    LoopbackTestServer server([&](const auto&) { return answer; });
    const auto session = Connect(server);
    const auto call = [&](pugi::xml_document& document) {
        return SharePoint2010::Utility::CallSoap(document, *session, u"sites/docs", u"UserGroup",
                                                 u"GetUserInfo", u"<userLoginName>\u00E4</userLoginName>",
                                                 u"directory/");
    };
    pugi::xml_document document;
    const pugi::xml_node result = call(document);
    EXPECT_STREQ(result.child("GetUserInfo").child("User").attribute("Name").value(), "Bob");
    const auto request = server.Requests().at(0);
    EXPECT_EQ(request.Line(), "POST /sites/docs/_vti_bin/UserGroup.asmx");
    EXPECT_EQ(request.Header("content-type"), "text/xml; charset=utf-8");
    EXPECT_EQ(request.Header("soapaction"),
              "\"http://schemas.microsoft.com/sharepoint/soap/directory/GetUserInfo\"");
    EXPECT_EQ(request.Header("accept"), "text/xml");
    EXPECT_EQ(request.body,
              "<?xml version=\"1.0\" encoding=\"utf-8\"?><soap:Envelope "
              "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
              "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
              "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body><GetUserInfo "
              "xmlns=\"http://schemas.microsoft.com/sharepoint/soap/directory/\"><userLoginName>\xC3\xA4"
              "</userLoginName></GetUserInfo></soap:Body></soap:Envelope>");

    answer = Answer("200 OK", "<soap:Envelope xmlns:soap=\"s\"/>");
    EXPECT_EQ(call(document), pugi::xml_node());
    answer = Answer("200 OK", "oops");
    EXPECT_THROW(call(document), Exception);
    answer = Answer("500 Oops", "<soap:Envelope xmlns:soap=\"s\"/>");
    EXPECT_THROW(call(document), Http::HttpException);
}

TEST(Multistatus, FailsForAnItemWhoseLineEndsInAFailure) {
    const auto check = [](const std::string& responses) {
        pugi::xml_document document;
        document.load_string(("<D:multistatus xmlns:D=\"DAV:\">" + responses + "</D:multistatus>").c_str());
        return CheckWebDavMultistatus(document, u"a", u"MOVE");
    };
    const auto item = [](const std::string& line) {
        return "<D:response><D:status>" + line + "</D:status></D:response>";
    };
    EXPECT_TRUE(check(""));
    for (const char* line : {"HTTP/1.1 200", "HTTP/1.1 399", "HTTP/1.1 423 Locked", "HTTP/1.1 "})
        EXPECT_TRUE(check(item(line))) << line;
    for (const char* line : {"HTTP/1.1 423", "400", "x 99999999999999999999"})
        EXPECT_FALSE(check(item(line))) << line;
    EXPECT_TRUE(check("<D:response><D:propstat><D:status>x 500</D:status></D:propstat></D:response>"))
        << "the status of properties is not that of the item";
    EXPECT_FALSE(check(item("x 500") + item("x 200")));
}

TEST(EmptyMultistatus, IsNoFailure) {
    EXPECT_TRUE(CheckWebDavMultistatus(pugi::xml_document(), u"a", u"MOVE"));
}

}  // namespace
