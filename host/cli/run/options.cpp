#include "host/cli/run/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <list>
#include <memory>

#include "host/base/text.h"
#include "host/cli/run/command_table.h"
#include "host/cli/run/help.h"
#include "host/cli/run/near_miss.h"

namespace cli {

namespace {

using Words = std::vector<std::string>;

// What the parser fills: one for each option, and the arguments of each command.
struct Parsed {
    const char* name;
    CLI::Option* option;
    Words values;
};

// The parser of the whole command line. It knows the words' places; their number and their meaning are
// checked by the tables.
class Grammar {
public:
    Grammar() : m_app("", "sphost") {
        m_app.formatter(std::make_shared<Help>());
        m_app.set_help_flag();  // one of the common options
        m_app.require_subcommand(1, 1);
        m_app.allow_extras();
        for (const OptionRow& row : CommonOptions()) AddOption(m_app, row, kCommonGroup);
        for (const CommandRow& row : Commands()) AddCommand(row);
    }
    Grammar(const Grammar&) = delete;
    Grammar& operator=(const Grammar&) = delete;

    void Parse(Words words) {
        std::reverse(words.begin(), words.end());
        m_app.parse(words);
    }

    // The parser that was reached: the program's, or a command's.
    const CLI::App* Reached() const {
        const CLI::App* app = &m_app;
        while (!app->get_subcommands().empty()) app = app->get_subcommands().front();
        return app;
    }
    Words Unknown() const { return m_app.remaining(true); }
    Words NamesOfCommands(const CLI::App* app) const {
        Words names;
        for (const CLI::App* command : app->get_subcommands(std::function<bool(const CLI::App*)>()))
            names.push_back(command->get_name());
        return names;
    }
    const Words& Arguments() const { return m_arguments; }
    const std::list<Parsed>& options() const { return m_options; }

private:
    // Flags of a version and of a help that end the parsing are made by the parser itself.
    void AddOption(CLI::App& app, const OptionRow& row, const char* group) {
        const std::string name = std::string("--") + row.name;
        std::string names = name;
        for (const char letter : std::string_view(row.letters)) names += std::string(",-") + letter;
        CLI::Option* option = nullptr;
        if (std::string_view(row.name) == "help") {
            option = app.set_help_flag(names, row.help);
        } else if (std::string_view(row.name) == "version") {
            option = app.set_version_flag(names, "sphost " SP_VERSION, row.help);
        } else if (row.value) {
            Parsed& parsed = m_options.emplace_back(Parsed{row.name, nullptr, {}});
            option = app.add_option(names, parsed.values, row.help)->option_text(row.value)->expected(1);
            option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->allow_extra_args(false);
            parsed.option = option;
        } else {
            Parsed& parsed = m_options.emplace_back(Parsed{row.name, nullptr, {}});
            option = app.add_flag(names, row.help)->disable_flag_override();
            option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
            parsed.option = option;
        }
        option->group(group);
    }

    CLI::App& Subcommand(CLI::App& parent, const std::string& name) {
        for (CLI::App* known : parent.get_subcommands(std::function<bool(CLI::App*)>())) {
            if (known->get_name() == name) return *known;
        }
        CLI::App& app = *parent.add_subcommand(name);
        app.fallthrough();
        app.set_help_flag("-h,--help")->group("");  // shown among the common options
        return app;
    }

    void AddCommand(const CommandRow& row) {
        const std::string name = row.name;
        const std::size_t blank = name.find(' ');
        CLI::App* app = &Subcommand(m_app, name.substr(0, blank));
        if (blank != std::string::npos) {
            app->require_subcommand(1, 1);
            app = &Subcommand(*app, name.substr(blank + 1));
        }
        for (const char* option : row.options) AddOption(*app, *FindRow(OwnOptions(), option), kOwnGroup);
        app->add_option("argument", m_arguments)->group("");
    }

    CLI::App m_app;
    std::list<Parsed> m_options;
    Words m_arguments;
};

bool TakesValue(const std::string& name) {
    const OptionRow* row = FindRow(CommonOptions(), name);
    if (!row) row = FindRow(OwnOptions(), name);
    return row && row->value;
}

// The parser takes "[a,b]" for a list. A last byte that no command line holds keeps such a word whole.
constexpr char kWhole = '\x01';

bool LooksLikeList(const std::string& word) {
    return word.starts_with('[') && word.ends_with(']');
}

std::string AsGiven(std::string word) {
    if (word.ends_with(kWhole)) word.pop_back();
    return word;
}

// The words as the parser reads them as they are meant. It would take the word behind "--name=" for the
// value.
Words Prepared(Words::const_iterator word, Words::const_iterator end) {
    Words words;
    for (; word != end; ++word) {
        const bool has_no_value = word->size() > 3 && word->starts_with("--") && word->ends_with("=") &&
                                  TakesValue(word->substr(2, word->size() - 3));
        if (has_no_value) {
            words.push_back(word->substr(0, word->size() - 1));
            words.emplace_back();
        } else {
            words.push_back(LooksLikeList(*word) ? *word + kWhole : *word);
        }
    }
    return words;
}

std::string DidYouMean(const std::string& word, const Words& known) {
    const std::string nearest = NearestOf(word, known);
    return nearest.empty() ? "" : "; did you mean '" + nearest + "'?";
}

[[noreturn]] void RefuseOption(const CLI::App* app, const std::string& word) {
    const std::string option = word.substr(0, word.find('='));
    const std::string command = CommandOf(app);
    if (!command.empty() && option.starts_with("--") && FindRow(OwnOptions(), option.substr(2)))
        throw UsageError(option + " doesn't belong to '" + command + "'; see sphost " + command + " --help");
    Words known;
    for (const OptionRow& row : CommonOptions()) known.push_back(std::string("--") + row.name);
    const CommandRow* row = FindRow(Commands(), command);
    for (const char* name : row ? row->options : std::vector<const char*>())
        known.push_back(std::string("--") + name);
    std::string hint = DidYouMean(option, known);
    if (hint.empty()) hint = "; a name that begins with a dash stands behind --";
    throw UsageError("there is no option '" + host::PlainLine(option) + "'" + hint);
}

// The first word that nobody takes: an option, or what stands where a command should.
void RefuseUnknown(const Grammar& grammar) {
    const Words unknown = grammar.Unknown();
    if (unknown.empty()) return;
    const CLI::App* app = grammar.Reached();
    for (const std::string& word : unknown) {
        if (word.size() > 1 && word.front() == '-') RefuseOption(app, word);
    }
    const std::string before = CommandOf(app);
    const std::string word = host::PlainLine(unknown[0]);
    const std::string hint = DidYouMean(unknown[0], grammar.NamesOfCommands(app));
    throw UsageError("there is no command '" + before + (before.empty() ? "" : " ") + word + "'" +
                     (hint.empty() ? "; see sphost --help" : hint));
}

[[noreturn]] void RefuseMissingCommand(const Grammar& grammar) {
    const CLI::App* app = grammar.Reached();
    const std::string name = CommandOf(app);
    if (name.empty()) throw UsageError("a command is missing; see sphost --help");
    std::string list;
    for (const std::string& part : grammar.NamesOfCommands(app)) list += (list.empty() ? "" : ", ") + part;
    throw UsageError("'" + name + "' needs one of: " + list);
}

// "--profile: 1 required DIR missing" in plain words.
[[noreturn]] void RefuseValue(const std::string& message) {
    std::string name = message.substr(0, message.find_first_of(": "));
    name.erase(0, name.find_first_not_of('-'));
    throw UsageError("--" + name + (TakesValue(name) ? " needs a value" : " takes no value"));
}

void AddAnswers(Options& options, const Words& values) {
    for (const std::string& value : values) {
        auto answer = host::ParseAnswer(value);
        if (!answer)
            throw UsageError("--answer takes ID=BUTTON[,check][,radio=N][,text=TEXT], not '" + value + "'");
        options.answers.push_back(std::move(*answer));
    }
}

Options ReadOptions(const Grammar& grammar, const Words& behind_dashes) {
    Options options;
    options.command = CommandOf(grammar.Reached());
    for (const std::string& word : grammar.Arguments()) options.arguments.push_back(AsGiven(word));
    for (const Parsed& parsed : grammar.options()) {
        if (parsed.option->count() == 0) continue;
        if (std::string_view(parsed.name) == "answer") {
            AddAnswers(options, parsed.values);
        } else {
            for (const std::string& value : parsed.values)
                options.lists[parsed.name].push_back(AsGiven(value));
            options.values[parsed.name] = parsed.values.empty() ? "" : AsGiven(parsed.values.back());
        }
    }
    // Behind -- nothing is an option: another program's command line, or names.
    auto& plain = options.command == "edit" ? options.program : options.arguments;
    plain.insert(plain.end(), behind_dashes.begin(), behind_dashes.end());
    return options;
}

void CheckArguments(const Options& options) {
    const CommandRow& command = *FindRow(Commands(), options.command);
    const auto refuse = [&](const std::string& why) {
        throw UsageError(why + "; usage: sphost " + command.name + " " + command.usage);
    };
    if (options.arguments.size() < command.fewest) refuse("too few arguments");
    if (options.arguments.size() > command.most) refuse("too many arguments");
    if (options.command == "edit" && options.program.empty())
        refuse("the command to run is missing behind --");
}

}  // namespace

Options ParseOptions(const std::vector<std::string>& arguments) {
    const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
    Grammar grammar;
    try {
        grammar.Parse(Prepared(arguments.begin(), dashes));
    } catch (const CLI::CallForHelp&) {
        Options options;
        options.information = grammar.Reached()->help();
        return options;
    } catch (const CLI::CallForVersion& version) {
        Options options;
        options.information = std::string(version.what()) + "\n";
        return options;
    } catch (const CLI::RequiredError&) {
        RefuseUnknown(grammar);
        RefuseMissingCommand(grammar);
    } catch (const CLI::ArgumentMismatch& error) {
        RefuseValue(error.what());
    } catch (const CLI::ParseError& error) {
        throw UsageError(host::PlainLine(error.what()));
    }
    RefuseUnknown(grammar);
    Options options = ReadOptions(grammar, {dashes + (dashes == arguments.end() ? 0 : 1), arguments.end()});
    CheckArguments(options);
    return options;
}

}  // namespace cli
