// The interface and class id of the probe module's test class.
#pragma once

#include "hdbplatform/WinApi.h"

inline constexpr CLSID CLSID_RegistryProbe = {
    0x7d2c41e0, 0x0b9a, 0x4b57, {0xa3, 0x6e, 0x5f, 0x10, 0x42, 0x9c, 0x7e, 0x01}};
inline constexpr IID IID_IRegistryProbe = {
    0x7d2c41e0, 0x0b9a, 0x4b57, {0xa3, 0x6e, 0x5f, 0x10, 0x42, 0x9c, 0x7e, 0x02}};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct IRegistryProbe : public IUnknown {
    // How often the module's static initialisers ran in this copy of it.
    virtual int STDMETHODCALLTYPE LoadCount() = 0;
    // The file the serving module was loaded from.
    virtual const char* STDMETHODCALLTYPE ModulePath() = 0;
};
#pragma GCC diagnostic pop
