// The conversion library object (CLSID_OLEDB_CONVERSIONLIBRARY): IDataConvert
// over the engine of DataConversion.cpp, and IDCInfo to say which OLE DB
// version the caller expects. The engine keeps no state, so one object may be
// shared by any number of threads.
#include "hdbplatform/ClassRegistry.h"
#include "hdbplatform/DataConversion.h"
#include "hdbplatform/OleAuto.h"
#include "hdbplatform/OleDbErr.h"

#include <atomic>

namespace {

// The OLE DB version assumed until a caller says otherwise: 1.1, the
// oldest interface contract of the conversion library.
constexpr ULONG DefaultVersion = 0x0110;

class ConversionLibrary final
    : public hdbcom::ComObject<hdbcom::Implements<IDataConvert, IID_IDataConvert>,
                               hdbcom::Implements<IDCInfo, IID_IDCInfo>> {
public:
    HRESULT STDMETHODCALLTYPE DataConvert(DBTYPE wSrcType, DBTYPE wDstType, DBLENGTH cbSrcLength,
                                          DBLENGTH* pcbDstLength, void* pSrc, void* pDst,
                                          DBLENGTH cbDstMaxLength, DBSTATUS dbsSrcStatus,
                                          DBSTATUS* pdbsStatus, BYTE bPrecision, BYTE bScale,
                                          DBDATACONVERT dwFlags) override {
        return HdbDataConvert(wSrcType, wDstType, cbSrcLength, pcbDstLength, pSrc, pDst,
                              cbDstMaxLength, dbsSrcStatus, pdbsStatus, bPrecision, bScale,
                              dwFlags);
    }
    HRESULT STDMETHODCALLTYPE CanConvert(DBTYPE wSrcType, DBTYPE wDstType) override {
        return HdbCanConvert(wSrcType, wDstType);
    }
    HRESULT STDMETHODCALLTYPE GetConversionSize(DBTYPE wSrcType, DBTYPE wDstType,
                                                DBLENGTH* pcbSrcLength, DBLENGTH* pcbDstLength,
                                                void* pSrc) override {
        return HdbGetConversionSize(wSrcType, wDstType, pcbSrcLength, pcbDstLength, pSrc);
    }

    // One answer per type asked for: the version for DCINFOTYPE_VERSION, an
    // empty VARIANT for types this library does not know.
    HRESULT STDMETHODCALLTYPE GetInfo(ULONG cInfo, DCINFOTYPE rgeInfoType[],
                                      DCINFO** prgInfo) override {
        if (!prgInfo)
            return E_INVALIDARG;
        *prgInfo = nullptr;
        if (cInfo == 0 || !rgeInfoType)
            return E_INVALIDARG;
        auto* info = static_cast<DCINFO*>(CoTaskMemAlloc(cInfo * sizeof(DCINFO)));
        if (!info)
            return E_OUTOFMEMORY;
        for (ULONG k = 0; k < cInfo; ++k) {
            info[k].eInfoType = rgeInfoType[k];
            VariantInit(&info[k].vData);
            if (rgeInfoType[k] == DCINFOTYPE_VERSION) {
                info[k].vData.vt = VT_UI4;
                info[k].vData.ulVal = version_.load(std::memory_order_relaxed);
            }
        }
        *prgInfo = info;
        return S_OK;
    }
    // Takes a version given as VT_UI4; other types of information are
    // ignored, a version of another VARIANT type is refused with
    // DB_S_ERRORSOCCURRED.
    HRESULT STDMETHODCALLTYPE SetInfo(ULONG cInfo, DCINFO rgInfo[]) override {
        if (cInfo == 0 || !rgInfo)
            return E_INVALIDARG;
        HRESULT hr = S_OK;
        for (ULONG k = 0; k < cInfo; ++k) {
            if (rgInfo[k].eInfoType != DCINFOTYPE_VERSION)
                continue;
            // The conversions are the same for every version; the value is
            // only kept to be answered.
            if (rgInfo[k].vData.vt == VT_UI4)
                version_.store(rgInfo[k].vData.ulVal, std::memory_order_relaxed);
            else
                hr = DB_S_ERRORSOCCURRED;
        }
        return hr;
    }

private:
    std::atomic<ULONG> version_{DefaultVersion};
};

HRESULT GetConversionLibraryClass(REFIID riid, void** ppv) {
    return HdbClassFactory<ConversionLibrary>::GetClassObject(riid, ppv);
}

const bool kRegistered =
    (HdbRegisterBuiltinClass(CLSID_OLEDB_CONVERSIONLIBRARY, GetConversionLibraryClass), true);

} // namespace
