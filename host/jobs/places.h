// Sites as places: added with a sign-in, removed. The thread of the job.
#pragma once

#include <functional>
#include <optional>

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

// What a person calls a place: the name that was given to it, or the last part of its address.
std::string NameOfPlace(Job& job, const std::u16string& site);
// Throws a Failure for a name that can't be one.
void NamePlace(Job& job, const std::u16string& site, const std::string& name);

// The URL of "team:Shared Documents/a.pdf", of a path in the place of that name; nothing when no place has
// it. Throws a Failure when several have it.
std::optional<std::u16string> UrlInPlace(Job& job, std::string_view argument);

// Forgets the place and what signs in there. Changes of its documents that were not sent stay in the cache.
void RemovePlace(Job& job, const StoredAccount& account);

}  // namespace host
