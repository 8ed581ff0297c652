// The status exception and the barrier that turns exceptions back into
// statuses at the edge of every interface method.
#pragma once

#include <exception>
#include <new>
#include <type_traits>
#include <utility>

#include "zqplatform/status.h"

/// An HRESULT carried as an exception. Containers and strings inside the
/// module raise it (E_OUTOFMEMORY, E_INVALIDARG); ZQCallWithBarrier turns it
/// back into its status before it can reach a caller. Immutable, so any
/// thread may read it.
class CStatusException : public std::exception {
public:
    explicit CStatusException(HRESULT hr) noexcept : m_status(hr) {}

    /// The carried status; never S_OK for an exception that was thrown by
    /// ZQThrowStatus.
    HRESULT Status() const noexcept { return m_status; }

    const char* what() const noexcept override;

private:
    HRESULT m_status;
};

/// Throws CStatusException(hr). A success status is our own bug (nothing to
/// report) and is turned into E_UNEXPECTED, so a barrier never answers a
/// success for a failed operation.
[[noreturn]] void ZQThrowStatus(HRESULT hr);

/// Runs `body()` and answers its HRESULT; whatever escapes it is converted:
/// CStatusException to its status, std::bad_alloc to E_OUTOFMEMORY, anything
/// else to E_UNEXPECTED. A body that returns void answers S_OK. Every
/// interface method of the system wraps its body in this.
template <class F>
HRESULT ZQCallWithBarrier(F&& body) noexcept {
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<F&&>>) {
            std::forward<F>(body)();
            return S_OK;
        } else {
            return std::forward<F>(body)();
        }
    } catch (const CStatusException& e) {
        return e.Status();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}
