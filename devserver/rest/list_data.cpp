#include "rest/list_data.h"

#include <algorithm>

#include "base/json.h"
#include "base/text.h"
#include "rest/file_resource.h"

namespace devserver::rest {
namespace {

constexpr std::int64_t kDefaultRows = 30, kMostRows = 5000;

std::string TextOf(const rapidjson::Value& parameters, const char* name) {
    auto member = parameters.FindMember(name);
    return member != parameters.MemberEnd() && member->value.IsString() ? member->value.GetString() : "";
}

// "<RowLimit Paged='TRUE'>2000</RowLimit>"
std::int64_t RowLimit(const std::string& view) {
    auto at = view.find("<RowLimit");
    auto begin = at == std::string::npos ? at : view.find('>', at);
    if (begin == std::string::npos) return kDefaultRows;
    auto end = view.find('<', begin);
    return std::max<std::int64_t>(
        1, ParseInteger(view.substr(begin + 1, end - begin - 1)).value_or(kDefaultRows));
}

// "?Paged=TRUE&p_ID=7&PageFirstRow=8"
Id LastOfPage(const std::string& paging) {
    if (!paging.starts_with("?")) return 0;
    for (const auto& [name, value] : ParseQuery(paging.substr(1)))
        if (name == "p_ID") return ParseInteger(value).value_or(0);
    return 0;
}

std::vector<Item> ChildrenById(const Context& context, const Item& folder) {
    auto items = context.store.children(folder, true);
    auto files = context.store.children(folder, false);
    items.insert(items.end(), files.begin(), files.end());
    std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return a.id < b.id; });
    return items;
}

void WriteRow(JsonWriter& json, const Context& context, const Item& item) {
    auto text = [&](std::string_view name, const std::string& value) { json.Key(name).Value(value); };
    json.StartObject();
    text("ID", std::to_string(item.id));
    text("UniqueId", "{" + ToUpper(item.guid) + "}");
    text("FSObjType", item.folder ? "1" : "0");
    text("FileLeafRef", item.name);
    text("FileRef", item.path);
    text("File_x0020_Size", item.folder ? "" : std::to_string(item.size));
    text("Created.", IsoTime(item.created));
    text("Modified.", IsoTime(item.modified));
    json.Key("CheckoutUser");
    if (auto holder = context.store.UserById(item.checked_out_by)) {
        json.StartArray().StartObject();
        text("id", std::to_string(holder->id));
        text("title", holder->title);
        json.EndObject().EndArray();
    } else {
        json.Value("");
    }
    json.EndObject();
}

}  // namespace

Outcome RenderListData(Context& context, const Library& library) {
    auto body = context.JsonBody();
    auto parameters = body.FindMember("parameters");
    if (parameters == body.MemberEnd() || !parameters->value.IsObject())
        throw odata::InvalidArgument("parameters is missing.");
    auto view = TextOf(parameters->value, "ViewXml");
    auto path = TextOf(parameters->value, "FolderServerRelativeUrl");
    auto folder = context.store.Find(path.empty() ? context.store.item(library.root_item)->path : path);
    if (!folder || !folder->folder) throw odata::FolderNotFound();
    bool filtered = view.find("<Where>") != std::string::npos;
    bool sorted = view.find("<OrderBy>") != std::string::npos &&
                  view.find("<OrderBy><FieldRef Name='ID'") == std::string::npos;
    if ((filtered || sorted) && context.IsOverThreshold(*folder)) throw odata::OverThreshold();
    auto items = ChildrenById(context, *folder);
    auto limit = std::min<std::int64_t>(RowLimit(view),
                                        context.list_threshold > 0 ? context.list_threshold : kMostRows);
    auto last = LastOfPage(TextOf(parameters->value, "Paging"));
    auto at = std::upper_bound(items.begin(), items.end(), last,
                               [](Id id, const Item& item) { return id < item.id; });
    auto first_row = at - items.begin() + 1;
    JsonWriter json;
    json.StartObject().Key("Row").StartArray();
    std::int64_t rows = 0;
    for (; at != items.end() && rows < limit; ++at, ++rows) {
        WriteRow(json, context, *at);
        last = at->id;
    }
    json.EndArray();
    json.Key("FirstRow").Value(static_cast<std::int64_t>(first_row));
    json.Key("LastRow").Value(static_cast<std::int64_t>(first_row + rows - 1));
    json.Key("RowLimit").Value(limit);
    if (at != items.end()) {
        json.Key("NextHref")
            .Value("?Paged=TRUE&p_ID=" + std::to_string(last) +
                   "&PageFirstRow=" + std::to_string(first_row + rows));
    }
    json.EndObject();
    return Outcome::raw(http::MakeResponse(200, "application/json", json.Take()));
}

}  // namespace devserver::rest
