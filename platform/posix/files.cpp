#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "utf8.h"

namespace {

using platform::ToUtf16;
using platform::ToUtf8;

struct ErrnoRow {
    int number;
    DWORD error;
};
constexpr ErrnoRow kErrnoTable[] = {
    {ENOENT, ERROR_PATH_NOT_FOUND},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EROFS, ERROR_ACCESS_DENIED},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EISDIR, ERROR_ACCESS_DENIED},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EFBIG, ERROR_DISK_FULL},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ELOOP, ERROR_ACCESS_DENIED},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EBUSY, ERROR_SHARING_VIOLATION},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
};

DWORD ErrorFromErrno(int number) {
    const auto row = std::find_if(std::begin(kErrnoTable), std::end(kErrnoTable),
                                  [number](const ErrnoRow& candidate) { return candidate.number == number; });
    return row != std::end(kErrnoTable) ? row->error : ERROR_GEN_FAILURE;
}

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

BOOL Done(int result) {
    return result == 0 ? TRUE : Fail(ErrorFromErrno(errno));
}

std::string ToNative(std::u16string_view path) {
    std::string native = ToUtf8(path);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

// A file handle is the descriptor plus one, so that none is null.
HANDLE ToHandle(int descriptor) {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(descriptor) + 1);
}
int ToDescriptor(HANDLE handle) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1);
}

bool Matches(std::u16string_view pattern, std::u16string_view name) {
    std::size_t p = 0, n = 0, star = std::u16string_view::npos, resume = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == u'*') {
            star = p++;
            resume = n;
        } else if (p < pattern.size() && (pattern[p] == u'?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != std::u16string_view::npos) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    return std::all_of(pattern.begin() + static_cast<std::ptrdiff_t>(p), pattern.end(),
                       [](char16_t c) { return c == u'*'; });
}

// A descriptor that closes itself; -1 (with errno set) for none.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : m_descriptor(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~Descriptor() {
        const int error = errno;
        if (m_descriptor >= 0) close(m_descriptor);
        errno = error;
    }
    int get() const { return m_descriptor; }
    int Release() { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor;
};

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::string TemporaryFolder() {
    const char* folder = std::getenv("TMPDIR");
    std::string path = folder && *folder ? folder : "/tmp";
    if (path.back() != '/') path += '/';
    return path;
}

bool IsBelowTemporaryFolder(const std::string& folder) {
    const std::string shared = TemporaryFolder();
    return folder.starts_with(shared) && folder.size() > shared.size();
}

// A folder in another: the user's own, and no link.
Descriptor OpenOwnFolder(const Descriptor& parent, const std::string& name) {
    Descriptor folder(openat(parent.get(), name.c_str(), kFolderFlags | O_NOFOLLOW));
    struct stat status;
    if (folder.get() < 0 || fstat(folder.get(), &status) != 0) return Descriptor(-1);
    if (status.st_uid == geteuid() && name != "..") return folder;
    errno = EACCES;
    return Descriptor(-1);
}

// In the folder for temporary files somebody else may have put a folder or a link where the user's own is
// looked for, so each step below it has to be the user's own.
Descriptor OpenFolder(const std::string& path) {
    if (!IsBelowTemporaryFolder(path)) return Descriptor(open(path.c_str(), kFolderFlags));
    const std::string shared = TemporaryFolder();
    Descriptor folder(open(shared.c_str(), kFolderFlags));
    for (std::size_t at = shared.size(); folder.get() >= 0 && at < path.size();) {
        const std::size_t slash = std::min(path.find('/', at), path.size());
        if (slash > at) folder = OpenOwnFolder(folder, path.substr(at, slash - at));
        at = slash + 1;
    }
    return folder;
}

// Where a file or folder is: what it lies in, and its name there.
struct Place {
    Descriptor folder{-1};
    std::string path;
    std::string name;
};

// An error number.
DWORD FindPlace(LPCWSTR path, Place& place) {
    if (!path) return ERROR_INVALID_PARAMETER;
    if (!*path) return ERROR_PATH_NOT_FOUND;
    try {
        std::string native = ToNative(path);
        while (native.size() > 1 && native.back() == '/') native.pop_back();
        const std::size_t slash = native.rfind('/');
        place.path = slash == std::string::npos ? "./" : native.substr(0, slash + 1);
        place.name = native == "/" ? "." : native.substr(slash + 1);
        place.folder = OpenFolder(place.path);
        return place.folder.get() >= 0 ? ERROR_SUCCESS : ErrorFromErrno(errno);
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

struct DirCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

struct Find {
    std::unique_ptr<DIR, DirCloser> directory;
    std::u16string pattern;
};

FILETIME ToFileTime(const statx_timestamp& time) {
    constexpr LONGLONG kUnixEpochInTicks = 116'444'736'000'000'000;
    const LONGLONG ticks = time.tv_sec * 10'000'000 + time.tv_nsec / 100 + kUnixEpochInTicks;
    return {static_cast<DWORD>(ticks & 0xFFFFFFFF), static_cast<DWORD>(ticks >> 32)};
}

bool Fill(const Find& find, const char* entry_name, std::u16string_view name, WIN32_FIND_DATAW& data) {
    struct statx status;
    if (statx(dirfd(find.directory.get()), entry_name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME,
              &status))
        return false;
    data = {};
    data.dwFileAttributes = S_ISDIR(status.stx_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    const bool has_birth = (status.stx_mask & STATX_BTIME) != 0;
    data.ftCreationTime = ToFileTime(has_birth ? status.stx_btime : status.stx_mtime);
    data.ftLastAccessTime = ToFileTime(status.stx_atime);
    data.ftLastWriteTime = ToFileTime(status.stx_mtime);
    data.nFileSizeHigh = static_cast<DWORD>(status.stx_size >> 32);
    data.nFileSizeLow = static_cast<DWORD>(status.stx_size & 0xFFFFFFFF);
    *std::copy(name.begin(), name.end(), data.cFileName) = 0;
    return true;
}

BOOL FindNext(Find& find, WIN32_FIND_DATAW& data) {
    while (const dirent* entry = readdir(find.directory.get())) {
        const std::u16string name = ToUtf16(entry->d_name);
        if (name.size() < MAX_PATH && Matches(find.pattern, name) && Fill(find, entry->d_name, name, data))
            return TRUE;
    }
    return FALSE;
}

}  // namespace

DWORD GetTempPathW(DWORD size, LPWSTR buffer) {
    try {
        std::u16string path = ToUtf16(TemporaryFolder());
        std::replace(path.begin(), path.end(), u'/', u'\\');
        if (path.size() >= size || !buffer) return static_cast<DWORD>(path.size() + 1);
        *std::copy(path.begin(), path.end(), buffer) = 0;
        return static_cast<DWORD>(path.size());
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
}

BOOL CreateDirectoryW(LPCWSTR path, const SECURITY_ATTRIBUTES*) {
    Place place;
    if (const DWORD error = FindPlace(path, place)) return Fail(error);
    return Done(mkdirat(place.folder.get(), place.name.c_str(), 0700));
}

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD, const SECURITY_ATTRIBUTES*, DWORD disposition,
                   DWORD flags, HANDLE) {
    Place place;
    if (access != FILE_GENERIC_WRITE || disposition != CREATE_ALWAYS) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    if (const DWORD error = FindPlace(path, place)) {
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    const bool is_temporary = flags & FILE_ATTRIBUTE_TEMPORARY;
    if (is_temporary && IsBelowTemporaryFolder(place.path)) fchmod(place.folder.get(), 0700);
    // In a folder that others may write to, a link in the file's place could lead anywhere.
    const int no_link = is_temporary ? O_NOFOLLOW : 0;
    const int descriptor = openat(place.folder.get(), place.name.c_str(),
                                  O_CLOEXEC | O_WRONLY | O_CREAT | O_TRUNC | no_link, 0600);
    if (descriptor >= 0) return ToHandle(descriptor);
    SetLastError(ErrorFromErrno(errno));
    return INVALID_HANDLE_VALUE;
}

BOOL WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* written, OVERLAPPED*) {
    const char* from = static_cast<const char*>(data);
    DWORD sent = 0;
    if (written) *written = 0;
    while (sent < size) {
        const ssize_t count = write(ToDescriptor(file), from + sent, size - sent);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return Fail(ErrorFromErrno(errno));
        sent += static_cast<DWORD>(count);
        if (written) *written = sent;
    }
    return TRUE;
}

BOOL CloseHandle(HANDLE handle) {
    if (!handle || handle == INVALID_HANDLE_VALUE) return Fail(ERROR_INVALID_HANDLE);
    return Done(close(ToDescriptor(handle)));
}

HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data) {
    Place place;
    const DWORD error = data ? FindPlace(pattern, place) : static_cast<DWORD>(ERROR_INVALID_PARAMETER);
    if (error) {
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    std::unique_ptr<Find> find(new (std::nothrow) Find);
    if (!find) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
    find->directory.reset(fdopendir(place.folder.get()));
    if (!find->directory) {
        SetLastError(ErrorFromErrno(errno));
        return INVALID_HANDLE_VALUE;
    }
    place.folder.Release();  // it belongs to the directory now
    find->pattern = ToUtf16(place.name);
    if (FindNext(*find, *data)) return find.release();
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
}

BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data) {
    if (!find || find == INVALID_HANDLE_VALUE || !data) return Fail(ERROR_INVALID_HANDLE);
    return FindNext(*static_cast<Find*>(find), *data) ? TRUE : Fail(ERROR_NO_MORE_FILES);
}

BOOL FindClose(HANDLE find) {
    if (!find || find == INVALID_HANDLE_VALUE) return Fail(ERROR_INVALID_HANDLE);
    delete static_cast<Find*>(find);
    return TRUE;
}

BOOL DeleteFileW(LPCWSTR path) {
    Place place;
    if (const DWORD error = FindPlace(path, place)) return Fail(error);
    if (unlinkat(place.folder.get(), place.name.c_str(), 0) == 0) return TRUE;
    return Fail(errno == ENOENT ? ERROR_FILE_NOT_FOUND : ErrorFromErrno(errno));
}

BOOL RemoveDirectoryW(LPCWSTR path) {
    Place place;
    if (const DWORD error = FindPlace(path, place)) return Fail(error);
    if (unlinkat(place.folder.get(), place.name.c_str(), AT_REMOVEDIR) == 0) return TRUE;
    return Fail(errno == ENOENT ? ERROR_FILE_NOT_FOUND : ErrorFromErrno(errno));
}
