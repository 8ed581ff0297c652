#include "zqplatform/comptr.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/CountingUnknown.h"
#include "tests/support/HResultAssertions.h"

namespace {

using zqtest::CountingUnknown;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Logs every AddRef and Release, so their order in an assignment shows.
class LoggingUnknown : public IUnknown {
public:
    LoggingUnknown(std::string name, std::vector<std::string>& log) : m_name(std::move(name)), m_log(log) {}
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return m_log.push_back("AddRef " + m_name), 1; }
    ULONG Release() override { return m_log.push_back("Release " + m_name), 1; }

private:
    std::string m_name;
    std::vector<std::string>& m_log;
};
#pragma GCC diagnostic pop

class CComPtrTest : public ::testing::Test {
protected:
    CountingUnknown m_first;
    CountingUnknown m_second;
};

TEST_F(CComPtrTest, HoldsOneReferencePerHolderMovesCarryTheirsAndSelfAssignmentCountsNothing) {
    {
        CComPtr<IUnknown> a(&m_first);
        CComPtr<IUnknown> b(a);
        EXPECT_EQ(2, m_first.References());
        CComPtr<IUnknown> c(std::move(a));
        EXPECT_EQ(2, m_first.References());
        EXPECT_FALSE(a);
        b = std::move(c);
        EXPECT_EQ(1, m_first.References());
        CComPtr<IUnknown>& alias = b;
        b = &m_first;
        b = alias;
        b = std::move(alias);
        EXPECT_EQ(1, m_first.References());
        EXPECT_EQ(&m_first, b.Get());
        EXPECT_EQ(2, m_first.AddRefCalls());
    }
    EXPECT_EQ(0, m_first.References());
    EXPECT_EQ(2, m_first.ReleaseCalls());

    std::vector<std::string> log;
    LoggingUnknown oldOne("old", log);
    LoggingUnknown newOne("new", log);
    CComPtr<IUnknown> p(&oldOne);
    p = &newOne;
    p = nullptr;
    EXPECT_EQ((std::vector<std::string>{"AddRef old", "AddRef new", "Release old", "Release new"}), log);
}

TEST_F(CComPtrTest, AttachDetachOutSlotCopyToAndQueriesMoveReferencesWithoutLeaking) {
    m_first.AddRef();
    CComPtr<IUnknown> p;
    p.Attach(&m_first);
    EXPECT_EQ(1, m_first.AddRefCalls());
    // The out slot releases what was held, so reusing a holder can't leak.
    IUnknown** slot = &p;
    EXPECT_EQ(0, m_first.References());
    EXPECT_EQ(nullptr, *slot);
    EXPECT_OK(ZQQueryInterface(&m_second, slot));

    EXPECT_HR(E_POINTER, p.CopyTo(nullptr));
    IUnknown* out = nullptr;
    EXPECT_OK(p.CopyTo(&out));
    EXPECT_EQ(&m_second, out);
    EXPECT_EQ(2, m_second.References());
    out->Release();
    EXPECT_OK(CComPtr<IUnknown>().CopyTo(&out));
    EXPECT_EQ(nullptr, out);

    auto* factory = reinterpret_cast<IClassFactory*>(&m_first);
    EXPECT_HR(E_NOINTERFACE, p.QueryInterface(&factory));
    EXPECT_EQ(nullptr, factory);
    EXPECT_HR(E_POINTER, p.QueryInterface<IClassFactory>(nullptr));
    factory = reinterpret_cast<IClassFactory*>(&m_first);
    EXPECT_HR(E_POINTER, CComPtr<IUnknown>().QueryInterface(&factory));
    EXPECT_EQ(nullptr, factory);
    out = &m_first;
    EXPECT_HR(E_POINTER, ZQQueryInterface<IUnknown>(nullptr, &out));
    EXPECT_EQ(nullptr, out);

    IUnknown* raw = p.Detach();
    EXPECT_EQ(&m_second, raw);
    EXPECT_FALSE(p);
    EXPECT_EQ(1, m_second.References());
    raw->Release();
    EXPECT_EQ(0, m_first.References());
}

}  // namespace
