// Helpers shared by the VARIANT services.
#pragma once

#include "zqplatform/oleauto.h"

namespace zqplatform {

/// Whether `vt` (without VT_BYREF) names a type this runtime keeps in a
/// VARIANT by value.
bool IsKnownValueType(VARTYPE vt) noexcept;

/// A non-owning VARIANT holding the value that a VT_BYREF variant points at;
/// a variant that isn't VT_BYREF is copied bitwise. DISP_E_BADVARTYPE for a
/// type that can't be referenced, E_INVALIDARG for a null reference or a
/// by-reference variant behind VT_BYREF | VT_VARIANT.
HRESULT ReadThroughReference(const VARIANT& source, VARIANT& shallow) noexcept;

}  // namespace zqplatform
