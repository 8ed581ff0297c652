#include "support/CStatusException.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/HResultAssertions.h"

namespace {

TEST(ZQCallWithBarrierTest, AnswersTheBodysStatusOrTurnsWhatEscapesIntoOne) {
    EXPECT_HR(S_FALSE, ZQCallWithBarrier([] { return S_FALSE; }));
    EXPECT_HR(E_INVALIDARG, ZQCallWithBarrier([] { return E_INVALIDARG; }));
    EXPECT_OK(ZQCallWithBarrier([] {}));
    EXPECT_HR(DISP_E_BADINDEX, ZQCallWithBarrier([]() -> HRESULT { ZQThrowStatus(DISP_E_BADINDEX); }));
    EXPECT_HR(E_OUTOFMEMORY, ZQCallWithBarrier([]() -> HRESULT { throw std::bad_alloc(); }));
    EXPECT_HR(E_UNEXPECTED, ZQCallWithBarrier([]() -> HRESULT { throw std::runtime_error("bug"); }));
    EXPECT_HR(E_UNEXPECTED, ZQCallWithBarrier([]() -> HRESULT { throw 42; }));
    // A thrown success must never become a successful answer.
    EXPECT_HR(E_UNEXPECTED, ZQCallWithBarrier([]() -> HRESULT { ZQThrowStatus(S_OK); }));
}

}  // namespace
