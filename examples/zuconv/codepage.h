#ifndef ZULIB_EXAMPLES_ZUCONV_CODEPAGE_H
#define ZULIB_EXAMPLES_ZUCONV_CODEPAGE_H

#include <string>

// The number of a code page that is given by its IANA number, or by any name that ICU knows it by. -1 if the
// library has no such page.
long findCodePage(const std::string& numberOrName);

#endif
