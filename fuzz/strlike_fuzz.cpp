// LIKE over arbitrary bytes: value and pattern lie in blocks that end where they end, and what the match says
// must not depend on how the same question is put.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "zulib/text/strcopy.h"
#include "zulib/text/strlike.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

std::unique_ptr<unsigned char[]> exact(const uint8_t* p, size_t n) {
  std::unique_ptr<unsigned char[]> block(new unsigned char[n]);
  for (size_t i = 0; i < n; ++i) block[i] = p[i];
  return block;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const int caseSensitive = data[0] & 1;
  const int keepBlanks = data[0] & 2;
  const zuCPType cp = (data[0] & 4) != 0 ? zuCPUTF8 : (data[0] & 8) != 0 ? zuCPSingleByte : zuCPLocale;
  const size_t valueLength = data[1] % (size - 1);
  const size_t patternLength = size - 2 - valueLength;
  const auto value = exact(data + 2, valueLength);
  const auto pattern = exact(data + 2 + valueLength, patternLength);
  const auto matches = [&](const unsigned char* p, size_t n, int keep) {
    return strLike(value.get(), valueLength, p, n, '%', '_', '\\', caseSensitive, keep, cp);
  };
  const bool answer = matches(pattern.get(), patternLength, keepBlanks);

  // A run of wildcards is one wildcard, and a match with regard to case is one without.
  std::vector<unsigned char> doubled{'%', '%'};
  std::vector<unsigned char> once{'%'};
  doubled.insert(doubled.end(), pattern.get(), pattern.get() + patternLength);
  once.insert(once.end(), pattern.get(), pattern.get() + patternLength);
  demand(matches(doubled.data(), doubled.size(), keepBlanks) ==
         matches(once.data(), once.size(), keepBlanks));
  demand(!answer || matches(once.data(), once.size(), keepBlanks));
  demand(!answer ||
         strLike(value.get(), valueLength, pattern.get(), patternLength, '%', '_', '\\', 0, keepBlanks, cp));

  // The same as UTF-16, bytes as units: the same answer for plain ASCII.
  bool ascii = true;
  for (size_t i = 2; i < size; ++i) ascii = ascii && data[i] < 0x80;
  const std::unique_ptr<unsigned short[]> wide(new unsigned short[size]);
  for (size_t i = 2; i < size; ++i)
    wide[i] = static_cast<unsigned short>(data[i] | (ascii ? 0 : data[1] << 8));
  const bool wideAnswer = strLike(wide.get() + 2, valueLength, wide.get() + 2 + valueLength, patternLength,
                                  u'%', u'_', u'\\', caseSensitive, 1);
  demand(!ascii || wideAnswer == matches(pattern.get(), patternLength, 1));
  return 0;
}
