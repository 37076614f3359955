#include "odata/format.h"

#include "base/json.h"
#include "base/text.h"

namespace devserver::odata {
namespace {

Mode mode_of_json(const std::vector<std::string>& parameters) {
    for (std::size_t i = 1; i < parameters.size(); ++i) {
        auto parameter = to_lower(replace_all(std::string(trim(parameters[i])), " ", ""));
        if (parameter == "odata=verbose") return Mode::verbose;
        if (parameter == "odata=nometadata") return Mode::none;
        if (parameter == "odata=minimalmetadata" || parameter == "odata=fullmetadata") return Mode::minimal;
        if (parameter == "odata.metadata=none") return Mode::v4_none;
        if (parameter.starts_with("odata.metadata=")) return Mode::v4_minimal;
    }
    return Mode::minimal;
}

}  // namespace

Mode choose_mode(std::string_view accept) {
    for (const auto& entry : split(accept, ',')) {
        auto parameters = split(entry, ';');
        auto type = to_lower(trim(parameters[0]));
        if (type == "application/json") return mode_of_json(parameters);
        if (type == "application/xml" || type == "application/atom+xml" || type == "text/xml" ||
            type == "*/*")
            return Mode::xml;
    }
    return Mode::xml;
}

std::string content_type(Mode mode, const Node& node) {
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

void write_answer(const Answer& answer, Mode mode, BodySink& sink) {
    mode == Mode::xml ? write_atom(answer, sink) : write_json(answer, mode, sink);
}

http::Response error_response(const ApiError& error, Mode mode) {
    auto type = content_type(mode, Node::nothing());
    if (mode == Mode::xml)
        return http::make_response(
            error.status, type,
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><m:error "
            "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\"><m:code>" +
                html_escape(error.code) + "</m:code><m:message xml:lang=\"en-US\">" +
                html_escape(error.what()) + "</m:message></m:error>");
    bool light = mode == Mode::minimal || mode == Mode::none;
    JsonWriter json;
    json.object().key(light ? "odata.error" : "error").object();
    json.member("code", error.code).key("message");
    if (light || mode == Mode::verbose)
        json.object().member("lang", "en-US").member("value", error.what()).end_object();
    else
        json.value(error.what());
    return http::make_response(error.status, type, json.end_object().end_object().take());
}

}  // namespace devserver::odata
