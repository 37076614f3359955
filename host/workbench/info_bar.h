// The strips at the top of a document's window: the types that plug-ins register, and what they show of one
// document. Registering is for any thread, the rest for the main thread.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/workbench/commands.h"

namespace host {

struct InfoBarType {
    std::u16string name;
    std::u16string title;  // "$$$." and an id, or a text
    std::u16string description;
    DWORD priority = 0;
    DWORD colour = 0;  // 0xRRGGBB
    ComPtr<TMK::IUIX_Icon> icon;
};

class InfoBarTypes {
public:
    // Replaces an earlier one of that id.
    void Register(DWORD id, InfoBarType type);
    std::optional<InfoBarType> Find(DWORD id) const;
    void Clear();

private:
    mutable std::mutex m_mutex;
    std::map<DWORD, InfoBarType> m_types;
};

class InfoBarSpan final : public Object<TMK::IUIX_InfoBarSpan> {
public:
    InfoBarSpan(InfoBar& bar, DWORD type_id, InfoBarType type)
        : m_bar(&bar), m_type_id(type_id), m_type(std::move(type)) {}

    HRESULT put_Text(LPCWSTR text) override;
    HRESULT ClearButtons() override;
    HRESULT InsertCmdButton(LONG index, DWORD command_id) override;

    DWORD type_id() const { return m_type_id; }
    const InfoBarType& type() const { return m_type; }
    const std::u16string& text() const { return m_text; }
    const std::vector<ComPtr<Command>>& buttons() const { return m_buttons; }
    // It was taken out of its bar.
    void Detach() { m_bar = nullptr; }

private:
    void Changed() const;

    InfoBar* m_bar;  // null once it is taken out
    const DWORD m_type_id;
    const InfoBarType m_type;
    std::u16string m_text;
    std::vector<ComPtr<Command>> m_buttons;
};

class InfoBar final : public Object<TMK::IUIX_InfoBar> {
public:
    InfoBar(const Surroundings& around, const Commands& commands, const InfoBarTypes& types)
        : m_around(around), m_commands(commands), m_types(types) {}
    ~InfoBar() override;

    HRESULT FindSpan(DWORD type_id, TMK::IUIX_InfoBarSpan** out_span) override;
    HRESULT AddSpan(DWORD type_id, TMK::IUIX_InfoBarSpan** out_span) override;
    HRESULT RemoveSpan(DWORD type_id) override;

    // The most important ones first.
    const std::vector<ComPtr<InfoBarSpan>>& spans() const { return m_spans; }
    ComPtr<InfoBarSpan> Span(DWORD type_id) const;  // null for none
    ComPtr<Command> FindCommand(DWORD id) const { return m_commands.Find(id); }
    void RemoveAllSpans();
    void Changed();

private:
    const Surroundings& m_around;
    const Commands& m_commands;
    const InfoBarTypes& m_types;
    std::vector<ComPtr<InfoBarSpan>> m_spans;
};

}  // namespace host
