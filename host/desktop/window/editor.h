// What the parts of the window share. Owned by the program; main thread only, but for the host.
#pragma once

#include "host/desktop/front_end/desktop_front_end.h"
#include "host/desktop/work/autosaves.h"
#include "host/desktop/work/editor_state.h"
#include "host/desktop/work/ui_language.h"
#include "host/desktop/work/worker.h"

namespace desktop {

struct Editor {
    // The front end and the host, whose plug-in is loaded, outlive it.
    // Packs of languages are taken from `language_folder`.
    Editor(host::Host& the_host, DesktopFrontEnd& the_front_end, const host::fs::path& language_folder = {})
        : host(the_host),
          front_end(the_front_end),
          sites(std::make_shared<host::Sites>()),
          worker(the_host, the_front_end, sites),
          state(the_host.profile()),
          language(the_host, state, language_folder),
          autosaves(the_host.profile()) {
        if (const int seconds = state.Text("autosave").toInt(); seconds > 0) autosave_ms = seconds * 1000;
    }

    host::Host& host;
    DesktopFrontEnd& front_end;
    const std::shared_ptr<host::Sites> sites;
    Worker worker;
    EditorState state;
    UiLanguage language;
    Autosaves autosaves;
    int autosave_ms = 30'000;
};

}  // namespace desktop
