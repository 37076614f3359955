// Asks for the site that becomes a place. Main thread only.
#pragma once

#include <QWidget>
#include <optional>

#include "host/profile/accounts.h"
#include "host/signin/oauth.h"

namespace desktop {

struct NewPlace {
    std::string address;  // as a browser shows it
    bool is_modern = true;
    host::OAuthOverride sign_in;  // empty members where the plug-in decides
};

// `address` is offered. Nothing when the person cancels.
std::optional<NewPlace> AskForPlace(const QString& address, QWidget* parent);

}  // namespace desktop
