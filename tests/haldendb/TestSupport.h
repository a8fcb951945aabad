// Helpers shared by the library's tests: a report collector for the
// callbacks, a base object with its protected members opened up, small COM
// test objects and a COM reference holder, guards for the thread's UI
// language and for a temporary folder, and one that points the settings
// library at an empty file for the life of a test.
#pragma once

#include "haldendb/haldendb.h"
#include "hdbplatform/ComPtr.h"
#include "hdbplatform/ErrorObject.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <utility>
#include <tuple>
#include <string>
#include <vector>

namespace hdbtest {

struct Report {
    std::wstring message;
    std::wstring caption;
    HRESULT hr = 0;
    std::wstring function;
    std::uint32_t line = 0;
    bool uiEnabled = false;
};

// Collects what a callback receives; install it with its own address as the
// user object.
struct ReportCollector {
    std::vector<Report> reports;

    static void Collect(const CBasicString<wchar_t>& message, const CBasicString<wchar_t>& caption,
                        HRESULT hr, const LoggingSourcePos& position, bool uiEnabled,
                        void* userObject) {
        static_cast<ReportCollector*>(userObject)
            ->reports.push_back({std::wstring(message), std::wstring(caption), hr,
                                 std::wstring(position.function.data(), position.function.size()),
                                 position.line, uiEnabled});
    }
};

// The base with its protected members public, reporting into two collectors.
class ReportingObject : public CBaseOLEDBClass {
public:
    explicit ReportingObject(bool uiEnabled = false) : CBaseOLEDBClass(uiEnabled) {
        SetCallBackForErrorMessages(&ReportCollector::Collect, &errors);
        SetCallBackForSuccessMessages(&ReportCollector::Collect, &successes);
    }
    ReportingObject(const CBaseOLEDBClass& other, bool uiEnabled)
        : CBaseOLEDBClass(other, uiEnabled) {}

    using CBaseOLEDBClass::CheckError;
    using CBaseOLEDBClass::CheckNeedRetry;
    using CBaseOLEDBClass::DumpErrorHResult;
    using CBaseOLEDBClass::ErrorDescriptionText;
    using CBaseOLEDBClass::FreeProperties;
    using CBaseOLEDBClass::GetProperty;
    using CBaseOLEDBClass::OutputError;
    using CBaseOLEDBClass::OutputSuccess;
    using CBaseOLEDBClass::wcsDuplicate;

    // Takes over the reference the caller holds, in place of the process's.
    void AdoptAllocator(IMalloc* allocator) {
        if (m_pIMalloc != nullptr)
            m_pIMalloc->Release();
        m_pIMalloc = allocator;
    }
    void SetTypes(enumSQLDatabaseType databaseType, enumOLEDBProvider provider) {
        m_eSQLDatabaseType = databaseType;
        m_eOLEDBProvider = provider;
    }

    ReportCollector errors;
    ReportCollector successes;
};

using DbType = CBaseOLEDBClass::enumSQLDatabaseType;

// A database type from its settings value, as the library reads it.
inline DbType Type(int value) {
    return CBaseOLEDBClass::SQLDatabaseTypeFromInt(value);
}

inline LoggingSourcePos TestPosition() {
    return HDB_SOURCE_POS(L"void __cdecl TestCase(void)");
}

// A minimal COM object: reference counting and QueryInterface over the
// interfaces the derived class names in Answers.
template <class Derived, class... Interfaces> class TestObject : public Interfaces... {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        *out = nullptr;
        if (iid == IID_IUnknown)
            *out = static_cast<IUnknown*>(static_cast<FirstInterface*>(this));
        (Offer<Interfaces>(iid, out), ...);
        if (*out == nullptr)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    IUnknown* unknown() { return static_cast<IUnknown*>(static_cast<FirstInterface*>(this)); }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    std::atomic<ULONG> references{0};

private:
    using FirstInterface = std::tuple_element_t<0, std::tuple<Interfaces...>>;
    template <class I> void Offer(REFIID iid, void** out) {
        if (*out == nullptr && static_cast<Derived*>(this)->Answers(iid, static_cast<I*>(nullptr)))
            *out = static_cast<I*>(this);
    }
};

// Answers ISupportErrorInfo like a provider object that failed a call.
class ErrorSource : public TestObject<ErrorSource, ISupportErrorInfo> {
public:
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID) override { return supports; }
    bool Answers(REFIID iid, ISupportErrorInfo*) const {
        return offersSupport && iid == IID_ISupportErrorInfo;
    }
    HRESULT supports = S_OK;
    bool offersSupport = true;
};

// Leaves `records` (records[0] is record 0) as the thread's error object.
inline void LeaveErrorRecords(std::vector<HdbErrorRecord> records) {
    HdbSetErrorRecords(records.data(), records.size());
}

inline HdbErrorRecord Record(std::wstring description, std::wstring source, std::wstring state,
                             LONG nativeError = 0) {
    HdbErrorRecord record;
    record.hr = DB_E_ERRORSINCOMMAND;
    record.description = std::move(description);
    record.source = std::move(source);
    record.sqlState = std::move(state);
    record.nativeError = nativeError;
    return record;
}

// Sets the thread's UI language for the life of the guard.
class ThreadLanguage {
public:
    explicit ThreadLanguage(LANGID language) : m_previous(GetThreadUILanguage()) {
        SetThreadUILanguage(language);
    }
    ~ThreadLanguage() { SetThreadUILanguage(m_previous); }

private:
    LANGID m_previous;
};

using hdbcom::ComPtr;

// A folder of its own under the system's temporary folder, removed with
// everything in it when the guard goes.
class TempFolder {
public:
    TempFolder() {
        std::random_device random;
        m_path = std::filesystem::temp_directory_path() /
                 ("hdb-ds-" + std::to_string(random()) + "-" + std::to_string(random()));
        std::filesystem::create_directories(m_path);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::wstring File(const std::string& name) const { return (m_path / name).wstring(); }

private:
    std::filesystem::path m_path;
};

// For the life of the guard: the settings library reads an empty file and no
// HALDENDB_* variable, so it answers its built-in defaults; `lines` are
// written to the file first.
class SettingsIsolation {
public:
    explicit SettingsIsolation(const std::string& lines = std::string()) {
        for (const char* name : Names()) {
            const char* value = std::getenv(name);
            m_saved.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
            unsetenv(name);
        }
        m_file = std::filesystem::temp_directory_path() /
                 ("hdb-settings-" + std::to_string(::getpid()) + "-" +
                  std::to_string(reinterpret_cast<std::uintptr_t>(this)) + ".ini");
        std::ofstream(m_file) << lines;
        setenv("HALDENDB_SETTINGS", m_file.c_str(), 1);
    }
    ~SettingsIsolation() {
        for (const auto& [name, value] : m_saved) {
            if (value)
                setenv(name.c_str(), value->c_str(), 1);
            else
                unsetenv(name.c_str());
        }
        std::error_code ignored;
        std::filesystem::remove(m_file, ignored);
    }
    SettingsIsolation(const SettingsIsolation&) = delete;
    SettingsIsolation& operator=(const SettingsIsolation&) = delete;

private:
    static std::vector<const char*> Names() {
        return {"HALDENDB_SETTINGS", "HALDENDB_DATABASE_TYPE", "HALDENDB_PROVIDER",
                "HALDENDB_CONNECTION_TIMEOUT"};
    }
    std::vector<std::pair<std::string, std::optional<std::string>>> m_saved;
    std::filesystem::path m_file;
};

// The reports whose caption is the text of `captionId`.
inline std::vector<Report> ReportsCaptioned(const ReportCollector& collector,
                                            unsigned int captionId) {
    std::vector<Report> found;
    const std::wstring caption = CMessageTable::TextOrUnknown(captionId);
    for (const auto& report : collector.reports)
        if (report.caption == caption)
            found.push_back(report);
    return found;
}

} // namespace hdbtest
