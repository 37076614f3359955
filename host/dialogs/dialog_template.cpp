#include "host/dialogs/dialog_template.h"

#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <pugixml.hpp>
#include <set>

#include "host/base/failure.h"
#include "hostapi/iwindows.h"

namespace host {

namespace {

constexpr std::size_t kMaxDocument = 4u << 20;
constexpr std::size_t kMaxControls = 1000;
constexpr LONG kMaxLength = 10000;

// Says what is wrong with a dialog.
class Reader {
public:
    explicit Reader(std::string dialog) : m_dialog(std::move(dialog)) {}

    [[noreturn]] void Refuse(const std::string& why) const {
        throw Failure(E_INVALIDARG, "bad window template '" + SafeLine(m_dialog) + "': " + SafeLine(why));
    }

    LONG Length(const pugi::xml_node& node, const char* name, LONG least) const {
        const std::string_view text = node.attribute(name).value();
        LONG number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc{} || end != text.data() + text.size() || number < least ||
            number > kMaxLength) {
            Refuse("the " + std::string(name) + " of " + Describe(node) + " is '" + std::string(text) +
                   "', which is no length");
        }
        return number;
    }

    DWORD Style(const pugi::xml_node& node) const {
        const pugi::xml_attribute attribute = node.attribute("style");
        if (!attribute) return 0;
        const std::string_view text = attribute.value();
        DWORD style = 0;
        const char* const end_of_text = text.data() + text.size();
        const auto parsed = std::from_chars(text.data() + (text.empty() ? 0 : 1), end_of_text, style, 16);
        if (!text.starts_with('#') || parsed.ec != std::errc{} || parsed.ptr != end_of_text) {
            Refuse("the style of " + Describe(node) + " is '" + std::string(text) +
                   "', which is not '#' and a hexadecimal number");
        }
        return style;
    }

    static std::string Describe(const pugi::xml_node& node) {
        return std::string(node.name()) + " '" + node.attribute("id").value() + "'";
    }

private:
    const std::string m_dialog;
};

std::optional<ControlKind> KindOf(std::string_view name, DWORD style) {
    static constexpr std::array<std::pair<std::string_view, ControlKind>, 8> kKinds{{
        {"button", ControlKind::Button},
        {"check", ControlKind::Check},
        {"combo", ControlKind::Combo},
        {"edit", ControlKind::Edit},
        {"group", ControlKind::Group},
        {"label", ControlKind::Label},
        {"list", ControlKind::List},
        {"picture", ControlKind::Picture},
    }};
    for (const auto& [text, kind] : kKinds) {
        if (text != name) continue;
        const bool is_of_properties = kind == ControlKind::List && (style & TMK::UIX_List_Properties);
        return is_of_properties ? ControlKind::Properties : kind;
    }
    return std::nullopt;
}

ControlTemplate ReadControl(const Reader& reader, const pugi::xml_node& node) {
    ControlTemplate control;
    control.style = reader.Style(node);
    const auto kind = KindOf(node.name(), control.style);
    if (!kind) reader.Refuse("a control of the unknown kind '" + std::string(node.name()) + "'");
    control.kind = *kind;
    control.id = ToUtf16(node.attribute("id").value());
    if (control.id.empty())
        reader.Refuse("a control of the kind '" + std::string(node.name()) + "' without an id");
    control.place = {reader.Length(node, "x", 0), reader.Length(node, "y", 0),
                     reader.Length(node, "width", 1), reader.Length(node, "height", 1)};
    control.text = ToUtf16(node.attribute("text").value());
    control.icon = ToUtf16(node.attribute("icon").value());
    control.stays_at_bottom = std::string_view(node.attribute("fixed").value()) == "bottom";
    return control;
}

pugi::xml_node FindDialog(const pugi::xml_document& document, const std::string& id, const Reader& reader) {
    const pugi::xml_node root = document.child("dialogs");
    if (!root) reader.Refuse("the document has no element 'dialogs'");
    const pugi::xml_node dialog = root.find_child_by_attribute("dialog", "id", id.c_str());
    if (!dialog) reader.Refuse("the document has no such dialog");
    return dialog;
}

}  // namespace

DialogTemplate ReadDialogTemplate(std::string_view xml, std::u16string_view id) {
    const Reader reader(ToUtf8(id));
    if (xml.size() > kMaxDocument) reader.Refuse("the document is too large");
    pugi::xml_document document;
    const auto parsed =
        document.load_buffer(xml.data(), xml.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!parsed) reader.Refuse(std::string("the document is no XML: ") + parsed.description());
    const pugi::xml_node node = FindDialog(document, ToUtf8(id), reader);

    DialogTemplate dialog;
    dialog.product = ToUtf16(document.child("dialogs").attribute("product").value());
    dialog.id = id;
    dialog.title = ToUtf16(node.attribute("title").value());
    dialog.width = reader.Length(node, "width", 1);
    dialog.height = reader.Length(node, "height", 1);
    dialog.is_scrollable = node.attribute("scrollable").as_bool();
    dialog.default_item = ToUtf16(node.attribute("defItem").value());
    std::set<std::u16string> ids;
    for (const pugi::xml_node& item : node.child("items").children()) {
        if (item.type() != pugi::node_element) continue;
        dialog.controls.push_back(ReadControl(reader, item));
        if (dialog.controls.size() > kMaxControls) reader.Refuse("it has too many controls");
        if (!ids.insert(dialog.controls.back().id).second)
            reader.Refuse("two controls have the id '" + ToUtf8(dialog.controls.back().id) + "'");
    }
    if (!dialog.default_item.empty() && !ids.contains(dialog.default_item))
        reader.Refuse("it has no control '" + ToUtf8(dialog.default_item) + "' for its defItem");
    return dialog;
}

}  // namespace host
