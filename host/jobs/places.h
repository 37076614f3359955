// Sites as places: added with a sign-in, removed. The thread of the job.
#pragma once

#include <functional>

#include "host/jobs/job.h"

namespace host {

// The same site, whatever the case of letters and a slash at the end.
bool IsSameSite(std::u16string_view a, std::u16string_view b);

// Signs in and stores the account; gives the site's address as the server names it. Throws a JobError when it
// is a place already; else `prepare` runs before the sign-in.
std::u16string AddPlace(
    Job& job, const AccountDetails& details, const std::string& what,
    const std::function<void()>& prepare = [] {});

// The same for a site that the person names in the plug-in's own window. Throws a JobError, kCanceled when
// the person gives up.
std::u16string AddPlaceByWindow(Job& job, const std::string& what);

// Forgets the place and what signs in there. Changes of its documents that were not sent stay in the cache.
void RemovePlace(Job& job, const StoredAccount& account);

}  // namespace host
