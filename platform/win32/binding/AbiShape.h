// The shape of a type as the x64 Windows calling convention and structure
// layout see it, for comparing a declaration of the platform headers with
// Windows' own. Included by both sides of the check, it knows neither side's
// headers: each side tells which of its records are compared by name
// (RecordTag), and every other record is opaque.
//
// How the check works: the platform side defines Agreement<Tag, Shape>::kChecked
// for the shape of each of its declarations, and the Windows side refers to
// Agreement<Tag, Shape> for the shape of Windows' declaration of the same
// name. Where the two differ, the reference finds no definition and the link
// fails, naming the declaration and Windows' shape of it.
#pragma once

#include <cstddef>
#include <type_traits>

namespace zqbinding {

/// An integer, a character or an enumeration of that many bytes: signedness
/// and the type's name don't change how a value is passed.
template <size_t kSize>
struct Integer {};
template <size_t kSize>
struct Floating {};
/// The result of a function that gives none.
struct Void {};
/// What a pointer leads to when the two sides needn't agree on it: void, a
/// handle's target, a record neither side compares.
struct Opaque {};
/// A structure or an interface compared by name (its tag), whose layout or
/// methods are checked on their own.
template <class Tag>
struct Record {};
template <class Pointee>
struct Pointer {};
template <class Element, size_t kCount>
struct Array {};
template <class Result, class... Params>
struct Function {};
template <size_t kOffset, class FieldShape>
struct Field {};
template <size_t kSize, size_t kAlignment, class... Fields>
struct Layout {};

/// The tag a record type is compared under; void for records that aren't.
template <class T>
struct RecordTag {
    using type = void;
};

template <class T, class = void>
struct ShapeOf;

template <class T>
using Shape = typename ShapeOf<std::remove_cv_t<T>>::type;

template <class T>
inline constexpr bool kIsRecord = std::is_class_v<T> || std::is_union_v<T>;

template <class T>
inline constexpr bool kIsUntaggedRecord = kIsRecord<T> && std::is_void_v<typename RecordTag<T>::type>;

/// What a pointer leads to: void and untagged records are alike (and may be
/// incomplete on one side).
template <class T, class = void>
struct PointeeShapeOf {
    using type = Shape<T>;
};

template <>
struct PointeeShapeOf<void> {
    using type = Opaque;
};

template <class T>
struct PointeeShapeOf<T, std::enable_if_t<kIsUntaggedRecord<T>>> {
    using type = Opaque;
};

template <>
struct ShapeOf<void> {
    using type = Void;
};

template <class T>
struct ShapeOf<T, std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>>> {
    using type = Integer<sizeof(T)>;
};

template <class T>
struct ShapeOf<T, std::enable_if_t<std::is_floating_point_v<T>>> {
    using type = Floating<sizeof(T)>;
};

template <class T>
struct ShapeOf<T*> {
    using type = Pointer<typename PointeeShapeOf<std::remove_cv_t<T>>::type>;
};

/// References pass as pointers.
template <class T>
struct ShapeOf<T&> {
    using type = Pointer<typename PointeeShapeOf<std::remove_cv_t<T>>::type>;
};

template <class T, size_t kCount>
struct ShapeOf<T[kCount]> {
    using type = Array<Shape<T>, kCount>;
};

template <class R, class... A>
struct ShapeOf<R(A...)> {
    using type = Function<Shape<R>, Shape<A>...>;
};

/// A method: `this` comes first on both sides and isn't part of the shape.
template <class R, class C, class... A>
struct ShapeOf<R (C::*)(A...)> {
    using type = Function<Shape<R>, Shape<A>...>;
};

template <class T>
struct ShapeOf<T, std::enable_if_t<kIsRecord<T> && !kIsUntaggedRecord<T>>> {
    using type = Record<typename RecordTag<T>::type>;
};

/// A record that isn't compared by name, passed by value: its size and
/// alignment decide how it travels.
template <class T>
struct ShapeOf<T, std::enable_if_t<kIsUntaggedRecord<T>>> {
    using type = Layout<sizeof(T), alignof(T)>;
};

/// One side's answer for a declaration: defined by the platform side for its
/// shape, referred to by the Windows side with Windows' shape.
template <class Tag, class DeclarationShape>
struct Agreement {
    static const bool kChecked;
};

}  // namespace zqbinding
