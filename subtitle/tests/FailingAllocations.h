// Makes one chosen allocation of the calling thread fail, through the test
// program's own global operator new, so that tests can prove what a piece of
// code does at each allocation it makes.
#pragma once

namespace zqtest {

/// While alive, the `n`-th allocation (from 0) of this thread by operator new
/// fails: the throwing form raises std::bad_alloc, the nothrow form gives
/// null. Other threads and later allocations are untouched.
class FailNthAllocation {
public:
    explicit FailNthAllocation(long n) noexcept;
    ~FailNthAllocation();
    FailNthAllocation(const FailNthAllocation&) = delete;
    FailNthAllocation& operator=(const FailNthAllocation&) = delete;

    /// Whether the chosen allocation came and failed.
    bool Triggered() const noexcept;
};

}  // namespace zqtest
