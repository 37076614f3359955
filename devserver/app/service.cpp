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

Exchange& ExchangeOf(const http::Request& request) {
    return static_cast<Exchange&>(*request.attachment);
}

void AddServerHeaders(http::Response& response, Generation generation) {
    response.headers.Set("MicrosoftSharePointTeamServices", VersionOf(generation));
    response.headers.Set("SPRequestGuid", RandomGuid());
    response.headers.Set("X-SharePointHealthScore", "0");
    response.headers.Set("SPClientServiceRequestDuration", "1");
    response.headers.Set("X-SP-SERVERSTATE", "ReadOnly=0");
}

}  // namespace

Service::Service(const Options& options, Store& store)
    : m_store(store),
      m_tickets(store.database()),
      m_log(options.request_log_file),
      m_digests(store, options.digest_lifetime, options.optional_digest),
      m_authenticator(store, m_tickets, options.sign_in, options.forms, options.data_folder,
                      options.key_table),
      m_authority(store, m_tickets, options.oauth),
      m_generation(options.generation),
      m_router(store, m_digests, options.generation, options.dav, options.limits) {
    if (!options.faults_file.empty()) {
        std::ifstream stream(options.faults_file);
        std::stringstream text;
        text << stream.rdbuf();
        if (!stream) throw UsageError("cannot read the fault plan " + options.faults_file);
        m_faults.Add(text.str());
    }
    if (options.admin)
        m_admin = std::make_unique<Admin>(m_store, m_tickets, m_faults, m_log, m_authority, m_digests);
}

bool Service::StallConnection() {
    return m_faults.StallConnection();
}

http::WirePlan Service::plan(http::Request& request) {
    auto exchange = std::make_shared<Exchange>();
    if (!Admin::Owns(request)) {
        exchange->faults = m_faults.Match(request);
        exchange->log_number = m_log.begin();
    }
    request.attachment = exchange;
    return WirePlan(exchange->faults);
}

http::Response Service::Handle(http::Request& request) {
    const auto& faults = ExchangeOf(request).faults;
    try {
        Prepare(faults, request, m_store);
    } catch (const StoreError& error) {
        std::cerr << "a fault couldn't be prepared: " << error.what() << std::endl;
    }
    auto instead = AnswerInstead(faults, request, false);
    auto response = instead ? std::move(*instead) : ServeGuarded(request);
    if (!instead)
        if (auto later = AnswerInstead(faults, request, true)) response = std::move(*later);
    if (response.status == 401 && !response.headers.Has("WWW-Authenticate"))
        AddChallenges(m_authenticator.Challenge(request), response);
    Spoil(faults, request, response, m_store);
    AddServerHeaders(response, m_generation);
    return response;
}

http::Response Service::ServeGuarded(http::Request& request) {
    try {
        return Serve(request);
    } catch (const http::ConnectionLost&) {
        throw;
    } catch (const http::BadRequest&) {
        throw;
    } catch (const std::exception& error) {
        std::cerr << "error while serving " << request.method << " " << request.path << ": " << error.what()
                  << std::endl;
        return odata::ErrorResponse(
            {500, "-1, System.InvalidOperationException", "The server failed to serve the request."},
            odata::ChooseMode(request.headers.get("Accept")));
    }
}

http::Response Service::Serve(http::Request& request) {
    if (m_admin && Admin::Owns(request)) return m_admin->Handle(request);
    if (auto response = m_authority.Handle(request)) return std::move(*response);
    if (auto response = m_authenticator.Handle(request)) return std::move(*response);
    auto user = m_authenticator.Authenticate(request);
    if (!user) return m_authenticator.Challenge(request);
    ExchangeOf(request).user = user->name;
    auto response = m_router.Serve(request, *user);
    m_authenticator.Conclude(request, response);
    return response;
}

void Service::finished(const http::Request& request, const http::ExchangeResult& result) {
    if (Admin::Owns(request)) return;
    const auto& exchange = ExchangeOf(request);
    m_log.Finish(exchange.log_number, request, result, exchange.user);
}

}  // namespace devserver
