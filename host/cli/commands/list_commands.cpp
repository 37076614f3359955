// ls and stat: looking at folders and files.
// The command's worker thread.
#include <cstdio>

#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/jobs/address.h"
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

void WriteRow(JsonText& json, const Row& row) {
    json.Key("name").String(host::ToUtf8(row.name)).Key("url").String(host::EscapeUrl(row.url));
    json.Key("folder").Bool(row.folder()).Key("size");
    row.folder() ? json.Null() : json.Number(static_cast<std::int64_t>(row.size));
    json.Key("created").Text(host::FormatFileTime(row.created));
    json.Key("modified").Text(host::FormatFileTime(row.modified));
    json.Key("attributes").Number(row.attributes);
}

std::string RowLine(const Row& row) {
    const std::string size = row.folder() ? "-" : std::to_string(row.size);
    const std::string time = row.modified ? host::FormatFileTime(row.modified) : "-";
    char columns[80];
    std::snprintf(columns, sizeof(columns), "%-6s %12s  %-20s  ", row.folder() ? "folder" : "file",
                  size.c_str(), time.c_str());
    return columns + host::PlainLine(host::ToUtf8(row.name)) + "\n";
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

void List(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const auto folder = run.NameFor(host::ParseUrl(run.options().arguments[0]), what);
    const bool is_json = run.options().Has("json");
    JsonText json;
    json.StartArray();
    std::string text;
    host::ListFolder(run, folder.get(), what, [&](TMK::IAFS_EnumFolderItem* item) {
        Row row = ReadRow(run, item, what);
        if (is_json) {
            ComPtr<TMK::IAFS_Name> name;
            run.Check(item->get_Name(name.put()), what);
            row.url = run.UrlOf(name.get());
            json.StartObject();
            WriteRow(json, row);
            json.EndObject();
        } else {
            text += RowLine(row);
        }
    });
    json.EndArray();
    run.Out(is_json ? json.Take() : text);
}

void Stat(Run& run) {
    const std::string what = What(run.options(), run.options().arguments[0]);
    const auto name = run.NameFor(host::ParseUrl(run.options().arguments[0]), what);
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
        json.Key("checkedOut").Bool(is_mine);
        text += std::string("checked out to you: ") + (is_mine ? "yes" : "no") + "\n";
        WriteThumbnail(run, name.get(), json, text);
    }
    json.EndObject();
    run.Out(run.options().Has("json") ? json.Take() : text);
}

}  // namespace cli
