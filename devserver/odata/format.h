// The formats of answers: three of JSON, the newer names of two of them, and Atom.
// Owner: odata/; a request's thread alone.
#pragma once
#include <string>
#include <string_view>

#include "http/message.h"
#include "odata/errors.h"
#include "odata/value.h"

namespace devserver::odata {

enum class Mode { verbose, minimal, none, v4_minimal, v4_none, xml };

// By the Accept header; XML where a client asks for XML, for anything or for nothing.
Mode ChooseMode(std::string_view accept);
std::string ContentType(Mode mode, const Node& node);

struct Answer {
    Node node;
    std::string name;  // of the operation or property; the key of a value in some formats
    Projection projection;
    std::string api_url;  // the web's address followed by "/_api/"
    int status = 200;
};

void WriteAnswer(const Answer& answer, Mode mode, BodySink& sink);
http::Response ErrorResponse(const ApiError& error, Mode mode);

// The writers behind write_answer.
void WriteJson(const Answer& answer, Mode mode, BodySink& sink);
void WriteAtom(const Answer& answer, BodySink& sink);

}  // namespace devserver::odata
