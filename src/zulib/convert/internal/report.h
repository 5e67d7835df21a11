// The diagnostic records of the conversion rooms.

#ifndef ZULIB_CONVERT_INTERNAL_REPORT_H
#define ZULIB_CONVERT_INTERNAL_REPORT_H

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"

namespace zuconvert {

// Native codes of conversion records.
constexpr unsigned short kNativeSubstituted = 2;
constexpr unsigned short kNativeTruncated = 4;
constexpr unsigned short kNativeFailed = 60;

// Records an error ("HY000", native code 60) and returns 1. By itself it is 2737: the operation does not
// apply to this object, was called out of order, or did not convert.
int reportFailure(ZuMessage message = ZU_MSG_CONVERSION_FAILED);

// Record warning 2736 ("01000", native code 2): a character was replaced; and warning 2735 ("01004", native
// code 4): text was cut.
void reportSubstitution();
void reportTruncation();

}  // namespace zuconvert

#endif
