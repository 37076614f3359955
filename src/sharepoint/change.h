// A request that changes the site over REST: sent in a form of address that the server takes, and once more
// with a new digest where it refuses the old one. One thread at a time.
#pragma once

#include <functional>
#include <string>

#include "http/session.h"
#include "sharepoint/address_forms.h"

namespace SharePoint {

// What goes with a change besides the digest; `headers` are whole lines.
struct ChangeBody {
    std::u16string headers = {};
    const std::string* bytes = nullptr;
};

// `send` sends the change to an address with the present digest, `renew` replaces the digest and is false
// without one. The last answer; its body has been read when it is a refusal of 400, 403, 404 or 414.
Http::Response SendChange(AddressForms& forms, const std::u16string& address,
                          const std::function<Http::Response(const std::u16string& address)>& send,
                          const std::function<bool()>& renew);

}  // namespace SharePoint
