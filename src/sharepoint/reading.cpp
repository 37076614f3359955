#include "sharepoint/reading.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <utility>

#include "base/text/encoding.h"
#include "base/url.h"
#include "http/log_text.h"

namespace {

constexpr char16_t kServiceNamespace[] = u"http://schemas.microsoft.com/sharepoint/soap/";
constexpr char kEnvelopeStart[] = R"(<?xml version="1.0" encoding="utf-8"?>)"
                                  R"(<soap:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
                                  R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
                                  R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body><)";
constexpr const char16_t* kAcceptXml[] = {u"text/xml", nullptr};

// Enough for the metadata of more than 100,000 items; a longer answer would take too much memory.
constexpr size_t kMaxBody = size_t{256} * 1024 * 1024;
constexpr size_t kMaxPreview = size_t{16} * 1024 * 1024;
// In memory an element is thirty times as long as the shortest tag.
constexpr ptrdiff_t kMaxXmlTags = 16'000'000;

// The bytes of an answer, in the XML parser's own memory, which a document can take over: a listing is too
// long to be copied.
class Body {
public:
    // Reads the whole answer. Exception when it is longer than the limit.
    explicit Body(const Http::Response& response) {
        TRACE_NAME("SharePoint2010::Utility::ReadMetadata");
        for (;;) {
            if (m_capacity - m_size < kBlock) Grow();
            const size_t size = response.ReadBody(m_data.get() + m_size, kBlock);
            if (size == 0) return;
            CHECK_THROW(size <= kMaxBody - m_size, Exception, u"The server's answer is too large to be read");
            m_size += size;
        }
    }
    std::string_view Bytes() const { return {m_data.get(), m_size}; }
    // Hands the bytes over to the document.
    pugi::xml_parse_result ParseInto(pugi::xml_document& document) && {
        // An element holds its text itself: a node of its own for each text would double a listing.
        return document.load_buffer_inplace_own(
            m_data.release(), m_size, pugi::parse_default | pugi::parse_embed_pcdata, pugi::encoding_auto);
    }

private:
    static constexpr size_t kBlock = 64 * 1024;
    static constexpr size_t kGrowth = 4;  // what isn't written to costs no memory

    struct Deallocate {
        void operator()(char* data) const { pugi::get_memory_deallocation_function()(data); }
    };

    void Grow() {
        const size_t capacity = std::clamp(m_capacity * kGrowth, kBlock, kMaxBody + kBlock);
        std::unique_ptr<char, Deallocate> data(
            static_cast<char*>(pugi::get_memory_allocation_function()(capacity)));
        if (!data) throw std::bad_alloc();
        if (m_size) std::memcpy(data.get(), m_data.get(), m_size);
        m_data = std::move(data);
        m_capacity = capacity;
    }

    std::unique_ptr<char, Deallocate> m_data;
    size_t m_size = 0;
    size_t m_capacity = 0;
};

// The body's beginning, for the log, in `out_beginning` when there is one.
pugi::xml_parse_result ParseXml(pugi::xml_document& out_document, const Http::Response& response,
                                std::u16string& out_beginning) {
    TRACE_NAME("SharePoint2010::Utility::ParseXml");
    Body body(response);
    const std::string_view bytes = body.Bytes();
    // A text shorter than the limit needs no counting.
    CHECK_THROW(bytes.size() <= kMaxXmlTags || std::count(bytes.begin(), bytes.end(), '<') <= kMaxXmlTags,
                Exception, u"The server's answer has too many elements to be read");
    if (Log::IsOn(Log::error)) out_beginning = Http::BodyForLog(bytes);
    return std::move(body).ParseInto(out_document);
}

// The number behind the last blank of a status line, 0 when there is none.
uint32_t StatusNumber(std::string_view status) {
    const size_t blank = status.rfind(' ');
    uint32_t number = 0;
    for (const char c : status.substr(blank == std::string_view::npos ? 0 : blank + 1)) {
        if (c < '0' || c > '9' || number > 99'999) break;
        number = number * 10 + static_cast<uint32_t>(c - '0');
    }
    return number;
}

// Keeps the first bytes that are written.
class BeginningWriter final : public pugi::xml_writer {
public:
    void write(const void* data, size_t size) override {
        text.append(static_cast<const char*>(data), std::min(size, kMaxSize - text.size()));
    }
    std::string text;

private:
    static constexpr size_t kMaxSize = 4096;
};

}  // namespace

std::u16string XmlForLog(const pugi::xml_node& node) {
    BeginningWriter writer;
    node.print(writer, " ", pugi::format_raw, pugi::encoding_utf8);
    return Http::BodyForLog(writer.text);
}

namespace SharePoint2010::Utility {

Http::Response SendSoapRequest(Http::Session& http, const std::u16string& web_url,
                               const std::u16string& service, const std::u16string& method,
                               const std::u16string& parameters, const std::u16string& namespace_suffix,
                               bool check_status) {
    TRACE_ENTRY("SharePoint2010::Utility::SendSoapRequest");
    const std::u16string name_space = kServiceNamespace + namespace_suffix;
    const std::string method_name = ToUtf8(method);
    const std::string body = kEnvelopeStart + method_name + " xmlns=\"" + ToUtf8(name_space) + "\">" +
                             ToUtf8(parameters) + "</" + method_name + "></soap:Body></soap:Envelope>";
    const std::u16string headers =
        u"content-type:text/xml; charset=utf-8\nSOAPAction:\"" + name_space + method + u"\"\n";
    Http::Response response =
        http.SendRequest(u"POST", web_url + u"/_vti_bin/" + service + u".asmx", kAcceptXml, headers.c_str(),
                         body.data(), static_cast<ptrdiff_t>(body.size()), check_status);
    TRACE_EXIT(response.GetStatus());
    return response;
}

pugi::xml_node CallSoap(pugi::xml_document& out_document, Http::Session& http, const std::u16string& web_url,
                        const std::u16string& service, const std::u16string& method,
                        const std::u16string& parameters, const std::u16string& namespace_suffix) {
    TRACE_ENTRY("SharePoint2010::Utility::CallSoap");
    ReadResponseXml(out_document, SendSoapRequest(http, web_url, service, method, parameters,
                                                  namespace_suffix, /*check_status=*/true));
    const std::string name = ToUtf8(method);
    const pugi::xml_node result =
        out_document.select_node(("/soap:Envelope/soap:Body/" + name + "Response/" + name + "Result").c_str())
            .node();
    TRACE_EXIT(u"");
    return result;
}

void ReadResponseXml(pugi::xml_document& out_document, const Http::Response& response) {
    TRACE_ENTRY("SharePoint2010::Utility::ReadResponseXml");
    std::u16string beginning;
    const pugi::xml_parse_result result = ParseXml(out_document, response, beginning);
    const Log::Level level = result ? Log::verbose : Log::error;
    if (Log::IsOn(level)) Log::Write(level, trace_function, beginning);
    if (!result) {
        THROW_TRACED(Exception, Log::Format(u"XML parse error \"%s\" at char %tu",
                                            Widen(result.description()), result.offset));
    }
    TRACE_EXIT(u"");
}

bool ReadJson(Json::Document& out_document, const Http::Response& response) {
    TRACE_ENTRY("SharePoint2010::Utility::ReadJson");
    std::u16string text;
    std::u16string beginning;
    {
        // Its bytes are given back before the parser needs memory.
        const Body body(response);
        if (Log::IsOn(Log::error)) beginning = Http::BodyForLog(body.Bytes());
        text = FromUtf8(body.Bytes());
    }
    if (Log::IsOn(Log::verbose)) Log::Write(Log::verbose, trace_function, beginning);
    const bool parsed = out_document.ParseText(std::move(text));
    if (!parsed) {
        LOG_LINE(Log::error, u"JSON parse error %u at char %tu", out_document.ErrorCode(),
                 out_document.ErrorOffset());
        if (Log::IsOn(Log::error)) Log::Write(Log::error, trace_function, beginning);
    }
    TRACE_EXIT(parsed ? u"true" : u"false");
    return parsed;
}

}  // namespace SharePoint2010::Utility

namespace SharePoint2013::Utility {

void ReadString(std::u16string& out_text, const Http::Response& response) {
    TRACE_ENTRY("SharePoint2013::Utility::ReadString");
    out_text = FromUtf8(Body(response).Bytes());
    TRACE_EXIT(u"");
}

void ReadXml(pugi::xml_document& out_document, const Http::Response& response) {
    TRACE_ENTRY("SharePoint2013::Utility::ReadXml");
    std::u16string beginning;
    const pugi::xml_parse_result result = ParseXml(out_document, response, beginning);
    const Log::Level level = result ? Log::verbose : Log::error;
    if (!result)
        LOG_LINE(Log::error, u"XML parse error '%s' at char %tu", Widen(result.description()), result.offset);
    if (Log::IsOn(level)) Log::Write(level, trace_function, beginning);
    if (!result) out_document.reset();
    TRACE_EXIT(u"");
}

bool CheckWebDavMultistatus(const pugi::xml_document& document, const std::u16string& url,
                            const std::u16string& operation) {
    TRACE_ENTRY("SharePoint2013::Utility::CheckWebDavMultistatus");
    bool ok = true;
    for (const pugi::xml_node response : document.child("D:multistatus").children("D:response")) {
        const char* status = response.child("D:status").text().get();
        const uint32_t number = StatusNumber(status);
        if (number != 0 && number < 400) continue;
        const std::u16string item = MaskForLog(FromUtf8(response.child("D:url").text().get()));
        if (number == 0) {
            LOG_LINE(Log::warning,
                     u"After '%s' operation on '%s' failed to parse status code for '%s' is '%s'", operation,
                     MaskForLog(url), item, FromUtf8(status));
        } else {
            ok = false;
            LOG_LINE(Log::warning, u"After '%s' operation on '%s' status code for '%s' is '%s'", operation,
                     MaskForLog(url), item, FromUtf8(status));
        }
    }
    TRACE_EXIT(ok ? u"true" : u"false");
    return ok;
}

}  // namespace SharePoint2013::Utility

namespace SharePoint {

void ReadPreview(Http::Session& http, const std::u16string& path, const char16_t* const* accept,
                 std::string& out_bytes) {
    const std::u16string address =
        u"_layouts/15/getpreview.ashx?path=" + UrlEncodeQuoted(path) + u"&resolution=2";
    TRACE_NAME("SharePoint::ReadPreview");
    out_bytes.clear();
    const Http::Response response =
        http.SendRequest(u"GET", address, accept, nullptr, nullptr, 0, /*check_status=*/true);
    std::array<char, 16 * 1024> block;
    while (const size_t size = response.ReadBody(block.data(), block.size())) {
        CHECK_THROW(size <= kMaxPreview - out_bytes.size(), Exception,
                    u"The server's preview picture is too large to be read");
        out_bytes.append(block.data(), size);
    }
}

}  // namespace SharePoint
