// The platform headers' side of the binding check: the shape of each bound
// declaration as the platform headers make it (see AbiShape.h).
#include "binding/AbiShape.h"
#include "binding/BoundDeclarations.h"
#include "zqplatform/shlobj.h"
#include "zqplatform/zqplatform.h"

namespace zqbinding {

#define ZQ_RECORD_TAG(record, ...) \
    template <>                    \
    struct RecordTag<::record> {   \
        using type = tags::record; \
    };
ZQ_BOUND_RECORDS(ZQ_RECORD_TAG)
ZQ_BOUND_INTERFACES(ZQ_RECORD_TAG)
#undef ZQ_RECORD_TAG

#define ZQ_FIELD(record, field) , Field<offsetof(::record, field), Shape<decltype(::record::field)>>
#define ZQ_RECORD_AGREES(record, ...)                                                                           \
    template <>                                                                                               \
    const bool Agreement<tags::record, Layout<sizeof(::record), alignof(::record) ZQ_FOR_EACH(ZQ_FIELD, record, \
                                                                                              __VA_ARGS__)>>::kChecked = true;
ZQ_BOUND_RECORDS(ZQ_RECORD_AGREES)
#undef ZQ_RECORD_AGREES
#undef ZQ_FIELD

#define ZQ_FUNCTION_AGREES(function) \
    template <>                      \
    const bool Agreement<tags::function, Shape<decltype(::function)>>::kChecked = true;
ZQ_BOUND_FUNCTIONS(ZQ_FUNCTION_AGREES)
#undef ZQ_FUNCTION_AGREES

#define ZQ_METHOD_AGREES(interface, method) \
    template <>                             \
    const bool Agreement<tags::interface##_##method, Shape<decltype(&::interface::method)>>::kChecked = true;
#define ZQ_INTERFACE_AGREES(interface, ...) ZQ_FOR_EACH(ZQ_METHOD_AGREES, interface, __VA_ARGS__)
ZQ_BOUND_INTERFACES(ZQ_INTERFACE_AGREES)
#undef ZQ_INTERFACE_AGREES
#undef ZQ_METHOD_AGREES

}  // namespace zqbinding
