// The common base of every object of the library.
//
// It carries the reporting frame: judging OLE DB result codes, collecting the
// provider's error records, composing reports from the message table and
// handing them to the callbacks the application installed; the error severity
// map that turns severe server errors into severe_sql_error; the deadlock
// retry rule; the database-type and provider enumerations with their traits
// and the provider table; and the OLE DB property helpers and task memory.
//
// An object made from another (a command from a data source, a rowset from a
// command ...) copies the other's reporting frame, so callbacks and the
// severity map installed on the data source reach everything made from it.
// The text buffers are per object: one object must not report from two
// threads at once.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/LoggingSourcePos.h"
#include "haldendb/severe_sql_error.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

class HALDENDB_API CBaseOLEDBClass {
public:
    // Which database product a connection talks to. Values outside the named
    // ones are accepted everywhere and behave like eGenericDatabase.
    enum enumSQLDatabaseType : std::int8_t {
        eSQLServer = 0,
        eGenericDatabase = 1,
        eMySQL = 2,
        eSQLServerNativeClient = 3,
        eSQLServerNativeClient10 = 4,
        eSQLServerNativeClient11 = 5,
        eSQLServerOLEDBDriver = 6,
        eLimitDialectDatabase = 7,
    };

    // Which OLE DB provider reaches the database. Values outside the named
    // ones reach the ODBC provider.
    enum enumOLEDBProvider : std::int8_t {
        eProviderODBC = 0,
        eProviderSQLOLEDB = 1,
        eProviderNativeClient = 2,
        eProviderOracle = 3,
        eProviderOLEDBDriver = 4,
        eProvider5 = 5,
    };

    // Receives every report: message, caption, result code (0 for free-text
    // reports), the reporting call site, the object's UI flag and the user
    // object installed with the callback.
    using MessageCallback = void (*)(const CBasicString<wchar_t>& message,
                                     const CBasicString<wchar_t>& caption, HRESULT hr,
                                     const LoggingSourcePos& position, bool uiEnabled,
                                     void* userObject);

    // Native server error number -> server severity.
    using ErrorSeverityMap = std::map<unsigned int, unsigned short>;
    using ErrorSeverityMapPtr = std::shared_ptr<ErrorSeverityMap>;

    // Every text buffer holds this many characters; writers get one less.
    static constexpr std::size_t TextBufferSize = 911;
    static constexpr int TextCapacity = 910;
    // Size of a composed report, terminator included.
    static constexpr std::size_t ReportBufferSize = 4000;
    // A native error at or above this severity throws severe_sql_error.
    static constexpr unsigned short SevereErrorSeverity = 17;
    // The native error of a statement chosen as deadlock victim.
    static constexpr LONG DeadlockVictimError = 1205;

    // The process's task allocator; no text buffers, no callbacks or user
    // objects, no severity map; database type eSQLServerNativeClient11,
    // provider eProviderNativeClient.
    explicit CBaseOLEDBClass(bool uiEnabled);
    // Inherits `other`'s reporting frame: a new reference to its allocator,
    // both callbacks and user objects, database type, provider and the shared
    // severity map. The UI flag comes from the argument; no text buffers.
    CBaseOLEDBClass(const CBaseOLEDBClass& other, bool uiEnabled);
    CBaseOLEDBClass& operator=(const CBaseOLEDBClass&) = delete;
    // Calls Release and lets the allocator go, swallowing whatever throws.
    virtual ~CBaseOLEDBClass();

    // Frees the text buffers; the object stays usable, its allocator with it
    // (the allocator goes with the object). True.
    virtual bool Release();

    // ---------------------------------------------------------- callbacks

    void SetCallBackForErrorMessages(MessageCallback callback, void* userObject);
    void SetCallBackForSuccessMessages(MessageCallback callback, void* userObject);
    MessageCallback GetCallBackForErrorMessages() const { return m_pErrorCallback; }
    MessageCallback GetCallBackForSuccessMessages() const { return m_pSuccessCallback; }
    void* getUserDefinedErrorObject() const { return m_pErrorUserObject; }
    void* getUserDefinedSuccessObject() const { return m_pSuccessUserObject; }
    void SetUIEnabled(bool uiEnabled) { m_bUIEnabled = uiEnabled; }
    bool GetUIEnabled() const { return m_bUIEnabled; }
    // Shares the map (does not copy it); fill it before sharing it.
    void SetErrorSeverityMap(const ErrorSeverityMapPtr& severityMap);
    const ErrorSeverityMapPtr& GetErrorSeverityMap() const { return m_spErrorSeverityMap; }

    // ---------------------------------------------------------- reporting

    // Judges `hr`: false for a success (nothing is touched). For an error
    // (negative, or DB_S_ERRORSOCCURRED) collects the error records `source`
    // left on this thread, reports them under caption `messageId` with
    // `detail`, and returns true. Throws severe_sql_error, after the report,
    // when a record's native error is rated severe by the severity map.
    bool CheckError(HRESULT hr, unsigned int messageId, IUnknown* source, const GUID& interfaceId,
                    const LoggingSourcePos& position, const CBasicStringView<wchar_t>& detail);

    // True for the results that count as failures.
    static bool IsErrorResult(HRESULT hr);

    // ---------------------------------------------------------- traits

    static bool IsSqlServer(enumSQLDatabaseType databaseType);
    static bool IsFastLoadSupported(enumSQLDatabaseType databaseType);
    static bool IsSelectTopNSupported(enumSQLDatabaseType databaseType);
    enumSQLDatabaseType GetSQLDatabaseType() const { return m_eSQLDatabaseType; }
    enumOLEDBProvider GetOLEDBProvider() const { return m_eOLEDBProvider; }

    // The provider table: the class id of the provider that `provider`
    // selects for a database of `databaseType`. Never fails: unknown
    // providers give the ODBC provider.
    static const CLSID& GetProviderClassId(enumOLEDBProvider provider,
                                           enumSQLDatabaseType databaseType);

    // Settings deliver these as int; only the low byte counts, unchecked.
    static enumSQLDatabaseType SQLDatabaseTypeFromInt(int value);
    static enumOLEDBProvider OLEDBProviderFromInt(int value);

    // ---------------------------------------------------------- properties

    // Appends one property to a caller-owned array of property sets (COM task
    // memory), into the last set with `propertySet`'s GUID or a new set.
    // `value` points at a VT_I2, VT_I4, VT_BOOL (VARIANT_BOOL) or VT_VARIANT
    // value, or at the wide text for VT_BSTR / 130 (stored as VT_BSTR); for
    // other types, or a null `value`, the property gets an empty VARIANT.
    // S_OK; E_OUTOFMEMORY when an array cannot grow. Throws CAtlException
    // (E_OUTOFMEMORY) when a text copy cannot be allocated; the property is
    // then in the array with an empty value. Free with FreeProperties.
    static HRESULT SetProperty(DBPROPID propertyId, const GUID& propertySet, ULONG* setCount,
                               DBPROPSET** sets, VARTYPE variantType, const void* value,
                               DBPROPOPTIONS options, const DBID& column);
    // The same for a value passed as a 32-bit number.
    static HRESULT SetProperty(DBPROPID propertyId, const GUID& propertySet, ULONG* setCount,
                               DBPROPSET** sets, VARTYPE variantType, ULONG value,
                               DBPROPOPTIONS options, const DBID& column);

    // Read one property of an object offering IDBProperties,
    // ICommandProperties or IRowsetInfo. The value is written only on
    // success; S_FALSE for a null object or result pointer.
    static HRESULT GetProperty(IUnknown* const object, DBPROPID propertyId, const GUID& propertySet,
                               ULONG* value);
    // True only for VARIANT_TRUE.
    static HRESULT GetProperty(IUnknown* const object, DBPROPID propertyId, const GUID& propertySet,
                               bool* value);
    // A task-memory copy of the text (free with CoTaskMemFree).
    static HRESULT GetProperty(IUnknown* const object, DBPROPID propertyId, const GUID& propertySet,
                               wchar_t** value);
    // The text copied into `buffer` of `capacity` characters (terminator
    // included), cut to fit.
    static HRESULT GetProperty(IUnknown* const object, DBPROPID propertyId, const GUID& propertySet,
                               wchar_t* buffer, size_t capacity);

    // The provider's information on one property (task memory, free the
    // array with CoTaskMemFree after clearing vValues); null when the object
    // has no IDBProperties or knows nothing of the property.
    static HRESULT GetPropInfo(IUnknown* const object, DBPROPID propertyId, const GUID& propertySet,
                               DBPROPINFO** info);
    // The property's DBPROPFLAGS, 0 when they cannot be had.
    static DBPROPFLAGS GetPropInfoFlags(IUnknown* const object, DBPROPID propertyId,
                                        const GUID& propertySet);
    static bool IsSupportedProperty(IUnknown* const object, DBPROPID propertyId,
                                    const GUID& propertySet);
    static bool IsSettableProperty(IUnknown* const object, DBPROPID propertyId,
                                   const GUID& propertySet);

    // ---------------------------------------------------------- task memory

    // IMalloc::Alloc through the object's allocator; null without one or
    // when the allocation fails.
    void* AllocTaskMem(size_t size) const;
    // IMalloc::Free; false without an allocator.
    bool FreeTaskMemory(void* const memory) const;
    // Frees the task memory `memory` holds, if any, and clears it.
    template <class T> void FreeTaskMemoryAndClear(T*& memory) const {
        if (memory != nullptr) {
            FreeTaskMemory(memory);
            memory = nullptr;
        }
    }
    operator IMalloc*() const { return m_pIMalloc; }

protected:
    // CheckError without a source object: no error records are read.
    bool CheckError(HRESULT hr, unsigned int messageId, const LoggingSourcePos& position,
                    const CBasicStringView<wchar_t>& detail);

    // Asks a data source object for its IDBCreateSession into *factory. A
    // failure is reported at `position` and leaves *factory null; without an
    // object the call is unexpected. True on success.
    bool QuerySessionFactory(IUnknown* dataSourceObject, IDBCreateSession** factory,
                             const LoggingSourcePos& position);

    // True when `hr` failed because the statement was chosen as a deadlock
    // victim (a record of `source` with native error 1205): worth a retry.
    static bool CheckNeedRetry(HRESULT hr, IUnknown* source, const GUID& interfaceId);

    // Composes an error report under caption `captionId` (the HResult line
    // unless hr is 0, then source, description, state and detail) and hands
    // it to the error callback.
    void DumpError(HRESULT hr, unsigned int captionId, const CBasicStringView<wchar_t>& source,
                   const CBasicStringView<wchar_t>& description,
                   const CBasicStringView<wchar_t>& state, const LoggingSourcePos& position,
                   const CBasicStringView<wchar_t>& detail) const;
    // The same for the success callback, with two texts and no fallback line.
    void DumpSuccess(HRESULT hr, unsigned int captionId, const CBasicStringView<wchar_t>& first,
                     const CBasicStringView<wchar_t>& second, const LoggingSourcePos& position,
                     const CBasicStringView<wchar_t>& detail) const;
    // Reports the system's text for `hr` (or "HResult of %ld returned") under
    // the given caption. The third argument is not used.
    void DumpErrorHResult(const HRESULT hr, const wchar_t* const caption,
                          const wchar_t* const) const;

    // Re-issue the texts of the last error with `text` and no HResult line.
    bool OutputError(unsigned int captionId, const CBasicStringView<wchar_t>& text,
                     const LoggingSourcePos& position) const;
    // The text looked up by number; false (nothing reported) when unknown.
    bool OutputError(unsigned int captionId, unsigned int textId,
                     const LoggingSourcePos& position) const;
    bool OutputSuccess(unsigned int captionId, const CBasicStringView<wchar_t>& text,
                       const LoggingSourcePos& position) const;
    bool OutputSuccess(unsigned int captionId, unsigned int textId,
                       const LoggingSourcePos& position) const;

    // Walks the error records `source` left on this thread into the three
    // texts (each may be null; capacities count the terminator). Sets
    // `severe` when the severity map rates a record's native error severe,
    // never clears it. Returns the result of the last call made.
    HRESULT GetDetailedErrorInfo(IUnknown* const source, const GUID& interfaceId,
                                 wchar_t* const sourceText, int sourceCapacity,
                                 wchar_t* const descriptionText, int descriptionCapacity,
                                 wchar_t* const stateText, int stateCapacity, bool& severe) const;

    // The raw property read: on success *property is a one-entry DBPROP array
    // in task memory (free with FreeProperties).
    static HRESULT GetProperty(IUnknown* const object, DBPROPID propertyId, const GUID& propertySet,
                               DBPROP** property);
    // Clear every value, then free the array(s). The result of the last
    // VariantClear (S_OK for an empty array).
    static HRESULT FreeProperties(size_t count, DBPROP* properties);
    static HRESULT FreeProperties(size_t count, DBPROPSET* sets);

    // A task-memory copy of `text`; null for null text or when out of memory.
    static wchar_t* wcsDuplicate(wchar_t* const text);

    // The last error's texts; empty when no error was collected yet.
    CBasicStringView<wchar_t> ErrorSourceText() const;
    CBasicStringView<wchar_t> ErrorDescriptionText() const;
    CBasicStringView<wchar_t> SQLStateText() const;

    // The process's COM task allocator (owned reference), held from
    // construction to destruction and never replaced meanwhile.
    IMalloc* m_pIMalloc = nullptr;
    // The texts of the last error, created on first use.
    std::unique_ptr<wchar_t[]> m_pwszErrorDescription;
    std::unique_ptr<wchar_t[]> m_pwszErrorSource;
    std::unique_ptr<wchar_t[]> m_pwszSQLState;
    MessageCallback m_pErrorCallback = nullptr;
    MessageCallback m_pSuccessCallback = nullptr;
    void* m_pErrorUserObject = nullptr;
    void* m_pSuccessUserObject = nullptr;
    bool m_bUIEnabled = false;
    enumSQLDatabaseType m_eSQLDatabaseType = eSQLServerNativeClient11;
    enumOLEDBProvider m_eOLEDBProvider = eProviderNativeClient;
    ErrorSeverityMapPtr m_spErrorSeverityMap;

private:
    void CreateMissingTextBuffers();
    bool HasSeverityMap() const;
    // Delivers a composed report to `callback`, if there is one.
    void Deliver(MessageCallback callback, void* userObject, const wchar_t* message,
                 std::size_t length, const wchar_t* caption, HRESULT hr,
                 const LoggingSourcePos& position) const;
};
