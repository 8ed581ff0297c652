// Objects of a built module for tests, made as a host without registration
// makes them: the module loaded by its path, asked through DllGetClassObject.
#pragma once

#include "zqplatform/unknwn.h"

namespace zqtest {

/// Creates an object of `clsid` from the module at `modulePath` (UTF-8) and
/// asks it for `iid`. The module is loaded at the first call for its path and
/// stays loaded for the process. The status of the load (0x8007007E), of the
/// missing export (0x8007007F), of the class object or of CreateInstance;
/// `*out` null on failure.
HRESULT CreateFromModule(const char* modulePath, REFCLSID clsid, REFIID iid, void** out);

}  // namespace zqtest
