// The ODBC bridge provider module: the bridge's backend behind the provider
// core's objects, found by the class id of the OLE DB provider for ODBC data
// sources (the one the library's provider table names for ODBC).
#include "OdbcBackend.h"
#include "core/Core.h"
#include "hdbplatform/ClassRegistry.h"

namespace hdb::bridge {

inline constexpr CLSID CLSID_OdbcBridge = {
    0xC8B522CB, 0x5CF3, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};

class OdbcBackend final : public backend::Backend {
public:
    std::unique_ptr<backend::Connection> NewConnection() override {
        return std::make_unique<BridgeConnection>();
    }
    const wchar_t* ProviderName() const override { return L"haldendb ODBC bridge"; }
    const wchar_t* ProviderDescription() const override {
        return L"haldendb OLE DB provider for ODBC data sources";
    }
    CLSID ProviderClassId() const override { return CLSID_OdbcBridge; }
};

class BridgeDataSource final : public core::DataSource {
public:
    BridgeDataSource() : DataSource(std::make_shared<OdbcBackend>()) {}
};

} // namespace hdb::bridge

extern "C" HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
    if (ppv == nullptr)
        return E_POINTER;
    *ppv = nullptr;
    if (rclsid != hdb::bridge::CLSID_OdbcBridge)
        return CLASS_E_CLASSNOTAVAILABLE;
    return HdbClassFactory<hdb::bridge::BridgeDataSource>::GetClassObject(riid, ppv);
}
