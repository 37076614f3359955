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

sigset_t end_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

void end_with_parent() {
    auto parent = ::getppid();
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    // The parent may have ended before the request took effect.
    if (::getppid() != parent) ::raise(SIGTERM);
}

int serve(const Options& options) {
    Store store(options.data_folder);
    store.use_logins(options.logins);
    for (const auto& user : options.users) store.put_user(user.name, user.password, user.rights);
    if (!options.oauth.approve_user.empty() && !store.user_by_name(options.oauth.approve_user))
        throw UsageError("--approve " + options.oauth.approve_user + ": there is no such user");
    store.set_up_site(options.site_path, options.library, options.force_checkout, options.minor_versions);
    for (const auto& column : options.columns)
        store.put_column(store.libraries(store.site().id).at(0).id, column);
    seed(store, options);
    Service service(options, store);
    http::Server server(options.server, service);
    server.start();
    std::thread watcher([&server] {
        auto signals = end_signals();
        int received = 0;
        sigwait(&signals, &received);
        server.stop();
    });
    std::cout << "Listening on " << server.url() << std::endl;
    server.run();
    watcher.join();
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    ::signal(SIGPIPE, SIG_IGN);
    auto signals = end_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        auto options = parse_options({arguments + 1, arguments + count});
        if (options.help) {
            std::cout << help_text();
            return 0;
        }
        if (options.exit_with_parent) end_with_parent();
        return serve(options);
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
