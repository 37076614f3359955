// The service Lists: check-out and check-in, and which lists and columns there are.
// Owner: soap/; a request's thread alone.
#include <algorithm>

#include "base/clock.h"
#include "base/text.h"
#include "soap/soap_server.h"

namespace devserver::soap {
namespace {

Item document_of(const Call& call) {
    auto page = call.operation.parameter("pageUrl");
    if (!page || trim(*page).empty()) throw missing_parameter("pageUrl");
    auto path = path_of_page(call, *page);
    if (!path) throw SoapFault("Invalid URI: The format of the URI could not be determined.");
    auto item = call.store.find(*path);
    if (!item || item->folder) throw SoapFault("Object reference not set to an instance of an object.");
    if (call.user.rights != Rights::edit) throw access_denied();
    return *item;
}

void check_out(const Call& call) {
    auto item = document_of(call);
    auto local = std::string(trim(call.operation.parameter("checkoutToLocal").value_or("")));
    if (!equals_ignoring_case(local, "true") && !equals_ignoring_case(local, "false"))
        throw SoapFault("String was not recognized as a valid Boolean.");
    call.store.check_out(item.id, call.user);
}

void check_in(const Call& call) {
    auto item = document_of(call);
    auto type = parse_integer(trim(call.operation.parameter("CheckinType").value_or("")));
    if (!type || *type < 0 || *type > 2) throw SoapFault("Input string was not in a correct format.");
    call.store.check_in(item.id, call.operation.parameter("comment").value_or(""),
                        static_cast<CheckInType>(*type), call.user);
}

std::string compact_time(Seconds time) {
    auto text = iso_time(time);
    return text.substr(0, 4) + text.substr(5, 2) + text.substr(8, 2) + " " + text.substr(11, 8);
}

std::string list_attributes(const Call& call, const Library& library) {
    auto root = call.store.item(library.root_item).value_or(Item{});
    auto id = "{" + to_upper(library.guid) + "}";
    return "DocTemplateUrl=\"\" DefaultViewUrl=\"" + xml::escape(root.path) + "/Forms/AllItems.aspx\" ID=\"" +
           id + "\" Title=\"" + xml::escape(library.title) + "\" Description=\"\" Name=\"" + id +
           "\" BaseType=\"1\" ServerTemplate=\"101\" Created=\"" + compact_time(library.created) +
           "\" Modified=\"" + compact_time(root.modified) + "\" RootFolder=\"" + xml::escape(root.path) +
           "\" WebFullUrl=\"" + xml::escape(call.web.server_relative_url()) + "\" WebId=\"" + call.web.guid +
           "\" EnableVersioning=\"True\" EnableMinorVersion=\"" +
           (library.minor_versions ? "True" : "False") + "\" RequireCheckout=\"" +
           (library.force_checkout ? "True" : "False") + "\" Hidden=\"False\"";
}

std::string boolean(bool value) {
    return value ? "TRUE" : "FALSE";
}

std::string field_element(const Column& column) {
    auto text = "<Field ID=\"{" + column.guid + "}\" Type=\"" + xml::escape(column.type_name) + "\" Name=\"" +
                xml::escape(column.name) + "\" StaticName=\"" + xml::escape(column.name) +
                "\" DisplayName=\"" + xml::escape(column.title) + "\" Required=\"" +
                boolean(column.required) + "\" ReadOnly=\"" + boolean(column.read_only) + "\" Hidden=\"" +
                boolean(column.hidden) + "\"";
    if (column.max_length >= 0) text += " MaxLength=\"" + std::to_string(column.max_length) + "\"";
    if (column.kind == 4)
        text += std::string(" Format=\"") + (column.display_format == 1 ? "DateTime" : "DateOnly") + "\"";
    text += ">";
    if (!column.choices.empty()) {
        text += "<CHOICES>";
        for (const auto& choice : column.choices) text += "<CHOICE>" + xml::escape(choice) + "</CHOICE>";
        text += "</CHOICES>";
    }
    if (!column.default_value.empty()) text += "<Default>" + xml::escape(column.default_value) + "</Default>";
    return text + "</Field>";
}

std::string list_element(const Call& call) {
    auto wanted = call.operation.parameter("listName").value_or("");
    if (wanted.empty()) throw missing_parameter("listName");
    auto bare = replace_all(replace_all(wanted, "{", ""), "}", "");
    for (const auto& library : call.store.libraries(call.web.id)) {
        if (!equals_ignoring_case(library.title, wanted) && !equals_ignoring_case(library.guid, bare))
            continue;
        auto text = "<List " + list_attributes(call, library) + "><Fields>";
        for (const auto& column : call.store.columns(library.id)) text += field_element(column);
        return text + "</Fields></List>";
    }
    throw SoapFault(
        "List does not exist. The page you selected contains a list that does not exist. It may have been "
        "deleted "
        "by another user.",
        0x82000006);
}

}  // namespace

std::optional<http::Response> lists(const Call& call) {
    const auto& name = call.operation.name();
    if (name == "CheckOutFile") {
        check_out(call);
    } else if (name == "UndoCheckOut") {
        call.store.undo_check_out(document_of(call).id, call.user);
    } else if (name == "CheckInFile") {
        check_in(call);
    } else if (name == "GetListCollection") {
        std::string all;
        for (const auto& library : call.store.libraries(call.web.id))
            all += "<List " + list_attributes(call, library) + "/>";
        return answer(call.operation, "<Lists>" + all + "</Lists>");
    } else if (name == "GetList") {
        return answer(call.operation, list_element(call));
    } else {
        return std::nullopt;
    }
    return answer(call.operation, "true");
}

}  // namespace devserver::soap
