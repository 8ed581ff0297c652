// How the class table creates the objects of its classes: one function per
// class, which the class's own folder provides.
#pragma once

#include "zqplatform/unknwn.h"

/// Creates an object of one class for a client, plain or aggregated. The
/// contract is that of a class object's CreateInstance after its own checks:
/// E_POINTER for a null `out`; `*out` cleared; CLASS_E_NOAGGREGATION for an
/// outer unknown with an `iid` other than IID_IUnknown; E_OUTOFMEMORY; the
/// failure of construction or of QueryInterface(iid), leaving nothing behind.
/// On success `*out` carries the caller's reference and the object holds a
/// module lock until it is destroyed. Never throws. An implementation is
/// normally one line: `return ZQCreateInstance<CZQMuxSubtitle>(outer, iid, out);`
using ZQCreateObjectFunction = HRESULT (*)(IUnknown* outer, REFIID iid, void** out);

/// The creation functions of the three classes, each defined by the folder of
/// its object (dmx/, mux/, ui/) and named in the class table's row.
HRESULT ZQCreateDmxSubtitle(IUnknown* outer, REFIID iid, void** out);
HRESULT ZQCreateMuxSubtitle(IUnknown* outer, REFIID iid, void** out);
HRESULT ZQCreateMuxSubtitlePropPage(IUnknown* outer, REFIID iid, void** out);
