// What an answer must be like to be taken for a document. Re-entrant.
#pragma once

#include <optional>
#include <string>

#include "http/exchange.h"
#include "platform/base.h"

namespace Afs {

// Throws HttpException for a status that is no success, and Exception for a web page where `file_name` is
// none.
void CheckIsDocument(const Http::Response& response, const std::u16string& file_name);

// Throws Exception for a web page in answer to an upload: the document has gone to a sign-in page, not to its
// place.
void CheckIsNoPage(const Http::Response& response);

// The number of bytes to come: the answer's content length, or `document_size`; nothing for a chunked answer,
// which tells its end by itself.
std::optional<LONGLONG> GetAnnouncedLength(const Http::Response& response, LONGLONG document_size);

}  // namespace Afs
