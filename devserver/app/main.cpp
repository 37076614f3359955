// The program spdevserver: reads its options, fills a new site, serves until a signal ends it.
// Owner: the process; the main thread.
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <iostream>
#include <thread>

#include "app/options.h"
#include "app/seed.h"
#include "app/service.h"

namespace {

using namespace devserver;

sigset_t EndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

void EndWithParent() {
    auto parent = ::getppid();
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    // The parent may have ended before the request took effect.
    if (::getppid() != parent) ::raise(SIGTERM);
}

void WarnOfStrangers(const Options& options) {
    if (http::IsLoopback(options.server.host)) return;
    std::string warning = "spdevserver: warning: other machines can reach " + options.server.host;
    if (options.default_users) {
        std::cerr << warning
                  << ", and the passwords of the default users are known to all; --user gives others"
                  << std::endl;
    }
    if (options.admin) std::cerr << warning << ", and --admin asks nobody to sign in" << std::endl;
}

int Serve(const Options& options) {
    Store store(options.data_folder);
    store.UseLogins(options.logins);
    for (const auto& user : options.users) store.PutUser(user.name, user.password, user.rights);
    if (!options.oauth.approve_user.empty() && !store.UserByName(options.oauth.approve_user))
        throw UsageError("--approve " + options.oauth.approve_user + ": there is no such user");
    store.SetUpSite(options.site_path, options.library, options.force_checkout, options.minor_versions);
    for (const auto& column : options.columns)
        store.PutColumn(store.libraries(store.site().id).at(0).id, column);
    Seed(store, options);
    Service service(options, store);
    http::Server server(options.server, service);
    WarnOfStrangers(options);
    server.Start();
    std::thread watcher([&server] {
        auto signals = EndSignals();
        int received = 0;
        sigwait(&signals, &received);
        server.Stop();
    });
    std::cout << "Listening on " << server.url() << std::endl;
    server.Run();
    watcher.join();
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    ::signal(SIGPIPE, SIG_IGN);
    auto signals = EndSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        auto options = ParseOptions({arguments + 1, arguments + count});
        if (options.help) {
            std::cout << HelpText();
            return 0;
        }
        if (options.exit_with_parent) EndWithParent();
        return Serve(options);
    } catch (const std::invalid_argument& error) {
        std::cerr << "spdevserver: " << error.what() << std::endl;
        return 2;
    } catch (const FaultSyntaxError& error) {
        std::cerr << "spdevserver: fault plan: " << error.what() << std::endl;
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "spdevserver: " << error.what() << std::endl;
        return 1;
    }
}
