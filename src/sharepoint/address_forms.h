// The forms in which servers take the address of an item: by path, by URL for servers of 2013 and 2016, with
// the path in the query where it is too long. One for a web, which learns; any thread.
#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "http/session.h"
#include "sharepoint/json.h"

namespace SharePoint {

class AddressForms {
public:
    // The form that the server is known to take, which is the address itself until it refused one.
    std::u16string Preferred(const std::u16string& address) const;
    // What to ask in place of the address that was refused; nothing when another form wouldn't help.
    std::optional<std::u16string> AfterRefusal(const std::u16string& asked, uint32_t status,
                                               const Json::Value& answer);

private:
    std::atomic<bool> m_knows_paths{true};
    std::atomic<size_t> m_refused_length{SIZE_MAX};
};

// Whether a status may stand for a form of address that the server doesn't take; its answer tells.
bool MayRefuseAddress(uint32_t status);

// Asks for JSON, and again in another form where the first is refused. Gives the status; the answer in
// `out_answer` is null when it isn't JSON. Logs it. HttpException for a failure that `check_status` forbids.
Http::Response AskForJson(Http::Session& http, AddressForms& forms, const std::u16string& address,
                          const char16_t* const* accept, const char16_t* headers, bool check_status,
                          Json::Document& out_answer);

}  // namespace SharePoint
