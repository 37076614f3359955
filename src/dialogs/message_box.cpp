#include "dialogs/message_box.h"

#include "base/failure.h"
#include "base/text/message_template.h"
#include "platform/com_ptr.h"

namespace Ui {
namespace {

std::u16string LoadText(TMK::ITMK_Inst* inst, const char16_t* text_id) {
    Bstr text;
    if (!inst || FAILED(inst->GetLocalStr(text_id, text.put())) || !text) return text_id;
    return text.str();
}

std::u16string NumberPlaceholders(std::u16string text) {
    for (size_t at = text.find(u"%s"); at != std::u16string::npos; at = text.find(u"%s", at + 2))
        text[at + 1] = u'1';
    return text;
}

// The host resolves ids that begin so.
std::u16string ToHostId(const char16_t* text_id) {
    return std::u16string(u"$$$.") + text_id;
}

void Fill(TMK::ITMK_TaskDialog& dialog, DWORD style, const PromptText& text,
          const std::vector<const char16_t*>& buttons, UINT cancel_button, UINT default_button) {
    TRACE_NAME("Ui::ShowMessageBox");
    CHECK_RESULT_THROW(dialog.put_Id(text.id.c_str()));
    CHECK_RESULT_THROW(dialog.put_Style(style));
    CHECK_RESULT_THROW(dialog.put_Text(text.text.c_str()));
    for (const char16_t* button : buttons) CHECK_RESULT_THROW(dialog.AddButton(ToHostId(button).c_str()));
    CHECK_RESULT_THROW(dialog.put_CancelButton(cancel_button));
    CHECK_RESULT_THROW(dialog.put_DefaultButton(default_button));
}

void FillOptional(TMK::ITMK_TaskDialog& dialog, const char16_t* check_id, const bool* checked,
                  const std::optional<RadioList>& radios, const std::optional<EditField>& edit) {
    TRACE_NAME("Ui::ShowMessageBox");
    if (check_id) {
        const VARIANT_BOOL state = checked && *checked ? VARIANT_TRUE : VARIANT_FALSE;
        CHECK_RESULT_THROW(dialog.put_Check(ToHostId(check_id).c_str(), state));
    }
    if (radios) {
        for (const char16_t* radio : radios->text_ids)
            CHECK_RESULT_THROW(dialog.AddRadio(ToHostId(radio).c_str()));
        CHECK_RESULT_THROW(dialog.put_Radio(*radios->in_out_index));
    }
    if (edit) {
        CHECK_RESULT_THROW(dialog.put_Edit(ToHostId(edit->label_id).c_str(), edit->in_out_text->c_str()));
    }
}

void ReadAnswers(TMK::ITMK_TaskDialog& dialog, bool* in_out_checked, const std::optional<RadioList>& radios,
                 const std::optional<EditField>& edit) {
    TRACE_NAME("Ui::ShowMessageBox");
    if (in_out_checked) {
        VARIANT_BOOL checked = VARIANT_FALSE;
        CHECK_RESULT_THROW(dialog.get_Checked(&checked));
        *in_out_checked = checked != VARIANT_FALSE;
    }
    if (radios) CHECK_RESULT_THROW(dialog.get_Radio(radios->in_out_index));
    if (edit) {
        Bstr text;
        CHECK_RESULT_THROW_TEXT(dialog.get_EditText(text.put()), u"dialog.get_EditText(&text)");
        *edit->in_out_text = text.str();
    }
}

}  // namespace

std::u16string FormatString(TMK::ITMK_Inst* inst, const char16_t* text_id, const std::u16string& first,
                            const std::u16string& second) {
    MessageTemplate message = MessageTemplate::Create(NumberPlaceholders(LoadText(inst, text_id)));
    message.SetText(1, first);
    message.SetText(2, second);
    return message.Render();
}

PromptText FormatPrompt(TMK::ITMK_Inst* inst, const char16_t* text_id, const std::u16string& first,
                        const std::u16string& second) {
    return {text_id, FormatString(inst, text_id, first, second)};
}

UINT ShowMessageBox(TMK::ITMK_Inst* inst, DWORD style, const PromptText& text,
                    const std::vector<const char16_t*>& buttons, int cancel_index, UINT default_index,
                    const char16_t* check_id, bool* in_out_checked, const std::optional<RadioList>& radios,
                    const std::optional<EditField>& edit) {
    TRACE_ENTRY("Ui::ShowMessageBox");
    CHECK_THROW(inst != nullptr, HResultException, E_INVALIDARG);
    const std::vector<const char16_t*> shown =
        buttons.empty() ? std::vector<const char16_t*>{u"btn.close"} : buttons;
    const UINT cancel_button =
        cancel_index < 0 ? static_cast<UINT>(shown.size() - 1) : static_cast<UINT>(cancel_index);
    ComPtr<TMK::ITMK_TaskDialog> dialog;
    CHECK_RESULT_THROW(inst->CreateTaskDialog(dialog.put()));
    CHECK_THROW(dialog != nullptr, HResultException, E_FAIL);
    Fill(*dialog, style, text, shown, cancel_button, default_index);
    FillOptional(*dialog, check_id, in_out_checked, radios, edit);
    HWND parent = nullptr;
    inst->get_MainWindow(&parent);
    UINT pressed = cancel_button;
    CHECK_RESULT_THROW(dialog->DoModal(parent, &pressed));
    ReadAnswers(*dialog, check_id ? in_out_checked : nullptr, radios, edit);
    TRACE_EXIT(pressed);
    return pressed;
}

}  // namespace Ui
