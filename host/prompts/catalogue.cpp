#include "host/prompts/catalogue.h"

#include <pugixml.hpp>

#include "host/base/failure.h"

namespace host {

namespace {

constexpr std::u16string_view kMarker = u"$$$.";
constexpr std::size_t kMaxDocument = 16u << 20;

std::u16string_view WithoutMarker(std::u16string_view id) {
    return id.starts_with(kMarker) ? id.substr(kMarker.size()) : id;
}

}  // namespace

Catalogue::Catalogue() {
    static constexpr std::pair<const char16_t*, const char16_t*> kOwn[] = {
        {u"btn.ok", u"&OK"},
        {u"btn.cancel", u"&Cancel"},
        {u"btn.close", u"&Close"},
        {u"btn.tryAgain", u"&Try again"},
        {u"btn.yes", u"&Yes"},
        {u"btn.no", u"&No"},
        {u"cmd.file", u"&File"},
        {u"cmd.edit", u"&Edit"},
        {u"cmd.page", u"&Page"},
        {u"cmd.view", u"&View"},
        {u"cmd.window", u"&Window"},
        {u"cmd.help", u"&Help"},
        {u"rtab.home", u"Home"},
        {u"rtab.page", u"Page"},
        {u"rtab.share", u"Share"},
        {u"rtab.view", u"View"},
        {u"cmd.fileGroup", u"File"},
        {u"cmd.editGroup", u"Edit"},
        {u"cmd.findGroup", u"Find"},
        {u"cmd.pageGroup", u"Pages"},
        {u"cmd.shareGroup", u"Share"},
        {u"cmd.zoomGroup", u"Zoom"},
        {u"cmd.windowGroup", u"Window"},
        {u"filter.pdf", u"PDF documents"},
        {u"filter.doc", u"Word documents"},
        {u"filter.xls", u"Excel workbooks"},
        {u"filter.ppt", u"PowerPoint presentations"},
        {u"filter.vsd", u"Visio drawings"},
        {u"filter.allSupported", u"All supported files"},
        {u"filter.all", u"All files"},
    };
    for (const auto& [id, text] : kOwn) m_texts[id] = text;
}

Catalogue::Texts Catalogue::Read(std::string_view xml) {
    if (xml.size() > kMaxDocument) throw Failure(E_INVALIDARG, "the string catalogue is too large");
    pugi::xml_document document;
    const auto parsed =
        document.load_buffer(xml.data(), xml.size(), pugi::parse_default, pugi::encoding_utf8);
    const pugi::xml_node root = document.child("Localization");
    if (!parsed || !root) throw Failure(E_INVALIDARG, "the string catalogue is no Localization document");
    Texts texts;
    for (const auto& product : root.children("Product")) {
        for (const auto& language : product.children("Language")) {
            for (const auto& module : language.children("Module")) {
                const std::string space = module.attribute("namespace").value();
                const std::u16string prefix = space.empty() ? u"" : ToUtf16(space + ".");
                for (const auto& text : module.child("Strings").children("text")) {
                    texts[prefix + ToUtf16(text.attribute("id").value())] = ToUtf16(text.text().get());
                }
            }
        }
    }
    return texts;
}

void Catalogue::Load(std::string_view xml) {
    Texts texts = Read(xml);
    const std::lock_guard lock(m_mutex);
    for (auto& [id, text] : texts) m_texts[id] = std::move(text);
}

void Catalogue::UseLanguage(std::string_view xml) {
    Texts texts = xml.empty() ? Texts() : Read(xml);
    const std::lock_guard lock(m_mutex);
    m_translations.swap(texts);
}

std::optional<std::u16string> Catalogue::Find(std::u16string_view id) const {
    const std::lock_guard lock(m_mutex);
    for (const Texts* const texts : {&m_translations, &m_texts}) {
        const auto found = texts->find(WithoutMarker(id));
        if (found != texts->end()) return found->second;
    }
    return std::nullopt;
}

std::u16string Catalogue::Resolve(std::u16string_view text) const {
    if (!text.starts_with(kMarker)) return std::u16string(text);
    return Find(text).value_or(std::u16string(WithoutMarker(text)));
}

std::string NameOfLanguage(std::string_view xml) {
    pugi::xml_document document;
    if (xml.size() > kMaxDocument || !document.load_buffer(xml.data(), xml.size())) return {};
    return document.select_node("/Localization/Product/Language/@lName").attribute().value();
}

}  // namespace host
