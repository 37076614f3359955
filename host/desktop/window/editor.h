// What the parts of the window share. Owned by the program; main thread only, but for the host.
#pragma once

#include "host/desktop/front_end/desktop_front_end.h"
#include "host/desktop/work/autosaves.h"
#include "host/desktop/work/editor_state.h"
#include "host/desktop/work/worker.h"

namespace desktop {

struct Editor {
    // The front end and the host, whose plug-in is loaded, outlive it.
    Editor(host::Host& the_host, DesktopFrontEnd& the_front_end)
        : host(the_host),
          front_end(the_front_end),
          sites(std::make_shared<host::Sites>()),
          worker(the_host, the_front_end, sites),
          state(the_host.profile()),
          autosaves(the_host.profile()) {}

    host::Host& host;
    DesktopFrontEnd& front_end;
    const std::shared_ptr<host::Sites> sites;
    Worker worker;
    EditorState state;
    Autosaves autosaves;
    int autosave_ms = 30'000;
};

}  // namespace desktop
