#include "haldendb/BaseOLEDBClass.h"
#include "haldendb/MessageNumbers.h"

#include "haldendb/MessageTable.h"
#include "haldendb/ProviderClassIds.h"

#include "hdbplatform/AtlException.h"
#include "hdbplatform/ComPtr.h"

#include <algorithm>
#include <cwchar>
#include <initializer_list>
#include <new>
#include <string_view>
#include <utility>

namespace {

// The message numbers this file uses itself.
using namespace hdbmsg;

// Error records are always asked for in English: the reports mix record texts
// with the library's own, and providers' English texts are the ones that can
// be looked up.
constexpr LCID EnglishLocale = 1033;

constexpr wchar_t DescriptionPrefix[] = L"Error Description : ";
constexpr wchar_t SourcePrefix[] = L"Error Source: ";
constexpr wchar_t StatePrefix[] = L"SQL State: ";
constexpr wchar_t UnratedStatePrefix[] = L"Couldn't detect error severity - SQL State: ";
constexpr wchar_t LineEnd[] = L"\r\n";

using hdbcom::ComPtr;

// One BSTR, freed when the holder goes.
class BstrRef {
public:
    BstrRef() = default;
    BstrRef(const BstrRef&) = delete;
    BstrRef& operator=(const BstrRef&) = delete;
    ~BstrRef() { SysFreeString(m_p); }
    BSTR* out() { return &m_p; }
    bool HasText() const { return m_p != nullptr && m_p[0] != L'\0'; }
    const wchar_t* text() const { return m_p ? m_p : L""; }

private:
    BSTR m_p = nullptr;
};

// Appends what fits of `text` to the terminated text in `buffer` of `size`
// characters (terminator included). Longer texts are cut rather than dropped
// so that the start of a long provider message still reaches the report.
void AppendBounded(wchar_t* buffer, std::size_t size, std::wstring_view text) {
    if (buffer == nullptr || size == 0)
        return;
    const std::size_t used = std::wcslen(buffer);
    if (used + 1 >= size)
        return;
    const std::size_t count = std::min(text.size(), size - 1 - used);
    std::wmemcpy(buffer + used, text.data(), count);
    buffer[used + count] = L'\0';
}

// The message table's text numbered `textId`; false when the table lacks it.
bool FindMessage(unsigned int textId, CBasicStringView<wchar_t>& text) {
    const wchar_t* found = CMessageTable::Find(textId);
    if (found == nullptr)
        return false;
    text = CBasicStringView<wchar_t>(found, std::wcslen(found));
    return true;
}

std::wstring_view ViewOf(const CBasicStringView<wchar_t>& text) {
    return std::wstring_view(text.data(), text.size());
}

CBasicStringView<wchar_t> ViewOfBuffer(const std::unique_ptr<wchar_t[]>& buffer) {
    if (!buffer)
        return CBasicStringView<wchar_t>();
    return CBasicStringView<wchar_t>(buffer.get(), std::wcslen(buffer.get()));
}

void ClearText(wchar_t* buffer) {
    if (buffer)
        buffer[0] = L'\0';
}

// Writes the HResult line with the table's format, or with `fallback` when
// the table lacks it.
void WriteHResultLine(wchar_t* report, HRESULT hr, const wchar_t* fallback) {
    const wchar_t* format = CMessageTable::Find(MsgHResultReturned);
    if (format == nullptr)
        format = fallback;
    if (swprintf_s(report, CBaseOLEDBClass::ReportBufferSize, format, hr, hr) < 0)
        report[0] = L'\0';
}

// Appends the caller's detail after a line break, unless it would take the
// report to its full size; the line break is written either way.
void AppendDetail(wchar_t* report, std::wstring_view detail) {
    if (detail.empty())
        return;
    AppendBounded(report, CBaseOLEDBClass::ReportBufferSize, LineEnd);
    if (std::wcslen(report) + detail.size() < CBaseOLEDBClass::ReportBufferSize)
        AppendBounded(report, CBaseOLEDBClass::ReportBufferSize, detail);
}

std::unique_ptr<wchar_t[]> NewReportBuffer() {
    std::unique_ptr<wchar_t[]> report(new (std::nothrow)
                                          wchar_t[CBaseOLEDBClass::ReportBufferSize]);
    if (report)
        report[0] = L'\0';
    return report;
}

// A report: the HResult line (none for 0), each non-empty text in turn and
// the caller's detail. Null when the buffer cannot be had.
std::unique_ptr<wchar_t[]>
BuildReport(HRESULT hr, const wchar_t* hresultFallback,
            std::initializer_list<const CBasicStringView<wchar_t>*> texts,
            const CBasicStringView<wchar_t>& detail) {
    std::unique_ptr<wchar_t[]> report = NewReportBuffer();
    if (!report)
        return report;
    if (hr != 0)
        WriteHResultLine(report.get(), hr, hresultFallback);
    for (const auto* text : texts)
        if (!text->empty())
            AppendBounded(report.get(), CBaseOLEDBClass::ReportBufferSize, ViewOf(*text));
    AppendDetail(report.get(), ViewOf(detail));
    return report;
}

// Frees an array a provider handed out in task memory: each element's own
// parts through `clear`, then the array. Answers what the last clear did.
template <class Item, class Clear> HRESULT FreeTaskArray(Item* items, size_t count, Clear clear) {
    HRESULT hr = S_OK;
    if (items == nullptr)
        return hr;
    for (size_t i = 0; i < count; ++i)
        hr = clear(items[i]);
    CoTaskMemFree(items);
    return hr;
}

HRESULT ClearProperty(DBPROP& property) {
    return VariantClear(&property.vValue);
}

HRESULT ClearPropInfo(DBPROPINFO& info) {
    return VariantClear(&info.vValues);
}

// A property set as a provider hands it out: its properties go with it.
HRESULT ClearPropertySet(DBPROPSET& set) {
    return FreeTaskArray(set.rgProperties, set.cProperties, ClearProperty);
}

// The question for one property; `id` must outlive the answer.
DBPROPIDSET OneIdSet(DBPROPID& id, const GUID& propertySet) {
    DBPROPIDSET idSet{};
    idSet.rgPropertyIDs = &id;
    idSet.cPropertyIDs = 1;
    idSet.guidPropertySet = propertySet;
    return idSet;
}

// The objects that answer GetProperties for one property.
template <class PropertiesInterface>
HRESULT ReadOneProperty(PropertiesInterface* properties, DBPROPID propertyId,
                        const GUID& propertySet, DBPROP** property) {
    DBPROPIDSET idSet = OneIdSet(propertyId, propertySet);

    ULONG setCount = 0;
    DBPROPSET* sets = nullptr;
    const HRESULT hr = properties->GetProperties(1, &idSet, &setCount, &sets);
    if (SUCCEEDED(hr) && sets != nullptr && setCount > 0 && sets[0].cProperties > 0) {
        *property = sets[0].rgProperties;
        sets[0].rgProperties = nullptr;
        sets[0].cProperties = 0;
    }
    // A failing call may still hand out sets carrying the properties' status.
    FreeTaskArray(sets, setCount, ClearPropertySet);
    return hr;
}

wchar_t* TaskMemCopy(const wchar_t* text) {
    if (text == nullptr)
        return nullptr;
    const std::size_t length = std::wcslen(text);
    auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc((length + 1) * sizeof(wchar_t)));
    if (copy != nullptr) {
        std::wmemcpy(copy, text, length);
        copy[length] = L'\0';
    }
    return copy;
}

// The process's task allocator, a reference of the caller's own; null when
// the runtime cannot hand it out.
IMalloc* ProcessTaskAllocator() {
    IMalloc* allocator = nullptr;
    return SUCCEEDED(CoGetMalloc(MEMCTX_TASK, &allocator)) ? allocator : nullptr;
}

// Reads one property and hands its VARIANT to `read`; the property is freed
// afterwards whatever happened.
template <class Reader>
HRESULT ReadPropertyValue(HRESULT (*rawRead)(IUnknown* const, DBPROPID, const GUID&, DBPROP**),
                          IUnknown* const object, DBPROPID propertyId, const GUID& propertySet,
                          Reader read) {
    DBPROP* property = nullptr;
    const HRESULT hr = rawRead(object, propertyId, propertySet, &property);
    if (property == nullptr)
        return hr;
    if (SUCCEEDED(hr))
        read(property->vValue);
    FreeTaskArray(property, 1, ClearProperty);
    return hr;
}

} // namespace

// ---------------------------------------------------------------- lifetime

// The task allocator is one object for the whole process that never goes
// away. Every object holds a reference from construction to destruction and
// never changes it: an object copied from this one may be taking it on
// another thread at any moment (a command made while its data source
// reconnects), and a copy must never start without one.
CBaseOLEDBClass::CBaseOLEDBClass(bool uiEnabled)
    : m_pIMalloc(ProcessTaskAllocator()), m_bUIEnabled(uiEnabled) {}

CBaseOLEDBClass::CBaseOLEDBClass(const CBaseOLEDBClass& other, bool uiEnabled)
    : m_pIMalloc(other.m_pIMalloc), m_pErrorCallback(other.m_pErrorCallback),
      m_pSuccessCallback(other.m_pSuccessCallback), m_pErrorUserObject(other.m_pErrorUserObject),
      m_pSuccessUserObject(other.m_pSuccessUserObject), m_bUIEnabled(uiEnabled),
      m_eSQLDatabaseType(other.m_eSQLDatabaseType), m_eOLEDBProvider(other.m_eOLEDBProvider),
      m_spErrorSeverityMap(other.m_spErrorSeverityMap) {
    if (m_pIMalloc)
        m_pIMalloc->AddRef();
    else
        m_pIMalloc = ProcessTaskAllocator();
}

CBaseOLEDBClass::~CBaseOLEDBClass() {
    try {
        CBaseOLEDBClass::Release();
        if (m_pIMalloc != nullptr) {
            // IMalloc::Release answers the remaining reference count; it is
            // judged like a result code so that a broken allocator still
            // gets reported.
            const ULONG remaining = std::exchange(m_pIMalloc, nullptr)->Release();
            CheckError(static_cast<HRESULT>(remaining), MsgCantReleaseAllocator,
                       HDB_SOURCE_POS(L"__cdecl CBaseOLEDBClass::~CBaseOLEDBClass(void)"),
                       CBasicStringView<wchar_t>());
        }
    } catch (...) {
        // A destructor must not throw; the report has been delivered already.
    }
    m_spErrorSeverityMap.reset();
}

bool CBaseOLEDBClass::Release() {
    // The state text is kept: the next error overwrites it, and it goes
    // with the object. The allocator stays for the object's next use.
    m_pwszErrorDescription.reset();
    m_pwszErrorSource.reset();
    return true;
}

// ---------------------------------------------------------------- accessors

void CBaseOLEDBClass::SetCallBackForErrorMessages(MessageCallback callback, void* userObject) {
    m_pErrorCallback = callback;
    m_pErrorUserObject = userObject;
}

void CBaseOLEDBClass::SetCallBackForSuccessMessages(MessageCallback callback, void* userObject) {
    m_pSuccessCallback = callback;
    m_pSuccessUserObject = userObject;
}

void CBaseOLEDBClass::SetErrorSeverityMap(const ErrorSeverityMapPtr& severityMap) {
    m_spErrorSeverityMap = severityMap;
}

CBasicStringView<wchar_t> CBaseOLEDBClass::ErrorSourceText() const {
    return ViewOfBuffer(m_pwszErrorSource);
}

CBasicStringView<wchar_t> CBaseOLEDBClass::ErrorDescriptionText() const {
    return ViewOfBuffer(m_pwszErrorDescription);
}

CBasicStringView<wchar_t> CBaseOLEDBClass::SQLStateText() const {
    return ViewOfBuffer(m_pwszSQLState);
}

bool CBaseOLEDBClass::HasSeverityMap() const {
    return m_spErrorSeverityMap && !m_spErrorSeverityMap->empty();
}

void CBaseOLEDBClass::CreateMissingTextBuffers() {
    for (auto* buffer : {&m_pwszErrorDescription, &m_pwszErrorSource, &m_pwszSQLState}) {
        if (!*buffer) {
            *buffer = std::make_unique<wchar_t[]>(TextBufferSize);
            (*buffer)[0] = L'\0';
        }
    }
}

// ---------------------------------------------------------------- judging

bool CBaseOLEDBClass::IsErrorResult(HRESULT hr) {
    return FAILED(hr) || hr == DB_S_ERRORSOCCURRED;
}

bool CBaseOLEDBClass::CheckError(HRESULT hr, unsigned int messageId, IUnknown* source,
                                 const GUID& interfaceId, const LoggingSourcePos& position,
                                 const CBasicStringView<wchar_t>& detail) {
    if (!IsErrorResult(hr))
        return false;
    CreateMissingTextBuffers();
    bool severe = false;
    if (source != nullptr) {
        // Whatever could be collected is reported; the walk's own result
        // does not change the judgement of `hr`.
        GetDetailedErrorInfo(source, interfaceId, m_pwszErrorSource.get(), TextCapacity,
                             m_pwszErrorDescription.get(), TextCapacity, m_pwszSQLState.get(),
                             TextCapacity, severe);
    } else {
        ClearText(m_pwszErrorSource.get());
        ClearText(m_pwszErrorDescription.get());
        ClearText(m_pwszSQLState.get());
    }
    DumpError(hr, messageId, ErrorSourceText(), ErrorDescriptionText(), SQLStateText(), position,
              detail);
    if (severe)
        throw severe_sql_error(ErrorDescriptionText());
    return true;
}

bool CBaseOLEDBClass::CheckError(HRESULT hr, unsigned int messageId,
                                 const LoggingSourcePos& position,
                                 const CBasicStringView<wchar_t>& detail) {
    return CheckError(hr, messageId, nullptr, GUID_NULL, position, detail);
}

HRESULT CBaseOLEDBClass::GetDetailedErrorInfo(IUnknown* const source, const GUID& interfaceId,
                                              wchar_t* const sourceText, int sourceCapacity,
                                              wchar_t* const descriptionText,
                                              int descriptionCapacity, wchar_t* const stateText,
                                              int stateCapacity, bool& severe) const {
    ClearText(sourceText);
    ClearText(descriptionText);
    ClearText(stateText);
    if (source == nullptr)
        return E_POINTER;

    // Only asked for: a provider without error support leaves no records.
    ComPtr<ISupportErrorInfo> supportErrorInfo;
    HRESULT hr = source->QueryInterface(IID_ISupportErrorInfo, supportErrorInfo.OutVoid());
    if (FAILED(hr))
        return hr;

    ComPtr<IErrorInfo> errorInfo;
    hr = GetErrorInfo(0, errorInfo.Out());
    if (FAILED(hr) || errorInfo.Get() == nullptr)
        return hr;

    ComPtr<IErrorRecords> errorRecords;
    hr = errorInfo->QueryInterface(IID_IErrorRecords, errorRecords.OutVoid());
    if (FAILED(hr))
        return hr;
    ULONG recordCount = 0;
    hr = errorRecords->GetRecordCount(&recordCount);
    if (FAILED(hr))
        return hr;

    const bool rated = HasSeverityMap();
    for (ULONG index = 0; index < recordCount; ++index) {
        ComPtr<IErrorInfo> recordInfo;
        hr = errorRecords->GetErrorInfo(index, EnglishLocale, recordInfo.Out());
        if (FAILED(hr) || recordInfo.Get() == nullptr)
            break;
        BstrRef description;
        BstrRef sourceName;
        hr = recordInfo->GetDescription(description.out());
        if (FAILED(hr))
            break;
        hr = recordInfo->GetSource(sourceName.out());
        if (FAILED(hr))
            break;

        BstrRef sqlState;
        ComPtr<IUnknown> customObject;
        hr = errorRecords->GetCustomErrorObject(index, IID_ISQLErrorInfo, customObject.Out());
        if (SUCCEEDED(hr) && customObject.Get() != nullptr) {
            // Asked for by IID_ISQLErrorInfo, the object is that interface.
            auto* sqlErrorInfo = reinterpret_cast<ISQLErrorInfo*>(customObject.Get());
            LONG nativeError = 0;
            hr = sqlErrorInfo->GetSQLInfo(sqlState.out(), &nativeError);
            if (SUCCEEDED(hr) && rated) {
                const auto entry =
                    m_spErrorSeverityMap->find(static_cast<unsigned int>(nativeError));
                if (entry != m_spErrorSeverityMap->end() && entry->second >= SevereErrorSeverity)
                    severe = true;
            }
        }

        if (description.HasText() && descriptionText != nullptr) {
            if (descriptionText[0] == L'\0')
                AppendBounded(descriptionText, descriptionCapacity, DescriptionPrefix);
            AppendBounded(descriptionText, descriptionCapacity, description.text());
            AppendBounded(descriptionText, descriptionCapacity, LineEnd);
        }
        if (sourceName.HasText() && sourceText != nullptr && sourceText[0] == L'\0') {
            AppendBounded(sourceText, sourceCapacity, SourcePrefix);
            AppendBounded(sourceText, sourceCapacity, sourceName.text());
            AppendBounded(sourceText, sourceCapacity, LineEnd);
        }
        if (sqlState.HasText() && stateText != nullptr) {
            stateText[0] = L'\0';
            AppendBounded(stateText, stateCapacity, rated ? StatePrefix : UnratedStatePrefix);
            AppendBounded(stateText, stateCapacity, sqlState.text());
            AppendBounded(stateText, stateCapacity, LineEnd);
        }
    }
    return hr;
}

bool CBaseOLEDBClass::QuerySessionFactory(IUnknown* dataSourceObject, IDBCreateSession** factory,
                                          const LoggingSourcePos& position) {
    const HRESULT hr = dataSourceObject
                           ? dataSourceObject->QueryInterface(IID_IDBCreateSession,
                                                              reinterpret_cast<void**>(factory))
                           : E_UNEXPECTED;
    if (CheckError(hr, MsgCantQuerySession, dataSourceObject, IID_IDBInitialize, position,
                   CBasicStringView<wchar_t>()) ||
        FAILED(hr) || *factory == nullptr) {
        // A success code judged an error still handed out a reference.
        if (SUCCEEDED(hr) && *factory != nullptr)
            (*factory)->Release();
        *factory = nullptr;
        return false;
    }
    return true;
}

bool CBaseOLEDBClass::CheckNeedRetry(HRESULT hr, IUnknown* source, const GUID& interfaceId) {
    if (!IsErrorResult(hr) || source == nullptr)
        return false;
    ComPtr<ISupportErrorInfo> supportErrorInfo;
    if (FAILED(source->QueryInterface(IID_ISupportErrorInfo, supportErrorInfo.OutVoid())))
        return false;
    if (supportErrorInfo->InterfaceSupportsErrorInfo(interfaceId) != S_OK)
        return false;

    ComPtr<IErrorInfo> errorInfo;
    if (FAILED(GetErrorInfo(0, errorInfo.Out())) || errorInfo.Get() == nullptr)
        return false;
    ComPtr<IErrorRecords> errorRecords;
    if (FAILED(errorInfo->QueryInterface(IID_IErrorRecords, errorRecords.OutVoid())))
        return false;
    ULONG recordCount = 0;
    if (FAILED(errorRecords->GetRecordCount(&recordCount)))
        return false;

    bool deadlockVictim = false;
    for (ULONG index = 0; index < recordCount; ++index) {
        ComPtr<IUnknown> customObject;
        if (FAILED(
                errorRecords->GetCustomErrorObject(index, IID_ISQLErrorInfo, customObject.Out())) ||
            customObject.Get() == nullptr)
            continue;
        auto* sqlErrorInfo = reinterpret_cast<ISQLErrorInfo*>(customObject.Get());
        BstrRef sqlState;
        LONG nativeError = 0;
        if (SUCCEEDED(sqlErrorInfo->GetSQLInfo(sqlState.out(), &nativeError)) &&
            nativeError == DeadlockVictimError)
            deadlockVictim = true;
    }
    return deadlockVictim;
}

// ---------------------------------------------------------------- reports

void CBaseOLEDBClass::Deliver(MessageCallback callback, void* userObject, const wchar_t* message,
                              std::size_t length, const wchar_t* caption, HRESULT hr,
                              const LoggingSourcePos& position) const {
    if (callback == nullptr)
        return;
    CBasicString<wchar_t> messageText;
    CBasicString<wchar_t> captionText;
    try {
        messageText = CBasicString<wchar_t>(message, length);
        captionText = CBasicString<wchar_t>(caption);
    } catch (const std::bad_alloc&) {
        return; // reporting never fails outward: a report that cannot be built is dropped
    }
    callback(messageText, captionText, hr, position, m_bUIEnabled, userObject);
}

void CBaseOLEDBClass::DumpError(HRESULT hr, unsigned int captionId,
                                const CBasicStringView<wchar_t>& source,
                                const CBasicStringView<wchar_t>& description,
                                const CBasicStringView<wchar_t>& state,
                                const LoggingSourcePos& position,
                                const CBasicStringView<wchar_t>& detail) const {
    const wchar_t* caption = CMessageTable::TextOrUnknown(captionId);
    std::unique_ptr<wchar_t[]> report = BuildReport(hr, L"HResult of 0x%lx (%ld) returned\r\n",
                                                    {&source, &description, &state}, detail);
    if (!report)
        return;
    if (source.empty() && description.empty() && detail.empty())
        AppendBounded(report.get(), ReportBufferSize,
                      CMessageTable::TextOrUnknown(MsgNoAdditionalErrorInformation));
    Deliver(m_pErrorCallback, m_pErrorUserObject, report.get(), std::wcslen(report.get()), caption,
            hr, position);
}

void CBaseOLEDBClass::DumpSuccess(HRESULT hr, unsigned int captionId,
                                  const CBasicStringView<wchar_t>& first,
                                  const CBasicStringView<wchar_t>& second,
                                  const LoggingSourcePos& position,
                                  const CBasicStringView<wchar_t>& detail) const {
    const wchar_t* caption = CMessageTable::TextOrUnknown(captionId);
    // The success fallback has always been written with %x; both print the
    // same 32-bit value.
    std::unique_ptr<wchar_t[]> report =
        BuildReport(hr, L"HResult of 0x%x (%ld) returned\r\n", {&first, &second}, detail);
    if (!report)
        return;
    Deliver(m_pSuccessCallback, m_pSuccessUserObject, report.get(), std::wcslen(report.get()),
            caption, hr, position);
}

void CBaseOLEDBClass::DumpErrorHResult(const HRESULT hr, const wchar_t* const caption,
                                       const wchar_t* const) const {
    wchar_t* systemText = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, static_cast<DWORD>(hr), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
        reinterpret_cast<LPWSTR>(&systemText), 0, nullptr);
    const wchar_t* captionText = caption ? caption : L"";
    if (length != 0 && systemText != nullptr) {
        Deliver(m_pErrorCallback, m_pErrorUserObject, systemText, std::wcslen(systemText),
                captionText, hr,
                HDB_SOURCE_POS(L"void __cdecl CBaseOLEDBClass::DumpErrorHResult(const long,"
                               L"const wchar_t *const ,const wchar_t *const ) const"));
        LocalFree(systemText);
        return;
    }
    if (systemText != nullptr)
        LocalFree(systemText);
    CString message;
    message.Format(L"HResult of %ld returned", hr);
    Deliver(m_pErrorCallback, m_pErrorUserObject, message.GetString(),
            static_cast<std::size_t>(message.GetLength()), captionText, hr,
            HDB_SOURCE_POS(L"void __cdecl CBaseOLEDBClass::DumpErrorHResult(const long,"
                           L"const wchar_t *const ,const wchar_t *const ) const"));
}

bool CBaseOLEDBClass::OutputError(unsigned int captionId, const CBasicStringView<wchar_t>& text,
                                  const LoggingSourcePos& position) const {
    DumpError(0, captionId, ErrorSourceText(), ErrorDescriptionText(), SQLStateText(), position,
              text);
    return true;
}

bool CBaseOLEDBClass::OutputError(unsigned int captionId, unsigned int textId,
                                  const LoggingSourcePos& position) const {
    CBasicStringView<wchar_t> text;
    return FindMessage(textId, text) && OutputError(captionId, text, position);
}

bool CBaseOLEDBClass::OutputSuccess(unsigned int captionId, const CBasicStringView<wchar_t>& text,
                                    const LoggingSourcePos& position) const {
    // A success report repeats what the last error left, so a recovery can be
    // told together with what it recovered from.
    DumpSuccess(0, captionId, ErrorSourceText(), ErrorDescriptionText(), position, text);
    return true;
}

bool CBaseOLEDBClass::OutputSuccess(unsigned int captionId, unsigned int textId,
                                    const LoggingSourcePos& position) const {
    CBasicStringView<wchar_t> text;
    return FindMessage(textId, text) && OutputSuccess(captionId, text, position);
}

// ---------------------------------------------------------------- traits

bool CBaseOLEDBClass::IsSqlServer(enumSQLDatabaseType databaseType) {
    switch (databaseType) {
    case eSQLServer:
    case eSQLServerNativeClient:
    case eSQLServerNativeClient10:
    case eSQLServerNativeClient11:
    case eSQLServerOLEDBDriver:
        return true;
    default:
        return false;
    }
}

// Bulk insertion is offered where the provider has a fast-load rowset, which
// today means SQL Server.
bool CBaseOLEDBClass::IsFastLoadSupported(enumSQLDatabaseType databaseType) {
    return IsSqlServer(databaseType);
}

// SELECT TOP (n) is SQL Server's own syntax.
bool CBaseOLEDBClass::IsSelectTopNSupported(enumSQLDatabaseType databaseType) {
    return IsSqlServer(databaseType);
}

const CLSID& CBaseOLEDBClass::GetProviderClassId(enumOLEDBProvider provider,
                                                 enumSQLDatabaseType databaseType) {
    switch (provider) {
    case eProviderODBC:
        return CLSID_HDB_MSDASQL;
    case eProviderSQLOLEDB:
        return CLSID_HDB_SQLOLEDB;
    case eProviderNativeClient:
        if (databaseType == eSQLServerNativeClient10)
            return CLSID_HDB_SQLNCLI10;
        if (databaseType == eSQLServerNativeClient11)
            return CLSID_HDB_SQLNCLI11;
        return CLSID_HDB_SQLNCLI;
    case eProviderOracle:
        return CLSID_HDB_ORAOLEDB;
    case eProviderOLEDBDriver:
        return databaseType == eSQLServerOLEDBDriver ? CLSID_HDB_MSOLEDBSQL : CLSID_HDB_MSDASQL;
    case eProvider5:
        return CLSID_HDB_EMBEDDED;
    default:
        return CLSID_HDB_MSDASQL;
    }
}

CBaseOLEDBClass::enumSQLDatabaseType CBaseOLEDBClass::SQLDatabaseTypeFromInt(int value) {
    return static_cast<enumSQLDatabaseType>(static_cast<std::int8_t>(value));
}

CBaseOLEDBClass::enumOLEDBProvider CBaseOLEDBClass::OLEDBProviderFromInt(int value) {
    return static_cast<enumOLEDBProvider>(static_cast<std::int8_t>(value));
}

// ---------------------------------------------------------------- properties

HRESULT CBaseOLEDBClass::SetProperty(DBPROPID propertyId, const GUID& propertySet, ULONG* setCount,
                                     DBPROPSET** sets, VARTYPE variantType, const void* value,
                                     DBPROPOPTIONS options, const DBID& column) {
    if (setCount == nullptr || sets == nullptr)
        return E_INVALIDARG;

    // The last set with this GUID takes the property.
    DBPROPSET* set = nullptr;
    for (ULONG i = *setCount; i > 0; --i) {
        if ((*sets)[i - 1].guidPropertySet == propertySet) {
            set = &(*sets)[i - 1];
            break;
        }
    }
    if (set == nullptr) {
        auto* grown = static_cast<DBPROPSET*>(
            CoTaskMemRealloc(*sets, (static_cast<SIZE_T>(*setCount) + 1) * sizeof(DBPROPSET)));
        if (grown == nullptr)
            return E_OUTOFMEMORY;
        // Written back at once: the old array may be gone.
        *sets = grown;
        set = &grown[*setCount];
        set->rgProperties = nullptr;
        set->cProperties = 0;
        set->guidPropertySet = propertySet;
        ++*setCount;
    }

    auto* properties = static_cast<DBPROP*>(CoTaskMemRealloc(
        set->rgProperties, (static_cast<SIZE_T>(set->cProperties) + 1) * sizeof(DBPROP)));
    if (properties == nullptr)
        return E_OUTOFMEMORY;
    set->rgProperties = properties;
    DBPROP& property = properties[set->cProperties];
    property.dwPropertyID = propertyId;
    property.dwOptions = options;
    property.dwStatus = 0;
    property.colid = column;
    VariantInit(&property.vValue);
    // Counted before the value is filled, so the array stays whole for
    // FreeProperties even if a text copy throws below.
    ++set->cProperties;

    if (value == nullptr)
        return S_OK;
    VARIANT& variant = property.vValue;
    switch (variantType) {
    case VT_I2:
        variant.vt = VT_I2;
        variant.iVal = *static_cast<const SHORT*>(value);
        break;
    case VT_I4:
        variant.vt = VT_I4;
        variant.lVal = *static_cast<const LONG*>(value);
        break;
    case VT_BOOL:
        variant.vt = VT_BOOL;
        variant.boolVal = *static_cast<const VARIANT_BOOL*>(value);
        break;
    case VT_VARIANT:
        // The system's VariantCopy takes its source as non-const; it only reads it.
        VariantCopy(&variant, const_cast<VARIANT*>(static_cast<const VARIANT*>(value)));
        break;
    case VT_BSTR:
    case DBTYPE_WSTR: {
        BSTR text = SysAllocString(static_cast<const wchar_t*>(value));
        if (text == nullptr)
            AtlThrow(E_OUTOFMEMORY);
        variant.vt = VT_BSTR;
        variant.bstrVal = text;
        break;
    }
    default:
        break; // kept as an empty value; the provider judges the property
    }
    return S_OK;
}

HRESULT CBaseOLEDBClass::SetProperty(DBPROPID propertyId, const GUID& propertySet, ULONG* setCount,
                                     DBPROPSET** sets, VARTYPE variantType, ULONG value,
                                     DBPROPOPTIONS options, const DBID& column) {
    return SetProperty(propertyId, propertySet, setCount, sets, variantType,
                       static_cast<const void*>(&value), options, column);
}

HRESULT CBaseOLEDBClass::GetProperty(IUnknown* const object, DBPROPID propertyId,
                                     const GUID& propertySet, DBPROP** property) {
    if (object == nullptr || property == nullptr)
        return S_FALSE;
    *property = nullptr;

    ComPtr<IDBProperties> dbProperties;
    HRESULT hr = object->QueryInterface(IID_IDBProperties, dbProperties.OutVoid());
    if (SUCCEEDED(hr))
        return ReadOneProperty(dbProperties.Get(), propertyId, propertySet, property);

    ComPtr<ICommandProperties> commandProperties;
    hr = object->QueryInterface(IID_ICommandProperties, commandProperties.OutVoid());
    if (SUCCEEDED(hr))
        return ReadOneProperty(commandProperties.Get(), propertyId, propertySet, property);

    ComPtr<IRowsetInfo> rowsetInfo;
    hr = object->QueryInterface(IID_IRowsetInfo, rowsetInfo.OutVoid());
    if (SUCCEEDED(hr))
        return ReadOneProperty(rowsetInfo.Get(), propertyId, propertySet, property);
    return hr;
}

HRESULT CBaseOLEDBClass::GetProperty(IUnknown* const object, DBPROPID propertyId,
                                     const GUID& propertySet, ULONG* value) {
    if (value == nullptr)
        return S_FALSE;
    return ReadPropertyValue(&CBaseOLEDBClass::GetProperty, object, propertyId, propertySet,
                             [value](const VARIANT& v) { *value = v.ulVal; });
}

HRESULT CBaseOLEDBClass::GetProperty(IUnknown* const object, DBPROPID propertyId,
                                     const GUID& propertySet, bool* value) {
    if (value == nullptr)
        return S_FALSE;
    return ReadPropertyValue(&CBaseOLEDBClass::GetProperty, object, propertyId, propertySet,
                             [value](const VARIANT& v) { *value = v.boolVal == VARIANT_TRUE; });
}

HRESULT CBaseOLEDBClass::GetProperty(IUnknown* const object, DBPROPID propertyId,
                                     const GUID& propertySet, wchar_t** value) {
    if (value == nullptr)
        return S_FALSE;
    return ReadPropertyValue(
        &CBaseOLEDBClass::GetProperty, object, propertyId, propertySet, [value](const VARIANT& v) {
            *value = TaskMemCopy(v.vt == VT_BSTR && v.bstrVal != nullptr ? v.bstrVal : L"");
        });
}

HRESULT CBaseOLEDBClass::GetProperty(IUnknown* const object, DBPROPID propertyId,
                                     const GUID& propertySet, wchar_t* buffer, size_t capacity) {
    if (buffer == nullptr || capacity == 0)
        return S_FALSE;
    return ReadPropertyValue(&CBaseOLEDBClass::GetProperty, object, propertyId, propertySet,
                             [buffer, capacity](const VARIANT& v) {
                                 const wchar_t* text =
                                     v.vt == VT_BSTR && v.bstrVal != nullptr ? v.bstrVal : L"";
                                 buffer[0] = L'\0';
                                 AppendBounded(buffer, capacity, text);
                             });
}

HRESULT CBaseOLEDBClass::FreeProperties(size_t count, DBPROP* properties) {
    return FreeTaskArray(properties, count, ClearProperty);
}

HRESULT CBaseOLEDBClass::FreeProperties(size_t count, DBPROPSET* sets) {
    return FreeTaskArray(sets, count, ClearPropertySet);
}

HRESULT CBaseOLEDBClass::GetPropInfo(IUnknown* const object, DBPROPID propertyId,
                                     const GUID& propertySet, DBPROPINFO** info) {
    if (object == nullptr || info == nullptr)
        return E_INVALIDARG;
    *info = nullptr;
    ComPtr<IDBProperties> dbProperties;
    HRESULT hr = object->QueryInterface(IID_IDBProperties, dbProperties.OutVoid());
    if (FAILED(hr))
        return hr;

    DBPROPIDSET idSet = OneIdSet(propertyId, propertySet);
    ULONG infoSetCount = 0;
    DBPROPINFOSET* infoSets = nullptr;
    // No description buffer asked for: the descriptions would point into it.
    hr = dbProperties->GetPropertyInfo(1, &idSet, &infoSetCount, &infoSets, nullptr);
    for (ULONG i = 0; i < infoSetCount && infoSets != nullptr; ++i) {
        if (i == 0 && SUCCEEDED(hr) && infoSets[0].cPropertyInfos > 0) {
            *info = infoSets[0].rgPropertyInfos;
            continue;
        }
        FreeTaskArray(infoSets[i].rgPropertyInfos, infoSets[i].cPropertyInfos, ClearPropInfo);
    }
    CoTaskMemFree(infoSets);
    return hr;
}

DBPROPFLAGS CBaseOLEDBClass::GetPropInfoFlags(IUnknown* const object, DBPROPID propertyId,
                                              const GUID& propertySet) {
    DBPROPINFO* info = nullptr;
    GetPropInfo(object, propertyId, propertySet, &info);
    if (info == nullptr)
        return 0;
    const DBPROPFLAGS flags = info->dwFlags;
    FreeTaskArray(info, 1, ClearPropInfo);
    return flags;
}

bool CBaseOLEDBClass::IsSupportedProperty(IUnknown* const object, DBPROPID propertyId,
                                          const GUID& propertySet) {
    return GetPropInfoFlags(object, propertyId, propertySet) != DBPROPFLAGS_NOTSUPPORTED;
}

bool CBaseOLEDBClass::IsSettableProperty(IUnknown* const object, DBPROPID propertyId,
                                         const GUID& propertySet) {
    return (GetPropInfoFlags(object, propertyId, propertySet) & DBPROPFLAGS_WRITE) != 0;
}

wchar_t* CBaseOLEDBClass::wcsDuplicate(wchar_t* const text) {
    return TaskMemCopy(text);
}

// ---------------------------------------------------------------- task memory

void* CBaseOLEDBClass::AllocTaskMem(size_t size) const {
    if (m_pIMalloc == nullptr)
        return nullptr;
    try {
        return m_pIMalloc->Alloc(size);
    } catch (...) {
        return nullptr;
    }
}

bool CBaseOLEDBClass::FreeTaskMemory(void* const memory) const {
    if (m_pIMalloc == nullptr)
        return false;
    m_pIMalloc->Free(memory);
    return true;
}
