#include "host/workbench/info_bar.h"

#include <algorithm>

#include "host/base/give.h"

namespace host {

void InfoBarTypes::Register(DWORD id, InfoBarType type) {
    const std::lock_guard lock(m_mutex);
    std::swap(m_types[id], type);
}

std::optional<InfoBarType> InfoBarTypes::Find(DWORD id) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_types.find(id);
    if (found == m_types.end()) return std::nullopt;
    return found->second;
}

void InfoBarTypes::Clear() {
    std::map<DWORD, InfoBarType> released;
    const std::lock_guard lock(m_mutex);
    released.swap(m_types);
}

HRESULT InfoBarSpan::put_Text(LPCWSTR text) {
    return Guarded([&] {
        m_text = FromWide(text);
        Changed();
        return S_OK;
    });
}

HRESULT InfoBarSpan::ClearButtons() {
    m_buttons.clear();
    Changed();
    return S_OK;
}

HRESULT InfoBarSpan::InsertCmdButton(LONG index, DWORD command_id) {
    ComPtr<Command> command = m_bar ? m_bar->FindCommand(command_id) : ComPtr<Command>();
    if (!command || index < -1 || index > static_cast<LONG>(m_buttons.size())) return E_INVALIDARG;
    return Guarded([&] {
        m_buttons.insert(index < 0 ? m_buttons.end() : m_buttons.begin() + index, std::move(command));
        Changed();
        return S_OK;
    });
}

void InfoBarSpan::Changed() const {
    if (m_bar) m_bar->Changed();
}

InfoBar::~InfoBar() {
    for (const auto& span : m_spans) span->Detach();
}

HRESULT InfoBar::FindSpan(DWORD type_id, TMK::IUIX_InfoBarSpan** out_span) {
    if (!out_span) return E_POINTER;
    *out_span = Span(type_id).detach();
    return *out_span ? S_OK : S_FALSE;
}

HRESULT InfoBar::AddSpan(DWORD type_id, TMK::IUIX_InfoBarSpan** out_span) {
    if (!out_span) return E_POINTER;
    *out_span = nullptr;
    const auto type = m_types.Find(type_id);
    if (!type || Span(type_id)) return E_INVALIDARG;
    return Give(out_span, [&] {
        auto span = Make<InfoBarSpan>(*this, type_id, *type);
        const auto less_important = std::find_if(m_spans.begin(), m_spans.end(), [&](const auto& other) {
            return other->type().priority < type->priority;
        });
        m_spans.insert(less_important, span);
        Changed();
        return span;
    });
}

HRESULT InfoBar::RemoveSpan(DWORD type_id) {
    const ComPtr<InfoBarSpan> span = Span(type_id);
    if (!span) return S_FALSE;
    m_spans.erase(std::find(m_spans.begin(), m_spans.end(), span));
    span->Detach();
    Changed();
    return S_OK;
}

ComPtr<InfoBarSpan> InfoBar::Span(DWORD type_id) const {
    const auto found = std::find_if(m_spans.begin(), m_spans.end(),
                                    [&](const auto& span) { return span->type_id() == type_id; });
    return found == m_spans.end() ? ComPtr<InfoBarSpan>() : *found;
}

void InfoBar::RemoveAllSpans() {
    while (!m_spans.empty()) RemoveSpan(m_spans.back()->type_id());
}

void InfoBar::Changed() {
    m_around.listeners.Tell(&WorkbenchListener::InfoBarChanged, *this);
}

}  // namespace host
