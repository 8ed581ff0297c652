// The shell of a cached object: one whose single owner inside the module
// doesn't keep the module loaded.
#pragma once

#include "support/CComObjectShell.h"

/// A class T made into a cached object (class objects, tracks, track lists and
/// cues): it holds the module only while something outside its owner holds it.
template <class T>
using CComObjectCached = CComObjectShell<T, ZQModuleHold::WhileShared>;
