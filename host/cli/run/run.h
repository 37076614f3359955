// One run of a command: the host, the options, and the plug-in calls that all commands share.
// Made on the main thread, used by the command's worker thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/cli/front_end/status_line.h"
#include "host/cli/run/options.h"
#include "host/jobs/job.h"

namespace cli {

using CommandError = host::JobError;

// The answer of a command that was asked something, and that answered no: exit status 4.
struct NegativeAnswer {};

// A question with two answers.
struct Question {
    LPCWSTR id;
    std::string text;
    LPCWSTR yes;
    LPCWSTR no;
    bool yes_agrees = true;   // whether --yes agrees
    bool is_default = false;  // whether agreeing is what an empty line means
};

class Run : public host::Job {
public:
    // The status line outlives it.
    Run(host::Host& host, const Options& options, StatusLine& status);

    const Options& options() const { return m_options; }
    StatusLine& status() { return m_status; }

    // The URL of an argument: a URL, or NAME:PATH of a place. Throws a Failure.
    std::u16string Address(const std::string& argument);
    bool IsAddress(const std::string& argument);
    // The same of the first argument.
    std::u16string Address() { return Address(m_options.arguments[0]); }

    // Whether the person agrees, or an option does for it; refused when nobody is there to ask.
    bool Agrees(const Question& question, const std::string& what);
    // A CommandError when earlier changes of the document still wait to be sent.
    void RefuseUnsent(const std::u16string& url, const std::string& what);
    // The same only when another process has the document open.
    void RefuseOpen(const std::u16string& url, const std::string& what);

    // Runs the making of an item; a failure names the rule that the new name breaks.
    template <class Work>
    auto Making(const std::u16string& url, Work&& work) {
        try {
            return work();
        } catch (CommandError& error) {
            ExplainName(url, error);
            throw;
        }
    }

    void Out(const std::string& text);  // to standard output; a CommandError when that fails
    void Say(const std::string& line);  // the same with a line end; with --json part of the document
    // Prints the document of --json for a command that has printed none of its own.
    void Finish();

private:
    static void ExplainName(const std::u16string& url, CommandError& error);

    const Options& m_options;
    StatusLine& m_status;
    std::vector<std::string> m_said;
    bool m_has_output = false;
};

// The first line of standard input. A CommandError when there is none.
std::string ReadSecretLine(const std::string& what);

// "what URL", as an error names it.
std::string What(const Options& options, const std::string& argument);

}  // namespace cli
