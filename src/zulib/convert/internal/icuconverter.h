// Opening converters of ICU with the records of what fails, and the facts that are read from them.

#ifndef ZULIB_CONVERT_INTERNAL_ICUCONVERTER_H
#define ZULIB_CONVERT_INTERNAL_ICUCONVERTER_H

#include "zulib/convert/services/zuconvertreturn.h"

namespace zuconvert {

// Open a converter: by code-page number, where an unknown number and 0 open the platform's default, or by
// name. Null with a record if ICU does not open it; 2739 has the number, or the name, in its text.
UConverter* openCodePage(long codePage);
UConverter* openName(const unsigned char* name);

// Makes the converter follow the policy of `info`. Returns 0, or 1 with error 4.
int installPolicy(UConverter* converter, ICUSubstitutionErrorInfo* info);

// Bytes per character. ICU knows no page with characters of 0 bytes.
struct CharSizes {
  unsigned short max = 0;
  unsigned short min = 0;
};
CharSizes charSizesOf(const UConverter* converter);

}  // namespace zuconvert

#endif
