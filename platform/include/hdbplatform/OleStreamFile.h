// The framework's stream file: a CFile over a COM IStream, for example a
// growable memory stream. Stream failures throw CFileException* whose
// m_lOsError holds the stream's HRESULT (also where a COM-specific exception
// might be expected: callers need only one exception type for files).
#pragma once

#include "hdbplatform/Com.h"
#include "hdbplatform/File.h"

class COleStreamFile : public CFile {
public:
    // Takes over the caller's reference to stream (no AddRef); may be null.
    explicit COleStreamFile(IStream* stream = nullptr);
    // Releases the stream held.
    ~COleStreamFile() override;

    // Takes over the caller's reference (no AddRef), releasing a stream held
    // before.
    void Attach(IStream* stream);
    // Hands the held reference to the caller (no Release) and holds none.
    IStream* Detach();
    // The stream held, without AddRef; null when none.
    IStream* GetStream() const { return m_stream; }

    // Replaces the stream held by a new, empty memory stream that frees its
    // memory with its last reference. FALSE on failure, with the cause and the
    // HRESULT in *error when given.
    BOOL CreateMemoryStream(CFileException* error = nullptr);

    // A stream file opens no paths: FALSE with genericException.
    BOOL Open(LPCWSTR fileName, UINT openFlags, CFileException* error = nullptr) override;
    UINT Read(void* buffer, UINT count) override;
    void Write(const void* buffer, UINT count) override;
    ULONGLONG Seek(LONGLONG offset, UINT from) override;
    ULONGLONG GetPosition() const override;
    ULONGLONG GetLength() const override;
    void SetLength(ULONGLONG newLength) override;
    void Flush() override;
    // The stream's length; times and name are left empty. FALSE without a stream.
    BOOL GetStatus(CFileStatus& status) const override;
    // Releases the stream; operations other than Attach/CreateMemoryStream
    // then throw invalidFile.
    void Close() override;
    void Abort() override { Close(); }
    BOOL IsOpen() const override { return m_stream != nullptr ? TRUE : FALSE; }
    CBasicString<wchar_t> GetFilePath() const override { return {}; }
    CBasicString<wchar_t> GetFileName() const override { return {}; }

private:
    IStream* RequireStream() const;

    IStream* m_stream = nullptr;
};
