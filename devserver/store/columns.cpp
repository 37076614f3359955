// The store's library columns and the values that items have in them.
// Owner: store/; any thread.
#include "base/crypto.h"
#include "base/text.h"
#include "store/store.h"

namespace devserver {
namespace {

struct BaseColumn {
    const char *name, *title, *type_name, *group;
    int kind;
    bool required, read_only, hidden;
};

// The columns that every document library has, as far as clients ask for them.
constexpr BaseColumn kBaseColumns[] = {
    {"ID", "ID", "Counter", "Custom Columns", 5, false, true, false},
    {"ContentTypeId", "Content Type ID", "ContentTypeId", "_Hidden", 25, false, true, true},
    {"Created", "Created", "DateTime", "_Hidden", 4, false, true, false},
    {"Author", "Created By", "User", "_Hidden", 20, false, true, false},
    {"Modified", "Modified", "DateTime", "_Hidden", 4, false, true, false},
    {"Editor", "Modified By", "User", "_Hidden", 20, false, true, false},
    {"CheckoutUser", "Checked Out To", "User", "_Hidden", 20, false, true, false},
    {"_CheckinComment", "Check In Comment", "Lookup", "_Hidden", 7, false, true, false},
    {"_UIVersionString", "Version", "Text", "_Hidden", 2, false, true, false},
    {"FileRef", "URL Path", "Lookup", "_Hidden", 7, false, true, true},
    {"File_x0020_Size", "File Size", "Lookup", "_Hidden", 7, false, true, true},
    {"GUID", "GUID", "Guid", "_Hidden", 14, false, true, true},
    {"FileLeafRef", "Name", "File", "Custom Columns", 18, true, false, false},
    {"Title", "Title", "Text", "Custom Columns", 2, false, false, false},
};

std::string StableGuid(const std::string& seed) {
    return FormatGuid(Sha256Hex(seed));
}

constexpr char kChoiceSeparator = '\n';

}  // namespace

std::vector<Column> Store::columns(Id library) {
    DatabaseLock lock(m_database);
    std::vector<Column> result;
    for (const auto& base : kBaseColumns) {
        Column column;
        column.name = base.name;
        column.title = base.title;
        column.type_name = base.type_name;
        column.group = base.group;
        column.kind = base.kind;
        column.required = base.required;
        column.read_only = base.read_only;
        column.hidden = base.hidden;
        column.from_base = true;
        column.max_length = base.kind == 2 ? 255 : -1;
        column.guid = StableGuid(base.name);
        result.push_back(column);
    }
    auto rows = m_database.query(
        "SELECT c.name, title, kind, type_name, required, description, default_value, choices, max_length, "
        "display_format, guid, coalesce(hidden, 0), coalesce(read_only, 0), minimum, maximum FROM columns c "
        "LEFT JOIN column_traits t ON t.library=c.library AND t.name=c.name WHERE c.library=? ORDER BY "
        "c.rowid",
        library);
    while (rows.Step()) {
        Column column;
        std::string choices;
        rows.Read(column.name, column.title, column.kind, column.type_name, column.required,
                  column.description, column.default_value, choices, column.max_length, column.display_format,
                  column.guid, column.hidden, column.read_only, column.minimum, column.maximum);
        if (!choices.empty()) column.choices = Split(choices, kChoiceSeparator);
        column.group = "Custom Columns";
        result.push_back(column);
    }
    return result;
}

void Store::PutColumn(Id library, const Column& column) {
    DatabaseLock lock(m_database);
    std::string choices;
    for (const auto& choice : column.choices) choices += (choices.empty() ? "" : "\n") + choice;
    auto guid = column.guid;
    {
        auto row =
            m_database.query("SELECT guid FROM columns WHERE library=? AND name=?", library, column.name);
        if (row.Step()) guid = row.text(0);
    }
    m_database.Run("INSERT OR REPLACE INTO columns VALUES (?,?,?,?,?,?,?,?,?,?,?,?)", library, column.name,
                   column.title, column.kind, column.type_name, column.required, column.description,
                   column.default_value, choices, column.max_length, column.display_format,
                   guid.empty() ? RandomGuid() : guid);
    m_database.Run("INSERT OR REPLACE INTO column_traits VALUES (?,?,?,?,?,?)", library, column.name,
                   column.hidden, column.read_only, column.minimum, column.maximum);
}

std::map<std::string, std::string> Store::values(Id item) {
    DatabaseLock lock(m_database);
    std::map<std::string, std::string> result;
    auto rows = m_database.query("SELECT name, value FROM item_values WHERE item=?", item);
    while (rows.Step()) result[rows.text(0)] = rows.text(1);
    return result;
}

Item Store::SetValues(Id id, const std::map<std::string, std::string>& given, const User& user) {
    DatabaseLock lock(m_database);
    auto item = RequireItem(id);
    RequireWritable(item, user);
    Transaction transaction(m_database);
    for (const auto& [name, value] : given)
        m_database.Run("INSERT OR REPLACE INTO item_values VALUES (?,?,?)", id, name, value);
    if (!item.folder && item.checked_out_by == 0) {
        BeginVersion(item);
        item.comment.clear();
    }
    item.modified = Now();
    item.editor = user.id;
    ++item.etag;
    Save(item);
    transaction.Commit();
    return RequireItem(id);
}

}  // namespace devserver
