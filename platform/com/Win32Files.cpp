// Win32 file handles over POSIX file descriptors. A handle is the descriptor
// plus one, so that descriptor 0 is not the null handle and -1
// (INVALID_HANDLE_VALUE) never names a descriptor. Failures set the Win32
// error number that Windows gives for the same cause.
//
// Share modes are accepted and not enforced: Linux has no mandatory sharing
// locks to map them to.
#include "hdbplatform/WinApi.h"

#include "StringConversion.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr DWORD kErrorTooManyOpenFiles = 4;
constexpr DWORD kErrorGenFailure = 31;
constexpr DWORD kErrorInvalidName = 123;
constexpr DWORD kErrorFilenameTooLong = 206;
constexpr std::intptr_t kHandleBias = 1;

HANDLE HandleOf(int fd) {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(fd) + kHandleBias);
}

// The descriptor of a handle, -1 for the null and the invalid handle.
int DescriptorOf(HANDLE handle) {
    const std::intptr_t fd = reinterpret_cast<std::intptr_t>(handle) - kHandleBias;
    return fd >= 0 && fd <= INT32_MAX ? static_cast<int>(fd) : -1;
}

bool ParentDirectoryExists(const std::string& path) {
    const std::string::size_type slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return true;
    const std::string parent = slash == 0 ? "/" : path.substr(0, slash);
    struct stat info {};
    return ::stat(parent.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Windows tells a missing file from a missing folder on the way to it.
DWORD ErrorFromErrno(int error, const std::string& path = {}) {
    switch (error) {
    case ENOENT:
        return path.empty() || ParentDirectoryExists(path) ? ERROR_FILE_NOT_FOUND
                                                           : ERROR_PATH_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ETXTBSY:
        return ERROR_ACCESS_DENIED;
    case EEXIST:
        return ERROR_FILE_EXISTS;
    case ENOSPC:
    case EDQUOT:
        return ERROR_DISK_FULL;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case ENAMETOOLONG:
        return kErrorFilenameTooLong;
    case EMFILE:
    case ENFILE:
        return kErrorTooManyOpenFiles;
    case EBUSY:
        return ERROR_SHARING_VIOLATION;
    default:
        return kErrorGenFailure;
    }
}

// A read or write the handle's access does not allow fails with EBADF on
// Linux and with ERROR_ACCESS_DENIED on Windows.
DWORD TransferError(int fd, int error) {
    if (error == EBADF && ::fcntl(fd, F_GETFD) != -1)
        return ERROR_ACCESS_DENIED;
    return ErrorFromErrno(error);
}

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

HANDLE FailOpen(DWORD error) {
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

int AccessFlags(DWORD desiredAccess) {
    const bool read = desiredAccess & GENERIC_READ;
    const bool write = desiredAccess & GENERIC_WRITE;
    if (read && write)
        return O_RDWR;
    if (write)
        return O_WRONLY;
    // No access at all still opens the file for its attributes and size.
    return read ? O_RDONLY : O_PATH;
}

int Open(const std::string& path, int flags) {
    int fd;
    do
        fd = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
    while (fd < 0 && errno == EINTR);
    return fd;
}

// Opens or creates by the disposition; existed tells whether a file was
// there before (Windows reports that for CREATE_ALWAYS and OPEN_ALWAYS).
int OpenByDisposition(const std::string& path, int access, DWORD disposition, bool& existed) {
    existed = false;
    switch (disposition) {
    case CREATE_NEW:
        return Open(path, access | O_CREAT | O_EXCL);
    case OPEN_EXISTING:
        return Open(path, access);
    case TRUNCATE_EXISTING:
        return Open(path, access | O_TRUNC);
    case CREATE_ALWAYS:
    case OPEN_ALWAYS: {
        const int truncate = disposition == CREATE_ALWAYS ? O_TRUNC : 0;
        const int fd = Open(path, access | O_CREAT | O_EXCL);
        if (fd >= 0 || errno != EEXIST)
            return fd;
        existed = true;
        return Open(path, access | truncate);
    }
    default:
        errno = EINVAL;
        return -1;
    }
}

// The loop of a synchronous transfer: count bytes through step(fd, done,
// left), which answers what read() or write() does, again where a signal
// interrupted it; *moved holds the bytes moved so far. A read (atEndStops)
// ends early at the end of the file.
template <class Step>
BOOL TransferAll(HANDLE file, const void* buffer, DWORD count, LPDWORD moved, void* overlapped,
                 bool atEndStops, Step step) {
    if (moved)
        *moved = 0;
    const int fd = DescriptorOf(file);
    if (fd < 0)
        return Fail(ERROR_INVALID_HANDLE);
    if (overlapped || (!buffer && count))
        return Fail(ERROR_INVALID_PARAMETER);
    DWORD total = 0;
    while (total < count) {
        const ssize_t done = step(fd, total, count - total);
        if (done < 0 && errno == EINTR)
            continue;
        if (done < 0)
            return Fail(TransferError(fd, errno));
        if (done == 0 && atEndStops)
            break;
        total += static_cast<DWORD>(done);
        if (moved)
            *moved = total;
    }
    return TRUE;
}

} // namespace

HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                   LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                   DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) {
    if (!lpFileName || !*lpFileName)
        return FailOpen(lpFileName ? ERROR_PATH_NOT_FOUND : ERROR_INVALID_PARAMETER);
    if (dwCreationDisposition == TRUNCATE_EXISTING && !(dwDesiredAccess & GENERIC_WRITE))
        return FailOpen(ERROR_INVALID_PARAMETER);
    bool unrepresentable = false;
    const std::string path = hdbtext::AnsiFromWide(lpFileName, &unrepresentable);
    if (unrepresentable)
        return FailOpen(kErrorInvalidName);
    int access = AccessFlags(dwDesiredAccess);
    if (access == O_PATH && dwCreationDisposition != OPEN_EXISTING)
        access = O_RDONLY; // creating or truncating needs a real open
    bool existed = false;
    const int fd = OpenByDisposition(path, access, dwCreationDisposition, existed);
    if (fd < 0)
        return FailOpen(ErrorFromErrno(errno, path));
    struct stat info {};
    if (::fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
        // A folder is not a file; Windows refuses it without backup semantics.
        ::close(fd);
        return FailOpen(ERROR_ACCESS_DENIED);
    }
    SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return HandleOf(fd);
}

BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize) {
    const int fd = DescriptorOf(hFile);
    if (fd < 0)
        return Fail(ERROR_INVALID_HANDLE);
    if (!lpFileSize)
        return Fail(ERROR_INVALID_PARAMETER);
    struct stat info {};
    if (::fstat(fd, &info) != 0)
        return Fail(ErrorFromErrno(errno));
    lpFileSize->QuadPart = static_cast<LONGLONG>(info.st_size);
    return TRUE;
}

// Reads until the request is met or the file ends; at the end of the file it
// succeeds with fewer (or no) bytes, as a synchronous Windows read does.
BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
              LPDWORD lpNumberOfBytesRead, void* lpOverlapped) {
    auto* buffer = static_cast<char*>(lpBuffer);
    return TransferAll(
        hFile, lpBuffer, nNumberOfBytesToRead, lpNumberOfBytesRead, lpOverlapped, true,
        [&](int fd, DWORD done, DWORD left) { return ::read(fd, buffer + done, left); });
}

BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
               LPDWORD lpNumberOfBytesWritten, void* lpOverlapped) {
    const auto* buffer = static_cast<const char*>(lpBuffer);
    return TransferAll(
        hFile, lpBuffer, nNumberOfBytesToWrite, lpNumberOfBytesWritten, lpOverlapped, false,
        [&](int fd, DWORD done, DWORD left) { return ::write(fd, buffer + done, left); });
}

BOOL CloseHandle(HANDLE hObject) {
    const int fd = DescriptorOf(hObject);
    if (fd < 0)
        return Fail(ERROR_INVALID_HANDLE);
    // The descriptor is gone after close() even when it reports EINTR.
    if (::close(fd) != 0 && errno != EINTR)
        return Fail(ErrorFromErrno(errno));
    return TRUE;
}
