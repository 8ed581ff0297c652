// VariantChangeType: one table of conversions, plus interfaces, references
// and conversion in place.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tests/support/CountingUnknown.h"
#include "tests/support/HResultAssertions.h"
#include "zqplatform/oleauto.h"

namespace {

/// A value described without allocation, so the table can be static.
struct Value {
    VARTYPE vt = VT_EMPTY;
    int64_t integer = 0;
    uint64_t unsignedInteger = 0;
    double real = 0;
    const char16_t* text = nullptr;
};

Value Int(VARTYPE vt, int64_t v) { return {vt, v}; }
Value UInt(VARTYPE vt, uint64_t v) { return {vt, 0, v}; }
Value Real(VARTYPE vt, double v) { return {vt, 0, 0, v}; }
Value Text(const char16_t* s) { return {VT_BSTR, 0, 0, 0, s}; }
Value Bool(bool b) { return Int(VT_BOOL, b ? VARIANT_TRUE : VARIANT_FALSE); }
Value Empty() { return {}; }

VARIANT MakeVariant(const Value& value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = value.vt;
    switch (value.vt) {
    case VT_I1: v.cVal = static_cast<CHAR>(value.integer); break;
    case VT_I2: case VT_BOOL: v.iVal = static_cast<SHORT>(value.integer); break;
    case VT_I4: case VT_INT: case VT_ERROR: v.lVal = static_cast<LONG>(value.integer); break;
    case VT_I8: v.llVal = value.integer; break;
    case VT_UI1: v.bVal = static_cast<BYTE>(value.unsignedInteger); break;
    case VT_UI2: v.uiVal = static_cast<USHORT>(value.unsignedInteger); break;
    case VT_UI4: case VT_UINT: v.ulVal = static_cast<ULONG>(value.unsignedInteger); break;
    case VT_UI8: v.ullVal = value.unsignedInteger; break;
    case VT_R4: v.fltVal = static_cast<float>(value.real); break;
    case VT_R8: v.dblVal = value.real; break;
    case VT_BSTR: v.bstrVal = SysAllocString(value.text); break;
    default: break;
    }
    return v;
}

std::string Describe(const VARIANT& v) {
    switch (v.vt) {
    case VT_EMPTY: return "empty";
    case VT_I1: return "I1 " + std::to_string(v.cVal);
    case VT_I2: return "I2 " + std::to_string(v.iVal);
    case VT_BOOL: return "BOOL " + std::to_string(v.boolVal);
    case VT_I4: return "I4 " + std::to_string(v.lVal);
    case VT_INT: return "INT " + std::to_string(v.intVal);
    case VT_ERROR: return "ERROR " + std::to_string(v.scode);
    case VT_I8: return "I8 " + std::to_string(v.llVal);
    case VT_UI1: return "UI1 " + std::to_string(v.bVal);
    case VT_UI2: return "UI2 " + std::to_string(v.uiVal);
    case VT_UI4: return "UI4 " + std::to_string(v.ulVal);
    case VT_UINT: return "UINT " + std::to_string(v.uintVal);
    case VT_UI8: return "UI8 " + std::to_string(v.ullVal);
    case VT_R4: return "R4 " + std::to_string(v.fltVal);
    case VT_R8: return "R8 " + std::to_string(v.dblVal);
    case VT_BSTR: {
        std::string text = "BSTR \"";
        for (UINT i = 0; i < SysStringLen(v.bstrVal); ++i)
            text += static_cast<char>(v.bstrVal[i]);
        return text + "\"";
    }
    default: return "vt " + std::to_string(v.vt);
    }
}

struct Conversion {
    const char* name;
    Value source;
    VARTYPE target;
    HRESULT expected;
    Value result;
};

class VariantChangeTypeMatrix : public ::testing::TestWithParam<Conversion> {};

TEST_P(VariantChangeTypeMatrix, ConvertsOrFailsAsThePlatformDoes) {
    const Conversion& c = GetParam();
    VARIANT source = MakeVariant(c.source);
    VARIANT dest;
    VariantInit(&dest);
    ASSERT_HR(c.expected, VariantChangeType(&dest, &source, 0, c.target));
    VARIANT expected = MakeVariant(SUCCEEDED(c.expected) ? c.result : Empty());
    EXPECT_EQ(Describe(dest), Describe(expected));
    VariantClear(&expected);
    VariantClear(&dest);
    VariantClear(&source);
}

constexpr uint64_t kMaxU64 = std::numeric_limits<uint64_t>::max();

const Conversion kConversions[] = {
    {"I4ToUI1InRange", Int(VT_I4, 255), VT_UI1, S_OK, UInt(VT_UI1, 255)},
    {"I4ToUI1Overflow", Int(VT_I4, 256), VT_UI1, DISP_E_OVERFLOW, {}},
    {"NegativeToUI4Overflow", Int(VT_I4, -1), VT_UI4, DISP_E_OVERFLOW, {}},
    {"I2ToI1Minimum", Int(VT_I2, -128), VT_I1, S_OK, Int(VT_I1, -128)},
    {"I2ToI1Underflow", Int(VT_I2, -129), VT_I1, DISP_E_OVERFLOW, {}},
    {"UI8MaxToI8Overflow", UInt(VT_UI8, kMaxU64), VT_I8, DISP_E_OVERFLOW, {}},
    {"UI4ToI8", UInt(VT_UI4, 4000000000u), VT_I8, S_OK, Int(VT_I8, 4000000000LL)},
    {"HalfRoundsToEvenDown", Real(VT_R8, 2.5), VT_I4, S_OK, Int(VT_I4, 2)},
    {"NegativeHalfRoundsToEven", Real(VT_R8, -2.5), VT_I4, S_OK, Int(VT_I4, -2)},
    {"RealToI4Overflow", Real(VT_R8, 1e10), VT_I4, DISP_E_OVERFLOW, {}},
    {"NanToI4Overflow", Real(VT_R8, std::nan("")), VT_I4, DISP_E_OVERFLOW, {}},
    {"RealRoundsIntoUI4Maximum", Real(VT_R8, 4294967295.4), VT_UI4, S_OK, UInt(VT_UI4, 4294967295u)},
    {"R8ToR4Overflow", Real(VT_R8, 1e39), VT_R4, DISP_E_OVERFLOW, {}},
    {"TextWithSpacesToI4", Text(u" 42 "), VT_I4, S_OK, Int(VT_I4, 42)},
    {"FractionTextRoundsToEven", Text(u"3.5"), VT_I4, S_OK, Int(VT_I4, 4)},
    {"LargestUI8Text", Text(u"18446744073709551615"), VT_UI8, S_OK, UInt(VT_UI8, kMaxU64)},
    {"TextToI4Overflow", Text(u"99999999999"), VT_I4, DISP_E_OVERFLOW, {}},
    {"TextBeyondDoubleOverflows", Text(u"1e999"), VT_R8, DISP_E_OVERFLOW, {}},
    {"TinyTextReadsAsZero", Text(u"1e-999"), VT_R8, S_OK, Real(VT_R8, 0)},
    {"TrailingGarbageIsMismatch", Text(u"12abc"), VT_I4, DISP_E_TYPEMISMATCH, {}},
    {"EmptyTextIsMismatch", Text(u""), VT_I4, DISP_E_TYPEMISMATCH, {}},
    {"InfinityTextIsMismatch", Text(u"inf"), VT_R8, DISP_E_TYPEMISMATCH, {}},
    {"TrueToUI1FillsTheBits", Bool(true), VT_UI1, S_OK, UInt(VT_UI1, 255)},
    {"FalseWordAnyCaseToBool", Text(u" False "), VT_BOOL, S_OK, Bool(false)},
    {"NumberTextToBool", Text(u"2"), VT_BOOL, S_OK, Bool(true)},
    {"OtherWordToBoolIsMismatch", Text(u"yes"), VT_BOOL, DISP_E_TYPEMISMATCH, {}},
    {"TrueToText", Bool(true), VT_BSTR, S_OK, Text(u"True")},
    {"UI8MaxToText", UInt(VT_UI8, kMaxU64), VT_BSTR, S_OK, Text(u"18446744073709551615")},
    {"R8ToShortestText", Real(VT_R8, 0.1), VT_BSTR, S_OK, Text(u"0.1")},
    {"R8ToFifteenDigits", Real(VT_R8, 1.0 / 3.0), VT_BSTR, S_OK, Text(u"0.333333333333333")},
    {"LargeR8ToExponentText", Real(VT_R8, 1e20), VT_BSTR, S_OK, Text(u"1E+20")},
    {"R4ToSevenDigits", Real(VT_R4, 0.1), VT_BSTR, S_OK, Text(u"0.1")},
    {"NullToI4IsMismatch", {VT_NULL}, VT_I4, DISP_E_TYPEMISMATCH, {}},
    {"ErrorToI4", Int(VT_ERROR, static_cast<int32_t>(0x80004005)), VT_I4, S_OK, Int(VT_I4, static_cast<int32_t>(0x80004005))},
    {"I4ToUnknownIsMismatch", Int(VT_I4, 1), VT_UNKNOWN, DISP_E_TYPEMISMATCH, {}},
};

INSTANTIATE_TEST_SUITE_P(Table, VariantChangeTypeMatrix, ::testing::ValuesIn(kConversions),
                         [](const ::testing::TestParamInfo<Conversion>& row) { return std::string(row.param.name); });

TEST(VariantChangeType, InPlaceFreesTheOldTextFailureLeavesTheDestinationAndReferencesAreRead) {
    VARIANT v = MakeVariant(Text(u"123"));
    ASSERT_OK(VariantChangeType(&v, &v, 0, VT_I4));  // the leak checker sees an unfreed BSTR
    EXPECT_EQ(v.vt, VT_I4);
    EXPECT_EQ(v.lVal, 123);

    VARIANT source = MakeVariant(Text(u"not a number"));
    EXPECT_HR(DISP_E_TYPEMISMATCH, VariantChangeType(&v, &source, 0, VT_I4));
    EXPECT_EQ(v.vt, VT_I4);
    EXPECT_EQ(v.lVal, 123);
    VariantClear(&source);

    VARIANT dest;
    VariantInit(&dest);
    EXPECT_HR(DISP_E_BADVARTYPE, VariantChangeType(&dest, &v, 0, 0x7F));
    EXPECT_HR(DISP_E_TYPEMISMATCH, VariantChangeType(&dest, &v, 0, VT_BYREF | VT_I4));
    EXPECT_EQ(dest.vt, VT_EMPTY);

    SHORT number = -7;
    VARIANT reference;
    VariantInit(&reference);
    reference.vt = VT_BYREF | VT_I2;
    reference.piVal = &number;
    ASSERT_OK(VariantChangeType(&dest, &reference, 0, VT_BSTR));
    EXPECT_EQ(std::u16string(dest.bstrVal), u"-7");
    VariantClear(&dest);
}

TEST(VariantChangeType, InterfacesConvertByQueryInterface) {
    zqtest::CountingUnknown unknown;
    unknown.AddRef();
    VARIANT source;
    VariantInit(&source);
    source.vt = VT_DISPATCH;
    source.punkVal = &unknown;
    VARIANT dest;
    VariantInit(&dest);
    ASSERT_OK(VariantChangeType(&dest, &source, 0, VT_UNKNOWN));
    EXPECT_EQ(dest.vt, VT_UNKNOWN);
    EXPECT_EQ(dest.punkVal, &unknown);
    EXPECT_EQ(unknown.References(), 2);

    // The fake answers IUnknown only, so it is no IDispatch.
    VARIANT noDispatch;
    VariantInit(&noDispatch);
    EXPECT_HR(E_NOINTERFACE, VariantChangeType(&noDispatch, &dest, 0, VT_DISPATCH));
    EXPECT_EQ(noDispatch.vt, VT_EMPTY);
    EXPECT_EQ(unknown.References(), 2);

    VariantClear(&dest);
    VariantClear(&source);
    EXPECT_EQ(unknown.References(), 0);
}

}  // namespace
