#include "codepage.h"

#include <unicode/ucnv.h>
#include <zulib/codepages/ucnvconv.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace {

// Where the library's numbers are: those that IANA has given, and those of pages that have none there.
constexpr struct {
  long first;
  long last;
} kRanges[] = {{1, 2300}, {2000000001, 2000005100}};

// ICU's own name of a page. Empty for a name that it does not know.
std::string nameInICU(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  const char* const alias = ucnv_getAlias(name, 0, &status);
  return U_SUCCESS(status) && alias ? alias : "";
}

long findNumber(const std::string& digits) {
  long number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return result.ec == std::errc() && ucnvIANAidToICUname(number) ? number : -1;
}

long findName(const std::string& name) {
  const std::string wanted = nameInICU(name.c_str());
  if (wanted.empty()) return -1;
  for (const auto& range : kRanges) {
    for (long number = range.first; number <= range.last; ++number) {
      const char* const candidate = ucnvIANAidToICUname(number);
      if (candidate && nameInICU(candidate) == wanted) return number;
    }
  }
  return -1;
}

}  // namespace

long findCodePage(const std::string& numberOrName) {
  const bool isNumber = !numberOrName.empty() && std::all_of(numberOrName.begin(), numberOrName.end(),
                                                             [](unsigned char c) { return std::isdigit(c); });
  return isNumber ? findNumber(numberOrName) : findName(numberOrName);
}
