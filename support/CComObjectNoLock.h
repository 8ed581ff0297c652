// The shell of an object that counts but never holds the module.
#pragma once

#include "support/CComObjectShell.h"

/// A class T made into an object that never touches the module's lock count:
/// the dispatcher of cue events is such an object, so that it alone doesn't
/// keep the module loaded.
template <class T>
using CComObjectNoLock = CComObjectShell<T, ZQModuleHold::Never>;
