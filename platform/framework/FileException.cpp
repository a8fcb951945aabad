#include "hdbplatform/FileException.h"

#include "BasicFileException.h"

#include <cerrno>
#include <cwchar>
#include <memory>
#include <string>

namespace {

// The sentence of a cause, split around the file's name (which never starts
// it, so that names keep their case).
struct CauseText {
    const wchar_t* before;
    const wchar_t* after;
};

CauseText TextOf(int cause) {
    switch (cause) {
    case CFileException::none:
        return {L"No error occurred while accessing ", L"."};
    case CFileException::fileNotFound:
        return {L"The file ", L" was not found."};
    case CFileException::badPath:
        return {L"The path of ", L" is invalid or does not exist."};
    case CFileException::tooManyOpenFiles:
        return {L"Cannot open ", L": too many files are open."};
    case CFileException::accessDenied:
        return {L"Access to ", L" was denied."};
    case CFileException::invalidFile:
        return {L"No valid file is open for ", L"."};
    case CFileException::removeCurrentDir:
        return {L"Cannot remove ", L": it is the current directory."};
    case CFileException::directoryFull:
        return {L"Cannot create ", L": the directory is full."};
    case CFileException::badSeek:
        return {L"Moving the position of ", L" failed."};
    case CFileException::hardIO:
        return {L"A hardware I/O error occurred while accessing ", L"."};
    case CFileException::sharingViolation:
        return {L"Another user holds ", L" open: sharing violation."};
    case CFileException::lockViolation:
        return {L"Part of ", L" is locked: locking violation."};
    case CFileException::diskFull:
        return {L"The disk is full while writing ", L"."};
    case CFileException::endOfFile:
        return {L"The end of ", L" was passed."};
    default:
        return {L"An unexpected error occurred while accessing ", L"."};
    }
}

} // namespace

CFileException::CFileException(int cause, LONG osError, LPCWSTR fileName)
    : m_cause(cause), m_lOsError(osError), m_strFileName(fileName != nullptr ? fileName : L"") {}

int CFileException::ErrnoToException(int errnoValue) {
    switch (errnoValue) {
    case 0:
        return none;
    case ENOENT:
        return fileNotFound;
    case ENOTDIR:
    case ENAMETOOLONG:
        return badPath;
    case EMFILE:
    case ENFILE:
        return tooManyOpenFiles;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case EEXIST:
        return accessDenied;
    case EBADF:
        return invalidFile;
    case EINVAL:
    case ESPIPE:
        return badSeek;
    case EIO:
        return hardIO;
    case EBUSY:
#ifdef ETXTBSY
    case ETXTBSY:
#endif
        return sharingViolation;
    case EDEADLK:
#ifdef ENOLCK
    case ENOLCK:
#endif
        return lockViolation;
    case ENOSPC:
    case EFBIG:
#ifdef EDQUOT
    case EDQUOT:
#endif
        return diskFull;
    default:
        return genericException;
    }
}

int CFileException::HResultToException(HRESULT result) {
    if (SUCCEEDED(result))
        return none;
    if (result == STG_E_FILENOTFOUND)
        return fileNotFound;
    if (result == STG_E_ACCESSDENIED || result == E_ACCESSDENIED)
        return accessDenied;
    if (result == STG_E_MEDIUMFULL || result == STG_E_INSUFFICIENTMEMORY || result == E_OUTOFMEMORY)
        return diskFull;
    if (result == STG_E_READFAULT || result == STG_E_WRITEFAULT)
        return hardIO;
    if (result == STG_E_REVERTED || result == E_HANDLE)
        return invalidFile;
    return genericException;
}

int CFileException::CauseOf(const CBasicFileException& error) {
    if (error.GetErrorKind() == CBasicFileException::ePathNotFound)
        return badPath;
    if (error.GetErrorKind() == CBasicFileException::eInvalidParameter &&
        error.GetOsError() == EINVAL && error.GetDetail() == L"open")
        return badPath; // a name the file system cannot take
    return ErrnoToException(error.GetOsError());
}

void CFileException::ThrowErrno(int errnoValue, LPCWSTR fileName) {
    AfxThrowFileException(ErrnoToException(errnoValue), errnoValue, fileName);
}

BOOL CFileException::GetErrorMessage(LPWSTR error, UINT maxError, UINT* helpContext) const {
    if (helpContext != nullptr)
        *helpContext = 0;
    if (error == nullptr || maxError == 0)
        return FALSE;
    CauseText text = TextOf(m_cause);
    std::wstring message = text.before;
    if (m_strFileName.empty())
        message += L"an unnamed file";
    else
        message += m_strFileName;
    message += text.after;
    std::size_t count = message.size() < maxError ? message.size() : maxError - 1;
    wmemcpy(error, message.data(), count);
    error[count] = L'\0';
    return TRUE;
}

void AfxThrowFileException(int cause, LONG osError, LPCWSTR fileName) {
    throw new CFileException(cause, osError, fileName);
}

void AfxThrowFileException(int cause, LONG osError, const CBasicStringView<wchar_t>& fileName) {
    auto error = std::make_unique<CFileException>(cause, osError);
    error->m_strFileName = CBasicString<wchar_t>(fileName);
    throw error.release();
}
