// One run of a command: the host, the options, and the plug-in calls that all commands share.
// Made on the main thread, used by the command's worker thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/failure.h"
#include "host/base/host_objects.h"
#include "host/cli/run/options.h"
#include "host/core/host.h"

namespace cli {

// A command's failure: the attempt, the result code, and the reason.
struct CommandError {
    std::string what;
    HRESULT code;
    std::string message;
};

// A question with two answers.
struct Question {
    LPCWSTR id;
    std::string text;
    LPCWSTR yes;
    LPCWSTR no;
    bool yes_agrees = true;   // whether --yes agrees
    bool is_default = false;  // whether agreeing is what an empty line means
};

// A site that is bound: its account, and the name of its root.
struct Site {
    host::StoredAccount account;
    ComPtr<TMK::IAFS_Name> root;
};

class Run {
public:
    Run(host::Host& host, const Options& options);

    host::Host& host() { return m_host; }
    const Options& options() const { return m_options; }
    TMK::ITMK_CancelFlag* cancel() { return m_cancel.get(); }
    TMK::ITMK_ErrorDetails* details() { return m_details.get(); }
    TMK::IAFS_FileSys* file_system() { return m_file_system.get(); }

    // Returns a success, after warning of what the plug-in says about it; throws a CommandError with the best
    // known message for a failure.
    HRESULT Check(HRESULT result, const std::string& what);
    [[noreturn]] void Fail(HRESULT code, const std::string& what, const std::string& message);

    // Whether the person agrees, or an option does for it; refused when nobody is there to ask.
    bool Agrees(const Question& question, const std::string& what);
    // Lets what follows run to its end, also after Ctrl-C: it cleans up.
    void IgnoreCancel() { m_cancel = host::Make<host::CancelFlag>(); }

    std::vector<host::StoredAccount> Accounts() { return m_host.accounts().Load(file_system()); }
    // The account that a URL belongs to; a CommandError when there is none.
    host::StoredAccount AccountFor(const std::u16string& url, const std::string& what);
    // A CommandError for a place of access tokens over plain http that nobody has agreed to.
    void RequirePrivatePlace(const host::StoredAccount& account, const std::string& what);
    // Binds to the site of a URL, once for each account.
    Site& SiteFor(const std::u16string& url, const std::string& what);
    // A new name, without anything known from the server.
    ComPtr<TMK::IAFS_Name> NameFor(const std::u16string& url, const std::string& what);
    // Null when nothing is there; other failures are CommandErrors.
    ComPtr<TMK::IAFS_FileInfo> FindInfo(TMK::IAFS_Name* name, const std::string& what);
    ComPtr<TMK::IAFS_FileInfo> InfoOf(TMK::IAFS_Name* name, const std::string& what);
    ComPtr<TMK::IAFS_File> Open(TMK::IAFS_Name* name, DWORD flags, const std::string& what);
    void Exec(TMK::IAFS_File* file, LPCWSTR command, const std::string& what);
    bool IsCheckedOutToUser(TMK::IAFS_Name* name, const std::string& what);
    // The same of an open document; no when it can't be told.
    bool IsCheckedOut(TMK::IAFS_File* file);
    std::u16string UrlOf(TMK::IAFS_Name* name);
    // A CommandError when earlier changes of the document still wait to be sent.
    void RefuseUnsent(const std::u16string& url, const std::string& what);
    // The same only when another process has the document open.
    void RefuseOpen(const std::u16string& url, const std::string& what);
    // Stores the accounts as binding has changed them.
    void SaveAccounts();

    void Out(const std::string& text);  // to standard output; a CommandError when that fails
    void Say(const std::string& line);  // the same with a line end, unless --json

private:
    host::Host& m_host;
    const Options& m_options;
    ComPtr<host::CancelFlag> m_cancel;
    ComPtr<host::ErrorDetails> m_details;
    ComPtr<TMK::IAFS_FileSys> m_file_system;
    std::vector<std::unique_ptr<Site>> m_sites;
};

// The first line of standard input. A CommandError when there is none.
std::string ReadSecretLine(const std::string& what);

bool IsFolder(TMK::IAFS_FileInfo* info);
// "what URL", as an error names it.
std::string What(const Options& options, const std::string& argument);

}  // namespace cli
