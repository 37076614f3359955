// SOAP, FrontPage calls, library columns and XML faults on the older generations.
// Owner: devserver/soap and devserver/frontpage.
#include <gtest/gtest.h>

#include <pugixml.hpp>

#include "base/text.h"
#include "tests/harness.h"

namespace devserver::test {
namespace {

constexpr const char* kSpace = "http://schemas.microsoft.com/sharepoint/soap/";

struct SoapReply {
    Reply reply;
    pugi::xml_document document;
    std::string text(const std::string& path) const {
        return document.select_node(("/soap:Envelope/soap:Body/" + path).c_str()).node().child_value();
    }
    std::string code() const { return text("soap:Fault/detail/errorcode"); }
    std::string attribute(const std::string& path, const char* name) const {
        return document.select_node(("/soap:Envelope/soap:Body/" + path).c_str())
            .node()
            .attribute(name)
            .value();
    }
};

class OlderServices : public ::testing::Test {
protected:
    OlderServices() { seed.Write("a [1] & b.pdf", "first"); }

    static SoapReply Call(const Client& client, const std::string& web, const std::string& service,
                          const std::string& method, const std::string& parameters,
                          const std::string& suffix = "") {
        SoapReply result;
        result.reply = client.Ask(
            "POST", web + "/_vti_bin/" + service + ".asmx",
            {"Content-Type: text/xml; charset=utf-8", "SOAPAction: \"" + (kSpace + suffix) + method + "\""},
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><soap:Envelope "
            "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body><" +
                method + " xmlns=\"" + kSpace + suffix + "\">" + parameters + "</" + method +
                "></soap:Body></soap:Envelope>");
        result.document.load_string(result.reply.body.c_str());
        return result;
    }
    static std::string rpc(const Client& client, const std::string& web, const std::string& body) {
        return client
            .Ask("POST", web + "/_vti_bin/_vti_aut/author.dll",
                 {"Content-Type: application/x-www-form-urlencoded",
                  "X-Vermeer-Content-Type: application/x-www-form-urlencoded"},
                 body)
            .body;
    }
    std::string page(const ServerProcess& server) const {
        return "<pageUrl>" + ReplaceAll(server.url() + DocumentPath(name), "&", "&amp;") + "</pageUrl>";
    }

    const std::string name = "a [1] & b.pdf", site = "/sites/team";
    TemporaryFolder seed;
};

TEST_F(OlderServices, AWebIsFoundFromAPageAtTheRootAndInTheSite) {
    ServerProcess server(GenerationOptions("2010", {"--seed", seed.path()}));
    Client alice(server, "alice");
    for (const std::string& web : {std::string(), site}) {
        EXPECT_EQ(Call(alice, web, "Webs", "WebUrlFromPageUrl", page(server))
                      .text("WebUrlFromPageUrlResponse/WebUrlFromPageUrlResult"),
                  server.url() + "/sites/team");
        EXPECT_EQ(Call(alice, web, "Webs", "WebUrlFromPageUrl", "<pageUrl>" + server.url() + "/x</pageUrl>")
                      .text("WebUrlFromPageUrlResponse/WebUrlFromPageUrlResult"),
                  server.url());
    }
    auto foreign = Call(alice, "", "Webs", "WebUrlFromPageUrl", "<pageUrl>http://other.example/x</pageUrl>");
    EXPECT_EQ(foreign.reply.status, 500);
    EXPECT_EQ(foreign.code(), "0x80070002");
    EXPECT_EQ(Call(alice, "", "Webs", "WebUrlFromPageUrl", "<pageUrl/>").code(), "0x82000001");
    EXPECT_EQ(Call(alice, "/none", "Webs", "WebUrlFromPageUrl", page(server)).reply.status, 404);
}

TEST_F(OlderServices, UsersAreDescribedByAttributes) {
    ServerProcess server(GenerationOptions("2013"));
    Client bob(server, "bob");
    std::string login = "i:0#.f|membership|alice@contoso.example";
    auto me = Call(bob, site, "UserGroup", "GetCurrentUserInfo", "", "directory/");
    std::string path = "GetCurrentUserInfoResponse/GetCurrentUserInfoResult/GetUserInfo/User";
    EXPECT_EQ(me.attribute(path, "LoginName"), "i:0#.f|membership|bob@contoso.example");
    auto alice = Call(bob, site, "UserGroup", "GetUserInfo", "<userLoginName>" + login + "</userLoginName>",
                      "directory/");
    path = "GetUserInfoResponse/GetUserInfoResult/GetUserInfo/User";
    EXPECT_EQ(alice.attribute(path, "LoginName"), login);
    EXPECT_EQ(alice.attribute(path, "Name"), "Alice");
    EXPECT_EQ(alice.attribute(path, "Email"), "alice@contoso.example");
    auto nobody =
        Call(bob, site, "UserGroup", "GetUserInfo", "<userLoginName>x</userLoginName>", "directory/");
    EXPECT_EQ(nobody.reply.status, 500);
    EXPECT_EQ(nobody.code(), "0x81020054");
}

TEST_F(OlderServices, TheWorkflowRunsOverSoapWithItsFaults) {
    ServerProcess server(GenerationOptions("2013", {"--seed", seed.path()}));
    Client alice(server, "alice"), bob(server, "bob"), carol(server, "carol");
    auto out = page(server) + "<checkoutToLocal>false</checkoutToLocal>";
    EXPECT_EQ(Call(carol, site, "Lists", "CheckOutFile", out).code(), "0x80070005");
    EXPECT_EQ(Call(alice, site, "Lists", "CheckOutFile", out).text("CheckOutFileResponse/CheckOutFileResult"),
              "true");
    EXPECT_EQ(Call(bob, site, "Lists", "CheckOutFile", out).code(), "0x81020036");
    EXPECT_EQ(Call(bob, site, "Lists", "CheckInFile", page(server) + "<CheckinType>0</CheckinType>").code(),
              "0x81020036");
    EXPECT_EQ(alice.Ask("PUT", name, {}, "draft").status, 200);
    EXPECT_EQ(Call(alice, site, "Lists", "UndoCheckOut", out).text("UndoCheckOutResponse/UndoCheckOutResult"),
              "true");
    EXPECT_EQ(alice.Ask("GET", name).body, "first");
    EXPECT_EQ(Call(alice, site, "Lists", "UndoCheckOut", out).code(), "0x8007009e");
    EXPECT_EQ(Call(alice, "", "Lists", "CheckOutFile", out).reply.status, 200) << "at the root as well";
    EXPECT_EQ(alice.Ask("PUT", name, {}, "kept").status, 200);
    auto in = page(server) + "<comment>5 &lt; 6</comment><CheckinType>1</CheckinType>";
    EXPECT_EQ(Call(alice, site, "Lists", "CheckInFile", in).text("CheckInFileResponse/CheckInFileResult"),
              "true");
    auto seen =
        server.Send({.path = "/_dev/document?path=" + PercentEncode("/sites/team/Shared Documents/" + name)});
    EXPECT_EQ(seen.body, "kept");
    EXPECT_EQ(seen.header("X-Version"), "2.0");
    EXPECT_EQ(PercentDecode(seen.header("X-Comment")), "5 < 6");
    for (const char* wrong : {"<CheckinType>7</CheckinType>", "<CheckinType>x</CheckinType>", ""})
        EXPECT_EQ(Call(alice, site, "Lists", "CheckInFile", page(server) + wrong).reply.status, 500) << wrong;
    EXPECT_EQ(Call(alice, site, "Lists", "CheckOutFile", "<pageUrl></pageUrl>").code(), "0x82000001");
}

TEST_F(OlderServices, ADocumentThatWasNeverCheckedInCannotBeDiscarded) {
    ServerProcess server(GenerationOptions("2013", {"--force-checkout"}));
    Client alice(server, "alice");
    EXPECT_EQ(alice.Ask("PUT", name, {}, "new").status, 201);
    auto discarded = Call(alice, site, "Lists", "UndoCheckOut", page(server));
    EXPECT_EQ(discarded.reply.status, 500);
    EXPECT_EQ(discarded.code(), "0x8107218a");
}

TEST_F(OlderServices, ABodyThatIsNoEnvelopeGetsAFault) {
    ServerProcess server(GenerationOptions("2013"));
    Client alice(server, "alice");
    std::string nested;
    for (int i = 0; i < 100'000; ++i) nested += "<a>";
    for (int i = 0; i < 100'000; ++i) nested += "</a>";
    for (const std::string& body :
         {std::string(), std::string("<soap:Envelope>"), std::string("{}"), nested,
          std::string("<Envelope xmlns='urn:other'/>"),
          std::string("<s:Envelope xmlns:s='http://schemas.xmlsoap.org/soap/envelope/'>"
                      "<s:Body/></s:Envelope>")}) {
        auto reply = alice.Ask("POST", site + "/_vti_bin/Lists.asmx", {"Content-Type: text/xml"}, body);
        EXPECT_EQ(reply.status, 500);
        EXPECT_NE(reply.body.find("<faultcode>soap:Client</faultcode>"), std::string::npos) << reply.body;
    }
    EXPECT_EQ(Call(alice, site, "Lists", "NoSuchThing", "").reply.status, 500);
    EXPECT_EQ(Call(alice, site, "Nothing", "CheckOutFile", "").reply.status, 404);
}

TEST_F(OlderServices, FrontPageNamesTheUserAndWhetherTheUserMayEdit) {
    ServerProcess server(GenerationOptions("2010", {"--seed", seed.path()}));
    Client alice(server, "alice"), bob(server, "bob"), carol(server, "carol");
    auto opened = rpc(alice, site, "method=open+service%3A12%2E0%2E0%2E0");
    EXPECT_TRUE(
        opened.starts_with("<html><head><title>vermeer RPC packet</title></head>\n<body>\n<p>method="));
    EXPECT_NE(opened.find("<li>vti_username\n<li>SX|i:0#.f|membership|alice@contoso.example\n"),
              std::string::npos);
    auto body =
        "method=getDocsMetaInfo%3A12%2E0%2E0%2E0&url%5Flist=%5BShared+Documents%2Fa+%5C%5B1%5C%5D+%26+b"
        "%2Epdf%5D&listHiddenDocs=true&listLinkInfo=false";
    auto may = [&](const Client& client) {
        auto text = rpc(client, site, body);
        EXPECT_NE(text.find("<li>document_name=Shared Documents/a [1] &#38; b.pdf\n"), std::string::npos)
            << text;
        if (text.find("<li>vti_canmaybeedit\n<li>BX|false\n") != std::string::npos) return false;
        EXPECT_NE(text.find("<li>vti_canmaybeedit\n<li>BX|true\n"), std::string::npos);
        return true;
    };
    EXPECT_TRUE(may(alice));
    EXPECT_FALSE(may(carol));
    EXPECT_EQ(
        Call(alice, site, "Lists", "CheckOutFile", page(server) + "<checkoutToLocal>false</checkoutToLocal>")
            .reply.status,
        200);
    EXPECT_TRUE(may(bob)) << "by his rights, whoever holds it";
    auto missing = rpc(alice, site, "method=getDocsMetaInfo%3A12%2E0%2E0%2E0&url%5Flist=%5Bnone%5D");
    EXPECT_NE(missing.find("<p>status=\n<ul>\n<li>status=589830\n<li>osstatus=0\n<li>msg="),
              std::string::npos);
    EXPECT_NE(rpc(alice, site, "method=nonsense").find("<li>status="), std::string::npos);
    EXPECT_NE(rpc(alice, "", "method=server+version").find("<li>major ver=14\n"), std::string::npos);
    EXPECT_NE(
        alice.Ask("GET", "/_vti_inf.html").body.find("FPAuthorScriptUrl=\"_vti_bin/_vti_aut/author.dll\""),
        std::string::npos);
}

TEST_F(OlderServices, ADomainLoginIsTheSameInEveryProtocol) {
    ServerProcess server(GenerationOptions("2010", {"--seed", seed.path(), "--logins", "classic"}));
    Client alice(server, "alice");
    auto me = Call(alice, site, "UserGroup", "GetCurrentUserInfo", "", "directory/");
    EXPECT_EQ(
        me.attribute("GetCurrentUserInfoResponse/GetCurrentUserInfoResult/GetUserInfo/User", "LoginName"),
        "CONTOSO\\alice");
    auto opened = rpc(alice, site, "method=open+service");
    EXPECT_NE(opened.find("<li>vti_username\n<li>SX|CONTOSO&#92;alice\n"), std::string::npos) << opened;
    EXPECT_EQ(
        Call(alice, site, "Lists", "CheckOutFile", page(server) + "<checkoutToLocal>false</checkoutToLocal>")
            .reply.status,
        200);
    auto listing = alice.Ask("PROPFIND", name, {"Depth: 0"}).body;
    EXPECT_NE(listing.find("<D:owner>CONTOSO\\alice</D:owner>"), std::string::npos);
    EXPECT_NE(listing.find("<Office:modifiedby>CONTOSO\\alice</Office:modifiedby>"), std::string::npos);
}

TEST_F(OlderServices, ColumnsFromTheCommandLineAreCheckedInEveryProtocol) {
    std::vector<std::string> more{"--seed", seed.path()};
    for (const char* column :
         {R"({"name":"Stage","type":"Choice","choices":["Draft","Final"],"required":true})",
          R"({"name":"Pages","type":"Number","minimum":1,"maximum":10})",
          R"({"name":"Code","type":"Text","max_length":4})",
          R"({"name":"Due","type":"DateTime","display_format":0})",
          R"({"name":"Fixed","type":"Text","read_only":true,"required":true})",
          R"({"name":"Ref","type":"Lookup"})",
          R"({"name":"Secret","type":"Text","hidden":true,"required":true})",
          R"({"name":"Lang","type":"Text","default":"en","required":true})"})
        more.insert(more.end(), {"--column", column});
    ServerProcess server(GenerationOptions("2013", more));
    Client alice(server, "alice");
    std::string file = "/sites/team/_api/Web/GetFileByServerRelativeUrl('/" +
                       Escape("sites/team/Shared Documents/" + name) + "')/ListItemAllFields";
    auto fields = alice
                      .get(file +
                               "/ParentList/Fields?$select=StaticName,FieldTypeKind,Required,Choices&$filter="
                               "(ReadOnlyField+eq+false)+and+(Hidden+eq+false)and+(Group+ne+'_Hidden')+and+"
                               "(StaticName+ne+'FileLeafRef')",
                           Client::kPlain)
                      .json();
    ASSERT_TRUE(fields.IsObject() && fields.HasMember("value"));
    std::string names;
    for (const auto& field : fields["value"].GetArray()) {
        names += std::string(field["StaticName"].GetString()) + ":" +
                 std::to_string(field["FieldTypeKind"].GetInt()) + " ";
    }
    EXPECT_EQ(names, "Title:2 Stage:6 Pages:9 Code:2 Due:4 Ref:7 Lang:2 ");

    auto out = page(server) + "<checkoutToLocal>false</checkoutToLocal>";
    auto in = page(server) + "<comment/><CheckinType>1</CheckinType>";
    EXPECT_EQ(Call(alice, site, "Lists", "CheckOutFile", out).reply.status, 200);
    EXPECT_EQ(Call(alice, site, "Lists", "CheckInFile", in).code(), "0x82000009");
    auto by_rest = alice.Change("POST", OlderFileUrl(name) + "/CheckIn(comment='',checkintype=1)");
    EXPECT_EQ(by_rest.status, 500);
    EXPECT_EQ(ErrorNumber(by_rest), -2146232832);

    auto id = alice.get(file + "?$select=ID", Client::kPlain).json()["ID"].GetInt();
    auto item = file + "/ParentList/Items(" + std::to_string(id) + ")";
    auto merge = [&](const std::string& body) {
        return alice.Change("POST", item, body, {"X-HTTP-Method: MERGE", "IF-MATCH: *"}).status;
    };
    for (const char* wrong :
         {R"({"Stage":"Draft",,"Code":"x"})", "}", R"({"Stage":"Other"})", R"({"Stage":1})",
          R"({"Due":"yesterday"})", R"({"Nothing":"x"})", R"({"Fixed":"x"})"})
        EXPECT_EQ(merge(wrong), 400) << wrong;
    for (const char* wrong : {R"({"Pages":11})", R"({"Pages":0.5})", R"({"Code":"12345"})"})
        EXPECT_EQ(merge(wrong), 500) << wrong;
    EXPECT_EQ(merge(R"({"Stage":"Final","Pages":7.500000,"Code":"äöü€","Due":"2024-02-29"})"), 204);
    EXPECT_EQ(merge(R"({"Lang":""})"), 204);
    EXPECT_EQ(Call(alice, site, "Lists", "CheckInFile", in).code(), "0x82000009")
        << "emptied in spite of its default";
    EXPECT_EQ(merge(R"({"Lang":"en"})"), 204);
    auto values = alice.get(file + "?$select=ID,Stage,Pages,Code,Due,Lang", Client::kPlain).json();
    EXPECT_STREQ(values["Stage"].GetString(), "Final");
    EXPECT_EQ(values["Pages"].GetDouble(), 7.5);
    EXPECT_STREQ(values["Code"].GetString(), "äöü€");
    EXPECT_STREQ(values["Due"].GetString(), "2024-02-29T00:00:00Z");
    EXPECT_STREQ(values["Lang"].GetString(), "en");
    EXPECT_EQ(Call(alice, site, "Lists", "CheckInFile", in).reply.status, 200);
}

TEST_F(OlderServices, AnInvalidColumnPreventsTheStart) {
    for (const char* column :
         {"{", "{}", R"({"name":"x","type":"Nothing"})", R"({"name":"x","choices":"y"})"}) {
        std::string error;
        TemporaryFolder data;
        EXPECT_EQ(RunToEnd({"--data", data.path(), "--column", column}, error), 2) << column;
        EXPECT_NE(error.find("--column"), std::string::npos);
    }
}

TEST_F(OlderServices, TheXmlProtocolsHaveFaultsOfTheirOwn) {
    ServerProcess server(GenerationOptions("2013", {"--seed", seed.path()}));
    Client alice(server, "alice");
    auto with = [&](const std::string& fault) {
        server.Send({.method = "DELETE", .path = "/_dev/faults"});
        auto posted =
            server.Send({.method = "POST", .path = "/_dev/faults", .body = "{\"fault\":" + fault + "}"});
        EXPECT_EQ(posted.status, 200) << posted.body;
        return alice.Ask("PROPFIND", "", {"Depth: 1"});
    };
    auto huge = with(R"({"kind":"huge-multistatus","count":5000})");
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(huge.body.c_str()));
    auto rows = document.child("D:multistatus").children("D:response");
    EXPECT_EQ(std::distance(rows.begin(), rows.end()), 5001);
    auto nested = with(R"({"kind":"nested","depth":100000,"xml":true})");
    EXPECT_NE(nested.body.find("<D:response><D:response>"), std::string::npos);
    EXPECT_GT(nested.body.size(), 2'000'000u);
    EXPECT_NE(with(R"({"kind":"xml-entities","depth":40})").body.find("<!ENTITY e40 "), std::string::npos);
    auto locked = with(R"({"kind":"locked","user":"i:0#.w|contoso\\bob"})");
    EXPECT_EQ(locked.status, 423);
    EXPECT_NE(locked.body.find("<D:owner>i:0#.w|contoso\\bob</D:owner>"), std::string::npos);
    auto fault = with(R"({"kind":"soap-fault","code":"-2130239094"})");
    EXPECT_EQ(fault.status, 500);
    EXPECT_NE(fault.body.find(">-2130239094</errorcode>"), std::string::npos);
    auto partial = with(R"({"kind":"partial-failure","text":"HTTP/1.1 423"})");
    EXPECT_EQ(partial.status, 207);
    EXPECT_NE(partial.body.find("<D:status>HTTP/1.1 423</D:status>"), std::string::npos);
}

}  // namespace
}  // namespace devserver::test
