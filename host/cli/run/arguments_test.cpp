// The command line and the URLs on it.
#include <gtest/gtest.h>

#include "host/base/failure.h"
#include "host/cli/run/options.h"
#include "host/jobs/address.h"

namespace cli {
namespace {

TEST(Options, CommonOptionsMayStandAnywhereBeforeTheProgram) {
    const Options options =
        ParseOptions({"--json", "edit", "--profile=/p", "URL", "--yes", "--", "ed", "--json"});
    EXPECT_EQ(options.command, "edit");
    EXPECT_EQ(options.arguments, std::vector<std::string>{"URL"});
    EXPECT_EQ(options.program, (std::vector<std::string>{"ed", "--json"}));
    EXPECT_EQ(options.Value("profile"), "/p");
    EXPECT_TRUE(options.Has("yes"));
    const Options place = ParseOptions({"place", "add", "U", "--answer", "a=b,check", "--answer=c=1"});
    EXPECT_EQ(place.command, "place add");
    EXPECT_EQ(place.answers.size(), 2u);
    EXPECT_EQ(ParseOptions({"get", "U", "-"}).arguments[1], "-");
    EXPECT_EQ(ParseOptions({"get", "--profile=", "U"}).Value("profile"), "") << "not the next word";
    EXPECT_EQ(ParseOptions({"ls", "U", "--user", "a", "--user", "b"}).Value("user"), "b");
}

TEST(Options, WordsAreTakenAsTheyStand) {
    const std::vector<std::string> odd{"[a,b]", "ls", "place", "", "a=b", "{x}", "-"};
    for (const std::string& word : odd) {
        EXPECT_EQ(ParseOptions({"put", word, "U"}).arguments, (std::vector<std::string>{word, "U"}));
        EXPECT_EQ(ParseOptions({"put", "F", "U", "--comment", word}).Value("comment"), word);
    }
    const std::vector<std::string> dashes{"-x", "--json", "--"};
    for (const std::string& word : dashes) {
        EXPECT_EQ(ParseOptions({"put", "--", word, "U"}).arguments, (std::vector<std::string>{word, "U"}));
        EXPECT_EQ(ParseOptions({"edit", "U", "--", "ed", word}).program,
                  (std::vector<std::string>{"ed", word}));
    }
}

TEST(Options, HelpAndVersionNeedNothingElse) {
    const std::string get = ParseOptions({"get", "-h"}).information;
    EXPECT_TRUE(get.starts_with("sphost get URL"));
    EXPECT_NE(get.find("--no-clobber"), std::string::npos);
    EXPECT_NE(get.find("sphost.replaceFile.question"), std::string::npos);
    EXPECT_EQ(get.find("--check-in"), std::string::npos) << "an option of another command";
    EXPECT_TRUE(ParseOptions({"place", "add", "--help"}).information.starts_with("sphost place add URL"));
    EXPECT_NE(ParseOptions({"--help"}).information.find("sp.msg.askForCheckOutOnOpen"), std::string::npos);
    EXPECT_TRUE(ParseOptions({"--version"}).information.starts_with("sphost "));
}

TEST(Options, NearMissesAreNamed) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> rows{
        {{"chekin", "U"}, "there is no command 'chekin'; did you mean 'checkin'?"},
        {{"place", "remov", "U"}, "there is no command 'place remov'; did you mean 'remove'?"},
        {{"get", "U", "--no-clober"}, "there is no option '--no-clober'; did you mean '--no-clobber'?"},
        {{"ls", "U", "--jsn=1"}, "there is no option '--jsn'; did you mean '--json'?"},
        {{"frobnicate"}, "there is no command 'frobnicate'; see sphost --help"},
        {{"rm", "-x.pdf"}, "there is no option '-x.pdf'; a name that begins with a dash stands behind --"},
        {{"ls", "U", "--send"}, "--send doesn't belong to 'ls'; see sphost ls --help"},
    };
    for (const auto& [arguments, expected] : rows) {
        try {
            ParseOptions(arguments);
            ADD_FAILURE() << "accepted: " << ::testing::PrintToString(arguments);
        } catch (const UsageError& error) {
            EXPECT_EQ(std::string(error.what()), expected);
        }
    }
}

TEST(Options, WrongUsageIsReportedInOneLine) {
    const std::vector<std::vector<std::string>> wrong{
        {},
        {"frobnicate"},
        {"ls"},
        {"ls", "a", "b"},
        {"place"},
        {"place", "burn", "x"},
        {"ls", "U", "--send"},
        {"ls", "U", "--nothing"},
        {"ls", "U", "-x"},
        {"ls", "U", "--profile"},
        {"ls", "U", "--json=1"},
        {"ls", "U", "--answer", "x"},
        {"edit", "U"},
        {"edit", "U", "--"},
        {"ls", "U", "--", "cmd"},
        {"--", "ls", "U"},
        {"place", "--", "list"},
    };
    for (const auto& arguments : wrong) {
        try {
            ParseOptions(arguments);
            ADD_FAILURE() << "accepted: " << ::testing::PrintToString(arguments);
        } catch (const UsageError& error) {
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos) << error.what();
        }
    }
}

TEST(Urls, AreDecodedOnceAndSurviveEscaping) {
    const std::vector<std::pair<std::string, std::u16string>> rows{
        {"http://h/a b/c%20d", u"http://h/a b/c d"},
        {"HTTPS://h:81/x/", u"HTTPS://h:81/x"},
        {"http://h", u"http://h"},
        {"http://h/", u"http://h"},
        {"http://h/100%25.pdf", u"http://h/100%.pdf"},
        {"http://h/100%.pdf", u"http://h/100%.pdf"},
        {"http://h/%2541.pdf", u"http://h/%41.pdf"},
        {"http://h/a#b%23c?web=1", u"http://h/a#b#c"},
        {"http://h/%E6%96%87", u"http://h/\u6587"},
        {"http://h/:b:/s/team/Abc%20?e=1", u"http://h/:b:/s/team/Abc%20?e=1"},
    };
    for (const auto& [argument, url] : rows) EXPECT_EQ(host::ParseUrl(argument), url) << argument;
    for (const std::u16string name :
         {u"C# & more", u"100% sure", u"%41%20x", u"it's", u"a+b", u"[x] (y) {z}", u"\u00C4\u00DF",
          u"\u6587\U0001F600", u"a;b,c=d@e!$", u"%", u"%2", u"\"<>|"}) {
        const std::u16string url = u"http://h:8080/sites/" + name;
        EXPECT_EQ(host::ParseUrl(host::EscapeUrl(url)), url) << host::EscapeUrl(url);
    }
    for (const char* bad : {"", "x", "ftp://h/x", "http://", "http:///x", "http://h/%FF", "http://h/a%00b",
                            "http://h/%0A", "http://h/T%3Fweb=1"}) {
        EXPECT_THROW(host::ParseUrl(bad), host::Failure) << bad;
    }
}

}  // namespace
}  // namespace cli
