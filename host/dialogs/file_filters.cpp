#include "host/dialogs/file_filters.h"

#include <algorithm>
#include <array>

namespace host {

namespace {

struct FileKind {
    std::u16string_view key;
    std::u16string_view title_id;
    std::u16string_view patterns;
};

// The kinds that the list of all documents names.
constexpr std::array<FileKind, 5> kDocuments{{
    {u"<doc>", u"filter.doc", u"*.doc;*.docx;*.docm;*.dot;*.dotx;*.rtf"},
    {u"<xls>", u"filter.xls", u"*.xls;*.xlsx;*.xlsm;*.xlsb"},
    {u"<ppt>", u"filter.ppt", u"*.ppt;*.pptx;*.pptm;*.pps;*.ppsx"},
    {u"<vsd>", u"filter.vsd", u"*.vsd;*.vsdx;*.vsdm"},
    {u"<pdf>", u"filter.pdf", u"*.pdf"},
}};

std::u16string Pair(const Catalogue& catalogue, std::u16string_view title_id, std::u16string_view patterns) {
    return catalogue.Find(title_id).value_or(std::u16string(title_id)) + u"|" + std::u16string(patterns) +
           u"|";
}

std::u16string AllPatterns() {
    std::u16string all;
    for (const FileKind& kind : kDocuments) all.append(all.empty() ? u"" : u";").append(kind.patterns);
    return all;
}

}  // namespace

std::u16string FileFilter(const Catalogue& catalogue, std::u16string_view key, FilterForm form) {
    if (key == u"<all>") return Pair(catalogue, u"filter.all", u"*.*");
    if (key == u"<allSupp>") {
        std::u16string list = Pair(catalogue, u"filter.allSupported", AllPatterns());
        if (form == FilterForm::OneKind) return list;
        for (const FileKind& kind : kDocuments) list += Pair(catalogue, kind.title_id, kind.patterns);
        return list;
    }
    const auto found = std::find_if(kDocuments.begin(), kDocuments.end(),
                                    [&](const FileKind& kind) { return kind.key == key; });
    return found == kDocuments.end() ? u"" : Pair(catalogue, found->title_id, found->patterns);
}

}  // namespace host
