// Work on items: opening, creating, moving, copying, renaming, deleting, and what is known of them.
#include "afs/document/file.h"
#include "afs/file_system.h"
#include "afs/names/enumeration.h"
#include "base/failure.h"
#include "base/operation_scope.h"
#include "base/url.h"

namespace {

// A URL's path relative to the server root.
std::u16string PathOf(const Name& name) {
    TRACE_NAME("FileSystem::PathOf");
    std::u16string path;
    CHECK_THROW(CompareUrls(name.GetSession()->GetPath(), name.GetUrl(), &path, true) ==
                    CompareUrlsResult::url1_is_parent,
                HResultException, E_INVALIDARG);
    if (path.ends_with(u'/')) path.pop_back();
    return path;
}

// The answer does not say what the server did, so the object at the new place is looked up.
Name::ObjectPtr RequireAt(const Name& new_name, const char16_t* message) {
    TRACE_NAME("FileSystem::RequireAt");
    const auto web = new_name.GetSession()->GetWeb()->AsWeb();
    Name::ObjectPtr object = web->BindObject(new_name.GetUrl(), SharePoint::Web::BindObjectType::any);
    CHECK_THROW(object != nullptr, HResultException, E_FAIL, message);
    return object;
}

// Items move and copy within one web alone.
void RequireSameWeb(SharePoint::Object& object, const Name& other) {
    TRACE_NAME("FileSystem::RequireSameWeb");
    CHECK_THROW_TEXT(object.GetWeb() == other.GetSession()->GetWeb()->AsWeb(),
                     u"object->GetWeb() == other->m_session->GetWeb()->AsWeb()", HResultException,
                     E_INVALIDARG);
}

constexpr size_t kBlock = 64 * 1024;

// The next block of the body; a shorter one is the last.
std::string ReadBlock(const Http::Response& response) {
    std::string block(kBlock, '\0');
    size_t filled = 0;
    while (const size_t got = response.ReadBody(block.data() + filled, block.size() - filled)) filled += got;
    block.resize(filled);
    return block;
}

bool HaveSameContent(SharePoint::File& a, SharePoint::File& b) {
    const Http::Response of_a = a.Read();
    const Http::Response of_b = b.Read();
    for (;;) {
        const std::string block = ReadBlock(of_a);
        if (block != ReadBlock(of_b)) return false;
        if (block.size() < kBlock) return true;
    }
}

// A refused copy leaves the older document where the copy should be. By time and size it may look like the
// copy, so then the contents decide.
void RequireCopied(SharePoint::Object& source, const Name::ObjectPtr& before, const Name& new_name) {
    TRACE_NAME("FileSystem::RequireCopied");
    static constexpr const char16_t* kRefused = u"The server did not copy the file.";
    const Name::ObjectPtr copy = RequireAt(new_name, kRefused);
    const SharePoint::Information now = copy->GetInformation();
    if (!before || before->GetInformation().m_modified_time != now.m_modified_time) return;
    const bool is_copied = source.GetInformation().m_size == now.m_size && copy->AsFile() &&
                           HaveSameContent(*source.AsFile(), *copy->AsFile());
    CHECK_THROW(is_copied, HResultException, E_FAIL, kRefused);
}

// After a move the object stands at the new place and no longer at the old one.
Name::ObjectPtr RequireMoved(const Name& name, const Name& new_name, const char16_t* message) {
    TRACE_NAME("FileSystem::RequireMoved");
    const std::u16string& old_url = name.GetUrl();
    Name::ObjectPtr object = RequireAt(new_name, message);
    if (CompareUrls(old_url, new_name.GetUrl()) != CompareUrlsResult::equal) {
        const auto web = name.GetSession()->GetWeb()->AsWeb();
        CHECK_THROW(!web->BindObject(old_url, SharePoint::Web::BindObjectType::any), HResultException, E_FAIL,
                    message);
    }
    return object;
}

// Moves or renames an item by `relocate`, which is given the path of the new place.
template <typename Relocate>
void RelocateItem(SharePoint::Object& item, const Name& name, Name& new_name, const char16_t* refusal,
                  Relocate&& relocate) {
    RequireSameWeb(item, new_name);
    relocate(PathOf(new_name));
    new_name.SetObject(RequireMoved(name, new_name, refusal));
}

}  // namespace

// The two names of an operation, both local; shared by the operations that have a target.
#define LOCAL_NAMES()                                      \
    const OperationScope operation_scope(cancel_flag);     \
    CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);    \
    CHECK_RETURN(name != nullptr, E_INVALIDARG);           \
    CHECK_RETURN(new_name != nullptr, E_INVALIDARG);       \
    const ComPtr<Name> local_name = GetName(name);         \
    CHECK_RETURN(local_name != nullptr, E_INVALIDARG);     \
    const ComPtr<Name> local_new_name = GetName(new_name); \
    CHECK_RETURN(local_new_name != nullptr, E_INVALIDARG)

#define LOCAL_NAME()                                    \
    const OperationScope operation_scope(cancel_flag);  \
    CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED); \
    CHECK_RETURN(name != nullptr, E_INVALIDARG);        \
    const ComPtr<Name> local_name = GetName(name);      \
    CHECK_RETURN(local_name != nullptr, E_INVALIDARG)

HRESULT FileSystem::OpenFile(TMK::IAFS_Name* name, DWORD flags, TMK::ITMK_ErrorDetails* out_error_details,
                             TMK::ITMK_CancelFlag* cancel_flag, TMK::IAFS_File** out_file) {
    TRACE_ENTRY("FileSystem::OpenFile");
    try {
        if (out_file) *out_file = nullptr;
        LOCAL_NAME();
        CHECK_RETURN(out_file != nullptr, E_POINTER);
        CHECK_RETURN(m_plugin != nullptr, E_FAIL);
        ComPtr<File> file = File::CreateAndOpenFile(*local_name, flags, out_error_details, cancel_flag);
        CHECK_RETURN(file != nullptr, E_OUTOFMEMORY);
        *out_file = file.detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT FileSystem::EnumFolder(TMK::IAFS_Name* name, DWORD, TMK::ITMK_CancelFlag* cancel_flag,
                               TMK::IAFS_EnumFolder** out_enum) {
    TRACE_ENTRY("FileSystem::EnumFolder");
    try {
        if (out_enum) *out_enum = nullptr;
        LOCAL_NAME();
        CHECK_RETURN(out_enum != nullptr, E_POINTER);
        *out_enum = MakeObject<::EnumFolder>(*local_name).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::GetFileInfo(TMK::IAFS_Name* name, TMK::ITMK_ErrorDetails* out_error_details,
                                TMK::ITMK_CancelFlag* cancel_flag, TMK::IAFS_FileInfo** out_file_info) {
    TRACE_ENTRY("FileSystem::GetFileInfo");
    try {
        if (out_file_info) *out_file_info = nullptr;
        LOCAL_NAME();
        CHECK_RETURN(out_file_info != nullptr, E_POINTER);
        CHECK_RETURN(local_name->BindObject() != nullptr, E_INVALIDARG);
        *out_file_info = MakeObject<FileInfo>(*local_name).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT FileSystem::CreateFolder(TMK::IAFS_Name* name, DWORD, TMK::ITMK_ErrorDetails* out_error_details,
                                 TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("FileSystem::CreateFolder");
    try {
        LOCAL_NAME();
        const Name::ObjectPtr object =
            local_name->GetSession()->GetWeb()->AsWeb()->CreateFolder(local_name->GetUrl());
        CHECK_RETURN(object != nullptr, E_FAIL);
        local_name->SetObject(object);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT FileSystem::Move(TMK::IAFS_Name* name, TMK::IAFS_Name* new_name,
                         TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("FileSystem::Move");
    try {
        LOCAL_NAMES();
        const Name::ObjectPtr file = local_name->BindObject(SharePoint::Web::BindObjectType::file);
        CHECK_RETURN(file != nullptr, E_INVALIDARG);
        RelocateItem(*file, *local_name, *local_new_name, u"The server did not move the file.",
                     [&](const std::u16string& path) { file->AsFile()->Move(path); });
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT FileSystem::Copy(TMK::IAFS_Name* name, TMK::IAFS_Name* new_name,
                         TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("FileSystem::Copy");
    try {
        LOCAL_NAMES();
        const Name::ObjectPtr file = local_name->BindObject(SharePoint::Web::BindObjectType::file);
        CHECK_RETURN(file != nullptr, E_INVALIDARG);
        RequireSameWeb(*file, *local_new_name);
        const Name::ObjectPtr before = local_new_name->GetSession()->GetWeb()->AsWeb()->BindObject(
            local_new_name->GetUrl(), SharePoint::Web::BindObjectType::file);
        file->AsFile()->Copy(PathOf(*local_new_name));
        RequireCopied(*file, before, *local_new_name);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT FileSystem::Rename(TMK::IAFS_Name* name, TMK::IAFS_Name* new_name,
                           TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("FileSystem::Rename");
    try {
        LOCAL_NAMES();
        const Name::ObjectPtr object = local_name->BindObject();
        CHECK_RETURN(object != nullptr, E_INVALIDARG);
        RelocateItem(*object, *local_name, *local_new_name, u"The server did not rename the item.",
                     [&](const std::u16string& path) { object->Rename(path); });
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT FileSystem::Delete(TMK::IAFS_Name* name, TMK::ITMK_ErrorDetails* out_error_details,
                           TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("FileSystem::Delete");
    try {
        LOCAL_NAME();
        const Name::ObjectPtr object = local_name->BindObject();
        CHECK_RETURN(object != nullptr, E_INVALIDARG);
        object->Delete();
        const auto web = local_name->GetSession()->GetWeb()->AsWeb();
        CHECK_THROW(!web->BindObject(local_name->GetUrl(), SharePoint::Web::BindObjectType::any),
                    HResultException, E_FAIL, u"The server did not delete the item.");
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}
