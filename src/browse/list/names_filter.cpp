#include "browse/list/names_filter.h"

#include <algorithm>
#include <memory>

#include "base/failure.h"
#include "base/text/ignore_case.h"
#include "base/text/split.h"
#include "platform/text.h"

namespace {

using Extensions = FilesExtensionFilter::Extensions;

constexpr const char16_t* kAny = u"*";

bool IsAny(const Extensions& extensions) {
    return extensions.size() == 1 && extensions.front() == kAny;
}

bool Contains(const Extensions& extensions, const std::u16string& extension) {
    return std::any_of(extensions.begin(), extensions.end(),
                       [&](const std::u16string& one) { return EqualIgnoringCase(one, extension); });
}

// "*.a;*.b" as extensions.
Extensions ParsePatterns(std::u16string_view patterns) {
    Extensions extensions;
    for (std::u16string& pattern : SplitString(patterns, u';')) {
        std::u16string_view rest(pattern);
        if (rest.starts_with(u'*')) rest.remove_prefix(1);
        if (rest.starts_with(u'.')) rest.remove_prefix(1);
        if (rest.starts_with(u'*')) return {kAny};
        extensions.emplace_back(rest);
    }
    return extensions;
}

// Takes the text up to the next "|" off; nothing when it is empty or there is no "|".
std::optional<std::u16string> TakeField(std::u16string_view& text) {
    const size_t end = text.find(u'|');
    if (end == std::u16string_view::npos || end == 0) return std::nullopt;
    std::u16string field(text.substr(0, end));
    text.remove_prefix(end + 1);
    return field;
}

}  // namespace

SplitName SplitExtension(const std::u16string& name) {
    const LPWSTR found = PathFindExtensionW(name.c_str());
    const size_t at = static_cast<size_t>(found - name.c_str());
    if (at >= name.size()) return {name, {}};
    return {name.substr(0, at), name.substr(at + 1)};
}

FilesExtensionFilter::~FilesExtensionFilter() {
    Clear();
}

const Extensions* FilesExtensionFilter::GetItem(LONG index) const {
    TMK::PARAM_T item = 0;
    if (FAILED(m_combo->GetItemParam(index, &item))) return nullptr;
    return reinterpret_cast<const Extensions*>(item);
}

const Extensions* FilesExtensionFilter::GetSelected() const {
    LONG index = -1;
    if (FAILED(m_combo->get_SelItem(&index)) || index < 0) return nullptr;
    const Extensions* const item = GetItem(index);
    return item && !item->empty() && !IsAny(*item) ? item : nullptr;
}

void FilesExtensionFilter::Clear() {
    UINT count = 0;
    m_combo->get_ItemsCount(&count);
    for (UINT i = 0; i < count; ++i) delete GetItem(static_cast<LONG>(i));
    m_combo->Clear();
}

void FilesExtensionFilter::SetFilter(const std::u16string& filter_text) {
    TRACE_ENTRY("FilesExtensionFilter::SetFilter");
    Clear();
    std::u16string_view rest(filter_text);
    UINT count = 0;
    for (;;) {
        const std::optional<std::u16string> title = TakeField(rest);
        const std::optional<std::u16string> patterns = title ? TakeField(rest) : std::nullopt;
        if (!patterns) break;
        auto item = std::make_unique<Extensions>(ParsePatterns(*patterns));
        const auto parameter = reinterpret_cast<TMK::PARAM_T>(item.get());
        CHECK_RESULT_THROW_TEXT(
            m_combo->InsertItem(-1, title->c_str(), title->c_str(), nullptr, parameter, 0),
            u"m_combo->InsertItem(-1, text, text, nullptr, (PARAM_T)item.release(), 0)");
        item.release();
        ++count;
    }
    if (count > 0) m_combo->put_SelItem(0);
    TRACE_EXIT(count);
}

bool FilesExtensionFilter::IsValidTitle(const std::u16string& title) const {
    const Extensions* const selected = GetSelected();
    return !selected || Contains(*selected, SplitExtension(title).extension);
}

bool FilesExtensionFilter::IsValid(TMK::IAFS_Name* name) {
    ComPtr<TMK::IAFS_FileInfo> information;
    Bstr title;
    if (FAILED(m_file_system->GetFileInfo(name, nullptr, nullptr, information.put())) || !information ||
        FAILED(information->get_Title(title.put()))) {
        return true;
    }
    return IsValidTitle(title.str());
}

bool FilesExtensionFilter::IsOfAnotherFilter(const std::u16string& extension,
                                             const Extensions* selected) const {
    TRACE_NAME("FilesExtensionFilter::AddFilterExtension");
    UINT count = 0;
    m_combo->get_ItemsCount(&count);
    for (UINT i = 0; i < count; ++i) {
        const Extensions* const item = GetItem(static_cast<LONG>(i));
        if (!item) {
            LOG_LINE(Log::warning, u"Failed to get %i-th filters list item - skipping check", i);
        } else if (item != selected && Contains(*item, extension)) {
            return true;
        }
    }
    return false;
}

bool FilesExtensionFilter::AddFilterExtension(std::u16string& name,
                                              const std::u16string& default_extension) const {
    TRACE_NAME("FilesExtensionFilter::AddFilterExtension");
    const Extensions* const selected = GetSelected();
    const SplitName split = SplitExtension(name);
    const bool has_extension = split.base.size() != name.size();
    if (!selected) {
        if (has_extension) {
            LOG_LINE(Log::verbose, u"Name has extension, no filter extension found - adding nothing");
            return false;
        }
        if (default_extension.empty()) {
            LOG_LINE(
                Log::verbose,
                u"Name has no extension, no filter extension found, no default extension - adding nothing");
            return false;
        }
        LOG_LINE(Log::verbose, u"Name has no extension, no filter extension found - adding default one '%s'",
                 default_extension);
        name += u'.' + default_extension;
        return true;
    }
    if (has_extension && Contains(*selected, split.extension)) {
        LOG_LINE(Log::verbose, u"Name has extension, it's in current filter extensions - adding nothing");
        return false;
    }
    const std::u16string& first = selected->front();
    if (first.empty()) {
        LOG_LINE(Log::verbose, u"Extension to add is empty - adding nothing");
        return false;
    }
    if (!has_extension) {
        LOG_LINE(Log::verbose, u"Name has no extension - adding first extension from filter '%s'", first);
        name += u'.' + first;
    } else if (IsOfAnotherFilter(split.extension, selected)) {
        LOG_LINE(Log::verbose,
                 u"Name has extension, it's in known filters list - change extension from '%s' to first "
                 u"extension from filter '%s'",
                 split.extension, first);
        name = split.base + u'.' + first;
    } else {
        LOG_LINE(Log::verbose,
                 u"Name has extension, it's not in known filter extensions - adding first extension from "
                 u"filter '%s'",
                 first);
        name += u'.' + first;
    }
    return true;
}
