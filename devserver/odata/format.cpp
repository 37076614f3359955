#include "odata/format.h"

#include "base/json.h"
#include "base/text.h"

namespace devserver::odata {
namespace {

Mode ModeOfJson(const std::vector<std::string>& parameters) {
    for (std::size_t i = 1; i < parameters.size(); ++i) {
        auto parameter = ToLower(ReplaceAll(std::string(Trim(parameters[i])), " ", ""));
        if (parameter == "odata=verbose") return Mode::verbose;
        if (parameter == "odata=nometadata") return Mode::none;
        if (parameter == "odata=minimalmetadata" || parameter == "odata=fullmetadata") return Mode::minimal;
        if (parameter == "odata.metadata=none") return Mode::v4_none;
        if (parameter.starts_with("odata.metadata=")) return Mode::v4_minimal;
    }
    return Mode::minimal;
}

}  // namespace

Mode ChooseMode(std::string_view accept) {
    for (const auto& entry : Split(accept, ',')) {
        auto parameters = Split(entry, ';');
        auto type = ToLower(Trim(parameters[0]));
        if (type == "application/json") return ModeOfJson(parameters);
        if (type == "application/xml" || type == "application/atom+xml" || type == "text/xml" ||
            type == "*/*")
            return Mode::xml;
    }
    return Mode::xml;
}

std::string ContentType(Mode mode, const Node& node) {
    switch (mode) {
        case Mode::verbose:
            return "application/json;odata=verbose;charset=utf-8";
        case Mode::minimal:
            return "application/json;odata=minimalmetadata;streaming=true;charset=utf-8";
        case Mode::none:
            return "application/json;odata=nometadata;streaming=true;charset=utf-8";
        case Mode::v4_minimal:
            return "application/"
                   "json;odata.metadata=minimal;odata.streaming=true;IEEE754Compatible=false;charset=utf-8";
        case Mode::v4_none:
            return "application/"
                   "json;odata.metadata=none;odata.streaming=true;IEEE754Compatible=false;charset=utf-8";
        case Mode::xml:
            break;
    }
    if (node.kind == Node::Kind::entity) return "application/atom+xml;type=entry;charset=utf-8";
    if (node.kind == Node::Kind::feed) return "application/atom+xml;type=feed;charset=utf-8";
    return "application/xml;charset=utf-8";
}

void WriteAnswer(const Answer& answer, Mode mode, BodySink& sink) {
    mode == Mode::xml ? WriteAtom(answer, sink) : WriteJson(answer, mode, sink);
}

http::Response ErrorResponse(const ApiError& error, Mode mode) {
    auto type = ContentType(mode, Node::Nothing());
    if (mode == Mode::xml) {
        return http::MakeResponse(
            error.status, type,
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><m:error "
            "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\"><m:code>" +
                HtmlEscape(error.code) + "</m:code><m:message xml:lang=\"en-US\">" +
                HtmlEscape(error.what()) + "</m:message></m:error>");
    }
    bool light = mode == Mode::minimal || mode == Mode::none;
    JsonWriter json;
    json.StartObject().Key(light ? "odata.error" : "error").StartObject();
    json.Member("code", error.code).Key("message");
    if (light || mode == Mode::verbose) {
        json.StartObject().Member("lang", "en-US").Member("value", error.what()).EndObject();
    } else {
        json.Value(error.what());
    }
    return http::MakeResponse(error.status, type, json.EndObject().EndObject().Take());
}

}  // namespace devserver::odata
