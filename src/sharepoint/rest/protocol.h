// The REST interface as text: addresses, accept lists, error codes, and what statuses mean.
// Pure functions; re-entrant.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sharepoint/json.h"
#include "sharepoint/object.h"

namespace SharePointRestAPI {

inline constexpr const char16_t* kAcceptVerbose[] = {u"application/json; odata=verbose", nullptr};
inline constexpr const char16_t* kAcceptAny[] = {u"*/*", nullptr};
inline constexpr const char16_t* kAcceptXml[] = {u"application/xml", u"text/xml", nullptr};

// Addresses of an item up to its quoted path; the caller appends the closing "')". `web` is the
// encoded path of the web, `path` relative to the server root.
std::u16string FileAddress(const std::u16string& web, const std::u16string& path);
std::u16string FolderAddress(const std::u16string& web, const std::u16string& path);

// The address that gives a library's folders in pages, and the body that asks for one page of `folder`, a
// path relative to the server root; `paging` is empty for the first page and else as the page before gave it.
std::u16string PagesAddress(const std::u16string& web, const std::u16string& library);
std::string PageBody(const std::u16string& folder, const std::u16string& paging);

// The header line with the digest of a change.
std::u16string DigestHeader(const std::u16string& digest);

inline constexpr uint32_t kFileDoesNotExist = 0x82000006;
inline constexpr uint32_t kOverThreshold = 0x80070024;
inline constexpr uint32_t kNoCheckedInVersion = 0x8107218A;
inline constexpr uint32_t kRequiredPropertiesMissing = 0x80131600;

// The number at the start of `error.code` as 32 bits; nothing when there is no such text.
std::optional<uint32_t> ErrorCode(const Json::Value& answer);

// What an answer to a change means; nothing for a failure that the caller throws. `code` is the
// answer's error code, 0 without one.
std::optional<SharePoint::File::CheckInResult> CheckInResultOf(uint32_t status, uint32_t code);
std::optional<SharePoint::File::DiscardResult> DiscardResultOf(uint32_t status, uint32_t code);

}  // namespace SharePointRestAPI
