// The presentation library of the page and its dialog, loaded at run time.
#pragma once

#include <string>

#include "ui/ZQSubtitleViews.h"

/// The library libZQSubtitleQt.so, found in the folder of the module that
/// holds this code and loaded when a page first needs a window. Once loaded
/// it stays for the process (a toolkit doesn't survive being unloaded); a
/// failed load is tried again at the next need, so that a library installed
/// meanwhile is found. Any thread may ask; one load runs at a time.
class CZQViewLibrary {
public:
    /// The factory of the library beside the module, with the status of the
    /// load: 0x8007007E when the library or one it needs can't be loaded,
    /// 0x8007007F when it lacks the entry point, E_NOINTERFACE when it serves
    /// another version of the contract. `*factory` is null on failure.
    static HRESULT GetFactory(IZQViewFactory** factory) noexcept;

    /// The same for the library at `path`, loaded once per path; what
    /// GetFactory does with the path beside the module.
    static HRESULT LoadFactory(const std::u16string& path, IZQViewFactory** factory) noexcept;

    /// The path GetFactory loads.
    static std::u16string DefaultPath();
};
