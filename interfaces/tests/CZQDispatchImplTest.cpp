#include "interfaces/CZQDispatchImpl.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <thread>
#include <vector>

#include "interfaces/tests/DispatchTestObjects.h"
#include "tests/support/CountingUnknown.h"
#include "tests/support/HResultAssertions.h"
#include "tests/support/RecordingCueCallback.h"

namespace zqtest {
namespace {

/// Arguments of one Invoke in rgvarg order (last parameter first); owns
/// what its variants hold.
class ArgList {
public:
    ArgList() = default;
    ArgList(std::initializer_list<VARIANT> args) : m_args(args) {}
    ArgList(const ArgList&) = delete;
    ArgList& operator=(const ArgList&) = delete;
    ~ArgList() {
        for (VARIANT& arg : m_args)
            VariantClear(&arg);
    }

    DISPPARAMS Params(std::vector<DISPID>* named = nullptr) {
        DISPPARAMS params{};
        params.rgvarg = m_args.empty() ? nullptr : m_args.data();
        params.cArgs = static_cast<UINT>(m_args.size());
        if (named && !named->empty()) {
            params.rgdispidNamedArgs = named->data();
            params.cNamedArgs = static_cast<UINT>(named->size());
        }
        return params;
    }

private:
    std::vector<VARIANT> m_args;
};

VARIANT I4(LONG value) {
    VARIANT v{};
    v.vt = VT_I4;
    v.lVal = value;
    return v;
}

VARIANT I2(SHORT value) {
    VARIANT v{};
    v.vt = VT_I2;
    v.iVal = value;
    return v;
}

VARIANT Bstr(const char16_t* text) {
    VARIANT v{};
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(text);
    return v;
}

/// Holds its own reference, which the ArgList gives back.
VARIANT Unknown(IUnknown* unknown, VARTYPE vt = VT_UNKNOWN) {
    VARIANT v{};
    v.vt = vt;
    v.punkVal = unknown;
    if (unknown)
        unknown->AddRef();
    return v;
}

HRESULT Invoke(IDispatch* dispatch, DISPID id, WORD flags, DISPPARAMS params, VARIANT* result,
               EXCEPINFO* excepInfo = nullptr, UINT* argErr = nullptr) {
    return dispatch->Invoke(id, GUID_NULL, LOCALE_USER_DEFAULT, flags, &params, result, excepInfo, argErr);
}

HRESULT Get(IDispatch* dispatch, DISPID id, VARIANT* result) {
    return Invoke(dispatch, id, DISPATCH_PROPERTYGET, DISPPARAMS{}, result);
}

class DispatchTest : public ::testing::Test {
protected:
    void TearDown() override {
        m_cue = nullptr;
        m_dmx = nullptr;
        m_mux = nullptr;
        EXPECT_EQ(0, ZQModule().GetLockCount());
    }

    CComPtr<CComObject<CTestCue>> m_cue = MakeTestObject<CTestCue>();
    CComPtr<CComObject<CTestDmx>> m_dmx = MakeTestObject<CTestDmx>();
    CComPtr<CComObject<CTestMux>> m_mux = MakeTestObject<CTestMux>();
};

TEST_F(DispatchTest, PropertyGettersAnswerTheirValuesAsVariantsOrDropThemWithoutLeak) {
    ScopedVariant start, text, trackid;
    ASSERT_OK(Get(m_cue.Get(), 1, &start));
    EXPECT_EQ(VT_R8, start->vt);
    EXPECT_DOUBLE_EQ(1.5, start->dblVal);
    ASSERT_OK(Get(m_cue.Get(), 3, &text));
    ASSERT_EQ(VT_BSTR, text->vt);
    EXPECT_EQ(u"Hello", FromBstr(text->bstrVal));
    // Scripts often can't tell a getter from a method and ask for both.
    ASSERT_OK(Invoke(m_cue.Get(), 4, DISPATCH_METHOD | DISPATCH_PROPERTYGET, DISPPARAMS{}, &trackid));
    EXPECT_EQ(VT_I4, trackid->vt);
    EXPECT_EQ(3, trackid->lVal);
    EXPECT_OK(Get(m_cue.Get(), 3, nullptr));
}

TEST_F(DispatchTest, WrongKindsIdsInterfacesAndArgumentCountsAreRefused) {
    ScopedVariant result;
    EXPECT_HR(DISP_E_MEMBERNOTFOUND, Invoke(m_cue.Get(), 1, DISPATCH_METHOD, DISPPARAMS{}, &result));
    EXPECT_HR(DISP_E_MEMBERNOTFOUND, Get(m_cue.Get(), 5, &result));
    EXPECT_HR(DISP_E_MEMBERNOTFOUND, Get(m_cue.Get(), DISPID_UNKNOWN, &result));
    EXPECT_HR(DISP_E_MEMBERNOTFOUND, Get(m_mux.Get(), 5, &result));  // EnterEdit is a method
    // Callback is put by reference only.
    ArgList args{Unknown(nullptr)};
    std::vector<DISPID> named{DISPID_PROPERTYPUT};
    EXPECT_HR(DISP_E_MEMBERNOTFOUND, Invoke(m_dmx.Get(), 5, DISPATCH_PROPERTYPUT, args.Params(&named), nullptr));
    EXPECT_EQ(VT_EMPTY, result->vt);

    DISPPARAMS none{};
    EXPECT_HR(DISP_E_UNKNOWNINTERFACE,
              m_cue->Invoke(1, IID_IUnknown, 0, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr));
    OLECHAR name[] = u"Start";
    LPOLESTR names[] = {name};
    DISPID id = 0;
    EXPECT_HR(DISP_E_UNKNOWNINTERFACE, m_cue->GetIDsOfNames(IID_IUnknown, names, 1, 0, &id));

    ArgList one{I4(1)};
    EXPECT_HR(DISP_E_BADPARAMCOUNT, Invoke(m_cue.Get(), 1, DISPATCH_PROPERTYGET, one.Params(), &result));
    EXPECT_HR(DISP_E_BADPARAMCOUNT, Invoke(m_dmx.Get(), 4, DISPATCH_METHOD, one.Params(), nullptr));
    EXPECT_EQ(0, m_dmx->m_selectCalls);
}

TEST_F(DispatchTest, ArgumentsArriveInReverseOrderConvertedOrReadThroughReferences) {
    // rgvarg[1] is the first parameter: a string that reads as a number, a short that reads as true.
    ArgList converted{I2(1), Bstr(u"3")};
    ASSERT_OK(Invoke(m_dmx.Get(), 4, DISPATCH_METHOD, converted.Params(), nullptr));
    EXPECT_EQ(1, m_dmx->m_selectCalls);
    EXPECT_EQ(3, m_dmx->m_selectedTrack);
    EXPECT_EQ(VARIANT_TRUE, m_dmx->m_selected);

    LONG trackid = 9;
    VARIANT byref{};
    byref.vt = VT_I4 | VT_BYREF;
    byref.plVal = &trackid;
    VARIANT selected{};
    selected.vt = VT_BOOL;
    selected.boolVal = VARIANT_FALSE;
    VARIANT args[] = {selected, byref};
    DISPPARAMS params{args, nullptr, 2, 0};
    ASSERT_OK(Invoke(m_dmx.Get(), 4, DISPATCH_METHOD, params, nullptr));
    EXPECT_EQ(9, m_dmx->m_selectedTrack);
    EXPECT_EQ(VARIANT_FALSE, m_dmx->m_selected);

    ArgList unconvertible{I2(1), Bstr(u"three")};
    UINT argErr = 99;
    EXPECT_HR(DISP_E_TYPEMISMATCH,
              Invoke(m_dmx.Get(), 4, DISPATCH_METHOD, unconvertible.Params(), nullptr, nullptr, &argErr));
    EXPECT_EQ(1u, argErr);
    EXPECT_EQ(2, m_dmx->m_selectCalls);
}

TEST_F(DispatchTest, NamedArgumentsGoToTheirParameters) {
    // Selected is parameter 1 and trackid parameter 0, named in the other order.
    VARIANT selected{};
    selected.vt = VT_BOOL;
    selected.boolVal = VARIANT_TRUE;
    ArgList args{selected, I4(12)};
    std::vector<DISPID> named{1, 0};
    ASSERT_OK(Invoke(m_dmx.Get(), 4, DISPATCH_METHOD, args.Params(&named), nullptr));
    EXPECT_EQ(12, m_dmx->m_selectedTrack);
    EXPECT_EQ(VARIANT_TRUE, m_dmx->m_selected);

    ArgList one{I4(1), I4(2)};
    UINT argErr = 99;
    std::vector<DISPID> named7{0, 7};
    EXPECT_HR(DISP_E_PARAMNOTFOUND,
              Invoke(m_dmx.Get(), 4, DISPATCH_METHOD, one.Params(&named7), nullptr, nullptr, &argErr));
    EXPECT_EQ(1u, argErr);
}

TEST_F(DispatchTest, StringParametersAndAMethodRetval) {
    ArgList args{Bstr(u"en"), Bstr(u"English"), Bstr(u"/tmp/a.srt")};
    ScopedVariant trackid;
    ASSERT_OK(Invoke(m_mux.Get(), 3, DISPATCH_METHOD, args.Params(), &trackid));
    EXPECT_EQ(u"/tmp/a.srt", m_mux->m_path);
    EXPECT_EQ(u"English", m_mux->m_label);
    EXPECT_EQ(u"en", m_mux->m_language);
    EXPECT_EQ(VT_I4, trackid->vt);
    EXPECT_EQ(7, trackid->lVal);

    ScopedVariant none;
    ASSERT_OK(Invoke(m_mux.Get(), 5, DISPATCH_METHOD, DISPPARAMS{}, &none));
    EXPECT_EQ(1, m_mux->m_enterEditCalls);
    EXPECT_EQ(VT_EMPTY, none->vt);
}

TEST_F(DispatchTest, AFailingMethodIsAnExceptionWithItsStatusAndText) {
    m_cue->m_textStatus = E_OUTOFMEMORY;
    ScopedVariant text;
    EXCEPINFO info{};
    EXPECT_HR(DISP_E_EXCEPTION, Invoke(m_cue.Get(), 3, DISPATCH_PROPERTYGET, DISPPARAMS{}, &text, &info));
    EXPECT_HR(E_OUTOFMEMORY, info.scode);
    EXPECT_NE(0u, SysStringLen(info.bstrDescription));
    EXPECT_NE(0u, SysStringLen(info.bstrSource));
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrHelpFile);
    EXPECT_EQ(VT_EMPTY, text->vt);

    // Without room for the exception, the status itself comes back.
    EXPECT_HR(E_NOTIMPL, Get(m_dmx.Get(), 1, &text));
}

class CallbackPropertyTest : public DispatchTest {
protected:
    HRESULT PutRef(VARIANT value, UINT* argErr = nullptr) {
        ArgList args{value};
        std::vector<DISPID> named{DISPID_PROPERTYPUT};
        return Invoke(m_dmx.Get(), 5, DISPATCH_PROPERTYPUTREF, args.Params(&named), nullptr, nullptr, argErr);
    }

    RecordingCueCallback m_callback;
};

TEST_F(CallbackPropertyTest, PutRefSetsAndGetReadsTheCallback) {
    ASSERT_OK(PutRef(Unknown(&m_callback)));
    EXPECT_EQ(&m_callback, m_dmx->m_callback.Get());
    EXPECT_EQ(1, m_callback.References());

    {
        ScopedVariant result;
        ASSERT_OK(Get(m_dmx.Get(), 5, &result));
        ASSERT_EQ(VT_UNKNOWN, result->vt);
        EXPECT_EQ(static_cast<IUnknown*>(&m_callback), result->punkVal);
        EXPECT_EQ(2, m_callback.References());
    }
    EXPECT_EQ(1, m_callback.References());

    // Nothing, as a script passes it, clears the reference.
    ASSERT_OK(PutRef(Unknown(nullptr, VT_DISPATCH)));
    EXPECT_EQ(nullptr, m_dmx->m_callback.Get());
    EXPECT_EQ(0, m_callback.References());
}

TEST_F(CallbackPropertyTest, PutRefRefusesAMissingNamedArgumentAndOtherInterfaces) {
    ArgList args{Unknown(&m_callback)};
    EXPECT_HR(DISP_E_PARAMNOTOPTIONAL, Invoke(m_dmx.Get(), 5, DISPATCH_PROPERTYPUTREF, args.Params(), nullptr));
    EXPECT_EQ(nullptr, m_dmx->m_callback.Get());
    UINT argErr = 99;
    EXPECT_HR(DISP_E_TYPEMISMATCH, PutRef(I4(5), &argErr));
    EXPECT_EQ(0u, argErr);

    CountingUnknown other;
    EXPECT_HR(DISP_E_TYPEMISMATCH, PutRef(Unknown(&other)));
    EXPECT_EQ(nullptr, m_dmx->m_callback.Get());
    EXPECT_EQ(1, other.QueryInterfaceCalls());
    EXPECT_EQ(0, other.References());
}

TEST_F(DispatchTest, TypeInfoIsServedAtIndexZeroSharedAndHandedOutWithOneReference) {
    for (IDispatch* object : {static_cast<IDispatch*>(m_cue.Get()), static_cast<IDispatch*>(m_dmx.Get()),
                              static_cast<IDispatch*>(m_mux.Get())}) {
        UINT count = 0;
        EXPECT_OK(object->GetTypeInfoCount(&count));
        EXPECT_EQ(1u, count);
        EXPECT_HR(E_POINTER, object->GetTypeInfoCount(nullptr));
        ITypeInfo* typeInfo = reinterpret_cast<ITypeInfo*>(&count);
        EXPECT_HR(DISP_E_BADINDEX, object->GetTypeInfo(1, 0, &typeInfo));
        EXPECT_EQ(nullptr, typeInfo);
        EXPECT_HR(E_POINTER, object->GetTypeInfo(0, 0, nullptr));
    }

    CComPtr<ITypeInfo> first, second;
    ASSERT_OK(m_cue->GetTypeInfo(0, 0, &first));
    auto other = MakeTestObject<CTestCue>();
    ASSERT_OK(other->GetTypeInfo(0, 0, &second));
    EXPECT_EQ(first.Get(), second.Get());
    // The module keeps one reference for its life; each caller holds one.
    EXPECT_EQ(4u, first->AddRef());
    EXPECT_EQ(3u, first->Release());
    second = nullptr;
    EXPECT_EQ(3u, first->AddRef());
    EXPECT_EQ(2u, first->Release());

    CComPtr<ITypeInfo> dmxTypeInfo;
    ASSERT_OK(m_dmx->GetTypeInfo(0, 0, &dmxTypeInfo));
    EXPECT_NE(first.Get(), dmxTypeInfo.Get());
    BSTR name = nullptr;
    ASSERT_OK(dmxTypeInfo->GetDocumentation(-1, &name, nullptr, nullptr, nullptr));
    EXPECT_EQ(u"IZQDmxSubtitle", FromBstr(name));
    SysFreeString(name);

    // A kept type information holds the module after its objects are gone, until its last release.
    m_cue = nullptr;
    other = nullptr;
    m_dmx = nullptr;
    m_mux = nullptr;
    EXPECT_EQ(2, ZQModule().GetLockCount());
    first = nullptr;
    EXPECT_EQ(1, ZQModule().GetLockCount());
    dmxTypeInfo = nullptr;
    EXPECT_EQ(0, ZQModule().GetLockCount());
}

TEST_F(DispatchTest, ThreadsShareTheTypeInfoAndKeepItsCountBalanced) {
    CComPtr<ITypeInfo> held;
    ASSERT_OK(m_cue->GetTypeInfo(0, 0, &held));
    const ULONG before = held->AddRef() - 1;
    held->Release();

    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    std::vector<std::thread> threads;
    std::vector<int> failures(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                CComPtr<ITypeInfo> typeInfo;
                ScopedVariant text;
                if (FAILED(m_cue->GetTypeInfo(0, 0, &typeInfo)) || typeInfo.Get() != held.Get() ||
                    FAILED(Get(m_cue.Get(), 3, &text)))
                    ++failures[t];
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<int>(kThreads, 0), failures);
    EXPECT_EQ(before + 1, held->AddRef());
    held->Release();
}

}  // namespace
}  // namespace zqtest
