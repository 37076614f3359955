// The filters that the host knows, put together for a dialog.
#include "base/failure.h"
#include "browse/list/names_filter.h"

namespace {

constexpr DWORD kShortForm = 0;
constexpr DWORD kWholeForm = 1;

// Without the one or two "|" at its end; empty for none.
std::u16string GetFilter(TMK::ITMK_Inst& inst, const char16_t* key, DWORD form) {
    Bstr answer;
    if (FAILED(inst.GetFileFilter(key, form, answer.put()))) return {};
    std::u16string text = answer.str();
    for (int i = 0; i < 2 && text.ends_with(u'|'); ++i) text.pop_back();
    return text;
}

// Takes a part out, with the separator right behind it.
bool Cut(std::u16string& text, const std::u16string& part, char16_t separator, size_t from = 0) {
    const size_t at = part.empty() ? std::u16string::npos : text.find(part, from);
    if (at == std::u16string::npos) return false;
    const size_t end = at + part.size();
    text.erase(at, part.size() + (end < text.size() && text[end] == separator ? 1 : 0));
    return true;
}

// Documents of other programs that this plug-in doesn't offer.
void CutOfficeKinds(TMK::ITMK_Inst& inst, std::u16string& text) {
    for (const char16_t* const key : {u"<doc>", u"<xls>", u"<ppt>", u"<vsd>"}) {
        const std::u16string whole = GetFilter(inst, key, kShortForm);
        if (whole.empty()) continue;
        Cut(text, whole, u'|');
        const size_t bar = whole.find(u'|');
        if (bar != std::u16string::npos) Cut(text, whole.substr(bar + 1), u';');
    }
}

// What stands there by a key of its own, and among all supported types once more.
void CutSecond(TMK::ITMK_Inst& inst, const char16_t* key, std::u16string& text) {
    const std::u16string whole = GetFilter(inst, key, kShortForm);
    const size_t first = whole.empty() ? std::u16string::npos : text.find(whole);
    if (first != std::u16string::npos) Cut(text, whole, u'|', first + whole.size());
}

}  // namespace

std::u16string MakeFilterText(TMK::ITMK_Inst& inst, bool open) {
    TRACE_ENTRY("MakeFilterText");
    const std::vector<const char16_t*> keys =
        open ? std::vector<const char16_t*>{u"<pdf>", u"<allSupp>", u"<all>"}
             : std::vector<const char16_t*>{u"<pdf>", u"<all>"};
    std::u16string text;
    for (const char16_t* const key : keys) {
        const std::u16string filter = GetFilter(inst, key, kWholeForm);
        if (!filter.empty()) text += filter + u'|';
    }
    if (open) {
        CutOfficeKinds(inst, text);
        CutSecond(inst, u"<pdf>", text);
    }
    TRACE_EXIT(u"");
    return text;
}
