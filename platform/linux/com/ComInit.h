// What the rest of the runtime may ask about the calling thread's initialisation.
#pragma once

namespace zqplatform {

/// Whether the calling thread is between CoInitializeEx and its matching
/// CoUninitialize (activation answers CO_E_NOTINITIALIZED otherwise).
bool IsThreadInitialised() noexcept;

}  // namespace zqplatform
