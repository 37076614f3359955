// The one prompt of the system, on the host's task dialog, and the texts that fill it.
// May be called on any thread that may block.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hostapi/itmk.h"

namespace Ui {

inline constexpr DWORD kStyleInformation = 0x10000100;
inline constexpr DWORD kStyleQuestion = 0x10000200;
inline constexpr DWORD kStyleWarning = 0x10000300;

// A rendered text with the catalogue id that it came from (empty for a text with no id).
struct PromptText {
    std::u16string id;
    std::u16string text;
};

// The catalogue's text of `text_id` ("sp.msg...") with each "%s" read as "%1", and %1 and %2 filled; a text
// that can't be loaded falls back to its id.
std::u16string FormatString(TMK::ITMK_Inst* inst, const char16_t* text_id, const std::u16string& first = {},
                            const std::u16string& second = {});

// The same, with the id beside it.
PromptText FormatPrompt(TMK::ITMK_Inst* inst, const char16_t* text_id, const std::u16string& first = {},
                        const std::u16string& second = {});

struct EditField {
    const char16_t* label_id;
    std::u16string* in_out_text;
};

struct RadioList {
    std::vector<const char16_t*> text_ids;
    UINT* in_out_index;
};

// Shows the prompt and returns the index of the pressed button. `buttons` are text ids; an empty list means
// one `btn.close`. `cancel_index` is what closing the box counts as, -1 the last button. `check_id` may be
// null, with `in_out_checked` null too. A host that can't show it throws HResultException.
UINT ShowMessageBox(TMK::ITMK_Inst* inst, DWORD style, const PromptText& text,
                    const std::vector<const char16_t*>& buttons, int cancel_index = -1,
                    UINT default_index = 0, const char16_t* check_id = nullptr,
                    bool* in_out_checked = nullptr, const std::optional<RadioList>& radios = std::nullopt,
                    const std::optional<EditField>& edit = std::nullopt);

}  // namespace Ui
