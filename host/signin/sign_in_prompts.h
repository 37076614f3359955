// The questions and notices of a sign-in, implemented by the front end. Any thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

namespace host {

struct Credentials {
    std::u16string user;
    std::u16string password;
};

struct CredentialsQuestion {
    std::u16string server;
    std::u16string status;  // the server's message, may be empty
    std::u16string user;    // a name to offer, may be empty
};

// Shown while a sign-in waits for the person to act elsewhere; removed by its destructor.
class SignInNotice {
public:
    virtual ~SignInNotice() = default;
    virtual bool IsCanceled() const = 0;
};

class SignInPrompts {
public:
    virtual ~SignInPrompts() = default;
    // Nothing when there is no person, or no answer.
    virtual std::optional<Credentials> AskCredentials(const CredentialsQuestion& question) = 0;
    // Whether a page can be opened in the person's own browser.
    virtual bool CanOpenPages() const = 0;
    // Opens a page there, to sign in on it.
    virtual std::unique_ptr<SignInNotice> OpenPage(const std::string& url) = 0;
    // Shows a code that is to be entered on a page, in whichever browser.
    virtual std::unique_ptr<SignInNotice> ShowCode(const std::string& page, const std::string& code) = 0;
};

}  // namespace host
