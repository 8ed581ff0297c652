// The one whitespace class, exported for callers that can't use the inline form.
#include "zqplatform/text.h"

extern "C" {

BOOL ZQIsSpace(WCHAR c) {
    return ZQIsSpaceInline(c) ? TRUE : FALSE;
}

}  // extern "C"
