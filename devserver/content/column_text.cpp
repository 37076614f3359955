#include "content/column_text.h"

#include "base/json.h"

namespace devserver {
namespace {

using Json = rapidjson::Document;

struct TypeRow {
    std::string_view name;
    int kind;
};
constexpr TypeRow types[] = {{"Integer", 1},   {"Text", 2},   {"Note", 3},         {"DateTime", 4},
                             {"Choice", 6},    {"Lookup", 7}, {"Boolean", 8},      {"Number", 9},
                             {"Currency", 10}, {"URL", 11},   {"MultiChoice", 15}, {"Calculated", 17},
                             {"User", 20}};

std::string text_of(const Json& body, const char* name, const std::string& otherwise = {}) {
    auto text = json_member<ColumnSyntaxError, std::string>(body, name, {});
    return text.empty() ? otherwise : text;
}

bool flag_of(const Json& body, const char* name) {
    return json_member<ColumnSyntaxError>(body, name, false);
}

int number_of(const Json& body, const char* name) {
    return json_member<ColumnSyntaxError>(body, name, -1);
}

std::optional<double> limit_of(const Json& body, const char* name) {
    if (!body.HasMember(name)) return std::nullopt;
    return json_member<ColumnSyntaxError>(body, name, 0.0);
}

}  // namespace

Column parse_column(const std::string& json) {
    Json body;
    body.Parse<rapidjson::kParseIterativeFlag>(json.c_str());
    if (body.HasParseError() || !body.IsObject()) throw ColumnSyntaxError("a column must be a JSON object");
    Column column;
    column.name = text_of(body, "name");
    if (column.name.empty()) throw ColumnSyntaxError("'name' is missing");
    column.title = text_of(body, "title", column.name);
    column.type_name = text_of(body, "type", "Text");
    column.description = text_of(body, "description");
    column.default_value = text_of(body, "default");
    column.required = flag_of(body, "required");
    column.hidden = flag_of(body, "hidden");
    column.read_only = flag_of(body, "read_only");
    column.max_length = number_of(body, "max_length");
    column.display_format = number_of(body, "display_format");
    column.minimum = limit_of(body, "minimum");
    column.maximum = limit_of(body, "maximum");
    if (body.HasMember("choices")) {
        if (!body["choices"].IsArray()) throw ColumnSyntaxError("'choices' must be a list of texts");
        for (const auto& choice : body["choices"].GetArray()) {
            if (!choice.IsString()) throw ColumnSyntaxError("'choices' must be a list of texts");
            column.choices.emplace_back(choice.GetString());
        }
    }
    column.kind = 0;
    for (const auto& row : types)
        if (row.name == column.type_name) column.kind = row.kind;
    if (column.kind == 0) throw ColumnSyntaxError("'" + column.type_name + "' isn't a column type");
    return column;
}

}  // namespace devserver
