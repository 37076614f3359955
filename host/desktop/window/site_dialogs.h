// Where documents are opened from and saved to: this computer, or a place, whose plug-in shows a dialog of
// its own. Main thread only.
#pragma once

#include <QStringList>
#include <functional>
#include <optional>

#include "host/desktop/window/editor.h"

class QWidget;

namespace desktop {

struct PlaceChoice {
    QString title;
    QString url;  // empty for this computer
};

// The places of the profile.
std::vector<PlaceChoice> PlacesOf(host::Host& host);

// This computer at once where there is no place. Nothing when the person cancels.
std::optional<PlaceChoice> AskWhere(host::Host& host, const QString& title, QWidget* parent);

struct SiteDialog {
    bool saves = false;
    QString site = {};
    QString file_name = {};  // offered when it saves
};

// Signs in where needed, then shows the plug-in's dialog. `connected` is called before it comes up, `done`
// with the addresses that the person chose, or with the failure. Gives the progress of the signing in.
std::shared_ptr<Progress> ShowSiteDialog(
    Editor& editor, const SiteDialog& wanted, std::function<void()> connected,
    std::function<void(const QStringList&, const std::optional<JobFailure>&)> done);

}  // namespace desktop
