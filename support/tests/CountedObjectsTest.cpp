// How each shell counts, deletes and holds the module; creation for clients, plain and aggregated.
#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <thread>
#include <vector>

#include "support/CComObjectCached.h"
#include "support/CComObjectNoLock.h"
#include "support/CRefObject.h"
#include "support/CZQSubtitleModule.h"
#include "support/ZQCreateInstance.h"
#include "tests/support/HResultAssertions.h"
#include "zqplatform/comptr.h"

ZQ_DECLARE_INTERFACE_IID(ITestWidget, 0x5D0C1A01, 0x2B3C, 0x4D5E, 0x8F, 0x90, 0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6);
ZQ_DECLARE_INTERFACE_IID(ITestGadget, 0x5D0C1A02, 0x2B3C, 0x4D5E, 0x8F, 0x90, 0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6);

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct ITestWidget : IUnknown {
    virtual LONG Widget() = 0;
};
struct ITestGadget : IUnknown {
    virtual LONG Gadget() = 0;
};
#pragma GCC diagnostic pop

namespace {

// What the test class saw; reset by each fixture.
struct WidgetLog {
    int constructed = 0;
    int destroyed = 0;
    int finalReleased = 0;
    LONG lockCountInDestructor = -1;
    HRESULT finalConstructResult = S_OK;
    HRESULT throwFromConstructor = S_OK;
    bool throwBadAlloc = false;
};
WidgetLog g_log;

ZQ_BEGIN_INTERFACE_CLASS
// A small class with two interfaces, made into each shell by the tests.
class CTestWidget : public CComObjectRootEx, public ITestWidget, public ITestGadget {
public:
    CTestWidget() {
        if (g_log.throwBadAlloc)
            throw std::bad_alloc();
        if (FAILED(g_log.throwFromConstructor))
            ZQThrowStatus(g_log.throwFromConstructor);
        ++g_log.constructed;
    }
    ~CTestWidget() {
        ++g_log.destroyed;
        g_log.lockCountInDestructor = ZQModule().GetLockCount();
    }

    HRESULT FinalConstruct() { return g_log.finalConstructResult; }

    void FinalRelease() {
        ++g_log.finalReleased;
        // Counting up and down during destruction must not delete the object twice.
        static_cast<ITestWidget*>(this)->AddRef();
        static_cast<ITestWidget*>(this)->Release();
    }

    LONG Widget() override { return 1; }
    LONG Gadget() override { return 2; }

    void* GetInterface(REFIID iid) noexcept { return ZQFindInterface<ITestWidget, ITestGadget>(this, iid); }
};
ZQ_END_INTERFACE_CLASS

class CTestRefObject : public CRefObject<CTestRefObject> {
public:
    CTestRefObject() { ++g_log.constructed; }
    ~CTestRefObject() override { ++g_log.destroyed; }
};

class CountedObjectsTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_log = WidgetLog();
        m_baseLockCount = ZQModule().GetLockCount();
    }

    void TearDown() override {
        EXPECT_EQ(g_log.constructed, g_log.destroyed) << "an object leaked or was deleted twice";
        EXPECT_EQ(m_baseLockCount, ZQModule().GetLockCount());
    }

    LONG LocksAboveBase() const { return ZQModule().GetLockCount() - m_baseLockCount; }

    LONG m_baseLockCount = 0;
};

TEST_F(CountedObjectsTest, RefObjectHoldsTheModuleFromConstructionToDestruction) {
    EXPECT_EQ(&ZQModule(), g_pZQSubtitleModule);
    EXPECT_EQ(m_baseLockCount + 1, ZQModule().Lock());
    EXPECT_EQ(m_baseLockCount, ZQModule().Unlock());
    {
        CZQSubtitleModule::FirstUseLock outer(ZQModule());
        CZQSubtitleModule::FirstUseLock inner(ZQModule());  // recursive: no deadlock
    }
    auto* object = new CTestRefObject();
    EXPECT_EQ(1, LocksAboveBase());
    EXPECT_EQ(1u, object->AddRef());
    EXPECT_EQ(2u, object->AddRef());
    EXPECT_EQ(1u, object->Release());
    EXPECT_EQ(0, g_log.destroyed);
    EXPECT_EQ(0u, object->Release());
    EXPECT_EQ(1, g_log.destroyed);
}

TEST_F(CountedObjectsTest, PublicObjectAnswersItsIdentityTableAndHoldsOneMoreLockWhileItIsDestroyed) {
    CComObject<CTestWidget>* object = nullptr;
    ASSERT_OK(CComObject<CTestWidget>::CreateInstance(&object));
    EXPECT_EQ(1, LocksAboveBase());
    EXPECT_EQ(1u, object->AddRef());
    CComPtr<ITestGadget> gadget;
    ASSERT_OK(ZQQueryInterface(static_cast<ITestWidget*>(object), &gadget));
    EXPECT_EQ(2, gadget->Gadget());
    CComPtr<IUnknown> unknownFromWidget;
    CComPtr<IUnknown> unknownFromGadget;
    ASSERT_OK(ZQQueryInterface(static_cast<ITestWidget*>(object), &unknownFromWidget));
    ASSERT_OK(gadget.QueryInterface(&unknownFromGadget));
    EXPECT_EQ(unknownFromWidget, unknownFromGadget) << "IUnknown must be one identity";
    EXPECT_EQ(5u, object->AddRef()) << "one count for every interface handed out";
    EXPECT_EQ(4u, object->Release());
    IClassFactory* none = reinterpret_cast<IClassFactory*>(object);
    EXPECT_HR(E_NOINTERFACE, object->QueryInterface(IID_IClassFactory, reinterpret_cast<void**>(&none)));
    EXPECT_EQ(nullptr, none);
    EXPECT_HR(E_POINTER, object->QueryInterface(IID_ITestWidget, nullptr));
    gadget.Release();
    unknownFromWidget.Release();
    unknownFromGadget.Release();

    EXPECT_EQ(1, LocksAboveBase());
    EXPECT_EQ(0u, object->Release());
    EXPECT_EQ(1, g_log.destroyed);
    EXPECT_EQ(1, g_log.finalReleased);
    EXPECT_EQ(m_baseLockCount + 1, g_log.lockCountInDestructor);
}

TEST_F(CountedObjectsTest, CachedObjectHoldsTheModuleOnlyWhileReferencedFromOutside) {
    CComObjectCached<CTestWidget>* object = nullptr;
    ASSERT_OK(CComObjectCached<CTestWidget>::CreateInstance(&object));
    EXPECT_EQ(0, LocksAboveBase());
    object->AddRef();  // the owner inside the module
    EXPECT_EQ(0, LocksAboveBase());
    object->AddRef();  // an application
    EXPECT_EQ(1, LocksAboveBase());
    object->AddRef();
    EXPECT_EQ(1, LocksAboveBase());
    object->Release();
    EXPECT_EQ(1, LocksAboveBase());
    object->Release();
    EXPECT_EQ(0, LocksAboveBase());
    EXPECT_EQ(0, g_log.destroyed);
    object->Release();
    EXPECT_EQ(1, g_log.destroyed);
    EXPECT_EQ(m_baseLockCount, g_log.lockCountInDestructor);
}

TEST_F(CountedObjectsTest, NoLockObjectCountsWithoutEverTouchingTheModule) {
    CComObjectNoLock<CTestWidget>* object = nullptr;
    ASSERT_OK(CComObjectNoLock<CTestWidget>::CreateInstance(&object));
    CComPtr<ITestWidget> first(object);
    CComPtr<ITestWidget> second(first);
    EXPECT_EQ(0, LocksAboveBase());
    first.Release();
    second.Release();
    EXPECT_EQ(1, g_log.destroyed);
    EXPECT_EQ(m_baseLockCount, g_log.lockCountInDestructor);
}

TEST_F(CountedObjectsTest, CountsFromManyThreadsEndBalanced) {
    CComObjectCached<CTestWidget>* object = nullptr;
    ASSERT_OK(CComObjectCached<CTestWidget>::CreateInstance(&object));
    object->AddRef();
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([object] {
            for (int i = 0; i < kRounds; ++i) {
                object->AddRef();
                object->Release();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(0, LocksAboveBase());
    EXPECT_EQ(0u, object->Release());
}

// Creation for a client, as a class object does it.
class CreateInstanceTest : public CountedObjectsTest {};

TEST_F(CreateInstanceTest, PlainObjectCarriesTheCallersOnlyReferenceAndAnOuterMayOnlyAskForIUnknown) {
    EXPECT_HR(E_POINTER, ZQCreateInstance<CTestWidget>(nullptr, IID_IUnknown, nullptr));
    EXPECT_EQ(0, g_log.constructed);
    void* out = nullptr;
    ASSERT_OK(ZQCreateInstance<CTestWidget>(nullptr, IID_ITestGadget, &out));
    CComPtr<ITestGadget> gadget;
    gadget.Attach(static_cast<ITestGadget*>(out));
    EXPECT_EQ(2, gadget->Gadget());
    EXPECT_EQ(1, LocksAboveBase());

    out = &out;
    EXPECT_HR(CLASS_E_NOAGGREGATION, ZQCreateInstance<CTestWidget>(gadget.Get(), IID_ITestWidget, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(1, g_log.constructed) << "no inner object may be made";
    EXPECT_EQ(0u, gadget.Detach()->Release());
    EXPECT_EQ(1, g_log.destroyed);
}

struct CreationFailure {
    const char* name;
    void (*arrange)();
    IID iid;
    HRESULT expected;
};

class CreationFailureTest : public CreateInstanceTest, public ::testing::WithParamInterface<CreationFailure> {};

TEST_P(CreationFailureTest, LeavesNothingBehindPlainOrAggregated) {
    // The outer object is made before the failure is arranged.
    CComObject<CTestWidget>* outerObject = nullptr;
    ASSERT_OK(CComObject<CTestWidget>::CreateInstance(&outerObject));
    CComPtr<ITestWidget> outer(outerObject);
    GetParam().arrange();

    void* out = &out;
    EXPECT_HR(GetParam().expected, ZQCreateInstance<CTestWidget>(nullptr, GetParam().iid, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(1, LocksAboveBase()) << "only the outer object may hold the module";
    EXPECT_EQ(g_log.constructed - 1, g_log.finalReleased) << "each object made but not handed out was released";

    // An outer object may only ask for IUnknown: the aggregated form fails only by construction.
    if (GetParam().iid == IID_IUnknown) {
        out = &out;
        EXPECT_HR(GetParam().expected, ZQCreateInstance<CTestWidget>(outer.Get(), IID_IUnknown, &out));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(1, LocksAboveBase());
    }
    g_log.finalConstructResult = S_OK;
    g_log.throwFromConstructor = S_OK;
    g_log.throwBadAlloc = false;
}

INSTANTIATE_TEST_SUITE_P(
    Failures, CreationFailureTest,
    ::testing::Values(
        CreationFailure{"FinalConstructFails", [] { g_log.finalConstructResult = E_UNEXPECTED; }, IID_IUnknown,
                        E_UNEXPECTED},
        CreationFailure{"ConstructorThrowsAStatus", [] { g_log.throwFromConstructor = E_INVALIDARG; }, IID_IUnknown,
                        E_INVALIDARG},
        CreationFailure{"ConstructorRunsOutOfMemory", [] { g_log.throwBadAlloc = true; }, IID_IUnknown,
                        E_OUTOFMEMORY},
        CreationFailure{"InterfaceIsUnknown", [] {}, IID_IClassFactory, E_NOINTERFACE}),
    [](const ::testing::TestParamInfo<CreationFailure>& param) { return param.param.name; });

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// A hand-written host object that aggregates a CTestWidget and hands out its interfaces as its own.
class TestOuter final : public IUnknown {
public:
    HRESULT Init() { return ZQCreateInstance<CTestWidget>(this, IID_IUnknown, reinterpret_cast<void**>(&m_inner)); }

    HRESULT QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid == IID_IUnknown) {
            AddRef();
            *out = static_cast<IUnknown*>(this);
            return S_OK;
        }
        return m_inner ? m_inner->QueryInterface(iid, out) : E_NOINTERFACE;
    }
    ULONG AddRef() override { return static_cast<ULONG>(++m_refs); }
    ULONG Release() override {
        LONG count = --m_refs;
        if (count == 0) {
            m_refs = 1;  // the inner object may count us while it goes
            if (m_inner)
                m_inner->Release();
            delete this;
        }
        return static_cast<ULONG>(count);
    }

    LONG References() const { return m_refs.load(); }
    IUnknown* Inner() const { return m_inner; }

private:
    std::atomic<LONG> m_refs{1};
    IUnknown* m_inner = nullptr;
};

#pragma GCC diagnostic pop

class AggregationTest : public CountedObjectsTest {
protected:
    void SetUp() override {
        CountedObjectsTest::SetUp();
        m_outer = new TestOuter();
        ASSERT_OK(m_outer->Init());
    }
    void TearDown() override {
        if (m_outer) {
            EXPECT_EQ(0u, m_outer->Release());
        }
        CountedObjectsTest::TearDown();
    }

    TestOuter* m_outer = nullptr;
};

TEST_F(AggregationTest, InnerInterfacesCountOnTheOuterAndTheInnerUnknownOnItself) {
    EXPECT_EQ(1, LocksAboveBase());
    ITestWidget* widget = nullptr;
    ASSERT_OK(m_outer->QueryInterface(IID_ITestWidget, reinterpret_cast<void**>(&widget)));
    EXPECT_EQ(1, widget->Widget());
    EXPECT_EQ(2, m_outer->References());

    CComPtr<ITestGadget> gadget;
    ASSERT_OK(ZQQueryInterface(widget, &gadget));
    EXPECT_EQ(2, gadget->Gadget());
    EXPECT_EQ(3, m_outer->References());

    CComPtr<IUnknown> identity;
    ASSERT_OK(gadget.QueryInterface(&identity));
    EXPECT_EQ(static_cast<IUnknown*>(m_outer), identity.Get()) << "the aggregate's identity is the outer object";

    widget->Release();
    gadget.Release();
    identity.Release();
    EXPECT_EQ(1, m_outer->References());

    // The inner unknown counts on its own and answers itself for IUnknown.
    IUnknown* inner = m_outer->Inner();
    IUnknown* self = nullptr;
    ASSERT_OK(inner->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&self)));
    EXPECT_EQ(inner, self);
    EXPECT_EQ(1, m_outer->References());
    EXPECT_EQ(1u, self->Release());
    EXPECT_HR(E_NOINTERFACE, inner->QueryInterface(IID_IClassFactory, reinterpret_cast<void**>(&self)));
    EXPECT_EQ(nullptr, self);
    EXPECT_EQ(1, m_outer->References());
}

TEST_F(AggregationTest, ReleasingTheOuterDestroysTheInnerWithTheExtraLockAroundIt) {
    EXPECT_EQ(0u, m_outer->Release());
    m_outer = nullptr;
    EXPECT_EQ(1, g_log.destroyed);
    EXPECT_EQ(1, g_log.finalReleased);
    EXPECT_EQ(m_baseLockCount + 1, g_log.lockCountInDestructor);
}

}  // namespace
