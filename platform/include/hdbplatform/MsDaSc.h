// The data initialisation service for Linux builds: IDataInitialize creates a
// provider's data source object from its class id (CreateDBInstance) or from
// an initialisation string.
#pragma once

#ifdef _WIN32
#error "hdbplatform/MsDaSc.h is for Linux builds; include hdbplatform/OleDbApi.h"
#endif

#include "hdbplatform/OleDb.h"

// Remote activation records; only passed through by CreateDBInstanceEx.
struct COSERVERINFO;
struct MULTI_QI;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

inline constexpr CLSID CLSID_MSDAINITIALIZE = {
    0x2206cdb0, 0x19c1, 0x11d1, {0x89, 0xe0, 0x00, 0xc0, 0x4f, 0xd7, 0xa8, 0x29}};
inline constexpr CLSID CLSID_DataLinks = {
    0x2206cdb2, 0x19c1, 0x11d1, {0x89, 0xe0, 0x00, 0xc0, 0x4f, 0xd7, 0xa8, 0x29}};

// Storage modes accepted by the binder objects of the service components.
inline constexpr LONG STGM_COLLECTION = 0x00002000;
inline constexpr LONG STGM_OUTPUT = 0x00008000;
inline constexpr LONG STGM_OPEN = static_cast<LONG>(0x80000000u);
inline constexpr LONG STGM_RECURSIVE = 0x01000000;
inline constexpr LONG STGM_STRICTOPEN = 0x40000000;

inline constexpr IID IID_IDataInitialize = {
    0x2206ccb1, 0x19c1, 0x11d1, {0x89, 0xe0, 0x00, 0xc0, 0x4f, 0xd7, 0xa8, 0x29}};
struct IDataInitialize : public IUnknown {
    // Data source from an initialisation string ("Provider=...;Data Source=...").
    virtual HRESULT STDMETHODCALLTYPE GetDataSource(IUnknown* pUnkOuter, DWORD dwClsCtx,
                                                    LPCOLESTR pwszInitializationString, REFIID riid,
                                                    IUnknown** ppDataSource) = 0;
    // fIncludePassword is an 8-bit boolean, as the published signature has it.
    virtual HRESULT STDMETHODCALLTYPE GetInitializationString(IUnknown* pDataSource,
                                                              unsigned char fIncludePassword,
                                                              LPOLESTR* ppwszInitString) = 0;
    // An uninitialised data source object of the provider clsidProvider; an
    // unregistered class answers REGDB_E_CLASSNOTREG.
    virtual HRESULT STDMETHODCALLTYPE CreateDBInstance(REFCLSID clsidProvider, IUnknown* pUnkOuter,
                                                       DWORD dwClsCtx, LPOLESTR pwszReserved,
                                                       REFIID riid, IUnknown** ppDataSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateDBInstanceEx(REFCLSID clsidProvider,
                                                         IUnknown* pUnkOuter, DWORD dwClsCtx,
                                                         LPOLESTR pwszReserved,
                                                         COSERVERINFO* pServerInfo, ULONG cmq,
                                                         MULTI_QI* rgmqResults) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    LoadStringFromStorage(LPCOLESTR pwszFileName, LPOLESTR* ppwszInitializationString) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteStringToStorage(LPCOLESTR pwszFileName,
                                                           LPCOLESTR pwszInitializationString,
                                                           DWORD dwCreationDisposition) = 0;
};

#pragma GCC diagnostic pop
