#include "host/testing/fake_site.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <vector>

#include "host/base/failure.h"
#include "host/base/host_objects.h"
#include "host/profile/settings_tree.h"

namespace host::testing {

namespace {

constexpr HRESULT kMissing = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kState = static_cast<HRESULT>(0x8007139F);
constexpr HRESULT kBroken = HRESULT_FROM_WIN32(12030);
constexpr char kAccountTemplate[] =
    "<CabTemplate><ItemSet id='A'><Item id='Url' type='String'/><Item id='WebUrl' type='String'/>"
    "<Item id='AuthHeader' type='String'/><Item id='User' type='String'/><Item id='Password' type='String'/>"
    "<Item id='AuthToken' type='String'/><Item id='APIVer' type='Int'/></ItemSet><Root id='A' itemSet='A'/>"
    "</CabTemplate>";

struct Information {
    bool is_folder = false;
    std::uint64_t size = 0;
    std::uint64_t time = 0;
};

std::optional<Information> Look(const fs::path& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    const auto ticks = static_cast<std::uint64_t>(status.st_mtim.tv_sec) * 10000000 +
                       static_cast<std::uint64_t>(status.st_mtim.tv_nsec) / 100 + 116444736000000000;
    return Information{S_ISDIR(status.st_mode), static_cast<std::uint64_t>(status.st_size), ticks};
}

class Name final : public Object<TMK::IAFS_Name> {
public:
    Name(FakeSite& site, TMK::IAFS_FileSys* file_system, std::u16string url)
        : m_site(site), m_file_system(file_system), m_url(std::move(url)) {}
    HRESULT get_FileSys(TMK::IAFS_FileSys** out_file_system) override {
        return m_file_system.CopyTo(out_file_system);
    }
    fs::path path() const { return m_site.PathOf(m_url); }
    const std::u16string& url() const { return m_url; }
    const std::optional<Information>& Bind(bool refresh) {
        if (refresh || !m_information) m_information = Look(path());
        return m_information;
    }

private:
    FakeSite& m_site;
    ComPtr<TMK::IAFS_FileSys> m_file_system;
    const std::u16string m_url;
    std::optional<Information> m_information;
};

template <class Interface>
class Info : public DispatchObject<Interface> {
public:
    explicit Info(ComPtr<Name> name) : m_name(std::move(name)), m_information(*m_name->Bind(false)) {}
    HRESULT get_Title(BSTR* out_title) override {
        return GiveString(out_title, ToUtf16(m_name->path().filename().string()));
    }
    HRESULT get_Attributes(DWORD* out) override {
        *out = m_information.is_folder ? TMK::AFS_FileAttribute_Folder : DWORD{0};
        return S_OK;
    }
    HRESULT get_Size(ULONGLONG* out) override {
        *out = m_information.size;
        return m_information.is_folder ? E_INVALIDARG : S_OK;
    }
    HRESULT get_CreationTime(ULONGLONG* out) override { return get_LastWriteTime(out); }
    HRESULT get_LastAccessTime(ULONGLONG* out) override { return get_LastWriteTime(out); }
    HRESULT get_LastWriteTime(ULONGLONG* out) override {
        *out = m_information.time;
        return S_OK;
    }
    HRESULT get_Prop(LPCWSTR, VARIANT*) override { return E_NOTIMPL; }

protected:
    ComPtr<Name> m_name;
    Information m_information;
};

using FileInfo = Info<TMK::IAFS_FileInfo>;

class EnumItem final : public Info<TMK::IAFS_EnumFolderItem> {
public:
    using Info::Info;
    HRESULT get_Name(TMK::IAFS_Name** out_name) override {
        return ComPtr<TMK::IAFS_Name>(m_name).CopyTo(out_name);
    }
};

class Listing final : public DispatchObject<TMK::IAFS_EnumFolder> {
public:
    Listing(ComPtr<Name> name, std::vector<ComPtr<Name>> items)
        : m_name(std::move(name)), m_items(std::move(items)) {}
    HRESULT get_Name(TMK::IAFS_Name** out_name) override {
        return ComPtr<TMK::IAFS_Name>(m_name).CopyTo(out_name);
    }
    HRESULT Next(TMK::IAFS_EnumFolderItem** out_item) override {
        *out_item = nullptr;
        if (m_next == m_items.size()) return S_FALSE;
        *out_item = Make<EnumItem>(m_items[m_next++]).detach();
        return S_OK;
    }
    HRESULT Reset(DWORD, TMK::ITMK_CancelFlag*) override {
        m_next = 0;
        return S_OK;
    }

private:
    ComPtr<Name> m_name;
    std::vector<ComPtr<Name>> m_items;
    std::size_t m_next = 0;
};

class Callbacks final : public Object<TMK::IAFS_FileCacheCallbacks> {
public:
    Callbacks(FakeSite& site, ComPtr<Name> name) : m_site(site), m_name(std::move(name)) {}

    HRESULT Read(LONGLONG pos, void* data, LONGLONG size, LONGLONG* out_size, TMK::ITMK_ErrorDetails* details,
                 TMK::ITMK_CancelFlag* cancel) override {
        if (IsCanceled(cancel)) return Drop(kCanceled);
        return Guarded(details, [&] {
            if (static_cast<std::uint64_t>(pos) != m_position) throw Failure(E_INVALIDARG, "random reading");
            if (!m_download) {
                if (!m_name->Bind(true)) return kMissing;
                m_download = OpenFile(m_name->path(), O_RDONLY);
                ++m_site.downloads;
            }
            if (m_site.fail_download_at && m_position >= m_site.fail_download_at) {
                Drop(kBroken);
                throw Failure(kBroken, "the connection was broken");
            }
            const std::uint64_t limit =
                m_site.end_download_at ? m_site.end_download_at - m_position : ~std::uint64_t{0};
            const auto wanted =
                static_cast<std::size_t>(std::min<std::uint64_t>(static_cast<std::uint64_t>(size), limit));
            const std::size_t got = ReadAt(m_download.get(), m_name->path(), data, wanted, m_position);
            *out_size = static_cast<LONGLONG>(got);
            m_position += got;
            return got == 0 ? Drop(kEndOfFile) : S_OK;
        });
    }
    HRESULT GetSize(LONGLONG* out_size, TMK::ITMK_ErrorDetails*, TMK::ITMK_CancelFlag*) override {
        const auto& information = m_name->Bind(true);
        if (!information) return kMissing;
        *out_size = static_cast<LONGLONG>(information->size);
        return S_OK;
    }
    HRESULT SetSize(LONGLONG size, TMK::ITMK_ErrorDetails*, TMK::ITMK_CancelFlag*) override {
        m_size = static_cast<std::uint64_t>(size);
        return S_OK;
    }
    HRESULT BeginWrite(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag*) override {
        return Guarded(details, [&] {
            m_position = 0;
            ++m_site.uploads;
            m_part = m_name->path();
            m_part += ".upload";
            m_upload = OpenFile(m_part, O_WRONLY | O_CREAT | O_TRUNC);
            return S_OK;
        });
    }
    HRESULT Write(LONGLONG pos, const void* data, LONGLONG size, LONGLONG* out_size,
                  TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override {
        if (IsCanceled(cancel)) return Drop(kCanceled);
        return Guarded(details, [&] {
            if (!m_upload || static_cast<std::uint64_t>(pos) != m_position)
                throw Failure(E_INVALIDARG, "random writing");
            if (m_site.fail_upload_at && m_position >= m_site.fail_upload_at) {
                Drop(kBroken);
                throw Failure(kBroken, "the connection was broken");
            }
            if (m_site.stop_upload_at && m_position >= m_site.stop_upload_at) {
                ReplaceFile(m_site.folder / "stopped", "");
                for (;;) pause();
            }
            WriteAt(m_upload.get(), m_part, data, static_cast<std::size_t>(size), m_position);
            m_position += static_cast<std::uint64_t>(size);
            *out_size = size;
            return S_OK;
        });
    }
    HRESULT EndWrite(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override {
        if (IsCanceled(cancel) && m_position < m_size) return Drop(kCanceled);
        return Guarded(details, [&] {
            if (m_site.upload_retries > 0) {
                --m_site.upload_retries;
                return kRetryUpload;
            }
            if (m_position != m_size) throw Failure(E_FAIL, "the announced size was not sent");
            fs::rename(m_part, m_name->path());
            if (details && !m_site.sentence.empty()) details->put_Text(ToUtf16(m_site.sentence).c_str());
            return Drop(S_OK);
        });
    }

private:
    HRESULT Drop(HRESULT result) {
        m_download.reset();
        m_upload.reset();
        m_position = 0;
        return result;
    }
    FakeSite& m_site;
    ComPtr<Name> m_name;
    Descriptor m_download;
    Descriptor m_upload;
    fs::path m_part;
    std::uint64_t m_position = 0;
    std::uint64_t m_size = 0;
};

class File final : public Object<TMK::IAFS_File> {
public:
    File(FakeSite& site, ComPtr<Name> name, ComPtr<TMK::IAFS_FilesCache> cache, DWORD flags)
        : m_site(site), m_name(std::move(name)), m_files(std::move(cache)), m_flags(flags) {}
    ~File() override {
        if (m_cache) m_files->ReleaseCache(this, 0);
    }
    HRESULT Acquire() {
        const auto newer = m_files.as<TMK::IAFS_FilesCache2>();
        newer->QueryCache2(this, m_flags, m_cache.put());
        if (m_cache) return S_OK;
        const auto callbacks = Make<Callbacks>(m_site, m_name);
        LONGLONG size = 0;
        if (!(m_flags & TMK::AFS_OpenFile_CreateAlways)) {
            const HRESULT result = callbacks->GetSize(&size, nullptr, nullptr);
            if (FAILED(result)) return result;
        }
        return m_files->CreateCache(this, callbacks.get(), m_flags, size, 0, 0, 0, m_cache.put());
    }
    HRESULT get_Name(TMK::IAFS_Name** out_name) override {
        return ComPtr<TMK::IAFS_Name>(m_name).CopyTo(out_name);
    }
    HRESULT get_OpenFlags(DWORD* out) override { return *out = m_flags, S_OK; }
    HRESULT get_IoMode(DWORD* out) override { return *out = 0, S_OK; }
    HRESULT Clone(TMK::IAFS_File**) override { return E_NOTIMPL; }
    HRESULT IsCloneOf(TMK::IAFS_File* other, VARIANT_BOOL* out) override {
        return *out = other == this ? VARIANT_TRUE : VARIANT_FALSE, S_OK;
    }
    HRESULT Read(void* data, LONGLONG size, LONGLONG* out, TMK::ITMK_ErrorDetails* details,
                 TMK::ITMK_CancelFlag* cancel) override {
        LONGLONG got = 0;
        const HRESULT result = m_cache->Read(m_position, data, size, &got, details, cancel);
        m_position += got;
        if (out) *out = got;
        return result;
    }
    HRESULT Write(const void* data, LONGLONG size, LONGLONG* out, TMK::ITMK_ErrorDetails* details,
                  TMK::ITMK_CancelFlag* cancel) override {
        if (!(m_flags & TMK::AFS_OpenFile_Write)) return kState;
        LONGLONG written = 0;
        const HRESULT result = m_cache->Write(m_position, data, size, &written, details, cancel);
        m_position += written;
        m_dirty = m_dirty || written != 0;
        if (out) *out = written;
        return result;
    }
    HRESULT SetPos(LONGLONG offset, int32_t, LONGLONG*) override { return m_position = offset, S_OK; }
    HRESULT GetPos(LONGLONG* out) override { return *out = m_position, S_OK; }
    HRESULT SetSize(LONGLONG size, TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override {
        return m_flags & TMK::AFS_OpenFile_Write ? m_cache->SetSize(size, details, cancel) : kState;
    }
    HRESULT GetSize(LONGLONG* out, TMK::ITMK_ErrorDetails*, TMK::ITMK_CancelFlag*) override {
        return m_cache->get_Size(out);
    }
    HRESULT Flush(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override {
        if (!m_dirty) return S_OK;
        const HRESULT result = m_cache->Flush(details, cancel);
        m_dirty = FAILED(result);
        return result;
    }
    HRESULT Reopen(DWORD flags, TMK::ITMK_ErrorDetails*, TMK::ITMK_CancelFlag*) override {
        const HRESULT result = m_files->CheckForReopenFile(this, flags);
        if (FAILED(result)) return result;
        m_flags = flags;
        m_position = 0;
        return S_OK;
    }
    HRESULT GetStream(IStream**) override { return E_NOTIMPL; }
    HRESULT Close(DWORD, TMK::ITMK_ErrorDetails*, TMK::ITMK_CancelFlag*) override { return S_OK; }
    HRESULT get_Prop(LPCWSTR, VARIANT*) override { return E_INVALIDARG; }
    HRESULT put_Prop(LPCWSTR, const VARIANT&) override { return E_INVALIDARG; }
    HRESULT Exec(LPCWSTR command, const VARIANT&, VARIANT*, TMK::ITMK_ErrorDetails*,
                 TMK::ITMK_CancelFlag*) override {
        if (std::u16string_view(command) != u"ResetCache") return S_OK;
        m_cache.reset();
        m_files->ReleaseCache(this, 0);
        m_files->DeleteEntryEx(m_name.get(), 0);
        m_position = 0;
        return Acquire();
    }

private:
    FakeSite& m_site;
    ComPtr<Name> m_name;
    ComPtr<TMK::IAFS_FilesCache> m_files;
    ComPtr<TMK::IAFS_CacheEntry> m_cache;
    DWORD m_flags;
    LONGLONG m_position = 0;
    bool m_dirty = false;
};

class Account final : public DispatchObject<TMK::IAFS_AccountData> {
public:
    explicit Account(std::u16string url) : m_url(std::move(url)) {}
    HRESULT get_URL(BSTR* out) override { return GiveString(out, m_url); }
    HRESULT get_UserName(BSTR* out) override { return GiveString(out, u""); }
    HRESULT SaveTo(TMK::ITMK_Cab* cab) override {
        return Guarded([&] {
            cab->SetTemplate2(kAccountTemplate, sizeof(kAccountTemplate) - 1, u"A");
            PutString(cab, u"Url", m_url);
            return S_OK;
        });
    }
    HRESULT VerifyURL(LPCWSTR url, LONG* out_result) override {
        *out_result = FromWide(url).starts_with(m_url) ? 1 : 0;
        return S_OK;
    }
    HRESULT get_Reserved1(IUnknown** out) override { return *out = nullptr, S_OK; }
    HRESULT get_Reserved2(IUnknown** out) override { return *out = nullptr, S_OK; }
    HRESULT get_Reserved3(IUnknown** out) override { return *out = nullptr, S_OK; }

private:
    std::u16string m_url;
};

class FileSys final : public DispatchObject<TMK::IAFS_FileSys> {
public:
    FileSys(FakeSite& site, ComPtr<TMK::IAFS_Inst> afs) : m_site(site), m_afs(std::move(afs)) {}

    ComPtr<Name> MakeName(std::u16string url) { return Make<Name>(m_site, this, std::move(url)); }

    HRESULT get_Name(BSTR* out) override { return GiveString(out, u"Fake"); }
    HRESULT get_Features(TMK::IAFS_Name*, DWORD*) override { return E_NOTIMPL; }
    HRESULT get_UserText(BSTR*) override { return E_NOTIMPL; }
    HRESULT put_UserText(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT get_Prop(TMK::IAFS_Name*, LPCWSTR name, VARIANT* out) override {
        if (std::u16string_view(name) != u"CheckedOut") return E_INVALIDARG;
        *out = Variant(false).detach();
        return S_OK;
    }
    HRESULT put_Prop(TMK::IAFS_Name*, LPCWSTR, const VARIANT&) override { return E_NOTIMPL; }
    HRESULT Exec(TMK::IAFS_Name*, LPCWSTR, const VARIANT&, VARIANT*, IUnknown*,
                 TMK::ITMK_CancelFlag*) override {
        return S_OK;
    }
    HRESULT BindToPath(LPCWSTR, TMK::IAFS_BindContext*, DWORD, IUnknown*, TMK::ITMK_CancelFlag*,
                       TMK::IAFS_Name**) override {
        return E_NOTIMPL;
    }
    HRESULT BindToObject(IUnknown*, TMK::IAFS_BindContext*, DWORD, IUnknown*, TMK::ITMK_CancelFlag*,
                         TMK::IAFS_Name** out_name) override {
        *out_name = MakeName(ToUtf16(kSiteUrl)).detach();
        return S_OK;
    }
    HRESULT BindFlush(TMK::IAFS_Name*, DWORD, IUnknown*, TMK::ITMK_ErrorDetails*,
                      TMK::ITMK_CancelFlag*) override {
        return E_NOTIMPL;
    }
    HRESULT BindClose() override { return S_OK; }
    HRESULT EnumFolder(TMK::IAFS_Name* name, DWORD, TMK::ITMK_CancelFlag*,
                       TMK::IAFS_EnumFolder** out) override {
        auto* folder = static_cast<Name*>(name);
        if (!fs::is_directory(folder->path())) return E_FAIL;
        std::vector<ComPtr<Name>> items;
        for (const auto& item : fs::directory_iterator(folder->path())) {
            items.push_back(MakeName(folder->url() + u"/" + ToUtf16(item.path().filename().string())));
        }
        *out = Make<Listing>(ComPtr<Name>(folder), std::move(items)).detach();
        return S_OK;
    }
    HRESULT StringToName(LPCWSTR string, DWORD, TMK::IAFS_Name*, TMK::IAFS_Name** out_name) override {
        *out_name = MakeName(FromWide(string)).detach();
        return S_OK;
    }
    HRESULT NameToString(TMK::IAFS_Name* name, DWORD, TMK::IAFS_Name*, BSTR* out) override {
        return GiveString(out, static_cast<Name*>(name)->url());
    }
    HRESULT NameGetParent(TMK::IAFS_Name*, TMK::IAFS_Name**) override { return E_NOTIMPL; }
    HRESULT NameIsChildOf(TMK::IAFS_Name*, TMK::IAFS_Name*, VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT NamesAreEqual(TMK::IAFS_Name*, TMK::IAFS_Name*, VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT OpenFile(TMK::IAFS_Name* name, DWORD flags, TMK::ITMK_ErrorDetails* details,
                     TMK::ITMK_CancelFlag*, TMK::IAFS_File** out_file) override {
        return Guarded(details, [&] {
            auto* local = static_cast<Name*>(name);
            const bool makes = (flags & TMK::AFS_OpenFile_CreateAlways) ||
                               ((flags & TMK::AFS_OpenFile_OpenAlways) && !fs::exists(local->path()));
            if (makes) ReplaceFile(local->path(), "");
            if (!local->Bind(makes)) return kMissing;
            if (!m_cache) m_afs->CreateFileCachesMap(this, m_cache.put());
            const auto file = Make<File>(m_site, ComPtr<Name>(local), m_cache, flags);
            const HRESULT result = file->Acquire();
            return SUCCEEDED(result) ? ComPtr<TMK::IAFS_File>(file).CopyTo(out_file) : result;
        });
    }
    HRESULT CreateFolder(TMK::IAFS_Name* name, DWORD, TMK::ITMK_ErrorDetails*,
                         TMK::ITMK_CancelFlag*) override {
        return fs::create_directory(static_cast<Name*>(name)->path()) ? S_OK : E_FAIL;
    }
    // These three never fail, like a server that doesn't report its refusals.
    HRESULT Move(TMK::IAFS_Name* name, TMK::IAFS_Name* to, TMK::ITMK_ErrorDetails*,
                 TMK::ITMK_CancelFlag*) override {
        std::error_code ignored;
        fs::rename(static_cast<Name*>(name)->path(), static_cast<Name*>(to)->path(), ignored);
        return S_OK;
    }
    HRESULT Copy(TMK::IAFS_Name* name, TMK::IAFS_Name* to, TMK::ITMK_ErrorDetails*,
                 TMK::ITMK_CancelFlag*) override {
        std::error_code ignored;
        fs::copy_file(static_cast<Name*>(name)->path(), static_cast<Name*>(to)->path(), ignored);
        return S_OK;
    }
    HRESULT Rename(TMK::IAFS_Name* name, TMK::IAFS_Name* to, TMK::ITMK_ErrorDetails* details,
                   TMK::ITMK_CancelFlag* cancel) override {
        return Move(name, to, details, cancel);
    }
    HRESULT Delete(TMK::IAFS_Name* name, TMK::ITMK_ErrorDetails*, TMK::ITMK_CancelFlag*) override {
        std::error_code ignored;
        fs::remove_all(static_cast<Name*>(name)->path(), ignored);
        return S_OK;
    }
    HRESULT GetFileInfo(TMK::IAFS_Name* name, TMK::ITMK_ErrorDetails*, TMK::ITMK_CancelFlag*,
                        TMK::IAFS_FileInfo** out_info) override {
        auto* local = static_cast<Name*>(name);
        if (!local->Bind(false)) return E_INVALIDARG;
        *out_info = Make<FileInfo>(ComPtr<Name>(local)).detach();
        return S_OK;
    }
    HRESULT GetVolumeSpace(TMK::IAFS_Name*, ULONGLONG*, ULONGLONG*, TMK::ITMK_CancelFlag*) override {
        return E_NOTIMPL;
    }
    HRESULT CreateDlgParams(DWORD, DWORD, TMK::IAFS_DlgParams**) override { return E_NOTIMPL; }
    HRESULT ShowDlg(DWORD, TMK::IAFS_Name*, TMK::IAFS_DlgParams*, HWND, TMK::IAFS_NamesCollection**,
                    DWORD*) override {
        return E_NOTIMPL;
    }
    HRESULT SetProgressMon(TMK::ITMK_ProgressMon*) override { return E_NOTIMPL; }
    HRESULT GetProgressMon(DWORD, TMK::ITMK_ProgressMon**) override { return E_NOTIMPL; }
    HRESULT CreateAccount(LPCWSTR, TMK::ITMK_Cab* cab, DWORD, DWORD, DWORD,
                          TMK::IAFS_AccountData** out) override {
        if (!cab) return E_INVALIDARG;
        cab->SetTemplate2(kAccountTemplate, sizeof(kAccountTemplate) - 1, u"A");
        *out = Make<Account>(StringOf(ChildOf(cab, u"Url").get())).detach();
        return S_OK;
    }
    HRESULT get_DispName(BSTR*) override { return E_NOTIMPL; }
    HRESULT get_Icon(TMK::IUIX_Icon**) override { return E_NOTIMPL; }

private:
    FakeSite& m_site;
    ComPtr<TMK::IAFS_Inst> m_afs;
    ComPtr<TMK::IAFS_FilesCache> m_cache;
};

class Plugin final : public Object<TMK::ITMK_Plugin> {
public:
    explicit Plugin(FakeSite& site) : m_site(site) {}
    HRESULT get__GUID(GUID* out) override {
        return *out = GUID{0x1234, 5, 6, {7, 8, 9, 10, 11, 12, 13, 14}}, S_OK;
    }
    HRESULT get_Name(BSTR* out) override { return GiveString(out, u"Fake"); }
    HRESULT get_CopyrightInfo(BSTR*) override { return E_NOTIMPL; }
    HRESULT get_version(DWORD*) override { return E_NOTIMPL; }
    HRESULT get_VendorID(DWORD*) override { return E_NOTIMPL; }
    HRESULT get_Description(BSTR*) override { return E_NOTIMPL; }
    HRESULT get_LegalInfo(BSTR*) override { return E_NOTIMPL; }
    HRESULT get_Publisher(BSTR*) override { return E_NOTIMPL; }
    HRESULT get_Features(DWORD*) override { return E_NOTIMPL; }
    HRESULT Setup(TMK::ITMK_Inst* inst) override {
        ComPtr<IUnknown> afs;
        const HRESULT result = inst->GetExtension(u"AFS", afs.put());
        m_afs = ComPtr<TMK::IAFS_Inst>(static_cast<TMK::IAFS_Inst*>(afs.get()));
        return result;
    }
    HRESULT RegisterExts() override {
        m_file_system = Make<FileSys>(m_site, m_afs);
        return m_afs->RegisterFileSys(m_file_system.get());
    }
    HRESULT FinalizeRegistering() override { return S_OK; }
    HRESULT Init() override { return S_OK; }
    HRESULT Unload() override {
        if (m_afs && m_file_system) m_afs->UnregisterFileSys(m_file_system.get());
        m_file_system.reset();
        m_afs.reset();
        return S_OK;
    }
    HRESULT ShowPrefsDlg(HWND) override { return E_NOTIMPL; }
    HRESULT ImportAdditionalData(IStream*) override { return E_NOTIMPL; }
    HRESULT ExportAdditionalData(IStream*) override { return E_NOTIMPL; }
    HRESULT ResetSettings() override { return S_OK; }

private:
    FakeSite& m_site;
    ComPtr<TMK::IAFS_Inst> m_afs;
    ComPtr<FileSys> m_file_system;
};

}  // namespace

fs::path FakeSite::PathOf(const std::u16string& url) const {
    const std::string bytes = ToUtf8(url);
    return folder / fs::path(bytes.substr(std::min(bytes.size(), sizeof(kSiteUrl) - 1))).relative_path();
}

void FakeSite::ReadEnvironment() {
    const auto number = [](const char* name) -> std::uint64_t {
        const char* text = std::getenv(name);
        return text ? std::strtoull(text, nullptr, 10) : 0;
    };
    stop_upload_at = number("FAKE_STOP_UPLOAD_AT");
    end_download_at = number("FAKE_END_DOWNLOAD_AT");
    fail_upload_at = number("FAKE_FAIL_UPLOAD_AT");
    if (const char* text = std::getenv("FAKE_SENTENCE")) sentence = text;
}

ComPtr<TMK::IAFS_FileSys> MakeFakeFileSys(FakeSite& site, ComPtr<TMK::IAFS_Inst> afs) {
    return Make<FileSys>(site, std::move(afs));
}

ComPtr<TMK::IAFS_Name> NameAt(TMK::IAFS_FileSys* file_system, const std::string& path) {
    ComPtr<TMK::IAFS_Name> name;
    file_system->StringToName(ToUtf16(std::string(kSiteUrl) + "/" + path).c_str(), 0, nullptr, name.put());
    return name;
}

ComPtr<TMK::ITMK_Plugin> MakeFakePlugin(FakeSite& site) {
    return Make<Plugin>(site);
}

}  // namespace host::testing
