#include "host/cli/run/options.h"

#include <algorithm>
#include <array>

namespace cli {

namespace {

struct OptionRow {
    const char* name;
    const char* value;  // the kind of value, null for none
    const char* help;
};

constexpr std::array kCommon{
    OptionRow{"profile", "DIR",
              "where places, settings and local copies are kept (default: your config folder)"},
    OptionRow{"plugin", "FILE", "the plug-in to load (default: SharePoint.tkp beside this program)"},
    OptionRow{"user", "NAME", "sign in as this user when the server asks"},
    OptionRow{"password-stdin", nullptr, "the password is the first line of standard input"},
    OptionRow{"json", nullptr, "one JSON document on standard output"},
    OptionRow{"yes", nullptr, "press the default button of every prompt"},
    OptionRow{"answer", "ID=BUTTON",
              "answer the prompt of that text id: a button's text id or number, then\n"
              "                         optionally ,check ,radio=N ,text=TEXT (may be repeated)"},
    OptionRow{"language", "CODE", "the language of prompts, as de (default: en)"},
    OptionRow{"prompt-log", "FILE", "append every prompt and its answer, a line of JSON each"},
    OptionRow{"log-level", "N", "trace of the plug-in for this run, 0 (none) to 4 (everything)"},
    OptionRow{"web-view-script", "FILE", "a script that stands in for the browser of a sign-in, for tests"},
    OptionRow{"check-leaks", nullptr, "fail when an object is still alive at the end"},
    OptionRow{"help", nullptr, "this text"},
};

constexpr std::array kOwn{
    OptionRow{"api", "KIND", "modern (default) or compatible"},
    OptionRow{"token-stdin", nullptr, "an access token is the first line of standard input"},
    OptionRow{"authority", "URL", "the sign-in authority of this site's server"},
    OptionRow{"sign-in", "WAY",
              "code (in your browser) or device (a code to enter on a page); default: what fits"},
    OptionRow{"client-id", "ID", "the application id to sign in with"},
    OptionRow{"redirect", "URL", "where the browser comes back to, as registered for the application id"},
    OptionRow{"insecure-http", nullptr, "let access tokens go to this server over plain http"},
    OptionRow{"check-in", "TYPE", "check in afterwards: minor, major or overwrite"},
    OptionRow{"type", "TYPE", "minor, major or overwrite"},
    OptionRow{"comment", "TEXT", "the comment of the check-in"},
    OptionRow{"keep", nullptr, "keep the document checked out"},
    OptionRow{"send", nullptr, "send what was not sent; --yes overwrites newer versions on the server"},
    OptionRow{"drop", nullptr, "throw away what was not sent"},
    OptionRow{"all", nullptr, "with --drop: everything, without a question"},
    OptionRow{"save", "FILE", "copy what was not sent of this document to a file; - is standard output"},
    OptionRow{"server", nullptr, "the server's version, also while something of one's own is unsent"},
    OptionRow{"no-clobber", nullptr, "never overwrite a file"},
    OptionRow{"force", nullptr, "overwrite also a file that is newer than the server's"},
    OptionRow{"clear", nullptr, "drop every local copy that the server has as well"},
    OptionRow{"max-size", "SIZE", "keep at most this much, as 500M or 2G (default: 2G)"},
    OptionRow{"max-age", "DAYS", "keep what was opened within so many days (default: 30)"},
    OptionRow{"wait", nullptr, "wait until you say that the editing is done, not only for the command's end"},
};

struct CommandRow {
    const char* name;
    const char* usage;
    const char* help;
    std::size_t fewest;
    std::size_t most;
    std::vector<const char*> options;
};

const std::vector<CommandRow>& Commands() {
    static const std::vector<CommandRow> rows{
        {"place add",
         "URL",
         "adds a site as a place and signs in to it",
         1,
         1,
         {"api", "token-stdin", "authority", "client-id", "redirect", "sign-in", "insecure-http"}},
        {"place list", "", "lists the places", 0, 0, {}},
        {"place remove", "URL", "forgets a place and its sign-in", 1, 1, {}},
        {"ls", "URL", "lists a folder: kind, size, modified, name", 1, 1, {}},
        {"stat", "URL", "tells about one file or folder", 1, 1, {}},
        {"get",
         "URL [FILE]",
         "copies a document out; - is standard output",
         1,
         2,
         {"server", "no-clobber", "force"}},
        {"put",
         "FILE URL",
         "creates or replaces a document; - is standard input",
         2,
         2,
         {"check-in", "comment"}},
        {"edit",
         "URL -- CMD [ARG...]",
         "runs CMD with the document's local file, at the end or for {}, and saves what it changed\n"
         "                              (in a shell command it is \"$1\": sh -c 'CMD \"$1\"' sh)",
         1,
         1,
         {"wait"}},
        {"checkout", "URL", "checks a document out to you", 1, 1, {}},
        {"checkin", "URL", "checks a document in", 1, 1, {"type", "comment", "keep"}},
        {"discard", "URL", "gives a check-out up", 1, 1, {}},
        {"fields", "URL [NAME=VALUE...]", "shows and sets the library columns of a document", 1, 1000, {}},
        {"mkdir", "URL", "makes a folder", 1, 1, {}},
        {"rm", "URL", "deletes a file or a folder with all in it", 1, 1, {}},
        {"mv", "URL URL", "moves a file", 2, 2, {}},
        {"cp", "URL URL", "copies a file", 2, 2, {}},
        {"rename", "URL URL", "renames a file or a folder", 2, 2, {}},
        {"prefs", "[NAME[=VALUE]]", "shows and changes preferences", 0, 1, {}},
        {"recover",
         "[URL]",
         "lists, sends, saves or drops what was not sent",
         0,
         1,
         {"send", "save", "drop", "all"}},
        {"cache",
         "",
         "tells what local copies there are, drops them, and limits them",
         0,
         0,
         {"clear", "max-size", "max-age"}},
        {"detect", "URL", "tells whether an address belongs to SharePoint at all", 1, 1, {}},
        {"signout", "URL", "signs out and forgets the sign-in", 1, 1, {}},
    };
    return rows;
}

template <class Rows>
auto FindRow(const Rows& rows, std::string_view name) -> decltype(&*rows.begin()) {
    const auto found =
        std::find_if(rows.begin(), rows.end(), [&](const auto& row) { return row.name == name; });
    return found == rows.end() ? nullptr : &*found;
}

std::string OptionLine(const OptionRow& row) {
    std::string line = std::string("  --") + row.name + (row.value ? std::string(" ") + row.value : "");
    line.resize(std::max<std::size_t>(line.size() + 2, 25), ' ');
    return line + row.help + "\n";
}

void Add(Options& options, const OptionRow& row, const std::string& value) {
    if (std::string_view(row.name) != "answer") {
        options.values[row.name] = value;
        return;
    }
    auto answer = host::ParseAnswer(value);
    if (!answer)
        throw UsageError("--answer takes ID=BUTTON[,check][,radio=N][,text=TEXT], not '" + value + "'");
    options.answers.push_back(std::move(*answer));
}

void Check(const Options& options) {
    const CommandRow* command = FindRow(Commands(), options.command);
    if (!command) throw UsageError("there is no command '" + options.command + "'; see sphost --help");
    const auto refuse = [&](const std::string& why) {
        throw UsageError(why + "; usage: sphost " + command->name + " " + command->usage);
    };
    if (options.arguments.size() < command->fewest) refuse("too few arguments");
    if (options.arguments.size() > command->most) refuse("too many arguments");
    for (const auto& [name, value] : options.values) {
        if (FindRow(kCommon, name)) continue;
        const auto& own = command->options;
        if (std::none_of(own.begin(), own.end(),
                         [&name = name](const char* option) { return name == option; })) {
            refuse("--" + name + " doesn't belong to '" + command->name + "'");
        }
    }
    const bool is_edit = options.command == "edit";
    if (is_edit && options.program.empty()) refuse("the command to run is missing");
    if (!is_edit && !options.program.empty()) refuse("nothing may follow --");
}

using Argument = std::vector<std::string>::const_iterator;

// Reads an option and its value; returns the last argument that belongs to it.
Argument ReadOption(Options& options, Argument at, Argument end) {
    const std::size_t equals = at->find('=');
    const std::string name = at->substr(2, equals == std::string::npos ? equals : equals - 2);
    const OptionRow* row = FindRow(kCommon, name);
    if (!row) row = FindRow(kOwn, name);
    if (!row) throw UsageError("there is no option '--" + name + "'");
    if (!row->value) {
        if (equals != std::string::npos) throw UsageError("--" + name + " takes no value");
        Add(options, *row, "");
        return at;
    }
    if (equals != std::string::npos) {
        Add(options, *row, at->substr(equals + 1));
        return at;
    }
    if (at + 1 == end) throw UsageError("--" + name + " needs a value");
    Add(options, *row, *(at + 1));
    return at + 1;
}

}  // namespace

Options ParseOptions(const std::vector<std::string>& arguments) {
    Options options;
    std::vector<std::string> words;
    for (auto at = arguments.begin(); at != arguments.end(); ++at) {
        if (*at == "--") {
            options.program.assign(at + 1, arguments.end());
            break;
        }
        if (at->starts_with("--")) {
            at = ReadOption(options, at, arguments.end());
        } else if (at->size() > 1 && at->front() == '-') {
            throw UsageError("there is no option '" + *at + "'");
        } else {
            words.push_back(*at);
        }
    }
    if (!words.empty()) {
        const bool has_two_words = words[0] == "place" && words.size() > 1;
        options.command = has_two_words ? words[0] + " " + words[1] : words[0];
        options.arguments.assign(words.begin() + (has_two_words ? 2 : 1), words.end());
    }
    if (options.Has("help")) return options;
    if (options.command.empty()) throw UsageError("a command is missing; see sphost --help");
    Check(options);
    return options;
}

std::string HelpText(std::string_view name) {
    std::string text;
    if (const CommandRow* command = FindRow(Commands(), name)) {
        text = std::string("sphost ") + command->name + " " + command->usage + "\n  " + command->help + "\n";
        if (!command->options.empty()) text += "\nOptions:\n";
        for (const char* option : command->options) text += OptionLine(*FindRow(kOwn, option));
    } else {
        text = "sphost [OPTION...] COMMAND ...\n\nCommands:\n";
        for (const CommandRow& row : Commands()) {
            std::string line = std::string("  ") + row.name + " " + row.usage;
            line.resize(std::max<std::size_t>(line.size() + 2, 30), ' ');
            text += line + row.help + "\n";
        }
        text += "\n'sphost COMMAND --help' tells more.\n";
    }
    text += "\nCommon options:\n";
    for (const OptionRow& row : kCommon) text += OptionLine(row);
    return text + "\nExit status: 0 done, 1 failed, 2 wrong usage, 3 cancelled.\n";
}

}  // namespace cli
