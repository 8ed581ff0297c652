// The binary layout that clients in other languages rely on.
#include <gtest/gtest.h>

#include <cstddef>

#include "zqplatform/oleauto.h"
#include "zqplatform/strmif.h"

namespace {

TEST(BindingLayout, GuidVariantAndFundamentalTypes) {
    EXPECT_EQ(sizeof(GUID), 16u);
    EXPECT_EQ(offsetof(GUID, Data2), 4u);
    EXPECT_EQ(offsetof(GUID, Data3), 6u);
    EXPECT_EQ(offsetof(GUID, Data4), 8u);

    EXPECT_EQ(sizeof(VARIANT), 24u);
    EXPECT_EQ(offsetof(VARIANT, vt), 0u);
    EXPECT_EQ(offsetof(VARIANT, wReserved1), 2u);
    EXPECT_EQ(offsetof(VARIANT, wReserved3), 6u);
    EXPECT_EQ(offsetof(VARIANT, bstrVal), 8u);
    EXPECT_EQ(offsetof(VARIANT, dblVal), 8u);
    EXPECT_EQ(offsetof(VARIANT, brecVal.pRecInfo), 16u);

    EXPECT_EQ(sizeof(LONG), 4u);
    EXPECT_EQ(sizeof(ULONG), 4u);
    EXPECT_EQ(sizeof(HRESULT), 4u);
    EXPECT_EQ(sizeof(VARIANT_BOOL), 2u);
    EXPECT_EQ(sizeof(OLECHAR), 2u);
    EXPECT_EQ(sizeof(REFERENCE_TIME), 8u);
    EXPECT_EQ(VARIANT_TRUE, -1);
}

TEST(BindingLayout, MediaTypeDispParamsAndExcepInfo) {
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, subtype), 16u);
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, bFixedSizeSamples), 32u);
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, lSampleSize), 40u);
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, formattype), 44u);
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, pUnk), 64u);
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, cbFormat), 72u);
    EXPECT_EQ(offsetof(AM_MEDIA_TYPE, pbFormat), 80u);
    EXPECT_EQ(sizeof(AM_MEDIA_TYPE), 88u);

    EXPECT_EQ(offsetof(DISPPARAMS, rgdispidNamedArgs), 8u);
    EXPECT_EQ(offsetof(DISPPARAMS, cArgs), 16u);
    EXPECT_EQ(offsetof(DISPPARAMS, cNamedArgs), 20u);
    EXPECT_EQ(sizeof(DISPPARAMS), 24u);

    EXPECT_EQ(offsetof(EXCEPINFO, wReserved), 2u);
    EXPECT_EQ(offsetof(EXCEPINFO, bstrSource), 8u);
    EXPECT_EQ(offsetof(EXCEPINFO, bstrDescription), 16u);
    EXPECT_EQ(offsetof(EXCEPINFO, bstrHelpFile), 24u);
    EXPECT_EQ(offsetof(EXCEPINFO, dwHelpContext), 32u);
    EXPECT_EQ(offsetof(EXCEPINFO, pvReserved), 40u);
    EXPECT_EQ(offsetof(EXCEPINFO, pfnDeferredFillIn), 48u);
    EXPECT_EQ(offsetof(EXCEPINFO, scode), 56u);
    EXPECT_EQ(sizeof(EXCEPINFO), 64u);
}

}  // namespace
