#include "content/column_text.h"

#include "base/json.h"

namespace devserver {
namespace {

using Json = rapidjson::Document;

struct TypeRow {
    std::string_view name;
    int kind;
};
constexpr TypeRow kTypes[] = {{"Integer", 1},   {"Text", 2},   {"Note", 3},         {"DateTime", 4},
                              {"Choice", 6},    {"Lookup", 7}, {"Boolean", 8},      {"Number", 9},
                              {"Currency", 10}, {"URL", 11},   {"MultiChoice", 15}, {"Calculated", 17},
                              {"User", 20}};

std::string TextOf(const Json& body, const char* name, const std::string& otherwise = {}) {
    auto text = JsonMember<ColumnSyntaxError, std::string>(body, name, {});
    return text.empty() ? otherwise : text;
}

bool FlagOf(const Json& body, const char* name) {
    return JsonMember<ColumnSyntaxError>(body, name, false);
}

int NumberOf(const Json& body, const char* name) {
    return JsonMember<ColumnSyntaxError>(body, name, -1);
}

std::optional<double> LimitOf(const Json& body, const char* name) {
    if (!body.HasMember(name)) return std::nullopt;
    return JsonMember<ColumnSyntaxError>(body, name, 0.0);
}

}  // namespace

Column ParseColumn(const std::string& json) {
    Json body;
    body.Parse<rapidjson::kParseIterativeFlag>(json.c_str());
    if (body.HasParseError() || !body.IsObject()) throw ColumnSyntaxError("a column must be a JSON object");
    Column column;
    column.name = TextOf(body, "name");
    if (column.name.empty()) throw ColumnSyntaxError("'name' is missing");
    column.title = TextOf(body, "title", column.name);
    column.type_name = TextOf(body, "type", "Text");
    column.description = TextOf(body, "description");
    column.default_value = TextOf(body, "default");
    column.required = FlagOf(body, "required");
    column.hidden = FlagOf(body, "hidden");
    column.read_only = FlagOf(body, "read_only");
    column.max_length = NumberOf(body, "max_length");
    column.display_format = NumberOf(body, "display_format");
    column.minimum = LimitOf(body, "minimum");
    column.maximum = LimitOf(body, "maximum");
    if (body.HasMember("choices")) {
        if (!body["choices"].IsArray()) throw ColumnSyntaxError("'choices' must be a list of texts");
        for (const auto& choice : body["choices"].GetArray()) {
            if (!choice.IsString()) throw ColumnSyntaxError("'choices' must be a list of texts");
            column.choices.emplace_back(choice.GetString());
        }
    }
    column.kind = 0;
    for (const auto& row : kTypes)
        if (row.name == column.type_name) column.kind = row.kind;
    if (column.kind == 0) throw ColumnSyntaxError("'" + column.type_name + "' isn't a column type");
    return column;
}

}  // namespace devserver
