// The host's file-system extension: what a file system implements, and what the host gives it for that.
// The host calls file systems and files on any thread, one call at a time for each object.
#pragma once

#include "hostapi/common.h"
#include "hostapi/settings.h"

namespace TMK {

struct IUIX_Icon;
struct IAFS_File;
struct IAFS_FileSys;
struct IAFS_NamesCollection;

enum AFS_FileAttributes : DWORD {
    AFS_FileAttribute_Folder = 0x100000,
    AFS_FileAttribute_Hidden = 0x400000,
};

enum AFS_String2Name : DWORD {
    AFS_String2Name_Test = 2,      // try without making anything
    AFS_String2Name_FullTest = 4,  // does this string belong to this file system?
};

enum AFS_Name2String : DWORD { AFS_Name2String_Relative = 2 };

enum AFS_OpenFile : DWORD {
    AFS_OpenFile_Read = 1,
    AFS_OpenFile_Write = 2,
    AFS_OpenFile_CreateNew = 4,
    AFS_OpenFile_CreateAlways = 8,
    AFS_OpenFile_OpenExisting = 16,
    AFS_OpenFile_OpenAlways = 32,
    AFS_OpenFile_CheckOut = 0x2000,
    AFS_OpenFile_UserOpen = 0x4000,
};

enum AFS_CloseFile : DWORD {
    AFS_CloseFile_AllowUI = 1,
    AFS_CloseFile_CheckIn = 2,
    AFS_CloseFile_DiscardCheckOut = 4,
};

enum AFS_Dlg : DWORD { AFS_Dlg_OpenFiles = 1, AFS_Dlg_SaveFile = 2, AFS_Dlg_SelectFolder = 3 };

enum AFS_BindContext : DWORD { AFS_BindContext_NoUI = 1 };

// The opaque name of a file or folder.
struct IAFS_Name : IUnknown {
    static constexpr IID kIid{0x5A7E3B0D, 0xC182, 0x4D69, {0x90, 0x1E, 0x4B, 0x28, 0xD6, 0x7F, 0x35, 0x0D}};
    virtual HRESULT get_FileSys(IAFS_FileSys** out_file_system) = 0;
};

// Asks the user (or the host's store) for what binding to a place needs.
struct IAFS_BindContext : IUnknown {
    static constexpr IID kIid{0x9C50F81E, 0x36DB, 0x4270, {0xA5, 0x79, 0xD3, 0x14, 0x8E, 0x62, 0xB7, 0x1E}};
    // Returned strings are the caller's. With AFS_BindContext_NoUI nothing is shown and what the host has
    // stored comes back, empty if nothing. A user who declines is the result 0x821704C7.
    virtual HRESULT OnGetUserAccount(void* reserved1, LPWSTR host, LPWSTR status_text, LPWSTR user,
                                     LPWSTR password, BSTR* out_user, BSTR* out_password, void* reserved2,
                                     DWORD flags) = 0;
};

// A remembered place, made by the file system and kept by the host.
struct IAFS_AccountData : IDispatch {
    static constexpr IID kIid{0xE2F015BB, 0x95B8, 0x4C93, {0xA6, 0x8D, 0xA9, 0xB7, 0x06, 0x73, 0x39, 0x87}};
    virtual HRESULT get_URL(BSTR* o_url) = 0;
    virtual HRESULT get_UserName(BSTR* o_user_name) = 0;
    virtual HRESULT SaveTo(ITMK_Cab* o_cab) = 0;
    // 0 no match, 1 match with no user in the URL, 2 match with the same user.
    virtual HRESULT VerifyURL(LPCWSTR i_url, LONG* o_result) = 0;
    virtual HRESULT get_Reserved1(IUnknown** o_value) = 0;  // the three write a null
    virtual HRESULT get_Reserved2(IUnknown** o_value) = 0;
    virtual HRESULT get_Reserved3(IUnknown** o_value) = 0;
};

struct IAFS_FileInfo : IDispatch {
    static constexpr IID kIid{0x0F93C62F, 0xA84E, 0x4B15, {0xB8, 0xD2, 0x6A, 0x5C, 0x07, 0x91, 0xE4, 0x2F}};
    virtual HRESULT get_Title(BSTR* out_title) = 0;
    virtual HRESULT get_Attributes(DWORD* out_attributes) = 0;  // AFS_FileAttributes
    virtual HRESULT get_Size(ULONGLONG* out_size) = 0;          // bytes; E_INVALIDARG on a folder
    virtual HRESULT get_CreationTime(ULONGLONG* out_time) = 0;  // 100 ns since 1601, UTC; 0 unknown
    virtual HRESULT get_LastAccessTime(ULONGLONG* out_time) = 0;
    virtual HRESULT get_LastWriteTime(ULONGLONG* out_time) = 0;
    virtual HRESULT get_Prop(LPCWSTR name, VARIANT* out_value) = 0;
};

struct IAFS_EnumFolderItem : IDispatch {
    static constexpr IID kIid{0xC4D817A0, 0x59F1, 0x4E3C, {0x86, 0x0D, 0x72, 0xB9, 0x15, 0xEA, 0x60, 0x30}};
    virtual HRESULT get_Title(BSTR* out_title) = 0;
    virtual HRESULT get_Attributes(DWORD* out_attributes) = 0;
    virtual HRESULT get_Size(ULONGLONG* out_size) = 0;
    virtual HRESULT get_CreationTime(ULONGLONG* out_time) = 0;
    virtual HRESULT get_LastAccessTime(ULONGLONG* out_time) = 0;
    virtual HRESULT get_LastWriteTime(ULONGLONG* out_time) = 0;
    virtual HRESULT get_Prop(LPCWSTR name, VARIANT* out_value) = 0;
    virtual HRESULT get_Name(IAFS_Name** out_name) = 0;
};

struct IAFS_EnumFolder : IDispatch {
    static constexpr IID kIid{0x71B206C1, 0xE4A3, 0x4805, {0x9D, 0x3B, 0x08, 0xF7, 0x2C, 0x4D, 0x96, 0x41}};
    virtual HRESULT get_Name(IAFS_Name** out_name) = 0;
    virtual HRESULT Next(IAFS_EnumFolderItem** out_enum_item) = 0;  // S_FALSE and null at the end
    virtual HRESULT Reset(DWORD reserved, ITMK_CancelFlag* cancel_flag) = 0;
};

struct IAFS_NamesCollection : IDispatch {
    static constexpr IID kIid{0x2E6C95D2, 0x0B7F, 0x4A48, {0xA2, 0x6E, 0xC5, 0x81, 0x3D, 0xF0, 0x17, 0x52}};
    virtual HRESULT get_Count(UINT* out_count) = 0;
    virtual HRESULT get_Item(UINT index, IAFS_Name** out_item) = 0;
    virtual HRESULT Add(IAFS_Name* item) = 0;
    virtual HRESULT get__NewEnum(IUnknown** out_enumerator) = 0;
};

// What the host wants of an open or save dialog.
struct IAFS_DlgParams : IUnknown {
    static constexpr IID kIid{0x8A1D40E3, 0x76C2, 0x4F91, {0xB3, 0x94, 0x1E, 0x6F, 0xA9, 0x52, 0xC8, 0x63}};
    virtual HRESULT get_Settings(ITMK_Cab** out_settings) = 0;
};

// One document's way to the server, driven by the host's cache: one sequential stream each way.
struct IAFS_FileCacheCallbacks : IUnknown {
    static constexpr IID kIid{0xE5B372F4, 0x1D90, 0x4C2B, {0x88, 0x41, 0x97, 0x3A, 0x60, 0xDB, 0x4E, 0x74}};
    // 0x80070026 (end of file) ends a download. Positions run from 0 upwards without a gap.
    virtual HRESULT Read(LONGLONG pos, void* data, LONGLONG size, LONGLONG* out_size,
                         ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT Write(LONGLONG pos, const void* data, LONGLONG size, LONGLONG* out_size,
                          ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT SetSize(LONGLONG size, ITMK_ErrorDetails* out_error_details,
                            ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT GetSize(LONGLONG* out_size, ITMK_ErrorDetails* out_error_details,
                            ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT BeginWrite(ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    // 0x800704D5 asks for the whole upload again, from BeginWrite.
    virtual HRESULT EndWrite(ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
};

// The local copy of one document.
struct IAFS_CacheEntry : IUnknown {
    static constexpr IID kIid{0x96F0A185, 0xD2C7, 0x4B6E, {0x94, 0xA8, 0x3B, 0x5E, 0x71, 0x0C, 0xF9, 0x85}};
    virtual HRESULT Read(LONGLONG pos, void* data, LONGLONG size, LONGLONG* out_size,
                         ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT Write(LONGLONG pos, const void* data, LONGLONG size, LONGLONG* out_size,
                          ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT SetSize(LONGLONG size, ITMK_ErrorDetails* out_error_details,
                            ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT get_Size(LONGLONG* out_size) = 0;
    // SetSize, BeginWrite, Write..., EndWrite of the callbacks; repeated on 0x800704D5.
    virtual HRESULT Flush(ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT get_TempFileName(BSTR* out_path) = 0;
    virtual HRESULT ReopenForRead() = 0;
    virtual HRESULT ReopenForWrite() = 0;
};

// The local copies of one session's documents.
struct IAFS_FilesCache : IUnknown {
    static constexpr IID kIid{0x3C8E5B16, 0x9AF4, 0x4D07, {0xA6, 0x1C, 0x40, 0xD9, 0xB2, 0x7E, 0x58, 0x96}};
    virtual HRESULT QueryCache(IAFS_Name* name, DWORD flags, IAFS_CacheEntry** out_entry) = 0;
    virtual HRESULT CreateCache(IAFS_File* file, IAFS_FileCacheCallbacks* callbacks, DWORD flags,
                                LONGLONG server_size, DWORD reserved1, DWORD reserved2, DWORD reserved3,
                                IAFS_CacheEntry** out_entry) = 0;
    virtual HRESULT CheckForReopenFile(IAFS_File* file, DWORD flags) = 0;
    virtual HRESULT ReleaseCache(IAFS_File* file, DWORD reserved) = 0;
    virtual HRESULT DeleteEntryEx(IAFS_Name* name, LONG qualifier) = 0;
    virtual HRESULT FlushAllCaches(ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag,
                                   VARIANT_BOOL reserved) = 0;
    // Adds an entry whose local copy is made from a file that is already there.
    virtual HRESULT AddEntryFromFile(IAFS_Name* name, LPCWSTR local_path, IAFS_FileCacheCallbacks* callbacks,
                                     DWORD flags, VARIANT_BOOL move_file) = 0;
};

// The newer files cache, which tells handles apart.
struct IAFS_FilesCache2 : IAFS_FilesCache {
    static constexpr IID kIid{0xF4B9AB1F, 0x67AB, 0x4B57, {0xA0, 0x40, 0xAC, 0x71, 0x4A, 0x1D, 0xDB, 0x7E}};
    virtual HRESULT QueryCache2(IAFS_File* file, DWORD flags, IAFS_CacheEntry** out_entry) = 0;
};

// One open document.
struct IAFS_File : IUnknown {
    static constexpr IID kIid{0xA9064CE7, 0x52BD, 0x4E81, {0x8C, 0x35, 0xF4, 0x07, 0xDA, 0x19, 0x6B, 0xA7}};
    virtual HRESULT get_Name(IAFS_Name** out_name) = 0;
    virtual HRESULT get_OpenFlags(DWORD* out_open_flags) = 0;
    virtual HRESULT get_IoMode(DWORD* out_io_mode) = 0;
    virtual HRESULT Clone(IAFS_File** out_clone) = 0;
    virtual HRESULT IsCloneOf(IAFS_File* other, VARIANT_BOOL* out_is_clone) = 0;
    virtual HRESULT Read(void* data, LONGLONG size, LONGLONG* out_size_read,
                         ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT Write(const void* data, LONGLONG size, LONGLONG* out_size_written,
                          ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT SetPos(LONGLONG offset, int32_t origin,
                           LONGLONG* out_new_pos) = 0;  // 0 set, 1 cur, 2 end
    virtual HRESULT GetPos(LONGLONG* out_pos) = 0;
    virtual HRESULT SetSize(LONGLONG new_size, ITMK_ErrorDetails* out_error_details,
                            ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT GetSize(LONGLONG* out_size, ITMK_ErrorDetails* out_error_details,
                            ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT Flush(ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT Reopen(DWORD new_open_flags, ITMK_ErrorDetails* out_error_details,
                           ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT GetStream(IStream** o_stream) = 0;
    virtual HRESULT Close(DWORD flags, ITMK_ErrorDetails* out_error_details,
                          ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT get_Prop(LPCWSTR name, VARIANT* out_value) = 0;
    virtual HRESULT put_Prop(LPCWSTR name, const VARIANT& value) = 0;
    virtual HRESULT Exec(LPCWSTR command, const VARIANT& data, VARIANT* out_value,
                         ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
};

// A file system, registered with the extension "AFS". Arguments named reserved are 0 or null.
struct IAFS_FileSys : IDispatch {
    static constexpr IID kIid{0x17D5B3F8, 0xC60E, 0x4A72, {0xB9, 0x57, 0x2C, 0x8E, 0x04, 0xF6, 0xD3, 0xB8}};
    virtual HRESULT get_Name(BSTR* out_name) = 0;
    virtual HRESULT get_Features(IAFS_Name* name, DWORD* out_features) = 0;
    virtual HRESULT get_UserText(BSTR* out_text) = 0;
    virtual HRESULT put_UserText(LPCWSTR text) = 0;
    virtual HRESULT get_Prop(IAFS_Name* name, LPCWSTR prop_name, VARIANT* out_value) = 0;
    virtual HRESULT put_Prop(IAFS_Name* name, LPCWSTR prop_name, const VARIANT& value) = 0;
    virtual HRESULT Exec(IAFS_Name* i_name, LPCWSTR i_operation_name, const VARIANT& i_data,
                         VARIANT* reserved1, IUnknown* reserved2, ITMK_CancelFlag* i_cancel_flag) = 0;
    virtual HRESULT BindToPath(LPCWSTR path, IAFS_BindContext* context, DWORD reserved1, IUnknown* reserved2,
                               ITMK_CancelFlag* cancel_flag, IAFS_Name** out_host_name) = 0;
    virtual HRESULT BindToObject(IUnknown* object, IAFS_BindContext* context, DWORD reserved1,
                                 IUnknown* reserved2, ITMK_CancelFlag* cancel_flag,
                                 IAFS_Name** out_host_name) = 0;
    virtual HRESULT BindFlush(IAFS_Name* name, DWORD reserved1, IUnknown* reserved2,
                              ITMK_ErrorDetails* out_error_details, ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT BindClose() = 0;
    virtual HRESULT EnumFolder(IAFS_Name* name, DWORD reserved, ITMK_CancelFlag* cancel_flag,
                               IAFS_EnumFolder** out_enum) = 0;
    virtual HRESULT StringToName(LPCWSTR string, DWORD flags, IAFS_Name* parent, IAFS_Name** out_name) = 0;
    virtual HRESULT NameToString(IAFS_Name* name, DWORD flags, IAFS_Name* parent, BSTR* out_string) = 0;
    virtual HRESULT NameGetParent(IAFS_Name* name, IAFS_Name** out_parent) = 0;
    virtual HRESULT NameIsChildOf(IAFS_Name* name, IAFS_Name* parent, VARIANT_BOOL* out_is_child) = 0;
    virtual HRESULT NamesAreEqual(IAFS_Name* name1, IAFS_Name* name2, VARIANT_BOOL* out_are_equal) = 0;
    virtual HRESULT OpenFile(IAFS_Name* name, DWORD flags, ITMK_ErrorDetails* out_error_details,
                             ITMK_CancelFlag* cancel_flag, IAFS_File** out_file) = 0;
    virtual HRESULT CreateFolder(IAFS_Name* name, DWORD reserved, ITMK_ErrorDetails* out_error_details,
                                 ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT Move(IAFS_Name* name, IAFS_Name* new_name, ITMK_ErrorDetails* out_error_details,
                         ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT Copy(IAFS_Name* name, IAFS_Name* new_name, ITMK_ErrorDetails* out_error_details,
                         ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT Rename(IAFS_Name* name, IAFS_Name* new_name, ITMK_ErrorDetails* out_error_details,
                           ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT Delete(IAFS_Name* name, ITMK_ErrorDetails* out_error_details,
                           ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT GetFileInfo(IAFS_Name* name, ITMK_ErrorDetails* out_error_details,
                                ITMK_CancelFlag* cancel_flag, IAFS_FileInfo** out_file_info) = 0;
    virtual HRESULT GetVolumeSpace(IAFS_Name* name, ULONGLONG* out_total, ULONGLONG* out_free,
                                   ITMK_CancelFlag* cancel_flag) = 0;
    virtual HRESULT CreateDlgParams(DWORD i_dialog_type, DWORD reserved,
                                    IAFS_DlgParams** o_dialog_parameters) = 0;
    virtual HRESULT ShowDlg(DWORD i_dialog_type, IAFS_Name* initial_folder, IAFS_DlgParams* dialog_parameters,
                            HWND i_parent_window, IAFS_NamesCollection** o_names, DWORD* o_user_choise) = 0;
    virtual HRESULT SetProgressMon(ITMK_ProgressMon* monitor) = 0;
    virtual HRESULT GetProgressMon(DWORD thread_id, ITMK_ProgressMon** out_progress_monitor) = 0;
    virtual HRESULT CreateAccount(LPCWSTR i_url, ITMK_Cab* i_source_cab, DWORD reserved1, DWORD reserved2,
                                  DWORD reserved3, IAFS_AccountData** o_account_data) = 0;
    virtual HRESULT get_DispName(BSTR* o_display_name) = 0;
    virtual HRESULT get_Icon(IUIX_Icon** o_icon) = 0;
};

// The extension "AFS".
struct IAFS_Inst : IUnknown {
    static constexpr IID kIid{0x64EA0C29, 0x3B15, 0x4F58, {0xA0, 0x7D, 0xD1, 0x92, 0x6B, 0x3F, 0x0E, 0xC9}};
    virtual HRESULT RegisterFileSys(IAFS_FileSys* file_system) = 0;
    virtual HRESULT UnregisterFileSys(IAFS_FileSys* file_system) = 0;
    virtual HRESULT CreateFileCachesMap(IAFS_FileSys* file_system, IAFS_FilesCache** out_cache) = 0;
    virtual HRESULT CreateDlgDefaultParams(DWORD dialog_type, IAFS_DlgParams** out_parameters) = 0;
    virtual HRESULT ShowDlg(DWORD dialog_type, IAFS_Name* initial_folder, IAFS_DlgParams* dialog_parameters,
                            HWND parent_window, IAFS_NamesCollection** out_names, DWORD* out_user_choice) = 0;
};

}  // namespace TMK
