#include "zulib/codepages/zuleadbytes.h"

#include <unicode/ucnv.h>

#include "zulib/runtime/ram.h"

namespace {

constexpr unsigned long kByteValues = 256;

// What both counts are taken from: the characters, and where the last whole one ends.
struct Walked {
  unsigned long chars = 0;
  unsigned long end = 0;
};

Walked walkCharacters(const unsigned char* map, const unsigned char* bytes, unsigned long n) {
  Walked walked;
  for (unsigned long i = 0; i < n; ++walked.chars) {
    i += 1UL + map[bytes[i]];
    if (i <= n) walked.end = i;
  }
  return walked;
}

// Makes a converter report a character that the end of the input cuts, in its scope. By itself ICU puts a
// substitute in its place and reports success.
class ReportCuts {
 public:
  explicit ReportCuts(UConverter* converter) : converter(converter) {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, &action, &context, &status);
  }
  ReportCuts(const ReportCuts&) = delete;
  ReportCuts& operator=(const ReportCuts&) = delete;
  ~ReportCuts() {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter, action, context, nullptr, nullptr, &status);
  }

 private:
  UConverter* converter;
  UConverterToUCallback action = nullptr;
  const void* context = nullptr;
};

// Whether the first character at `p` is cut by `end`. Bytes that are illegal are not: ICU substitutes them.
bool isCut(UConverter* converter, const unsigned char* p, const unsigned char* end) {
  const ReportCuts scope(converter);
  UErrorCode status = U_ZERO_ERROR;
  const char* from = reinterpret_cast<const char*>(p);
  ucnv_reset(converter);
  ucnv_getNextUChar(converter, &from, reinterpret_cast<const char*>(end), &status);
  if (U_FAILURE(status)) ucnv_resetToUnicode(converter);
  return status == U_TRUNCATED_CHAR_FOUND;
}

}  // namespace

int generateLeadByteMap(UConverter* converter, unsigned char** map) {
  auto* fresh = static_cast<unsigned char*>(ramAlloc(kByteValues));
  if (!fresh) return 1;
  ucnv_reset(converter);  // a conversion that failed may have left text in it
  const ReportCuts scope(converter);
  for (unsigned long value = 0; value < kByteValues; ++value) {
    const char byte = static_cast<char>(value);
    const char* from = &byte;
    UChar out[32];
    UChar* to = out;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_toUnicode(converter, &to, std::end(out), &from, &byte + 1, nullptr, true, &status);
    fresh[value] = status == U_TRUNCATED_CHAR_FOUND ? 1 : 0;
    if (U_FAILURE(status)) ucnv_reset(converter);
  }
  *map = fresh;
  return 0;
}

int isPossibleLeadByte(const ZuPCU8Cache* cache, long codePage, unsigned char byte, int* flag) {
  const unsigned char* map = cache->getHandleForKey(codePage);
  if (!map) return 1;
  *flag = map[byte];
  return 0;
}

int getCountOfChars(const ZuPCU8Cache* cache, long codePage, const unsigned char* bytes, unsigned long n,
                    unsigned long* count) {
  unsigned long byteCount = 0;
  return getCounts(cache, codePage, bytes, n, &byteCount, count);
}

int getCountOfBytes(const ZuPCU8Cache* cache, long codePage, const unsigned char* bytes, unsigned long n,
                    unsigned long* count) {
  int isLead = 0;
  if (n != 0 && isPossibleLeadByte(cache, codePage, bytes[n - 1], &isLead)) return 1;
  *count = n - (isLead ? 1 : 0);
  return 0;
}

int getCountOfBytes(const ZuPCU8Cache* cache, UConverter* converter, long codePage,
                    const unsigned char* bytes, unsigned long n, unsigned long* count) {
  const auto extra = static_cast<unsigned long>(ucnv_getMaxCharSize(converter) - 1);
  if (n == 0 || extra == 0) {
    *count = n;
    return 0;
  }
  const unsigned char* map = cache->getHandleForKey(codePage);
  if (!map) return 1;
  *count = map[bytes[n - 1]] ? n - 1 : n;
  if (*count < n || extra == 1) return 0;
  for (unsigned long back = 1; back <= extra && back < n; ++back) {
    const unsigned long i = n - 1 - back;
    if (!map[bytes[i]]) continue;
    if (isCut(converter, bytes + i, bytes + n)) *count = i;
    break;
  }
  return 0;
}

unsigned long getCountOfUTF8Bytes(const unsigned char* bytes, unsigned long n) {
  if (n == 0 || bytes[n - 1] < 0x80) return n;
  if (n == 1) return 0;
  if ((bytes[n - 2] & 0xE0) == 0xC0) return n;
  if (n == 2) return 0;
  if ((bytes[n - 3] & 0xF0) == 0xE0) return n;
  return n == 3 ? 0 : n;
}

int getCounts(const ZuPCU8Cache* cache, long codePage, const unsigned char* bytes, unsigned long n,
              unsigned long* byteCount, unsigned long* charCount) {
  Walked walked;
  if (n != 0) {
    const unsigned char* map = cache->getHandleForKey(codePage);
    if (!map) return 1;
    walked = walkCharacters(map, bytes, n);
  }
  *byteCount = walked.end;
  *charCount = walked.chars;
  return 0;
}
