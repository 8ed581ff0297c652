// Windows' side of the binding check: the shape of each bound declaration as
// Windows' own headers make it, referred to so that the link finds the
// platform side's agreement or fails naming the declaration (see AbiShape.h).
//
// Building the program is the check; running it does nothing.
#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
#include <shlobj.h>
#include <strmif.h>

#include "binding/AbiShape.h"
#include "binding/BoundDeclarations.h"

namespace zqbinding {

#define ZQ_RECORD_TAG(record, ...) \
    template <>                    \
    struct RecordTag<::record> {   \
        using type = tags::record; \
    };
ZQ_BOUND_RECORDS(ZQ_RECORD_TAG)
ZQ_BOUND_INTERFACES(ZQ_RECORD_TAG)
#undef ZQ_RECORD_TAG

/// Windows' shape of a function, where its type says more than its shape:
/// GetProcAddress answers FARPROC, a code pointer of no particular type, which
/// the platform headers declare as a plain pointer.
template <class Tag, class Declared>
struct WindowsShape {
    using type = Shape<Declared>;
};

template <>
struct WindowsShape<tags::GetProcAddress, decltype(::GetProcAddress)> {
    using type = Function<Pointer<Opaque>, Shape<HMODULE>, Shape<LPCSTR>>;
};

namespace {

#define ZQ_FIELD(record, field) , Field<offsetof(::record, field), Shape<decltype(::record::field)>>
#define ZQ_RECORD_REFERENCE(record, ...) \
    &Agreement<tags::record, Layout<sizeof(::record), alignof(::record) ZQ_FOR_EACH(ZQ_FIELD, record, __VA_ARGS__)>>::kChecked,
#define ZQ_FUNCTION_REFERENCE(function) \
    &Agreement<tags::function, typename WindowsShape<tags::function, decltype(::function)>::type>::kChecked,
#define ZQ_METHOD_REFERENCE(interface, method) \
    &Agreement<tags::interface##_##method, Shape<decltype(&::interface::method)>>::kChecked,
#define ZQ_INTERFACE_REFERENCES(interface, ...) ZQ_FOR_EACH(ZQ_METHOD_REFERENCE, interface, __VA_ARGS__)

const bool* const kAgreements[] = {
    ZQ_BOUND_RECORDS(ZQ_RECORD_REFERENCE)
    ZQ_BOUND_FUNCTIONS(ZQ_FUNCTION_REFERENCE)
    ZQ_BOUND_INTERFACES(ZQ_INTERFACE_REFERENCES)
};

}  // namespace

}  // namespace zqbinding

int main() {
    // Read the references, so that none of them is left out of the link.
    int agreed = 0;
    for (const bool* agreement : zqbinding::kAgreements)
        agreed += *agreement ? 1 : 0;
    return agreed == static_cast<int>(sizeof zqbinding::kAgreements / sizeof zqbinding::kAgreements[0]) ? 0 : 1;
}
