// A SharePoint site as the layers above see it: a web, its folders and files, whatever the server's dialect.
// Objects are shared and have no lock; a call blocks its thread. They keep their web alive.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "http/exchange.h"

namespace SharePoint {

// What a server names a version of a document by, beside its time; empty where it doesn't tell.
struct VersionTags {
    std::u16string m_content;  // changes with the bytes alone
    std::u16string m_entity;   // changes with every change, a check-out among them
};

// Whether the tags tell the bytes of two versions of one document apart.
bool AreOfOtherContent(const VersionTags& tags, const VersionTags& other);

// What the server last said about an item. Times are Windows file times in UTC, 0 when unknown.
struct Information {
    std::u16string m_name;  // the name shown; the last part of the path when the server gives none
    std::u16string m_path;  // relative to the server root, without slashes at its ends
    uint64_t m_created_time = 0;
    uint64_t m_modified_time = 0;
    uint64_t m_size = 0;             // in bytes; 0 for a folder
    std::u16string m_checkout_user;  // login of the holder, empty when nobody has it checked out
    std::u16string m_modified_by;    // login of the last author where the server gives it
    std::u16string m_last_author;    // login of who changed it last, for people; empty where unknown
    std::u16string m_version;        // as people see it, "1.0"; empty where unknown
    uint32_t m_attributes = 0;       // Windows file attributes
    VersionTags m_tags;              // of a document
    int64_t m_asked_at = 0;          // when the server was asked, as OperationScope::Now; 0 for an old answer
};

// Why an answer without a listing is none, when the server itself doesn't say it.
inline constexpr const char16_t* kNoListing = u"The server did not answer with the content of the folder.";

// "{is_folder=..., path='...', ...}" for the log, names masked.
std::u16string DescribeForLog(const Information& information, bool is_folder);

// The part of a path behind its last "/", or the whole.
std::u16string_view LastPathPart(std::u16string_view path);

// Throws the Exception of a web that is to be renamed or deleted; `change` is "renaming" or "deleting".
[[noreturn]] void RefuseChangeOfWeb(const char* trace_function, const char16_t* change);

class Field;

// A document's editable columns.
struct FieldsData {
    std::vector<std::shared_ptr<Field>> fields;
    bool has_unsupported_required = false;
};

class File;
class Folder;
class Web;

class Object {
public:
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    // This object as another kind, null when it isn't one. Just one of file and folder is not null; a web is
    // a folder.
    virtual std::shared_ptr<File> AsFile() { return nullptr; }
    virtual std::shared_ptr<Folder> AsFolder() { return nullptr; }
    virtual std::shared_ptr<Web> AsWeb() { return nullptr; }
    // Whether the current user may change this object; asks the server.
    virtual bool CanEdit() = 0;
    virtual std::shared_ptr<Web> GetWeb() = 0;
    // Fetches the information again; on failure the old one stays.
    virtual const Information& UpdateInformation() = 0;
    // `new_path` is relative to the server root. A web throws Exception.
    virtual void Rename(const std::u16string& new_path) = 0;
    virtual void Delete() = 0;

    const Information& GetInformation() const { return m_information; }
    // False when the last update told nothing, so that the information is the one from before.
    bool IsInformationCurrent() const { return m_is_current; }
    // The path at the time the object was made; it doesn't follow later changes.
    const std::u16string& GetRoot() const { return m_root; }

protected:
    explicit Object(Information information)
        : m_root(information.m_path), m_information(std::move(information)) {}
    // Nothing but its path is known.
    explicit Object(const std::u16string& path) : m_root(path) { m_information.m_path = path; }

    std::u16string m_root;
    Information m_information;
    bool m_is_current = true;
};

class Folder {
public:
    virtual ~Folder() = default;
    // The direct children. A listing that can't be read is empty; `out_unread` then gets the reason for a
    // person, and else becomes empty. It may be null.
    virtual std::vector<std::shared_ptr<Object>> Enumerate(std::u16string* out_unread = nullptr) = 0;
};

class Web : public Folder {
public:
    enum class BindObjectType : uint32_t {
        any = 0,
        file = 1,
        folder = 2,  // or the web itself
    };

    // The object behind an absolute URL; null when it isn't there or is of another kind.
    virtual std::shared_ptr<Object> BindObject(const std::u16string& url, BindObjectType type) = 0;
    // True only when the server says that there is no document behind the URL; an unclear answer is false.
    // Throws when the server can't be asked.
    virtual bool IsFileKnownMissing(const std::u16string& url) = 0;
    // Makes an empty file, with missing parent folders; replaces what is there. Null on failure.
    virtual std::shared_ptr<Object> CreateFile(const std::u16string& url) = 0;
    // Makes a folder, with missing parents; an existing one is no failure. Null on failure.
    virtual std::shared_ptr<Object> CreateFolder(const std::u16string& url) = 0;
};

class File {
public:
    enum class CheckOutState : uint32_t { none = 0, me = 1, other_user = 2, unknown = 3 };
    enum CheckInResult : uint32_t { cirOk = 0, cirFail = 1, cirRequiredProperties = 2 };
    enum DiscardResult : uint32_t { dcrOk = 0, dcrFail = 1, dcrNoCheckedInVersion = 2 };

    virtual ~File() = default;
    // Asks the server afresh. `out_user` may be null; it receives the holder's display form where known.
    virtual CheckOutState GetCheckOutState(std::u16string* out_user) = 0;
    virtual bool CheckOut() = 0;
    virtual DiscardResult DiscardCheckOut() = 0;
    // `type` is 0 for a minor version, 1 for a major one, 2 to overwrite.
    virtual CheckInResult CheckIn(const std::u16string& comment, uint32_t type) = 0;
    // Paths are relative to the server root; what is at the target is replaced.
    virtual void Copy(const std::u16string& new_path) = 0;
    virtual void Move(const std::u16string& new_path) = 0;
    // The answer with the document's bytes; the caller checks its status first.
    virtual Http::Response Read() = 0;
    // An open upload of `size` bytes; the caller writes them and ends the request.
    virtual Http::Request Write(uint64_t size) = 0;
    // After an upload that the server forbade: forgets the digest if it was an old one. True when the same
    // upload is worth another try.
    virtual bool ForgetOldDigest() { return false; }
    virtual FieldsData LoadFields() = 0;
    virtual const FieldsData& GetFields() const = 0;
    virtual void SetFields(FieldsData data) = 0;
    virtual bool SaveFields() = 0;
    // The server's preview picture of the document. HttpException when there is none.
    virtual void GetThumbnail(std::string& out_bytes) = 0;
};

// The check-out state of a document that `holder` has checked out. An empty `holder` is nobody; then the
// current user is not asked for.
File::CheckOutState FindCheckOutState(const char* trace_function, const std::u16string& holder,
                                      const std::function<std::u16string()>& get_current_user);

}  // namespace SharePoint
