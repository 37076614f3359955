#include "app/service.h"

#include <fstream>
#include <iostream>
#include <sstream>

#include "base/crypto.h"
#include "base/text.h"
#include "faults/apply.h"
#include "odata/format.h"

namespace devserver {
namespace {

struct Exchange : http::Attachment {
    std::vector<FaultAction> faults;
    std::string user;
    std::size_t log_number = 0;
};

Exchange& exchange_of(const http::Request& request) {
    return static_cast<Exchange&>(*request.attachment);
}

void add_server_headers(http::Response& response, Generation generation) {
    response.headers.set("MicrosoftSharePointTeamServices", version_of(generation));
    response.headers.set("SPRequestGuid", random_guid());
    response.headers.set("X-SharePointHealthScore", "0");
    response.headers.set("SPClientServiceRequestDuration", "1");
    response.headers.set("X-SP-SERVERSTATE", "ReadOnly=0");
}

}  // namespace

Service::Service(const Options& options, Store& store)
    : m_store(store),
      m_tickets(store.database()),
      m_log(options.request_log_file),
      m_digests(store, options.digest_lifetime, options.optional_digest),
      m_authenticator(store, m_tickets, options.sign_in, options.forms, options.data_folder),
      m_authority(store, m_tickets, options.oauth),
      m_generation(options.generation),
      m_router(store, m_digests, options.generation, options.dav) {
    if (!options.faults_file.empty()) {
        std::ifstream stream(options.faults_file);
        std::stringstream text;
        text << stream.rdbuf();
        if (!stream) throw UsageError("cannot read the fault plan " + options.faults_file);
        m_faults.add(text.str());
    }
    if (options.admin)
        m_admin = std::make_unique<Admin>(m_store, m_tickets, m_faults, m_log, m_authority, m_digests);
}

bool Service::stall_connection() {
    return m_faults.stall_connection();
}

http::WirePlan Service::plan(http::Request& request) {
    auto exchange = std::make_shared<Exchange>();
    if (!Admin::owns(request)) {
        exchange->faults = m_faults.match(request);
        exchange->log_number = m_log.begin();
    }
    request.attachment = exchange;
    return wire_plan(exchange->faults);
}

http::Response Service::handle(http::Request& request) {
    const auto& faults = exchange_of(request).faults;
    try {
        prepare(faults, request, m_store);
    } catch (const StoreError& error) {
        std::cerr << "a fault couldn't be prepared: " << error.what() << std::endl;
    }
    auto instead = answer_instead(faults, request, false);
    auto response = instead ? std::move(*instead) : serve_guarded(request);
    if (!instead)
        if (auto later = answer_instead(faults, request, true)) response = std::move(*later);
    if (response.status == 401 && !response.headers.has("WWW-Authenticate"))
        add_challenges(m_authenticator.challenge(request), response);
    spoil(faults, request, response, m_store);
    add_server_headers(response, m_generation);
    return response;
}

http::Response Service::serve_guarded(http::Request& request) {
    try {
        return serve(request);
    } catch (const http::ConnectionLost&) {
        throw;
    } catch (const http::BadRequest&) {
        throw;
    } catch (const std::exception& error) {
        std::cerr << "error while serving " << request.method << " " << request.path << ": " << error.what()
                  << std::endl;
        return odata::error_response(
            {500, "-1, System.InvalidOperationException", "The server failed to serve the request."},
            odata::choose_mode(request.headers.get("Accept")));
    }
}

http::Response Service::serve(http::Request& request) {
    if (m_admin && Admin::owns(request)) return m_admin->handle(request);
    if (auto response = m_authority.handle(request)) return std::move(*response);
    if (auto response = m_authenticator.handle(request)) return std::move(*response);
    auto user = m_authenticator.authenticate(request);
    if (!user) return m_authenticator.challenge(request);
    exchange_of(request).user = user->name;
    auto response = m_router.serve(request, *user);
    m_authenticator.conclude(request, response);
    return response;
}

void Service::finished(const http::Request& request, const http::ExchangeResult& result) {
    if (Admin::owns(request)) return;
    const auto& exchange = exchange_of(request);
    m_log.finish(exchange.log_number, request, result, exchange.user);
}

}  // namespace devserver
