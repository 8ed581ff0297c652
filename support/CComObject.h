// The shell of a public object that is not aggregated.
#pragma once

#include "support/CComObjectShell.h"

/// A class T made into a public object that holds one module lock from
/// construction to destruction.
template <class T>
using CComObject = CComObjectShell<T, ZQModuleHold::ForLife>;
