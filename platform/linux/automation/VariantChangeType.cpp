// VariantChangeType: conversions between the scalar types, text, VT_BOOL,
// VT_ERROR and interfaces, with the platform's statuses for what can't convert.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "automation/VariantInternal.h"
#include "zqplatform/text.h"

namespace {

using Int128 = __int128;

/// A value read from the source, before it is fitted to the target type.
struct Number {
    enum class Kind { Integer, Real } kind = Kind::Integer;
    Int128 integer = 0;
    double real = 0.0;
};

Number IntegerNumber(Int128 value) {
    Number n;
    n.integer = value;
    return n;
}

Number RealNumber(double value) {
    Number n;
    n.kind = Number::Kind::Real;
    n.real = value;
    return n;
}

/// Trims the one whitespace class and narrows to ASCII; false when a
/// character outside ASCII remains, which no number or keyword contains.
bool TrimmedAscii(BSTR text, std::string& out) {
    UINT length = SysStringLen(text);
    UINT begin = 0;
    while (begin < length && ZQIsSpaceInline(text[begin]))
        ++begin;
    while (length > begin && ZQIsSpaceInline(text[length - 1]))
        --length;
    out.clear();
    for (UINT i = begin; i < length; ++i) {
        if (text[i] == 0 || text[i] > 0x7F)
            return false;
        out.push_back(static_cast<char>(text[i]));
    }
    return true;
}

bool EqualsIgnoringCase(const std::string& text, const char* word) {
    size_t length = std::strlen(word);
    if (text.size() != length)
        return false;
    for (size_t i = 0; i < length; ++i) {
        char c = text[i];
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        if (c != word[i])
            return false;
    }
    return true;
}

/// Whether unsigned decimal text that is out of a double's range is so by
/// being too small: a negative exponent, or no nonzero digit before the point.
bool IsUnderflow(const std::string& text) {
    size_t exponent = text.find_first_of("eE");
    if (exponent != std::string::npos && exponent + 1 < text.size() && text[exponent + 1] == '-')
        return true;
    size_t integerEnd = std::min(text.find('.'), exponent);
    return text.find_first_not_of('0') >= integerEnd;
}

/// Parses decimal text in the C locale: an optional sign, digits with an
/// optional fraction and exponent. Whole numbers stay exact integers.
HRESULT ParseNumber(const std::string& text, Number& out) {
    size_t start = (!text.empty() && (text[0] == '+' || text[0] == '-')) ? 1 : 0;
    // Demand a digit or a point where the number starts, so that "inf",
    // "nan" and hexadecimal forms are not numbers here.
    if (start >= text.size() || !(std::isdigit(static_cast<unsigned char>(text[start])) || text[start] == '.'))
        return DISP_E_TYPEMISMATCH;
    const char* first = text.data() + start;
    const char* last = text.data() + text.size();
    bool negative = start == 1 && text[0] == '-';
    unsigned long long magnitude = 0;
    auto [end, error] = std::from_chars(first, last, magnitude);
    if (end == last && error == std::errc()) {
        out = IntegerNumber(negative ? -static_cast<Int128>(magnitude) : static_cast<Int128>(magnitude));
        return S_OK;
    }
    double real = 0.0;
    auto [realEnd, realError] = std::from_chars(first, last, real);
    if (realEnd != last)
        return DISP_E_TYPEMISMATCH;
    if (realError == std::errc::result_out_of_range) {
        // Too small reads as zero, too large overflows.
        if (!IsUnderflow(text.substr(start)))
            return DISP_E_OVERFLOW;
        real = 0.0;
    }
    out = RealNumber(negative ? -real : real);
    return S_OK;
}

/// Reads a numeric view of the source; VT_EMPTY reads as 0 and VT_BOOL as
/// 0 or -1.
HRESULT ReadNumber(const VARIANT& source, Number& out) {
    switch (source.vt) {
    case VT_EMPTY: out = IntegerNumber(0); return S_OK;
    case VT_I1: out = IntegerNumber(source.cVal); return S_OK;
    case VT_UI1: out = IntegerNumber(source.bVal); return S_OK;
    case VT_I2: out = IntegerNumber(source.iVal); return S_OK;
    case VT_UI2: out = IntegerNumber(source.uiVal); return S_OK;
    case VT_I4: out = IntegerNumber(source.lVal); return S_OK;
    case VT_INT: out = IntegerNumber(source.intVal); return S_OK;
    case VT_UI4: out = IntegerNumber(source.ulVal); return S_OK;
    case VT_UINT: out = IntegerNumber(source.uintVal); return S_OK;
    case VT_I8: out = IntegerNumber(source.llVal); return S_OK;
    case VT_UI8: out = IntegerNumber(source.ullVal); return S_OK;
    case VT_BOOL: out = IntegerNumber(source.boolVal != VARIANT_FALSE ? -1 : 0); return S_OK;
    case VT_R4: out = RealNumber(source.fltVal); return S_OK;
    case VT_R8: out = RealNumber(source.dblVal); return S_OK;
    case VT_BSTR: {
        std::string text;
        if (!TrimmedAscii(source.bstrVal, text))
            return DISP_E_TYPEMISMATCH;
        return ParseNumber(text, out);
    }
    default:
        return DISP_E_TYPEMISMATCH;
    }
}

/// Rounds half to even, as the platform's conversions to integers do,
/// independent of the caller's floating-point rounding mode.
double RoundHalfToEven(double value) {
    double floor = std::floor(value);
    double fraction = value - floor;
    if (fraction > 0.5)
        return floor + 1.0;
    if (fraction < 0.5)
        return floor;
    return std::fmod(floor, 2.0) == 0.0 ? floor : floor + 1.0;
}

/// The number as an integer in [minimum, maximum], DISP_E_OVERFLOW outside.
HRESULT FitInteger(const Number& n, Int128 minimum, Int128 maximum, Int128& out) {
    Int128 value = n.integer;
    if (n.kind == Number::Kind::Real) {
        if (std::isnan(n.real))
            return DISP_E_OVERFLOW;
        double rounded = RoundHalfToEven(n.real);
        // Beyond 2^100 no integer target can hold it; keeps the cast defined.
        if (std::fabs(rounded) > 0x1p100)
            return DISP_E_OVERFLOW;
        value = static_cast<Int128>(rounded);
    }
    if (value < minimum || value > maximum)
        return DISP_E_OVERFLOW;
    out = value;
    return S_OK;
}

/// The number as an unsigned target: TRUE (read as -1) fills every bit, as
/// the platform's conversion from VT_BOOL does; other negatives overflow.
HRESULT FitUnsigned(const VARIANT& source, const Number& n, Int128 maximum, Int128& out) {
    if (source.vt == VT_BOOL) {
        out = source.boolVal != VARIANT_FALSE ? maximum : 0;
        return S_OK;
    }
    return FitInteger(n, 0, maximum, out);
}

template <class T>
constexpr Int128 MinOf() {
    return static_cast<Int128>(std::numeric_limits<T>::min());
}
template <class T>
constexpr Int128 MaxOf() {
    return static_cast<Int128>(std::numeric_limits<T>::max());
}

HRESULT ToInteger(const VARIANT& source, VARTYPE vt, VARIANT& result) {
    Number n;
    if (source.vt == VT_ERROR)  // a status reads as its 32-bit number
        n = IntegerNumber(source.scode);
    else if (HRESULT hr = ReadNumber(source, n); FAILED(hr))
        return hr;
    Int128 value = 0;
    HRESULT hr = E_UNEXPECTED;
    switch (vt) {
    case VT_I1: hr = FitInteger(n, MinOf<int8_t>(), MaxOf<int8_t>(), value); result.cVal = static_cast<CHAR>(value); break;
    case VT_I2: hr = FitInteger(n, MinOf<int16_t>(), MaxOf<int16_t>(), value); result.iVal = static_cast<SHORT>(value); break;
    case VT_I4: hr = FitInteger(n, MinOf<int32_t>(), MaxOf<int32_t>(), value); result.lVal = static_cast<LONG>(value); break;
    case VT_INT: hr = FitInteger(n, MinOf<int32_t>(), MaxOf<int32_t>(), value); result.intVal = static_cast<INT>(value); break;
    case VT_I8: hr = FitInteger(n, MinOf<int64_t>(), MaxOf<int64_t>(), value); result.llVal = static_cast<LONGLONG>(value); break;
    case VT_UI1: hr = FitUnsigned(source, n, MaxOf<uint8_t>(), value); result.bVal = static_cast<BYTE>(value); break;
    case VT_UI2: hr = FitUnsigned(source, n, MaxOf<uint16_t>(), value); result.uiVal = static_cast<USHORT>(value); break;
    case VT_UI4: hr = FitUnsigned(source, n, MaxOf<uint32_t>(), value); result.ulVal = static_cast<ULONG>(value); break;
    case VT_UINT: hr = FitUnsigned(source, n, MaxOf<uint32_t>(), value); result.uintVal = static_cast<UINT>(value); break;
    case VT_UI8: hr = FitUnsigned(source, n, MaxOf<uint64_t>(), value); result.ullVal = static_cast<ULONGLONG>(value); break;
    default: break;
    }
    return hr;
}

HRESULT ToReal(const VARIANT& source, VARTYPE vt, VARIANT& result) {
    Number n;
    if (HRESULT hr = ReadNumber(source, n); FAILED(hr))
        return hr;
    double value = n.kind == Number::Kind::Real ? n.real : static_cast<double>(n.integer);
    if (vt == VT_R8) {
        result.dblVal = value;
        return S_OK;
    }
    if (std::isfinite(value) && std::fabs(value) > FLT_MAX)
        return DISP_E_OVERFLOW;
    result.fltVal = static_cast<float>(value);
    return S_OK;
}

HRESULT ToBool(const VARIANT& source, VARIANT& result) {
    if (source.vt == VT_BSTR) {
        std::string text;
        if (TrimmedAscii(source.bstrVal, text) && (EqualsIgnoringCase(text, "true") || EqualsIgnoringCase(text, "false"))) {
            result.boolVal = EqualsIgnoringCase(text, "true") ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        }
    }
    Number n;
    if (HRESULT hr = ReadNumber(source, n); FAILED(hr))
        return hr;
    bool truth = n.kind == Number::Kind::Real ? n.real != 0.0 : n.integer != 0;
    result.boolVal = truth ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT MakeBstr(const char* text, size_t length, VARIANT& result) {
    BSTR bstr = SysAllocStringLen(nullptr, static_cast<UINT>(length));
    if (bstr == nullptr)
        return E_OUTOFMEMORY;
    for (size_t i = 0; i < length; ++i)
        bstr[i] = static_cast<OLECHAR>(static_cast<unsigned char>(text[i]));
    result.bstrVal = bstr;
    return S_OK;
}

/// Formats a real with the platform's significant digits (15 for doubles,
/// 7 for floats) and its upper-case exponent ("1E+20").
template <class Real>
HRESULT FormatReal(Real value, int precision, VARIANT& result) {
    char text[64];
    auto [end, error] = std::to_chars(text, text + sizeof text, value, std::chars_format::general, precision);
    if (error != std::errc())
        return E_UNEXPECTED;
    for (char* p = text; p != end; ++p)
        if (*p == 'e')
            *p = 'E';
    return MakeBstr(text, static_cast<size_t>(end - text), result);
}

HRESULT ToBstr(const VARIANT& source, VARIANT& result) {
    switch (source.vt) {
    case VT_EMPTY:
        return MakeBstr("", 0, result);
    case VT_BOOL:
        return source.boolVal != VARIANT_FALSE ? MakeBstr("True", 4, result) : MakeBstr("False", 5, result);
    case VT_R4:
        return FormatReal(source.fltVal, 7, result);
    case VT_R8:
        return FormatReal(source.dblVal, 15, result);
    default:
        break;
    }
    Number n;
    if (HRESULT hr = ReadNumber(source, n); FAILED(hr))
        return hr;
    char text[48];
    // Every integer source fits 64 bits signed or unsigned.
    auto [end, error] = n.integer < 0
        ? std::to_chars(text, text + sizeof text, static_cast<long long>(n.integer))
        : std::to_chars(text, text + sizeof text, static_cast<unsigned long long>(n.integer));
    if (error != std::errc())
        return E_UNEXPECTED;
    return MakeBstr(text, static_cast<size_t>(end - text), result);
}

HRESULT ToInterface(const VARIANT& source, VARTYPE vt, VARIANT& result) {
    if (source.vt != VT_UNKNOWN && source.vt != VT_DISPATCH)
        return DISP_E_TYPEMISMATCH;
    if (source.punkVal == nullptr) {
        result.punkVal = nullptr;
        return S_OK;
    }
    void* target = nullptr;
    HRESULT hr = source.punkVal->QueryInterface(vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown, &target);
    if (FAILED(hr))
        return hr;
    result.punkVal = static_cast<IUnknown*>(target);
    return S_OK;
}

bool IsIntegerType(VARTYPE vt) {
    switch (vt) {
    case VT_I1: case VT_I2: case VT_I4: case VT_I8: case VT_INT:
    case VT_UI1: case VT_UI2: case VT_UI4: case VT_UI8: case VT_UINT:
        return true;
    default:
        return false;
    }
}

/// A status from an integer that fits 32 bits, signed or not; text, reals
/// and VT_BOOL are no statuses.
HRESULT ToError(const VARIANT& source, VARIANT& result) {
    if (!IsIntegerType(source.vt))
        return DISP_E_TYPEMISMATCH;
    Number n;
    if (HRESULT hr = ReadNumber(source, n); FAILED(hr))
        return hr;
    Int128 value = 0;
    if (HRESULT hr = FitInteger(n, MinOf<int32_t>(), MaxOf<uint32_t>(), value); FAILED(hr))
        return hr;
    result.scode = static_cast<SCODE>(static_cast<uint32_t>(value));
    return S_OK;
}

/// Converts a by-value source into `result` (empty on entry) of type `vt`.
HRESULT Convert(const VARIANT& source, VARTYPE vt, VARIANT& result) {
    if (source.vt == vt)
        return VariantCopy(&result, &source);
    if (vt == VT_EMPTY)
        return S_OK;
    if (source.vt == VT_NULL)
        return DISP_E_TYPEMISMATCH;
    result.vt = vt;
    switch (vt) {
    case VT_I1: case VT_I2: case VT_I4: case VT_I8: case VT_INT:
    case VT_UI1: case VT_UI2: case VT_UI4: case VT_UI8: case VT_UINT:
        return ToInteger(source, vt, result);
    case VT_R4: case VT_R8: return ToReal(source, vt, result);
    case VT_BOOL: return ToBool(source, result);
    case VT_BSTR: return ToBstr(source, result);
    case VT_ERROR: return ToError(source, result);
    case VT_UNKNOWN: case VT_DISPATCH: return ToInterface(source, vt, result);
    default: return DISP_E_TYPEMISMATCH;
    }
}

}  // namespace

extern "C" {

HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT /*wFlags*/, VARTYPE vt) {
    if (pvargDest == nullptr || pvarSrc == nullptr)
        return E_INVALIDARG;
    if ((vt & (VT_BYREF | VT_ARRAY)) != 0)
        return DISP_E_TYPEMISMATCH;
    if (!zqplatform::IsKnownValueType(vt))
        return DISP_E_BADVARTYPE;
    VARIANT source;
    if (HRESULT hr = zqplatform::ReadThroughReference(*pvarSrc, source); FAILED(hr))
        return hr;
    if ((source.vt & ~VT_TYPEMASK) != 0 || !zqplatform::IsKnownValueType(source.vt))
        return DISP_E_BADVARTYPE;
    // Convert into a scratch variant first: on failure the destination stays
    // as it was, and the destination may be the source itself.
    VARIANT result{};
    HRESULT hr = Convert(source, vt, result);
    if (FAILED(hr)) {
        VariantClear(&result);
        return hr;
    }
    if (HRESULT clearHr = VariantClear(pvargDest); FAILED(clearHr)) {
        VariantClear(&result);
        return clearHr;
    }
    std::memcpy(pvargDest, &result, sizeof result);
    return S_OK;
}

}  // extern "C"
