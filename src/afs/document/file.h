// One open document: its bytes through the host's cache, and its check-out workflow on the server.
// The host calls it on whichever thread it opens or saves on; the cache reference is guarded, and the state
// that GetCheckedOutState and CanEdit give may be asked for on the main thread meanwhile.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

#include "afs/names/name.h"
#include "base/preferences.h"
#include "base/scaffolding.h"
#include "hostapi/iafs.h"
#include "hostapi/itmk.h"
#include "session/open_documents.h"

class PluginContext;

class File final : public cCoClassUnknownT<File, TMK::IAFS_File> {
public:
    using CheckOutState = SharePoint::File::CheckOutState;

    // Opens by the user's preferences, asking where they say so. Throws HResultException (E_CANCELED,
    // 0x80070002, 0x80070050, 0x80070057, 0x80071779, 0x800700DC) and what the server's objects throw.
    static ComPtr<File> CreateAndOpenFile(Name& name, DWORD new_open_flags,
                                          TMK::ITMK_ErrorDetails* out_error_details,
                                          TMK::ITMK_CancelFlag* cancel_flag);
    ~File() override;

    HRESULT get_Name(TMK::IAFS_Name** out_name) override;
    HRESULT get_OpenFlags(DWORD* out_open_flags) override;
    HRESULT get_IoMode(DWORD* out_io_mode) override;
    HRESULT Clone(TMK::IAFS_File** out_clone) override;
    HRESULT IsCloneOf(TMK::IAFS_File* other, VARIANT_BOOL* out_is_clone) override;
    HRESULT Read(void* data, LONGLONG size, LONGLONG* out_size_read,
                 TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT Write(const void* data, LONGLONG size, LONGLONG* out_size_written,
                  TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT SetPos(LONGLONG offset, int32_t origin, LONGLONG* out_new_pos) override;
    HRESULT GetPos(LONGLONG* out_pos) override;
    HRESULT SetSize(LONGLONG new_size, TMK::ITMK_ErrorDetails* out_error_details,
                    TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT GetSize(LONGLONG* out_size, TMK::ITMK_ErrorDetails* out_error_details,
                    TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT Flush(TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT Reopen(DWORD new_open_flags, TMK::ITMK_ErrorDetails* out_error_details,
                   TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT GetStream(IStream** o_stream) override;
    HRESULT Close(DWORD flags, TMK::ITMK_ErrorDetails* out_error_details,
                  TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT get_Prop(LPCWSTR name, VARIANT* out_value) override;
    HRESULT put_Prop(LPCWSTR name, const VARIANT& value) override;
    HRESULT Exec(LPCWSTR command, const VARIANT& data, VARIANT* out_value,
                 TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) override;

    // The state as last known, without a server call. Throws HResultException 0x80070002 without an object.
    void GetCheckedOutState(CheckOutState& out_state, std::u16string* out_user) const;
    // The server's answer, or the last one with `use_cached`. The editor hears of a changed answer.
    bool CanEdit(bool use_cached);
    // Throw HResultException; with `check_outdated` a newer server version is asked about first.
    void CheckOut(bool check_outdated);
    void DiscardCheckOut();
    void CheckIn(const std::u16string& comment, uint32_t type, bool keep_checked_out);
    // Asks how to check in and does it; gives the action bits of the choice. `out_dont_show` may be null.
    uint32_t CheckInWithUi(bool on_close, bool* out_dont_show);
    void ResetCache();
    void ReopenCacheFile(const VARIANT& data);
    // The library columns as JSON text, and changes of them in the same form (fields_text.h). Throw
    // HResultException, with a sentence for a person where a value doesn't fit.
    void GetFields(VARIANT* out_value);
    void SetFields(const VARIANT& changes);
    // The library columns as the server has them. Throws HResultException, and what the server's objects
    // throw.
    SharePoint::FieldsData LoadFields();
    // Shows them to a person and saves what was changed; E_CANCELED when the person gives up. `parent` may be
    // null. Throws where saving fails.
    HRESULT EditFields(HWND parent, const SharePoint::FieldsData& fields);
    void SetSuppressAfterSave(bool suppress) { m_suppress_after_save = suppress; }

private:
    // Where a check-out leads when the file is opened.
    enum class OpenStep { open, check_out };
    // What Close does on the server.
    struct CloseDecision {
        bool check_in;
        bool discard_check_out;
    };

    File(Name& name, DWORD open_flags);
    File(const File& other, bool clone);

    void CreateOrBindIfNeeded(DWORD flags, TMK::ITMK_CancelFlag* cancel_flag);
    HRESULT AcquireCache(TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag);
    OpenStep DecideOnOpen();
    OpenStep DecideOnOpenWithoutRights(bool do_check_out);
    OpenStep AskForCheckOutOnOpen();
    void WarnOnOpen(const char16_t* text_id, const std::u16string& second, uint32_t Preferences::*preference);
    void CheckRightsOnReopen(DWORD flags);
    bool ConfirmConflict();
    void CheckOutForReopen(TMK::ITMK_CancelFlag* cancel_flag);
    void CheckForReopen(DWORD flags);
    SharePoint::FieldsData LoadRequiredFields();
    void FillRequiredFields();
    void SaveFields(SharePoint::FieldsData changed);
    void PerformAfterSave();
    CloseDecision DecideOnClose();
    CloseDecision AskForDiscardOnClose();
    bool ConfirmOutdatedCheckOut();
    void ReloadDocument();
    // What the server told of a version becomes the version that this handle works on.
    void TakeVersion(const KnownVersion& version);
    void TakeVersionAfterFlush();
    KnownVersion VersionOnServer() const;
    bool IsOutdated() const;
    void CountWorkflowStep();
    void HoldCopy(std::shared_ptr<LocalCopy> made);

    SharePoint::File& ServerFile() const;
    const SharePoint::Information& Information() const { return m_name->GetObject()->GetInformation(); }
    std::u16string Holder() const;
    void SetHolder(std::u16string holder);
    std::u16string Title() const { return m_name->GetObject() ? Information().m_name : std::u16string(); }
    // A catalogue text with the file's title as %1.
    NamingText Text(const char16_t* text_id, const std::u16string& second = {}) const;
    Preferences Prefs() const;
    // Changes and saves the preferences on the main thread.
    void ChangePreferences(const std::function<void(Preferences&)>& change) const;
    void DontAskAgain(uint32_t Preferences::*preference, uint32_t choice) const;
    void TellStateChanged();
    ComPtr<TMK::IAFS_CacheEntry> GetCache() const;

    ComPtr<Name> m_name;
    ComPtr<PluginContext> m_plugin;
    ComPtr<TMK::ITMK_Inst> m_inst;
    ComPtr<TMK::IAFS_CacheEntry> m_cache;
    mutable std::recursive_mutex m_cache_lock;
    LONGLONG m_pos = 0;
    DWORD m_flags;
    bool m_keep_checked_out = true;
    bool m_dirty = false;
    std::atomic<CheckOutState> m_check_out_state = CheckOutState::none;
    mutable std::mutex m_holder_lock;
    std::u16string m_checked_out_to;
    uint64_t m_modified_time = 0;
    SharePoint::VersionTags m_tags;  // of the same version
    uint32_t m_tags_step = 0;        // of the workflow, when they were told
    bool m_is_outdated = false;      // the last save met a version of somebody else
    std::shared_ptr<OpenDocument> m_document;
    std::shared_ptr<LocalCopy> m_copy;  // what m_cache holds
    std::atomic<bool> m_can_edit = false;
    std::atomic<bool> m_suppress_after_save = false;
};
