#include "VFile.h"

#include "StringConversion.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

// The few descriptor calls that differ between the platforms. Every function
// returns -1 (or a negative value) with errno set on failure.
namespace {

// FileInfo from a descriptor's status, whichever stat structure the platform
// fills; writable is the owner's write permission in its mode bits.
template <class Status>
void TakeStatus(const Status& status, bool writable, CVFile::FileInfo& info) {
    info.length = static_cast<std::uint64_t>(status.st_size);
    info.modified = status.st_mtime;
    info.accessed = status.st_atime;
    info.changed = status.st_ctime;
    info.readOnly = !writable;
}

#ifdef _WIN32
using NativePath = std::wstring; // the C runtime takes UTF-16 names directly

bool ToNativePath(std::wstring_view path, NativePath& native) {
    native.assign(path);
    return true;
}
int NativeOpen(const NativePath& path, int flags) {
    return _wopen(path.c_str(), flags | _O_BINARY | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
}
// _read/_write take an unsigned int count and return an int.
long long NativeRead(int fd, void* buffer, std::size_t count) {
    return _read(fd, buffer, static_cast<unsigned int>(std::min<std::size_t>(count, INT_MAX)));
}
long long NativeWrite(int fd, const void* buffer, std::size_t count) {
    return _write(fd, buffer, static_cast<unsigned int>(std::min<std::size_t>(count, INT_MAX)));
}
long long NativeSeek(int fd, long long offset, int origin) {
    return _lseeki64(fd, offset, origin);
}
long long NativeLength(int fd) {
    return _filelengthi64(fd);
}
int NativeTruncate(int fd, long long length) {
    errno_t error = _chsize_s(fd, length);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return 0;
}
int NativeInfo(int fd, CVFile::FileInfo& info) {
    struct _stati64 status {};
    if (_fstati64(fd, &status) != 0)
        return -1;
    TakeStatus(status, (status.st_mode & _S_IWRITE) != 0, info);
    return 0;
}
int NativeFlush(int fd) {
    return _commit(fd);
}
int NativeClose(int fd) {
    return _close(fd);
}
#else
// The file system takes names in the locale's narrow encoding.
using NativePath = std::string;

bool ToNativePath(std::wstring_view path, NativePath& native) {
    bool usedDefault = false;
    native = hdbtext::AnsiFromWide(path, &usedDefault);
    return !usedDefault;
}
// A call that a signal interrupted before it did anything is made again.
template <class Call> auto RetryInterrupted(Call call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}
int NativeOpen(const NativePath& path, int flags) {
    return RetryInterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, 0666); });
}
long long NativeRead(int fd, void* buffer, std::size_t count) {
    return RetryInterrupted([&] { return ::read(fd, buffer, count); });
}
long long NativeWrite(int fd, const void* buffer, std::size_t count) {
    return RetryInterrupted([&] { return ::write(fd, buffer, count); });
}
long long NativeSeek(int fd, long long offset, int origin) {
    return ::lseek(fd, offset, origin);
}
long long NativeLength(int fd) {
    struct stat info {};
    return ::fstat(fd, &info) == 0 ? static_cast<long long>(info.st_size) : -1;
}
int NativeInfo(int fd, CVFile::FileInfo& info) {
    struct stat status {};
    if (::fstat(fd, &status) != 0)
        return -1;
    TakeStatus(status, (status.st_mode & S_IWUSR) != 0, info);
    return 0;
}
int NativeTruncate(int fd, long long length) {
    return ::ftruncate(fd, length);
}
int NativeFlush(int fd) {
    return ::fsync(fd);
}
// Linux releases the descriptor even when close reports EINTR: never retry.
int NativeClose(int fd) {
    return ::close(fd);
}
#endif

int OpenFlags(unsigned int mode) {
    int flags;
    if ((mode & CVFile::modeReadWrite) != 0 ||
        ((mode & CVFile::modeWrite) != 0 && (mode & CVFile::modeRead) != 0))
        flags = O_RDWR;
    else if ((mode & CVFile::modeWrite) != 0)
        flags = O_WRONLY;
    else if ((mode & CVFile::modeCreate) != 0)
        flags = O_RDWR; // a file created for reading only could never get content
    else
        flags = O_RDONLY;
    if ((mode & CVFile::modeCreate) != 0) {
        flags |= O_CREAT;
        if ((mode & CVFile::modeNoTruncate) == 0)
            flags |= O_TRUNC;
    }
    return flags;
}

bool ParentDirectoryExists(const NativePath& path) {
    std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (parent.empty())
        return true; // a bare name lives in the working directory
    std::error_code error;
    return std::filesystem::is_directory(parent, error);
}

} // namespace

CVFile::~CVFile() {
    if (IsOpen())
        NativeClose(m_descriptor);
}

CVFile::CVFile(CVFile&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)), m_path(std::move(other.m_path)) {}

CVFile& CVFile::operator=(CVFile&& other) noexcept {
    if (this != &other) {
        if (IsOpen())
            NativeClose(m_descriptor);
        m_descriptor = std::exchange(other.m_descriptor, -1);
        m_path = std::move(other.m_path);
    }
    return *this;
}

void CVFile::Open(const CBasicStringView<wchar_t>& path, unsigned int mode, unsigned int) {
    if (IsOpen())
        Close();
    m_path = CBasicString<wchar_t>(path);
    NativePath native;
    // An embedded terminator would silently open a different, shorter name.
    if (path.empty() || path.find(L'\0') != std::wstring_view::npos || !ToNativePath(path, native))
        throw CBasicFileException(m_path, L"open", EINVAL, CBasicFileException::eInvalidParameter);
    int fd = NativeOpen(native, OpenFlags(mode));
    if (fd < 0) {
        int error = errno;
        if (error == ENOENT && ((mode & modeCreate) != 0 || !ParentDirectoryExists(native)))
            throw CBasicFileException(m_path, L"open", error, CBasicFileException::ePathNotFound);
        ThrowError(error, L"open");
    }
    m_descriptor = fd;
}

std::size_t CVFile::Read(void* buffer, std::size_t count) {
    RequireOpen(L"read");
    auto* bytes = static_cast<unsigned char*>(buffer);
    std::size_t total = 0;
    while (total < count) {
        long long done = NativeRead(m_descriptor, bytes + total, count - total);
        if (done < 0)
            ThrowError(errno, L"read");
        if (done == 0)
            break;
        total += static_cast<std::size_t>(done);
    }
    return total;
}

std::size_t CVFile::Write(const void* buffer, std::size_t count) {
    RequireOpen(L"write");
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    std::size_t total = 0;
    while (total < count) {
        long long done = NativeWrite(m_descriptor, bytes + total, count - total);
        if (done < 0)
            ThrowError(errno, L"write");
        if (done == 0)
            ThrowError(ENOSPC, L"write"); // the device took nothing
        total += static_cast<std::size_t>(done);
    }
    return total;
}

std::uint64_t CVFile::Seek(std::int64_t offset, enumSeekOrigin origin) {
    RequireOpen(L"seek");
    long long position = NativeSeek(m_descriptor, offset, static_cast<int>(origin));
    if (position < 0)
        ThrowError(errno, L"seek");
    return static_cast<std::uint64_t>(position);
}

std::uint64_t CVFile::GetPosition() const {
    RequireOpen(L"position");
    long long position = NativeSeek(m_descriptor, 0, SEEK_CUR);
    if (position < 0)
        ThrowError(errno, L"position");
    return static_cast<std::uint64_t>(position);
}

std::uint64_t CVFile::GetLength() const {
    RequireOpen(L"length");
    long long length = NativeLength(m_descriptor);
    if (length < 0)
        ThrowError(errno, L"length");
    return static_cast<std::uint64_t>(length);
}

CVFile::FileInfo CVFile::GetInfo() const {
    RequireOpen(L"status");
    FileInfo info;
    if (NativeInfo(m_descriptor, info) != 0)
        ThrowError(errno, L"status");
    return info;
}

void CVFile::SetLength(std::uint64_t length) {
    RequireOpen(L"set length");
    if (length > static_cast<std::uint64_t>(LLONG_MAX))
        ThrowError(EINVAL, L"set length");
    if (NativeTruncate(m_descriptor, static_cast<long long>(length)) != 0)
        ThrowError(errno, L"set length");
}

void CVFile::Flush() {
    RequireOpen(L"flush");
    if (NativeFlush(m_descriptor) != 0)
        ThrowError(errno, L"flush");
}

void CVFile::Close() {
    if (!IsOpen())
        return;
    int fd = std::exchange(m_descriptor, -1);
    if (NativeClose(fd) != 0)
        ThrowError(errno, L"close");
}

void CVFile::ThrowError(int osError, const wchar_t* operation) const {
    throw CBasicFileException(m_path, operation, osError,
                              CBasicFileException::KindFromErrno(osError));
}

void CVFile::RequireOpen(const wchar_t* operation) const {
    if (!IsOpen())
        ThrowError(EBADF, operation);
}
