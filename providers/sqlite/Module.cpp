// The embedded provider module: the SQLite backend behind the provider
// core's objects, found by its class id.
#include "SqliteBackend.h"
#include "core/Core.h"
#include "hdbplatform/ClassRegistry.h"

namespace hdb::sqlite {

// The class id of the embedded provider; the library's provider table
// names the same one for provider enumeration value 5.
inline constexpr CLSID CLSID_EmbeddedProvider = {
    0xC86FB69E, 0x3664, 0x11D2, {0xA1, 0x12, 0x00, 0x10, 0x4B, 0xD1, 0x53, 0x72}};

class SqliteBackend final : public backend::Backend {
public:
    std::unique_ptr<backend::Connection> NewConnection() override {
        return std::make_unique<SqliteConnection>();
    }
    const wchar_t* ProviderName() const override { return L"haldendb embedded SQLite provider"; }
    const wchar_t* ProviderDescription() const override {
        return L"haldendb embedded SQLite provider";
    }
    CLSID ProviderClassId() const override { return CLSID_EmbeddedProvider; }
};

class EmbeddedDataSource final : public core::DataSource {
public:
    EmbeddedDataSource() : DataSource(std::make_shared<SqliteBackend>()) {}
};

} // namespace hdb::sqlite

extern "C" HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
    if (ppv == nullptr)
        return E_POINTER;
    *ppv = nullptr;
    if (rclsid != hdb::sqlite::CLSID_EmbeddedProvider)
        return CLASS_E_CLASSNOTAVAILABLE;
    return HdbClassFactory<hdb::sqlite::EmbeddedDataSource>::GetClassObject(riid, ppv);
}
