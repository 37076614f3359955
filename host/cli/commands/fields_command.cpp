// fields: the library columns of a document, shown and set.
// The command's worker thread.
#include <rapidjson/document.h>

#include "host/base/text.h"
#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/jobs/address.h"

namespace cli {

namespace {

using rapidjson::Value;

// The plug-in's description of the columns, as UTF-8 JSON.
std::string Load(Run& run, TMK::IAFS_File* file, const std::string& what) {
    Variant value;
    run.Check(file->Exec(u"GetFields", Variant(), value.put(), run.details(), run.cancel()), what);
    if (value.type() != VT_BSTR) run.Fail(E_UNEXPECTED, what, "the plug-in told no columns");
    return host::ToUtf8(value.get().bstrVal);
}

// {"NAME": "value"} of the arguments behind the URL.
std::string Changes(const std::vector<std::string>& arguments) {
    JsonText json;
    json.StartObject();
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::size_t equals = arguments[i].find('=');
        if (equals == 0 || equals == std::string::npos)
            throw UsageError("a column is set as NAME=VALUE, not '" + arguments[i] + "'");
        json.Key(arguments[i].substr(0, equals).c_str()).String(arguments[i].substr(equals + 1));
    }
    json.EndObject();
    return json.Take();
}

std::string ValueLine(const Value& value) {
    if (value.IsNull()) return "-";
    if (value.IsString()) return host::SafeLine(value.GetString());
    if (value.IsBool()) return value.GetBool() ? "yes" : "no";
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return buffer.GetString();
}

std::string FieldLine(const Value& field) {
    std::string line = host::SafeLine(field["name"].GetString());
    if (field["required"].GetBool()) line += " *";
    line += std::string(" (") + field["kind"].GetString() + "): " + ValueLine(field["value"]);
    if (!field.HasMember("choices")) return line + "\n";
    std::string choices;
    for (const Value& choice : field["choices"].GetArray())
        choices += (choices.empty() ? "" : ", ") + host::SafeLine(choice.GetString());
    return line + (choices.empty() ? "" : "  [" + choices + "]") + "\n";
}

std::string Lines(const std::string& json) {
    rapidjson::Document document;
    document.Parse(json.c_str());
    std::string text;
    for (const Value& field : document["fields"].GetArray()) text += FieldLine(field);
    if (document["requiredUnsupported"].GetBool())
        text += "a required column of a kind that can't be shown here is left out\n";
    return text.empty() ? "no columns\n" : text;
}

}  // namespace

void Fields(Run& run) {
    const std::vector<std::string>& arguments = run.options().arguments;
    const std::string what = What(run.options(), arguments[0]);
    const std::string changes = Changes(arguments);
    const auto file = OpenToAsk(run, what);
    if (arguments.size() > 1) {
        const Variant data(std::u16string_view(host::ToUtf16(changes)));
        run.Check(file->Exec(u"SetFields", data.get(), nullptr, run.details(), run.cancel()), what);
    }
    const std::string json = Load(run, file.get(), what);
    run.Out(run.options().Has("json") ? json + "\n" : Lines(json));
}

}  // namespace cli
