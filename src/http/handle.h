// What can be asked of a request handle: status, final URL, headers, body, and a masked dump for the log.
// Free functions over handles of the internet layer; one thread a handle.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "http/exchange.h"

namespace Http {

// The status as a number, 0 if it could not be had.
uint32_t QueryStatus(Handle handle);

// "HTTP 404: Not Found", or what went wrong in asking for it.
std::u16string GetHttpStatusText(Handle handle);

// The URL that answered, after redirects. ApiException.
std::u16string GetRequestUri(Handle request_handle);

// The reason phrase, which may be empty. ApiException.
std::u16string GetStatusText(Handle request_handle);

// One read of the body; 0 is its end. ApiException.
size_t ReadBody(Handle handle, void* buffer, size_t max_size);

// Appends the whole body; gives the number of bytes. ApiException.
size_t ReadBody(Handle handle, std::string& stream);

// All values of one header in order. ApiException; HResultException E_OUTOFMEMORY.
std::vector<std::u16string> GetHeaders(Handle handle, const char16_t* name);

// All header lines of the answer, the status line first. Failures as above.
std::vector<std::u16string> GetHeaders(Handle handle);

// The server's own words for the last internet error of this thread, empty when there are none.
std::u16string GetServerErrorText();

}  // namespace Http
