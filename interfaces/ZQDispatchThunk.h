// Thunks that call an interface method with arguments taken from VARIANTs,
// and the compile-time builder of member descriptions that checks each
// described parameter against the method's real signature.
//
// Only the description's source includes this: the thunks are instantiated
// there, one per member, and reached through ZQMemberDescription::m_invoke.
#pragma once

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

#include "interfaces/ZQInterfaceDescription.h"

namespace zqdispatch {

/// How a C++ parameter type travels in a VARIANT. Specialised for every type
/// that appears on the automation interfaces; a method with any other type
/// fails to compile into the description, which is the point.
template <class T, class = void>
struct ParamTraits;

/// A scalar that a VARIANT of type `kType` carries in its member `kMember`.
/// As an in-parameter the VARIANT already holds the described type.
template <class T, VARTYPE kType, T VARIANT::*kMember>
struct ScalarIn {
    static constexpr VARTYPE kVt = kType;
    static constexpr bool kOut = false;
    static T From(const VARIANT& v) noexcept { return v.*kMember; }
};

/// The same scalar as an out-parameter (always a trailing retval on these
/// interfaces): the method writes into `Storage`, and To moves the value, with
/// its ownership, into the result VARIANT.
template <class T, VARTYPE kType, T VARIANT::*kMember>
struct ScalarOut {
    static constexpr VARTYPE kVt = kType;
    static constexpr bool kOut = true;
    using Storage = T;
    static void To(Storage value, VARIANT* result) noexcept {
        result->vt = kType;
        result->*kMember = value;
    }
};

template <>
struct ParamTraits<LONG> : ScalarIn<LONG, VT_I4, &VARIANT::lVal> {};
template <>
struct ParamTraits<double> : ScalarIn<double, VT_R8, &VARIANT::dblVal> {};
template <>
struct ParamTraits<BSTR> : ScalarIn<BSTR, VT_BSTR, &VARIANT::bstrVal> {};
template <>
struct ParamTraits<VARIANT_BOOL> : ScalarIn<VARIANT_BOOL, VT_BOOL, &VARIANT::boolVal> {};

template <>
struct ParamTraits<LONG*> : ScalarOut<LONG, VT_I4, &VARIANT::lVal> {};
template <>
struct ParamTraits<double*> : ScalarOut<double, VT_R8, &VARIANT::dblVal> {};
template <>
struct ParamTraits<BSTR*> : ScalarOut<BSTR, VT_BSTR, &VARIANT::bstrVal> {};
template <>
struct ParamTraits<VARIANT_BOOL*> : ScalarOut<VARIANT_BOOL, VT_BOOL, &VARIANT::boolVal> {};

/// Enumerations travel as their 32-bit value.
template <class E>
struct ParamTraits<E, std::enable_if_t<std::is_enum_v<E>>> {
    static_assert(sizeof(E) == sizeof(LONG));
    static constexpr VARTYPE kVt = VT_I4;
    static constexpr bool kOut = false;
    static E From(const VARIANT& v) noexcept { return static_cast<E>(v.lVal); }
};

/// Interface pointers in: the VARIANT holds a VT_UNKNOWN whose pointer was
/// queried for exactly this interface, so the downcast is exact.
template <class I>
struct ParamTraits<I*, std::enable_if_t<std::is_base_of_v<IUnknown, I>>> {
    static constexpr VARTYPE kVt = std::is_base_of_v<IDispatch, I> ? VT_DISPATCH : VT_UNKNOWN;
    static constexpr bool kOut = false;
    static constexpr const IID* kIid = &ZQIidOf<I>();
    static I* From(const VARIANT& v) noexcept { return static_cast<I*>(v.punkVal); }
};

/// Enumerations out travel as their 32-bit value too.
template <class E>
struct ParamTraits<E*, std::enable_if_t<std::is_enum_v<E>>> {
    static_assert(sizeof(E) == sizeof(LONG));
    static constexpr VARTYPE kVt = VT_I4;
    static constexpr bool kOut = true;
    using Storage = E;
    static void To(Storage value, VARIANT* result) noexcept {
        result->vt = VT_I4;
        result->lVal = static_cast<LONG>(value);
    }
};

template <class I>
struct ParamTraits<I**, std::enable_if_t<std::is_base_of_v<IUnknown, I>>> {
    static constexpr VARTYPE kVt = std::is_base_of_v<IDispatch, I> ? VT_DISPATCH : VT_UNKNOWN;
    static constexpr bool kOut = true;
    static constexpr const IID* kIid = &ZQIidOf<I>();
    using Storage = I*;
    static void To(Storage value, VARIANT* result) noexcept {
        if constexpr (std::is_base_of_v<IDispatch, I>) {
            result->vt = VT_DISPATCH;
            result->pdispVal = value;
        } else {
            result->vt = VT_UNKNOWN;
            result->punkVal = value;
        }
    }
};

template <class T>
constexpr const IID* IidOf() {
    if constexpr (requires { ParamTraits<T>::kIid; })
        return ParamTraits<T>::kIid;
    else
        return nullptr;
}

/// Splits a member-function pointer type into its interface and parameters.
template <class M>
struct MethodTraits;

/// True when the last of `A...` is an out-parameter.
template <class... A>
constexpr bool LastIsOut() {
    constexpr bool out[] = {false, ParamTraits<A>::kOut...};
    return out[sizeof...(A)];
}

template <class I, class... A>
struct MethodTraits<HRESULT (I::*)(A...)> {
    using Interface = I;
    using Params = std::tuple<A...>;
    static constexpr std::size_t kCount = sizeof...(A);
    /// A trailing out-parameter is the retval; no other may be out.
    static constexpr bool kHasRetval = LastIsOut<A...>();
    static constexpr std::size_t kInCount = kHasRetval ? kCount - 1 : kCount;
};

template <auto Method, std::size_t... In>
HRESULT InvokeMethod(void* instance, VARIANT* args, VARIANT* result, std::index_sequence<In...>) noexcept {
    using Traits = MethodTraits<decltype(Method)>;
    using I = typename Traits::Interface;
    using Params = typename Traits::Params;
    I* self = static_cast<I*>(instance);
    if constexpr (Traits::kHasRetval) {
        using Out = ParamTraits<std::tuple_element_t<Traits::kCount - 1, Params>>;
        typename Out::Storage value{};
        HRESULT hr = (self->*Method)(ParamTraits<std::tuple_element_t<In, Params>>::From(args[In])..., &value);
        // A failing method may still have written a value it owns; the
        // contract is that out-values are undefined on failure, so only a
        // success hands anything over.
        if (SUCCEEDED(hr))
            Out::To(value, result);
        return hr;
    } else {
        (void)result;
        (void)args;
        return (self->*Method)(ParamTraits<std::tuple_element_t<In, Params>>::From(args[In])...);
    }
}

/// The thunk of one member, as stored in ZQMemberDescription::m_invoke.
template <auto Method>
HRESULT Invoke(void* instance, VARIANT* args, VARIANT* result) noexcept {
    using Traits = MethodTraits<decltype(Method)>;
    return InvokeMethod<Method>(instance, args, result, std::make_index_sequence<Traits::kInCount>{});
}

/// True when every described parameter has the type, direction and interface
/// of the method's parameter at its place.
template <auto Method, std::size_t... All>
consteval bool ParamsMatch(const ZQParamDescription* params, std::index_sequence<All...>) {
    using Traits = MethodTraits<decltype(Method)>;
    using Params = typename Traits::Params;
    auto matches = [&](std::size_t index, VARTYPE vt, bool out, const IID* iid) {
        const ZQParamDescription& p = params[index];
        bool describedOut = (p.m_flags & ZQParam_Out) != 0;
        bool describedRetval = (p.m_flags & ZQParam_Retval) != 0;
        if (p.m_vt != vt || describedOut != out || describedRetval != out)
            return false;
        return iid == p.m_iid;
    };
    return (matches(All, ParamTraits<std::tuple_element_t<All, Params>>::kVt,
                    ParamTraits<std::tuple_element_t<All, Params>>::kOut,
                    IidOf<std::tuple_element_t<All, Params>>()) &&
            ...);
}

/// Builds the description of the member `Method`. Evaluated at compile time:
/// a description whose parameters don't fit the method stops the build.
template <auto Method, std::size_t N>
consteval ZQMemberDescription Member(const char* name, DISPID dispid, INVOKEKIND kind,
                                     const ZQParamDescription (&params)[N], const char* helpText) {
    using Traits = MethodTraits<decltype(Method)>;
    if (Traits::kCount != N || !ParamsMatch<Method>(params, std::make_index_sequence<N>{}))
        throw "the described parameters don't match the method";
    return {name, dispid, kind, params, static_cast<UINT>(N), helpText, &Invoke<Method>};
}

template <auto Method>
consteval ZQMemberDescription Member(const char* name, DISPID dispid, INVOKEKIND kind, const char* helpText) {
    if (MethodTraits<decltype(Method)>::kCount != 0)
        throw "the method has parameters that aren't described";
    return {name, dispid, kind, nullptr, 0, helpText, &Invoke<Method>};
}

}  // namespace zqdispatch
