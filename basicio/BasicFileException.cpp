#include "BasicFileException.h"

#include "StringConversion.h"

#include <cerrno>

CBasicFileException::CBasicFileException(const CBasicStringView<wchar_t>& fileName,
                                         const CBasicStringView<wchar_t>& detail, int osError,
                                         unsigned char kind)
    : m_fileName(fileName), m_detail(detail), m_osError(osError), m_errorKind(kind) {}

unsigned char CBasicFileException::KindFromErrno(int osError) noexcept {
    switch (osError) {
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR: // Windows refuses to open a directory as a file with "access denied"
        return eAccessDenied;
    case ENOENT:
        return eFileNotFound;
    case EINVAL:
        return eInvalidParameter;
    case EIO:
        return eFileHandleError;
    case ENOTDIR:
    case ENAMETOOLONG:
        return ePathNotFound;
    case EBADF:
        return eInvalidHandle;
    case ENOSPC:
    case EFBIG:
#ifdef EDQUOT
    case EDQUOT:
#endif
        return eNoSpace;
    case ENOMEM:
        return eOutOfMemory;
    default:
        return eUndefined;
    }
}

const char* CBasicFileException::KindText(unsigned char kind) noexcept {
    switch (kind) {
    case eAccessDenied:
        return "couldn't access the file.";
    case eFileNotFound:
        return "the file does not exist.";
    case eInvalidParameter:
        return "the parameters are invalid.";
    case eFileHandleError:
        return "error with the file handle.";
    case ePathNotFound:
        return "wasn't abled to find the File.";
    case eInvalidHandle:
        return "the handle is invalid.";
    case eNoSpace:
        return "not enough space.";
    case eOutOfMemory:
        return "ran out of memory.";
    case eUndefined:
        return "undefined Error.";
    default:
        return "undefined default Error.";
    }
}

const char* CBasicFileException::what() const noexcept {
    try {
        m_message = "File exception for: ";
        m_message += hdbtext::AnsiFromWide(m_fileName);
        m_message += " error was: ";
        m_message += KindText(m_errorKind);
        return m_message.c_str();
    } catch (...) {
        // Out of memory while composing: the kind's text alone still informs.
        return KindText(m_errorKind);
    }
}
