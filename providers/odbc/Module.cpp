// The ODBC bridge provider module: the bridge's backend behind the provider
// core's objects. It serves the class id of the OLE DB provider for ODBC data
// sources (the data source is a DSN or a connection string) and the class ids
// of the SQL Server providers (the data source is a server, reached through
// the ODBC driver for SQL Server that the settings name).
#include "OdbcBackend.h"
#include "SqlServerConnectionString.h"
#include "core/Core.h"
#include "hdbplatform/ClassRegistry.h"
#include "hdbplatform/Haldensettings.h"

namespace hdb::bridge {

inline constexpr CLSID CLSID_OdbcBridge = {
    0xC8B522CB, 0x5CF3, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};

// The SQL Server providers, in the order of the library's provider table.
inline constexpr CLSID SqlServerClassIds[] = {
    {0x0C7FF16C, 0x38E3, 0x11D0, {0x97, 0xAB, 0x00, 0xC0, 0x4F, 0xC2, 0xAD, 0x98}},
    {0x85ECAFCC, 0xBDD9, 0x4B03, {0x97, 0xA8, 0xFA, 0x65, 0xCB, 0xE3, 0x85, 0x9B}},
    {0x8F4A6B68, 0x4F36, 0x4E3C, {0xBE, 0x81, 0xBC, 0x7C, 0xA4, 0xE9, 0xC4, 0x5C}},
    {0x397C2819, 0x8272, 0x4532, {0xAD, 0x3A, 0xFB, 0x5E, 0x43, 0xBE, 0xAA, 0x39}},
    {0xEE5DE99A, 0x4453, 0x4C96, {0x86, 0x1C, 0xF8, 0x83, 0x2A, 0x7F, 0x59, 0xFE}},
};

class OdbcBackend final : public backend::Backend {
public:
    // sqlServer: the data source names a SQL Server rather than an ODBC one.
    OdbcBackend(const CLSID& classId, bool sqlServer)
        : m_classId(classId), m_sqlServer(sqlServer) {}

    std::unique_ptr<backend::Connection> NewConnection() override {
        // The settings are read for each data source, so that a changed
        // driver applies to the next connection.
        return std::make_unique<BridgeConnection>(
            m_sqlServer ? CHaldensettings().GetSqlServerOdbcDriver() : std::wstring());
    }
    const wchar_t* ProviderName() const override {
        return m_sqlServer ? L"haldendb SQL Server bridge" : L"haldendb ODBC bridge";
    }
    const wchar_t* ProviderDescription() const override {
        return m_sqlServer ? L"haldendb OLE DB provider for SQL Server over ODBC"
                           : L"haldendb OLE DB provider for ODBC data sources";
    }
    CLSID ProviderClassId() const override { return m_classId; }
    std::vector<backend::InitProperty> InitProperties() const override {
        return m_sqlServer ? SqlServerConnectionString::Properties()
                           : std::vector<backend::InitProperty>{};
    }

private:
    CLSID m_classId;
    bool m_sqlServer;
};

class BridgeDataSource final : public core::DataSource {
public:
    BridgeDataSource() : DataSource(std::make_shared<OdbcBackend>(CLSID_OdbcBridge, false)) {}
};

template <size_t Index> class SqlServerDataSource final : public core::DataSource {
public:
    SqlServerDataSource()
        : DataSource(std::make_shared<OdbcBackend>(SqlServerClassIds[Index], true)) {}
};

template <size_t... Index>
HRESULT SqlServerClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv,
                             std::index_sequence<Index...>) {
    HRESULT hr = CLASS_E_CLASSNOTAVAILABLE;
    ((rclsid == SqlServerClassIds[Index]
          ? (hr = HdbClassFactory<SqlServerDataSource<Index>>::GetClassObject(riid, ppv), true)
          : false) ||
     ...);
    return hr;
}

} // namespace hdb::bridge

extern "C" HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
    using namespace hdb::bridge;
    if (ppv == nullptr)
        return E_POINTER;
    *ppv = nullptr;
    if (rclsid == CLSID_OdbcBridge)
        return HdbClassFactory<BridgeDataSource>::GetClassObject(riid, ppv);
    return SqlServerClassObject(rclsid, riid, ppv,
                                std::make_index_sequence<std::size(SqlServerClassIds)>());
}
