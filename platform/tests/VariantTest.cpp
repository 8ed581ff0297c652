// VARIANT life cycle: what clearing frees, what copying duplicates.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/CountingUnknown.h"
#include "tests/support/HResultAssertions.h"
#include "zqplatform/oleauto.h"

namespace {

using zqtest::CountingUnknown;

VARIANT UnknownVariant(IUnknown* unknown) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_UNKNOWN;
    v.punkVal = unknown;
    return v;
}

TEST(VariantLifecycle, ClearReleasesAnInterfaceOnceOwnsNoReferenceAndRefusesUnknownTypes) {
    CountingUnknown unknown;
    unknown.AddRef();
    VARIANT v = UnknownVariant(&unknown);
    EXPECT_OK(VariantClear(&v));
    EXPECT_EQ(v.vt, VT_EMPTY);
    EXPECT_OK(VariantClear(&v));
    EXPECT_EQ(unknown.ReleaseCalls(), 1);

    IUnknown* slot = &unknown;
    v.vt = VT_BYREF | VT_UNKNOWN;
    v.ppunkVal = &slot;
    EXPECT_OK(VariantClear(&v));
    EXPECT_EQ(v.vt, VT_EMPTY);
    EXPECT_EQ(unknown.ReleaseCalls(), 1);

    v.vt = 0x7F;
    v.lVal = 42;
    EXPECT_HR(DISP_E_BADVARTYPE, VariantClear(&v));
    EXPECT_EQ(v.vt, 0x7F);
    EXPECT_EQ(v.lVal, 42);
}

TEST(VariantLifecycle, CopyDuplicatesTextAndAddsOneReferenceReleasingWhatTheDestinationHeld) {
    VARIANT source;
    VariantInit(&source);
    source.vt = VT_BSTR;
    source.bstrVal = SysAllocStringLen(u"a\0b", 3);
    VARIANT copy;
    VariantInit(&copy);
    ASSERT_OK(VariantCopy(&copy, &source));
    EXPECT_NE(copy.bstrVal, source.bstrVal);
    EXPECT_EQ(std::u16string(copy.bstrVal, SysStringLen(copy.bstrVal)), std::u16string(u"a\0b", 3));
    EXPECT_OK(VariantClear(&source));

    CountingUnknown first;
    CountingUnknown second;
    first.AddRef();
    second.AddRef();
    source = UnknownVariant(&first);
    VARIANT dest = UnknownVariant(&second);
    ASSERT_OK(VariantCopy(&dest, &source));
    EXPECT_EQ(first.References(), 2);
    EXPECT_EQ(second.References(), 0);
    EXPECT_EQ(dest.punkVal, &first);
    ASSERT_OK(VariantCopy(&copy, &source));  // frees the text it held
    EXPECT_EQ(first.References(), 3);
    EXPECT_OK(VariantClear(&copy));
    EXPECT_OK(VariantClear(&dest));
    EXPECT_OK(VariantClear(&source));
    EXPECT_EQ(first.References(), 0);
}

TEST(VariantLifecycle, CopyIndReadsThroughReferencesIntoOwnedValuesAndRefusesNull) {
    BSTR text = SysAllocString(u"shared");
    VARIANT reference;
    VariantInit(&reference);
    reference.vt = VT_BYREF | VT_BSTR;
    reference.pbstrVal = &text;
    VARIANT copy;
    VariantInit(&copy);
    ASSERT_OK(VariantCopyInd(&copy, &reference));
    EXPECT_EQ(copy.vt, VT_BSTR);
    EXPECT_NE(copy.bstrVal, text);
    EXPECT_EQ(std::u16string(copy.bstrVal), u"shared");

    LONG number = 7;
    VARIANT inner;
    VariantInit(&inner);
    inner.vt = VT_BYREF | VT_I4;
    inner.plVal = &number;
    ASSERT_OK(VariantCopyInd(&inner, &inner));  // in place
    EXPECT_EQ(inner.vt, VT_I4);
    EXPECT_EQ(inner.lVal, 7);

    VARIANT outer;
    VariantInit(&outer);
    outer.vt = VT_BYREF | VT_VARIANT;
    outer.pvarVal = &copy;
    VARIANT fromVariant;
    VariantInit(&fromVariant);
    ASSERT_OK(VariantCopyInd(&fromVariant, &outer));
    EXPECT_EQ(std::u16string(fromVariant.bstrVal), u"shared");
    EXPECT_OK(VariantClear(&fromVariant));
    EXPECT_OK(VariantClear(&copy));
    SysFreeString(text);

    inner.vt = VT_BYREF | VT_I4;
    inner.plVal = nullptr;
    EXPECT_HR(E_INVALIDARG, VariantCopyInd(&copy, &inner));
    EXPECT_EQ(copy.vt, VT_EMPTY);
}

}  // namespace
