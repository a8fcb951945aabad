// Helpers shared by the VARIANT functions of the platform library.
#pragma once

#include "hdbplatform/OleAuto.h"

namespace hdbcom {

// DISP_E_BADVARTYPE for a type word no VARIANT of this runtime can hold:
// unknown base types, VT_VECTOR, by-value arrays (there are no SAFEARRAYs
// here) and references to VT_EMPTY or VT_NULL.
HRESULT ValidateVariantType(VARTYPE vt);

// Copies src into the uninitialised dest, following one VT_BYREF level (and a
// reference to a VARIANT to the VARIANT itself), so dest owns a value.
HRESULT CopyDereferenced(VARIANT* dest, const VARIANT* src);

} // namespace hdbcom
