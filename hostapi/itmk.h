// The host itself: its instance object, plug-ins, documents, events, prompts and the main thread's queue.
#pragma once

#include "hostapi/common.h"
#include "hostapi/iafs.h"
#include "hostapi/ieditor.h"
#include "hostapi/iuix.h"
#include "hostapi/iweb_view.h"
#include "hostapi/settings.h"

namespace TMK {

// What a plug-in implements; the library exports TMKE_GetPlugin, which makes one. Main thread only.
struct ITMK_Inst;
struct ITMK_Plugin : IUnknown {
    static constexpr IID kIid{0x3077CBDA, 0x34BB, 0x4DBE, {0xBE, 0x4D, 0x4D, 0xA0, 0x35, 0xCB, 0x49, 0xBA}};
    virtual HRESULT get__GUID(GUID* out_guid) = 0;
    virtual HRESULT get_Name(BSTR* out_name) = 0;
    virtual HRESULT get_CopyrightInfo(BSTR* out_copyright_info) = 0;
    virtual HRESULT get_version(DWORD* out_version) = 0;  // major in the high word, minor in the low one
    virtual HRESULT get_VendorID(DWORD* out_vendor_id) = 0;
    virtual HRESULT get_Description(BSTR* out_description) = 0;
    virtual HRESULT get_LegalInfo(BSTR* out_legal_info) = 0;
    virtual HRESULT get_Publisher(BSTR* out_publisher) = 0;
    virtual HRESULT get_Features(DWORD* out_features) = 0;
    virtual HRESULT Setup(ITMK_Inst* pInst) = 0;
    virtual HRESULT RegisterExts() = 0;
    virtual HRESULT FinalizeRegistering() = 0;
    virtual HRESULT Init() = 0;
    virtual HRESULT Unload() = 0;
    virtual HRESULT ShowPrefsDlg(HWND parent_window) = 0;
    virtual HRESULT ImportAdditionalData(IStream* stream) = 0;
    virtual HRESULT ExportAdditionalData(IStream* stream) = 0;
    virtual HRESULT ResetSettings() = 0;
};

// The one export of a plug-in library.
using TMKE_GetPluginFn = HRESULT (*)(ITMK_Plugin** output_plugin);

struct ITMK_ThreadSafeCallback : IUnknown {
    static constexpr IID kIid{0x0B42D7FA, 0x88C9, 0x4163, {0x9F, 0xE6, 0x35, 0x5C, 0xA8, 0x70, 0x12, 0xDA}};
    virtual HRESULT Call() = 0;
};

struct ITMK_CryptKey : IUnknown {
    static constexpr IID kIid{0xBE7839CB, 0x04D6, 0x4C1A, {0x82, 0x1F, 0xE0, 0x48, 0x5D, 0x93, 0xB6, 0xEB}};
    virtual HRESULT get_Id(BSTR* out_id) = 0;
};

// A window that shows how far long work has come, with a button to cancel it. Any thread; from Start to Stop
// or the last release it is shown, if that takes long enough to be seen.
struct ITMK_Progress : IUnknown {
    static constexpr IID kIid{0x16B9D3E8, 0x4C70, 0x4F95, {0xA2, 0x5B, 0x8E, 0x31, 0xD6, 0x07, 0xFC, 0x49}};
    virtual HRESULT put_Title(LPCWSTR title) = 0;
    virtual HRESULT put_Text(LPCWSTR text) = 0;
    virtual HRESULT put_Status(LPCWSTR status) = 0;
    virtual HRESULT Start() = 0;
    virtual HRESULT Stop() = 0;
    virtual HRESULT get_CancelFlag(ITMK_CancelFlag** out_cancel_flag) = 0;
};

// The extension "AUX": strings as objects, the cipher for stored secrets, windows of progress.
struct IAUX_Inst : IUnknown {
    static constexpr IID kIid{0x52F1A69C, 0xDB07, 0x4E35, {0xB4, 0x8A, 0x6F, 0x19, 0xC2, 0x8B, 0x70, 0xFC}};
    virtual HRESULT CreateString(LPCWSTR value, IString** out_string) = 0;
    virtual HRESULT EncryptString(ITMK_CryptKey* key, IString* plain, IString** out_encrypted) = 0;
    // E_INVALIDARG when the text is no ciphertext at all; E_ACCESSDENIED when it is one of another key or
    // tampered.
    virtual HRESULT DecryptString(ITMK_CryptKey* key, IString* encrypted, IString** out_plain) = 0;
    virtual HRESULT CreateProgress(HWND parent, ITMK_Progress** out_progress) = 0;
};

// A document open in the editor.
struct ITMK_Document : IUnknown {
    static constexpr IID kIid{0xC90D845D, 0x1E72, 0x4AB8, {0xA7, 0x63, 0x84, 0xFB, 0x2D, 0x05, 0x9E, 0x0D}};
    virtual HRESULT get_Modified(VARIANT_BOOL* out_modified) = 0;
    virtual HRESULT get_File(IAFS_File** out_file) = 0;  // null when the document has none
    virtual HRESULT get_CoreDoc(ITMK_CoreDoc** out_core_document) = 0;
    virtual HRESULT get_InfoBar(IUIX_InfoBar** out_info_bar) = 0;  // null when no window shows it
};

struct IEventHandler : IUnknown {
    static constexpr IID kIid{0xD6A3F71E, 0x7B50, 0x4289, {0x98, 0x0C, 0x2E, 0x61, 0xF5, 0xC7, 0x43, 0x1E}};
    virtual HRESULT OnEvent(DWORD event_id, IUnknown* reserved, IUnknown* event_source) = 0;
};

struct ITMK_EventServer : IUnknown {
    static constexpr IID kIid{0x39C6E02F, 0xA9D4, 0x4F0E, {0xB1, 0x78, 0x50, 0x9A, 0x17, 0xE3, 0x6C, 0x2F}};
    virtual HRESULT Subscribe(DWORD event_id, IEventHandler* handler) = 0;
    virtual HRESULT Unsubscribe(DWORD event_id, IEventHandler* handler) = 0;
};

enum TaskDialogStyle : DWORD {
    TaskDialogStyle_Base = 0x10000000,
    TaskDialogStyle_IconMask = 0x700,
    TaskDialogStyle_IconInformation = 0x100,
    TaskDialogStyle_IconQuestion = 0x200,
    TaskDialogStyle_IconWarning = 0x300,
    TaskDialogStyle_Input = 0x4000000,  // an input box: its edit field is what it is for
};

// The one prompt of the host. Texts that begin with "$$$." are ids to resolve; others stand as they are.
// Fill it, then DoModal once; the answers are read afterwards. Main thread, or any thread that may block.
struct ITMK_TaskDialog : IUnknown {
    static constexpr IID kIid{0x7E15BC30, 0x4068, 0x4D9B, {0x86, 0xD5, 0xA3, 0x0E, 0x72, 0x4F, 0x98, 0x30}};
    virtual HRESULT put_Id(LPCWSTR text_id) = 0;  // the id that the text was made from; scripts answer by it
    virtual HRESULT put_Style(DWORD style) = 0;
    virtual HRESULT put_Text(LPCWSTR text) = 0;
    virtual HRESULT AddButton(LPCWSTR text_id) = 0;
    virtual HRESULT put_CancelButton(UINT index) = 0;  // what closing the box counts as
    virtual HRESULT put_DefaultButton(UINT index) = 0;
    virtual HRESULT put_Check(LPCWSTR text_id, VARIANT_BOOL checked) = 0;
    virtual HRESULT AddRadio(LPCWSTR text_id) = 0;
    virtual HRESULT put_Radio(UINT index) = 0;
    virtual HRESULT put_Edit(LPCWSTR label_id, LPCWSTR text) = 0;
    virtual HRESULT DoModal(HWND parent, UINT* out_button) = 0;
    virtual HRESULT get_Checked(VARIANT_BOOL* out_checked) = 0;
    virtual HRESULT get_Radio(UINT* out_index) = 0;
    virtual HRESULT get_EditText(BSTR* out_text) = 0;
};

// How SaveDocument saves.
enum TMK_SaveMode : DWORD { TMK_SaveMode_InPlace = 4 };

// The host instance.
struct ITMK_Inst : IUnknown {
    static constexpr IID kIid{0xA40B93D1, 0x6CE7, 0x4815, {0x9B, 0x42, 0x18, 0xDF, 0x05, 0x6A, 0xC7, 0x41}};
    virtual HRESULT GetExtension(LPCWSTR id,
                                 IUnknown** out_extension) = 0;  // E_NOINTERFACE for an unknown id
    virtual HRESULT GetPluginSettings(ITMK_Plugin* plugin, VARIANT_BOOL create, ITMK_Cab** out_settings) = 0;
    virtual HRESULT Str2ID(LPCWSTR name, VARIANT_BOOL create,
                           DWORD* out_id) = 0;  // S_FALSE and 0 when unknown
    virtual HRESULT LoadLocalization(IStream* catalogue) = 0;
    virtual HRESULT RegisterInfoBarType(LPCWSTR id, LPCWSTR title_id, LPCWSTR description_id, DWORD priority,
                                        DWORD colour, IUIX_Icon* icon) = 0;
    virtual HRESULT GetLocalStr(LPCWSTR id, BSTR* out_text) = 0;  // E_FAIL for an unknown id
    virtual HRESULT CreateStdBindContext(IAFS_BindContext** out_context) = 0;
    // Runs the callback on the main thread; with `wait` its result is the result of this call.
    virtual HRESULT RunOnMainThread(ITMK_ThreadSafeCallback* callback, DWORD reserved, VARIANT_BOOL wait) = 0;
    virtual HRESULT GetCryptKey(ITMK_Plugin* plugin, VARIANT_BOOL reserved, ITMK_CryptKey** out_key) = 0;
    virtual HRESULT CreateOAuthParams(ITMK_Cab** out_parameters) = 0;
    // Blocks until the sign-in ends and fills "tokenData.accessToken"; 0x821704C7 when the user declines.
    virtual HRESULT DoOAuth(HWND parent, ITMK_CabNode* parameters) = 0;
    virtual HRESULT get_MainWindow(HWND* out_window) = 0;
    virtual HRESULT get_EventServer(ITMK_EventServer** out_server) = 0;
    virtual HRESULT CreateTaskDialog(ITMK_TaskDialog** out_dialog) = 0;
    virtual HRESULT get_DocumentsCount(UINT* out_count) = 0;
    virtual HRESULT get_Document(UINT index, ITMK_Document** out_document) = 0;
    virtual HRESULT FindDocumentByFile(IAFS_File* file, ITMK_Document** out_document) = 0;  // S_FALSE: none
    // Loads the document again from its file, dropping unsaved changes.
    virtual HRESULT ReloadDocument(ITMK_Document* document, DWORD reserved1, DWORD mode, DWORD reserved2) = 0;
    // Makes a browser control in `parent`, or one to show nothing when that is null. `callback` hears when it
    // is ready, after this call; it is held until then, or until the control is closed or released.
    // `cookie_group` names the store of cookies.
    virtual HRESULT CreateWebView(HWND parent, ITMK_WebViewInitializationCallback* callback,
                                  BSTR cookie_group, ITMK_WebView** out_web_view) = 0;
    // The view that shows `object`; with `or_active` the active one where `object` is in none or null.
    // S_FALSE and null: no document is shown there. Main thread.
    virtual HRESULT GetDocViewFromUIObj(IUnknown* object, VARIANT_BOOL or_active,
                                        ITMK_DocumentView** out_view) = 0;
    // What shows the progress of work on the main thread; null where nothing does.
    virtual HRESULT get_ProgressMon(ITMK_ProgressMon** out_progress) = 0;
    // Saves with every question and returns when it is done; 0x821704C7 when the user gives up. In place
    // there is no destination. Main thread.
    virtual HRESULT SaveDocument(ITMK_Document* document, IAFS_Name* destination, DWORD mode,
                                 ITMK_ProgressMon* progress) = 0;
    virtual HRESULT IsUserCancel(HRESULT result,
                                 VARIANT_BOOL* out_cancel) = 0;  // whether that says "the user gave up"
    // Calls back on the main thread after `interval` milliseconds, until StopTimer or once. Any thread.
    virtual HRESULT StartTimer(ITMK_TimerCallback* callback, DWORD interval, VARIANT_BOOL once,
                               DWORD* out_timer_id) = 0;
    virtual HRESULT StopTimer(DWORD timer_id) = 0;  // S_FALSE when it runs no more
    // The filter text of a key such as "<pdf>", "<allSupp>" or "<all>": title, "|", patterns with ";" between
    // them, and "|", once or more often. Form 0 is the short one, of one kind; 1 all kinds that the key
    // stands for. An unknown key has an empty text.
    virtual HRESULT GetFileFilter(LPCWSTR key, DWORD form, BSTR* out_filter) = 0;
};

}  // namespace TMK
