// The templates of windows: one dialog of a document, read and checked as a whole. Plain values; any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "hostapi/common.h"

namespace host {

enum class ControlKind {
    Button,
    Check,
    Combo,
    Edit,
    Group,
    Label,
    List,
    Picture,
    Properties,
    WaitProgress,
};

// In pixels of 96 to an inch.
struct Place {
    LONG x = 0;
    LONG y = 0;
    LONG width = 0;
    LONG height = 0;
    LONG right() const { return x + width; }
    LONG bottom() const { return y + height; }
    friend bool operator==(const Place&, const Place&) = default;
};

struct ControlTemplate {
    ControlKind kind = ControlKind::Label;
    std::u16string id;
    Place place;
    std::u16string text;  // as written: "$$$." begins an id
    std::u16string icon;
    DWORD style = 0;  // UIX_ControlStyle
    bool stays_at_bottom = false;
};

struct DialogTemplate {
    std::u16string product;  // of the document; texts of its own have it in front of their ids
    std::u16string id;
    std::u16string title;
    LONG width = 0;
    LONG height = 0;
    bool is_scrollable = false;
    std::u16string default_item;  // the id of the button that Enter presses; empty for none
    std::vector<ControlTemplate> controls;
};

// Throws a Failure of E_INVALIDARG that says in one line what is wrong with the document or the dialog.
DialogTemplate ReadDialogTemplate(std::string_view xml, std::u16string_view id);

}  // namespace host
