// Requests and answers of the server's services: the SOAP envelope, XML, JSON and dates. Re-entrant.
// A body is read whole; beyond 256 MiB, or 16 million tags of XML, it is an Exception.
#pragma once

#include <cstdint>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "base/log.h"
#include "http/session.h"
#include "sharepoint/json.h"

namespace SharePoint2010::Utility {

// Posts a call of a service of the web at `web_url` (empty: the server root). `parameters` is ready XML.
Http::Response SendSoapRequest(Http::Session& http, const std::u16string& web_url,
                               const std::u16string& service, const std::u16string& method,
                               const std::u16string& parameters, const std::u16string& namespace_suffix,
                               bool check_status);

// The same, and the node of the call's result in `out_document`; a null node when absent. HttpException,
// Exception for an answer that isn't XML.
pugi::xml_node CallSoap(pugi::xml_document& out_document, Http::Session& http, const std::u16string& web_url,
                        const std::u16string& service, const std::u16string& method,
                        const std::u16string& parameters, const std::u16string& namespace_suffix);

// Throws Exception when the body isn't XML.
void ReadResponseXml(pugi::xml_document& out_document, const Http::Response& response);

// False, and a line in the log, when the body isn't JSON.
bool ReadJson(Json::Document& out_document, const Http::Response& response);

// "2013-05-01T10:20:30.5Z" to a Windows file time; what follows the fraction is ignored. 0 on
// failure, which is logged at `log_level`.
uint64_t ParseDateTimeIso8601(std::u16string_view text, Log::Level log_level);

}  // namespace SharePoint2010::Utility

// The beginning of an element's text, masked like any body.
std::u16string XmlForLog(const pugi::xml_node& node);

namespace SharePoint2013::Utility {

// The whole body as text.
void ReadString(std::u16string& out_text, const Http::Response& response);

// Logs a body that isn't XML, and leaves the document empty.
void ReadXml(pugi::xml_document& out_document, const Http::Response& response);

// False when one of the items of a multistatus answer failed. `url` and `operation` are for the log.
bool CheckWebDavMultistatus(const pugi::xml_document& document, const std::u16string& url,
                            const std::u16string& operation);

}  // namespace SharePoint2013::Utility

namespace SharePoint {

// The bytes of the preview picture that a server makes of a document; `path` is relative to the server root.
// HttpException; Exception beyond 16 MiB.
void ReadPreview(Http::Session& http, const std::u16string& path, const char16_t* const* accept,
                 std::string& out_bytes);

}  // namespace SharePoint
