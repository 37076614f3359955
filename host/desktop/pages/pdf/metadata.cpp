#include "host/desktop/pages/pdf/metadata.h"

#include <pugixml.hpp>
#include <sstream>
#include <string>

namespace pdf {

namespace {

void SetInInfo(QPDF& document, const char* key, const std::string& text) {
    QPDFObjectHandle trailer = document.getTrailer();
    if (!trailer.getKey("/Info").isDictionary())
        trailer.replaceKey("/Info", document.makeIndirectObject(QPDFObjectHandle::newDictionary()));
    QPDFObjectHandle info = trailer.getKey("/Info");
    if (text.empty()) {
        info.removeKey(key);
    } else {
        info.replaceKey(key, QPDFObjectHandle::newUnicodeString(text));
    }
}

// The first entry of the list gets the text; other languages and further authors would contradict it.
void SetList(pugi::xml_node list, const std::string& text) {
    pugi::xml_node entry = list.select_node(".//rdf:li").node();
    if (text.empty() || !entry) {
        list.parent().remove_child(list);
        return;
    }
    while (entry.next_sibling()) entry.parent().remove_child(entry.next_sibling());
    entry.text().set(text.c_str());
}

// Newer readers prefer what XMP says. A document without that entry needs none.
void SetInXmp(QPDF& document, const char* list, const std::string& text) {
    QPDFObjectHandle metadata = document.getRoot().getKey("/Metadata");
    if (!metadata.isStream()) return;
    const auto bytes = metadata.getStreamData(qpdf_dl_generalized);
    pugi::xml_document xml;
    if (!xml.load_buffer(bytes->getBuffer(), bytes->getSize(), pugi::parse_full)) return;
    const pugi::xml_node found = xml.select_node((std::string("//") + list).c_str()).node();
    if (!found) return;
    SetList(found, text);
    std::ostringstream changed;
    xml.save(changed, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    metadata.replaceStreamData(changed.str(), QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
}

}  // namespace

void SetTitle(QPDF& document, const QString& title) {
    SetInInfo(document, "/Title", title.toStdString());
    SetInXmp(document, "dc:title", title.toStdString());
}

void SetAuthor(QPDF& document, const QString& author) {
    SetInInfo(document, "/Author", author.toStdString());
    SetInXmp(document, "dc:creator", author.toStdString());
}

}  // namespace pdf
