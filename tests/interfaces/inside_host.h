// The reference host with a plug-in of this program's own sources, so that a test can see its insides. Main
// thread.
#pragma once

#include <memory>

#include "host/base/host_objects.h"
#include "host/core/host.h"
#include "host/testing/silent_front_end.h"
#include "plugin/plugin.h"
#include "tests/support/account.h"

namespace interfaces {

using namespace testing_support;

class InsideHost {
public:
    InsideHost() {
        m_host = std::make_unique<host::Host>(m_front_end, m_folder / "profile");
        Restart();
    }
    ~InsideHost() { m_host->UnloadPlugin(); }
    // Loads the plug-in anew, so that it reads its settings again.
    void Restart() {
        m_host->UnloadPlugin();
        m_plugin = MakeObject<Plugin>();
        m_host->StartPlugin(m_plugin);
    }
    InsideHost(const InsideHost&) = delete;
    InsideHost& operator=(const InsideHost&) = delete;

    host::Host& host() { return *m_host; }
    Plugin& plugin() { return *m_plugin; }

private:
    TempFolder m_folder;
    host::testing::SilentFrontEnd m_front_end;
    std::unique_ptr<host::Host> m_host;
    ComPtr<Plugin> m_plugin;
};

}  // namespace interfaces
