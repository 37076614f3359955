// sphost: the plug-in from a terminal, for people and scripts. The main thread loads and unloads it and runs
// queued work while a worker runs the command.
#include <langinfo.h>

#include <array>
#include <clocale>
#include <cstdio>

#include "host/base/environment.h"
#include "host/base/interrupt.h"
#include "host/cli/commands/commands.h"
#include "host/cli/front_end/terminal_front_end.h"
#include "host/cli/run/preferences.h"

namespace {

enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2, kCancelled = 3, kNo = 4 };

using Command = void (*)(cli::Run&);

Command FindCommand(const std::string& name) {
    static constexpr std::array<std::pair<std::string_view, Command>, 22> kCommands{{
        {"place add", cli::PlaceAdd},
        {"place list", cli::PlaceList},
        {"place remove", cli::PlaceRemove},
        {"ls", cli::List},
        {"stat", cli::Stat},
        {"get", cli::Get},
        {"put", cli::Put},
        {"edit", cli::Edit},
        {"checkout", cli::CheckOut},
        {"detect", cli::Detect},
        {"fields", cli::Fields},
        {"checkin", cli::CheckIn},
        {"discard", cli::Discard},
        {"mkdir", cli::MakeFolder},
        {"rm", cli::Remove},
        {"mv", cli::Move},
        {"cp", cli::Copy},
        {"rename", cli::Rename},
        {"prefs", cli::Preferences},
        {"recover", cli::Recover},
        {"cache", cli::Cache},
        {"signout", cli::SignOut},
    }};
    for (const auto& [text, command] : kCommands) {
        if (text == name) return command;
    }
    return nullptr;
}

// The plug-in reads this preference when it starts, so it is set for this run alone and the plug-in started
// anew.
void UseLogLevel(host::Host& host, const host::fs::path& plugin, const std::string& level) {
    constexpr const char* kName = "log_level";
    if (level.size() != 1 || level[0] < '0' || level[0] > '4')
        throw cli::UsageError("--log-level takes a number from 0 to 4, not '" + level + "'");
    const auto preferences = cli::ReadPreferences(host.FileSystem().get());
    if (cli::TextOf(cli::FindPreference(preferences, kName)) == level) return;
    host.ChangeSettingsForThisRun([&] { cli::SetPreference(host.FileSystem().get(), kName, level); });
    host.UnloadPlugin();
    host.LoadPlugin(plugin);
}

void UseLanguage(host::Host& host, const std::string& code) {
    try {
        host.languages().Use(code);
    } catch (const host::Failure& failure) {
        throw cli::UsageError("--language: " + std::string(failure.what()));
    }
}

// A plug-in reads its preferences when it starts and stores all of them: no other process may do so in
// between.
bool ChangesSettings(const cli::Options& options) {
    return options.command == "prefs" && !options.arguments.empty() &&
           options.arguments[0].find('=') != std::string::npos;
}

void RunCommand(const cli::Options& options, cli::Terminal& terminal) {
    if (options.Value("profile") == "") throw cli::UsageError("--profile takes a folder");
    cli::TerminalFrontEnd front_end(
        terminal, {.what = "sphost " + options.command,
                   .shows_progress = !options.Has("json"),
                   .adds_place = options.command == "place add",
                   .browser = {options.Value("web-view-script").value_or(""), host::BrowserProgramPath()}});
    const auto profile =
        options.Has("profile") ? host::fs::path(*options.Value("profile")) : host::DefaultProfileFolder();
    std::optional<host::FileLock> settings;  // released when the plug-in is unloaded
    host::Host host(front_end, profile, cli::GivenCredentials(options));
    if (ChangesSettings(options)) settings = host.profile().LockSettings();
    host.prompts().SetYes(options.Has("yes"));
    for (const auto& [id, answer] : options.answers) host.prompts().AddAnswer(id, answer);
    if (const auto log = options.Value("prompt-log")) host.prompts().LogTo(*log);
    const host::fs::path plugin = options.Has("plugin") ? host::fs::absolute(*options.Value("plugin"))
                                                        : host::BesideProgram("SharePoint.tkp");
    host.LoadPlugin(plugin);
    host.languages().AddFolder(host::BesideProgram("languages"));
    if (const auto language = options.Value("language")) UseLanguage(host, *language);
    if (const auto level = options.Value("log-level")) UseLogLevel(host, plugin, *level);
    host.main_thread().RunWorker([&] {
        cli::Run run(host, options, front_end.status());
        try {
            FindCommand(options.command)(run);
            run.Finish();
        } catch (...) {
            run.SaveAccounts();
            throw;
        }
        run.SaveAccounts();
    });
}

int RunGuarded(const cli::Options& options) {
    cli::ProcessTerminal terminal;
    const auto fail = [](const std::string& what, HRESULT code, const std::string& message) {
        cli::ShowError(what + ": " + host::PlainLine(message) + " (" + host::FormatResult(code) + ")");
        return code == host::kCanceled || host::InterruptFlag() ? kCancelled : kFailed;
    };
    try {
        RunCommand(options, terminal);
        return kDone;
    } catch (const cli::NegativeAnswer&) {
        return kNo;
    } catch (const cli::UsageError& error) {
        cli::ShowError(error.what());
        return kWrongUsage;
    } catch (const cli::CommandError& error) {
        return fail(error.what, error.code, error.message);
    } catch (const host::Failure& failure) {
        return fail(options.command, failure.code(), failure.what());
    } catch (const std::bad_alloc&) {
        return fail(options.command, E_OUTOFMEMORY, "out of memory");
    } catch (const std::exception& error) {
        return fail(options.command, E_FAIL, error.what());
    }
}

// A check-in comment is converted by the process's locale; in one that isn't UTF-8 it would end at the first
// letter beyond ASCII.
void SetLocale() {
    std::setlocale(LC_ALL, "");
    if (std::string_view(nl_langinfo(CODESET)) != "UTF-8") std::setlocale(LC_CTYPE, "C.UTF-8");
}

}  // namespace

int main(int count, char** words) {
    SetLocale();
    host::InstallInterruptHandler();
    cli::Options options;
    try {
        options = cli::ParseOptions({words + 1, words + count});
    } catch (const cli::UsageError& error) {
        cli::ShowError(error.what());
        return kWrongUsage;
    }
    if (!options.information.empty()) {
        std::fputs(options.information.c_str(), stdout);
        return kDone;
    }
    const int status = RunGuarded(options);
    if (options.Has("check-leaks") && host::LiveObjects() != 0) {
        cli::ShowError(std::to_string(host::LiveObjects()) + " objects are still alive");
        return kFailed;
    }
    return status;
}
