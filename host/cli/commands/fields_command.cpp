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

// {"NAME": "value"} of words such as NAME=value.
std::string Changes(const std::vector<std::string>& assignments) {
    JsonText json;
    json.StartObject();
    for (const std::string& assignment : assignments) {
        const std::size_t equals = assignment.find('=');
        if (equals == 0 || equals == std::string::npos)
            throw UsageError("a column is set as NAME=VALUE, not '" + assignment + "'");
        json.Key(assignment.substr(0, equals).c_str()).String(assignment.substr(equals + 1));
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

bool IsEmpty(const Value& value) {
    return value.IsNull() || (value.IsString() && value.GetStringLength() == 0);
}

// A word of a shell's command line.
std::string Quoted(const std::string& word) {
    const bool is_plain = word.find_first_not_of(
                              "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                              "_-./:%=") == std::string::npos;
    return is_plain ? word : '"' + word + '"';
}

}  // namespace

void SetFields(Run& run, TMK::IAFS_File* file, const std::vector<std::string>& assignments,
               const std::string& what) {
    const std::string changes = Changes(assignments);
    if (assignments.empty()) return;
    const Variant data(std::u16string_view(host::ToUtf16(changes)));
    run.Check(file->Exec(u"SetFields", data.get(), nullptr, run.details(), run.cancel()), what);
}

std::string MissingFields(Run& run, TMK::IAFS_File* file, const std::string& url, const std::string& what) {
    rapidjson::Document document;
    document.Parse(Load(run, file, what).c_str());
    std::string titles;
    std::string assignments;
    for (const Value& field : document["fields"].GetArray()) {
        if (!field["required"].GetBool() || !IsEmpty(field["value"])) continue;
        titles += (titles.empty() ? "" : ", ") + host::SafeLine(field["title"].GetString());
        assignments += ' ' + Quoted(host::SafeLine(field["name"].GetString()) + "=VALUE");
    }
    if (titles.empty()) return {};
    return "required columns are empty: " + titles + "; fill them with 'sphost fields " + Quoted(url) +
           assignments + "', or with --set here";
}

void Fields(Run& run) {
    const std::vector<std::string>& arguments = run.options().arguments;
    const std::string what = What(run.options(), arguments[0]);
    const std::vector<std::string> assignments(arguments.begin() + 1, arguments.end());
    Changes(assignments);  // refuses a wrong one before anything is opened
    const auto file = OpenToAsk(run, what);
    SetFields(run, file.get(), assignments, what);
    const std::string json = Load(run, file.get(), what);
    run.Out(run.options().Has("json") ? json + "\n" : Lines(json));
}

}  // namespace cli
