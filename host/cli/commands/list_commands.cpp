// ls and stat: looking at folders and files.
// The command's worker thread.
#include <cstdio>

#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/jobs/address.h"
#include "host/jobs/error_text.h"
#include "host/jobs/listing.h"
#include "hostapi/irgc.h"

namespace cli {

namespace {

struct Row {
    std::u16string name;
    std::u16string url;
    DWORD attributes = 0;
    std::uint64_t size = 0;
    std::uint64_t created = 0;
    std::uint64_t modified = 0;
    std::string version;
    std::string author;  // who changed it last
    std::string holder;  // who has it checked out
    bool folder() const { return (attributes & TMK::AFS_FileAttribute_Folder) != 0; }
};

// Folder items and file information answer the same questions.
template <class Source>
Row ReadRow(Run& run, Source* source, const std::string& what) {
    Row row;
    Bstr title;
    run.Check(source->get_Title(title.put()), what);
    row.name = std::u16string(title.view());
    run.Check(source->get_Attributes(&row.attributes), what);
    ULONGLONG value = 0;
    if (!row.folder()) {
        run.Check(source->get_Size(&value), what);
        row.size = value;
    }
    run.Check(source->get_CreationTime(&value), what);
    row.created = value;
    run.Check(source->get_LastWriteTime(&value), what);
    row.modified = value;
    return row;
}

// What only some servers tell; no request for what was just looked up.
void ReadPeople(Run& run, TMK::IAFS_Name* name, Row& row) {
    if (row.folder()) return;
    row.version = host::PlainLine(run.TextOf(name, u"Version"));
    row.author = host::PersonOf(run.TextOf(name, u"ModifiedBy"));
    row.holder = host::PersonOf(run.TextOf(name, u"CheckedOutTo"));
}

void WriteRow(JsonText& json, const Row& row) {
    json.Key("name").String(host::ToUtf8(row.name)).Key("url").String(host::EscapeUrl(row.url));
    json.Key("folder").Bool(row.folder()).Key("size");
    row.folder() ? json.Null() : json.Number(static_cast<std::int64_t>(row.size));
    json.Key("created").Text(host::FormatFileTime(row.created));
    json.Key("modified").Text(host::FormatFileTime(row.modified));
    json.Key("attributes").Number(row.attributes);
}

void WritePeople(JsonText& json, const Row& row) {
    json.Key("version")
        .Text(row.version)
        .Key("modifiedBy")
        .Text(row.author)
        .Key("checkedOutTo")
        .Text(row.holder);
}

std::string RowLine(const Row& row, bool is_long) {
    const std::string size = row.folder() ? "-" : std::to_string(row.size);
    const std::string time = row.modified ? host::FormatFileTime(row.modified) : "-";
    char columns[80];
    std::snprintf(columns, sizeof(columns), "%-6s %12s  %-20s  ", row.folder() ? "folder" : "file",
                  size.c_str(), time.c_str());
    std::string line = columns;
    if (is_long) {
        const auto cell = [](const std::string& text) { return text.empty() ? "-" : text.c_str(); };
        char people[160];
        std::snprintf(people, sizeof(people), "%-6s  %-24s  %-24s  ", cell(row.version), cell(row.author),
                      cell(row.holder));
        line += people;
    }
    return line + host::PlainLine(host::ToUtf8(row.name)) + "\n";
}

void WriteThumbnail(Run& run, TMK::IAFS_Name* name, JsonText& json, std::string& text) {
    Variant value;
    UINT width = 0;
    UINT height = 0;
    json.Key("thumbnail");
    const HRESULT result = run.file_system()->get_Prop(name, u"Thumbnail", value.put());
    run.host().TakeMessage();
    if (FAILED(result) || value.type() != VT_UNKNOWN || !value.get().punkVal) {
        json.Null();
        return;
    }
    const auto page = ComPtr<IUnknown>(value.get().punkVal).as<TMK::IRGC_Page>();
    if (!page || FAILED(page->get_Size(&width, &height))) {
        json.Null();
        return;
    }
    json.StartObject().Key("width").Number(width).Key("height").Number(height).EndObject();
    text += "thumbnail: " + std::to_string(width) + " x " + std::to_string(height) + "\n";
}

}  // namespace

namespace {

// Lists a folder and, with --recursive, the folders in it after its own rows; `above` stands before the
// names. Only one folder is held for each level.
void ListBelow(Run& run, TMK::IAFS_Name* folder, const std::u16string& above, JsonText& json,
               const std::string& what) {
    const bool is_json = run.options().Has("json");
    const bool is_long = run.options().Has("long");
    const bool is_deep = run.options().Has("recursive");
    std::vector<std::pair<std::u16string, ComPtr<TMK::IAFS_Name>>> folders;
    std::string text;
    host::ListFolder(run, folder, what, [&](TMK::IAFS_EnumFolderItem* item) {
        Row row = ReadRow(run, item, what);
        row.name = above + row.name;
        ComPtr<TMK::IAFS_Name> name;
        if (is_json || is_long || (is_deep && row.folder())) run.Check(item->get_Name(name.put()), what);
        if (is_long) ReadPeople(run, name.get(), row);
        if (is_deep && row.folder()) folders.emplace_back(row.name + u"/", name);
        if (!is_json) {
            text += RowLine(row, is_long);
            return;
        }
        row.url = run.UrlOf(name.get());
        json.StartObject();
        WriteRow(json, row);
        if (is_long) WritePeople(json, row);
        json.EndObject();
    });
    if (!is_json) run.Out(text);
    for (const auto& [path, name] : folders) ListBelow(run, name.get(), path, json, what);
}

}  // namespace

void List(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const auto folder = run.NameFor(run.Address(), what);
    JsonText json;
    json.StartArray();
    ListBelow(run, folder.get(), {}, json, what);
    json.EndArray();
    if (run.options().Has("json")) run.Out(json.Take());
}

void Stat(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const auto name = run.NameFor(run.Address(), what);
    const auto info = run.InfoOf(name.get(), what);
    Row row = ReadRow(run, info.get(), what);
    row.url = run.UrlOf(name.get());
    JsonText json;
    json.StartObject();
    WriteRow(json, row);
    std::string text = "name:      " + host::PlainLine(host::ToUtf8(row.name)) +
                       "\nurl:       " + host::EscapeUrl(row.url) +
                       "\nkind:      " + (row.folder() ? "folder" : "file") + "\n";
    if (!row.folder()) text += "size:      " + std::to_string(row.size) + "\n";
    text += "created:   " + host::FormatFileTime(row.created) +
            "\nmodified:  " + host::FormatFileTime(row.modified) + "\n";
    if (!row.folder()) {
        const bool is_mine = run.IsCheckedOutToUser(name.get(), what);
        ReadPeople(run, name.get(), row);
        WritePeople(json, row);
        if (!row.version.empty()) text += "version:   " + row.version + "\n";
        if (!row.author.empty()) text += "changed by: " + row.author + "\n";
        if (!row.holder.empty()) text += "checked out by: " + row.holder + "\n";
        json.Key("checkedOut").Bool(is_mine);
        text += std::string("checked out to you: ") + (is_mine ? "yes" : "no") + "\n";
        WriteThumbnail(run, name.get(), json, text);
    }
    json.EndObject();
    run.Out(run.options().Has("json") ? json.Take() : text);
}

}  // namespace cli
