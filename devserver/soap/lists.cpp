// The service Lists: check-out and check-in, and which lists and columns there are.
// Owner: soap/; a request's thread alone.
#include <algorithm>

#include "base/clock.h"
#include "base/text.h"
#include "soap/soap_server.h"

namespace devserver::soap {
namespace {

Item DocumentOf(const Call& call) {
    auto page = call.operation.parameter("pageUrl");
    if (!page || Trim(*page).empty()) throw MissingParameter("pageUrl");
    auto path = PathOfPage(call, *page);
    if (!path) throw SoapFault("Invalid URI: The format of the URI could not be determined.");
    auto item = call.store.Find(*path);
    if (!item || item->folder) throw SoapFault("Object reference not set to an instance of an object.");
    if (call.user.rights != Rights::edit) throw AccessDenied();
    return *item;
}

void CheckOut(const Call& call) {
    auto item = DocumentOf(call);
    auto local = std::string(Trim(call.operation.parameter("checkoutToLocal").value_or("")));
    if (!EqualsIgnoringCase(local, "true") && !EqualsIgnoringCase(local, "false"))
        throw SoapFault("String was not recognized as a valid Boolean.");
    call.store.CheckOut(item.id, call.user);
}

void CheckIn(const Call& call) {
    auto item = DocumentOf(call);
    auto type = ParseInteger(Trim(call.operation.parameter("CheckinType").value_or("")));
    if (!type || *type < 0 || *type > 2) throw SoapFault("Input string was not in a correct format.");
    call.store.CheckIn(item.id, call.operation.parameter("comment").value_or(""),
                       static_cast<CheckInType>(*type), call.user);
}

std::string CompactTime(Seconds time) {
    auto text = IsoTime(time);
    return text.substr(0, 4) + text.substr(5, 2) + text.substr(8, 2) + " " + text.substr(11, 8);
}

std::string ListAttributes(const Call& call, const Library& library) {
    auto root = call.store.item(library.root_item).value_or(Item{});
    auto id = "{" + ToUpper(library.guid) + "}";
    return "DocTemplateUrl=\"\" DefaultViewUrl=\"" + xml::Escape(root.path) + "/Forms/AllItems.aspx\" ID=\"" +
           id + "\" Title=\"" + xml::Escape(library.title) + "\" Description=\"\" Name=\"" + id +
           "\" BaseType=\"1\" ServerTemplate=\"101\" Created=\"" + CompactTime(library.created) +
           "\" Modified=\"" + CompactTime(root.modified) + "\" RootFolder=\"" + xml::Escape(root.path) +
           "\" WebFullUrl=\"" + xml::Escape(call.web.ServerRelativeUrl()) + "\" WebId=\"" + call.web.guid +
           "\" EnableVersioning=\"True\" EnableMinorVersion=\"" +
           (library.minor_versions ? "True" : "False") + "\" RequireCheckout=\"" +
           (library.force_checkout ? "True" : "False") + "\" Hidden=\"False\"";
}

std::string Boolean(bool value) {
    return value ? "TRUE" : "FALSE";
}

std::string FieldElement(const Column& column) {
    auto text = "<Field ID=\"{" + column.guid + "}\" Type=\"" + xml::Escape(column.type_name) + "\" Name=\"" +
                xml::Escape(column.name) + "\" StaticName=\"" + xml::Escape(column.name) +
                "\" DisplayName=\"" + xml::Escape(column.title) + "\" Required=\"" +
                Boolean(column.required) + "\" ReadOnly=\"" + Boolean(column.read_only) + "\" Hidden=\"" +
                Boolean(column.hidden) + "\"";
    if (column.max_length >= 0) text += " MaxLength=\"" + std::to_string(column.max_length) + "\"";
    if (column.kind == 4)
        text += std::string(" Format=\"") + (column.display_format == 1 ? "DateTime" : "DateOnly") + "\"";
    text += ">";
    if (!column.choices.empty()) {
        text += "<CHOICES>";
        for (const auto& choice : column.choices) text += "<CHOICE>" + xml::Escape(choice) + "</CHOICE>";
        text += "</CHOICES>";
    }
    if (!column.default_value.empty()) text += "<Default>" + xml::Escape(column.default_value) + "</Default>";
    return text + "</Field>";
}

std::string ListElement(const Call& call) {
    auto wanted = call.operation.parameter("listName").value_or("");
    if (wanted.empty()) throw MissingParameter("listName");
    auto bare = ReplaceAll(ReplaceAll(wanted, "{", ""), "}", "");
    for (const auto& library : call.store.libraries(call.web.id)) {
        if (!EqualsIgnoringCase(library.title, wanted) && !EqualsIgnoringCase(library.guid, bare)) continue;
        auto text = "<List " + ListAttributes(call, library) + "><Fields>";
        for (const auto& column : call.store.columns(library.id)) text += FieldElement(column);
        return text + "</Fields></List>";
    }
    throw SoapFault(
        "List does not exist. The page you selected contains a list that does not exist. It may have been "
        "deleted "
        "by another user.",
        0x82000006);
}

}  // namespace

std::optional<http::Response> Lists(const Call& call) {
    const auto& name = call.operation.name();
    if (name == "CheckOutFile") {
        CheckOut(call);
    } else if (name == "UndoCheckOut") {
        call.store.UndoCheckOut(DocumentOf(call).id, call.user);
    } else if (name == "CheckInFile") {
        CheckIn(call);
    } else if (name == "GetListCollection") {
        std::string all;
        for (const auto& library : call.store.libraries(call.web.id))
            all += "<List " + ListAttributes(call, library) + "/>";
        return Answer(call.operation, "<Lists>" + all + "</Lists>");
    } else if (name == "GetList") {
        return Answer(call.operation, ListElement(call));
    } else {
        return std::nullopt;
    }
    return Answer(call.operation, "true");
}

}  // namespace devserver::soap
