// The error records of the conversion rooms that carry fixed states.

#ifndef ZULIB_CONVERT_INTERNAL_REPORT_H
#define ZULIB_CONVERT_INTERNAL_REPORT_H

namespace zuconvert {

// Native codes of conversion records.
constexpr unsigned short kNativeSubstituted = 2;
constexpr unsigned short kNativeTruncated = 4;
constexpr unsigned short kNativeFailed = 60;

// Records error 2737 ("HY000", native code 60): the operation does not apply to this object, or was called
// out of order. Returns 1.
int reportFailure();

// Records warning 2736 ("01000", native code 2): a character was replaced.
void reportSubstitution();

}  // namespace zuconvert

#endif
