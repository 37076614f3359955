#include "host/prompts/task_dialog.h"

#include <algorithm>

#include "host/base/give.h"

namespace host {

namespace {

class TaskDialog final : public Object<TMK::ITMK_TaskDialog> {
public:
    TaskDialog(PromptDesk& desk, const Catalogue& catalogue) : m_desk(desk), m_catalogue(catalogue) {}

    HRESULT put_Id(LPCWSTR text_id) override {
        return Keep([&] { m_prompt.id = ToUtf8(FromWide(text_id)); });
    }
    HRESULT put_Style(DWORD style) override {
        m_prompt.style = style;
        return S_OK;
    }
    HRESULT put_Text(LPCWSTR text) override {
        return Keep([&] { m_prompt.text = ToUtf8(m_catalogue.Resolve(FromWide(text))); });
    }
    HRESULT AddButton(LPCWSTR text_id) override {
        return AddChoice(text_id, m_prompt.buttons, m_prompt.button_texts);
    }
    HRESULT put_CancelButton(UINT index) override {
        m_cancel = index;
        return S_OK;
    }
    HRESULT put_DefaultButton(UINT index) override {
        m_prompt.default_button = index;
        return S_OK;
    }
    HRESULT put_Check(LPCWSTR text_id, VARIANT_BOOL checked) override {
        return Keep([&] {
            m_prompt.check_id = Id(text_id);
            m_prompt.check_text = Show(text_id);
            m_prompt.checked = checked != VARIANT_FALSE;
        });
    }
    HRESULT AddRadio(LPCWSTR text_id) override {
        return AddChoice(text_id, m_prompt.radios, m_prompt.radio_texts);
    }
    HRESULT put_Radio(UINT index) override {
        m_prompt.radio = index;
        return S_OK;
    }
    HRESULT put_Edit(LPCWSTR label_id, LPCWSTR text) override {
        return Keep([&] {
            m_prompt.has_edit = true;
            m_prompt.edit_id = Id(label_id);
            m_prompt.edit_label = Show(label_id);
            m_prompt.edit_text = ToUtf8(FromWide(text));
        });
    }
    HRESULT DoModal(HWND, UINT* out_button) override {
        if (!out_button) return E_POINTER;
        return Guarded([&] {
            if (m_prompt.buttons.empty()) AddButton(u"btn.close");
            const auto last = static_cast<unsigned>(m_prompt.buttons.size() - 1);
            m_prompt.cancel_button = std::min<unsigned>(m_cancel.value_or(last), last);
            m_prompt.default_button = std::min(m_prompt.default_button, last);
            *out_button = m_desk.Decide(m_prompt);
            return S_OK;
        });
    }
    HRESULT get_Checked(VARIANT_BOOL* out_checked) override {
        return GiveBool(out_checked, m_prompt.checked);
    }
    HRESULT get_Radio(UINT* out_index) override { return GiveValue(out_index, m_prompt.radio); }
    HRESULT get_EditText(BSTR* out_text) override {
        return Guarded([&] { return GiveString(out_text, ToUtf16(m_prompt.edit_text)); });
    }

private:
    template <class Work>
    HRESULT Keep(Work&& work) {
        return Guarded([&] {
            work();
            return S_OK;
        });
    }
    HRESULT AddChoice(LPCWSTR text_id, std::vector<std::string>& ids, std::vector<std::string>& texts) {
        if (!text_id) return E_INVALIDARG;
        return Keep([&] {
            ids.push_back(Id(text_id));
            texts.push_back(Show(text_id));
        });
    }
    static std::string Id(LPCWSTR text_id) {
        const std::string id = ToUtf8(FromWide(text_id));
        return id.starts_with("$$$.") ? id.substr(4) : id;
    }
    std::string Show(LPCWSTR text_id) const {
        const std::u16string id = FromWide(text_id);
        return ToUtf8(m_catalogue.Find(id).value_or(id));
    }

    PromptDesk& m_desk;
    const Catalogue& m_catalogue;
    Prompt m_prompt;
    std::optional<unsigned> m_cancel;
};

}  // namespace

ComPtr<TMK::ITMK_TaskDialog> MakeTaskDialog(PromptDesk& desk, const Catalogue& catalogue) {
    return Make<TaskDialog>(desk, catalogue);
}

}  // namespace host
