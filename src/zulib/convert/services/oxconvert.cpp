#include "zulib/convert/services/oxconvert.h"

#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "zulib/convert/internal/blocks.h"
#include "zulib/convert/services/oxunicode.h"
#include "zulib/runtime/ram.h"
#include "zulib/text/strcopy.h"

namespace {

constexpr long kStagedUnits = 2000;     // of one step with `srcUsed`
constexpr long kCountingUnits = 1000;   // of one step without it
constexpr long kMostLocalUnits = 4000;  // that oxUTF16ToUTF8 aligns without an allocation
constexpr unsigned long kScratch = 8;   // where counted output goes

long lengthOf(const unsigned char* text, long length) {
  return length < 0 ? static_cast<long>(strLen(text)) : length;
}
long lengthOf(const unsigned short* text, long length) {
  return length < 0 ? static_cast<long>(oxUCS2Len(text)) : length;
}

int32_t clamp(long n) { return static_cast<int32_t>(std::clamp(n, 0L, static_cast<long>(INT_MAX))); }

bool isAligned(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % sizeof(UChar) == 0; }

void store(long* out, long value) {
  if (out) *out = value;
}

// Where a conversion is: both cursors move.
struct Span {
  char* out;
  char* limit;
  const char* in;
  const char* end;
};

Span spanOf(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen) {
  const char* const in = reinterpret_cast<const char*>(src);
  char* const out = reinterpret_cast<char*>(dst);
  return {out, out + dstLen, in, in + lengthOf(src, srcLen)};
}

// The rest of the source by way of UTF-16.
UErrorCode convertStaged(Span& span, UConverter* from, UConverter* to) {
  UChar staged[kStagedUnits];
  ucnv_resetToUnicode(from);
  ucnv_resetFromUnicode(to);
  for (bool more = span.in < span.end; more;) {
    UErrorCode status = U_ZERO_ERROR;
    UChar* filled = staged;
    ucnv_toUnicode(from, &filled, staged + kStagedUnits, &span.in, span.end, nullptr, true, &status);
    more = status == U_BUFFER_OVERFLOW_ERROR;
    if (U_FAILURE(status) && !more) return status;
    status = U_ZERO_ERROR;
    // A pair may be cut between two steps: only the last one ends the text.
    const UChar* units = staged;
    ucnv_fromUnicode(to, &span.out, span.limit, &units, filled, nullptr, !more, &status);
    if (U_FAILURE(status)) return status;
  }
  return U_ZERO_ERROR;
}

enum class Start { Any, Ascii };

// The forms with `srcUsed`, with as many NUL bytes at the end as fit of `nuls`.
ZuConvertReturn convertReporting(Start start, unsigned char* dst, long dstLen, const unsigned char* src,
                                 long srcLen, long* dstUsed, long* srcUsed, UConverter* from, UConverter* to,
                                 int nuls) {
  Span span = spanOf(dst, dstLen, src, srcLen);
  ZuConvertReturn result = ZuConvertOK;
  if (start == Start::Ascii) {
    const long room = std::min<long>(dstLen, span.end - span.in);
    const unsigned long n = zuconvert::copyAscii(dst, src, static_cast<unsigned long>(room));
    span.in += n;
    span.out += n;
  }
  if (span.in < span.end) {
    result = span.out == span.limit ? ZuConvertTruncated : mapICUreturn(convertStaged(span, from, to));
  }
  for (char* end = span.out; nuls > 0 && end < span.limit; --nuls) *end++ = 0;
  store(dstUsed, reinterpret_cast<unsigned char*>(span.out) - dst);
  store(srcUsed, reinterpret_cast<const unsigned char*>(span.in) - src);
  return result;
}

// Output of the forms without `srcUsed`: once the buffer is full it only counts.
class CountingOutput {
 public:
  // The last `reserved` bytes of the buffer are kept for the terminator of `nuls` bytes.
  CountingOutput(unsigned char* dst, long dstLen, long reserved, int nuls, UConverter* to)
      : to(to), start(reinterpret_cast<char*>(dst)), cursor(start), nuls(std::min<long>(nuls, dstLen)) {
    limit = start + std::max(dstLen - reserved, 0L);
    ucnv_resetFromUnicode(to);
  }

  UErrorCode put(const UChar* units, const UChar* end, bool flush) {
    UErrorCode status = U_ZERO_ERROR;
    if (!truncated) {
      ucnv_fromUnicode(to, &cursor, limit, &units, end, nullptr, flush, &status);
      if (mapICUreturn(status) != ZuConvertTruncated) return status;
      truncated = true;
    }
    do {
      char scratch[kScratch];
      char* p = scratch;
      status = U_ZERO_ERROR;
      ucnv_fromUnicode(to, &p, scratch + kScratch, &units, end, nullptr, flush, &status);
      counted += p - scratch;
    } while (status == U_BUFFER_OVERFLOW_ERROR);
    return status;
  }

  ZuConvertReturn finish(UErrorCode status, long* dstUsed) const {
    for (long i = 0; i < nuls; ++i) cursor[i] = 0;
    store(dstUsed, cursor - start + counted);
    return truncated && !U_FAILURE(status) ? ZuConvertTruncated : mapICUreturn(status);
  }

 private:
  UConverter* to;
  char* start;
  char* cursor;
  char* limit;
  long nuls;
  long counted = 0;
  bool truncated = false;
};

// The forms without `srcUsed`.
ZuConvertReturn convertCounting(CountingOutput output, const unsigned char* src, long srcLen, bool endsAtNul,
                                long* dstUsed, UConverter* from) {
  const char* in = reinterpret_cast<const char*>(src);
  const char* end = in + lengthOf(src, srcLen);
  if (endsAtNul) end = std::find(in, end, '\0');
  ucnv_resetToUnicode(from);
  for (UErrorCode status = U_ZERO_ERROR;;) {
    // At the end of the source there may still be characters that the converter holds.
    const UChar32 c = ucnv_getNextUChar(from, &in, end, &status);
    if (status == U_INDEX_OUTOFBOUNDS_ERROR) return output.finish(U_ZERO_ERROR, dstUsed);
    if (!U_FAILURE(status)) {
      UChar units[2];
      int32_t n = 0;
      U16_APPEND_UNSAFE(units, n, c);
      status = output.put(units, units + n, false);
    }
    if (U_FAILURE(status)) return output.finish(status, dstUsed);
  }
}

// Staging for units at an odd address: calls `put(units, end, flush)` for each step.
template <long step, class Put>
UErrorCode stageUnits(const void* src, long length, const Put& put) {
  UChar staged[step];
  const auto* bytes = static_cast<const unsigned char*>(src);
  for (long done = 0;;) {
    const long n = std::min(step, length - done);
    std::memcpy(staged, bytes + 2 * done, 2 * static_cast<unsigned long>(n));
    done += n;
    const UErrorCode status = put(staged, staged + n, done == length);
    if (U_FAILURE(status) || done == length) return status;
  }
}

// Aligned units in this machine's byte order, copied only if the source is something else.
class AlignedUnits {
 public:
  AlignedUnits(const unsigned short* src, long length, int byteSwap)
      : units(reinterpret_cast<const UChar*>(src)) {
    if (!byteSwap && isAligned(src)) return;
    UChar* copy = local;
    const auto n = static_cast<unsigned long>(length);
    if (length > kMostLocalUnits) copy = heap = static_cast<UChar*>(ramAlloc(n * sizeof *heap));
    units = copy;
    if (!copy) return;
    std::memcpy(copy, src, n * sizeof *copy);
    if (byteSwap) oxUCS2Swap(copy, copy, n);
  }
  AlignedUnits(const AlignedUnits&) = delete;
  AlignedUnits& operator=(const AlignedUnits&) = delete;
  ~AlignedUnits() { free(heap); }

  const UChar* get() const { return units; }  // null if an allocation failed

 private:
  const UChar* units;
  UChar* heap = nullptr;
  UChar local[kMostLocalUnits];
};

ZuConvertReturn convertToUTF8(unsigned char* dst, long capacity, const unsigned short* src, long srcLen,
                              long* dstUsed, int byteSwap) {
  const long length = lengthOf(src, srcLen);
  if (length > INT_MAX) return ZuConvertFailed;
  const AlignedUnits units(src, length, byteSwap);
  if (!units.get()) return ZuConvertFailed;
  UErrorCode status = U_ZERO_ERROR;
  int32_t needed = 0;
  u_strToUTF8(reinterpret_cast<char*>(dst), clamp(capacity), &needed, units.get(),
              static_cast<int32_t>(length), &status);
  store(dstUsed, needed);
  return mapICUreturn(status);
}

ZuConvertReturn convertFromUTF8(unsigned short* dst, long capacity, const unsigned char* src, long srcLen,
                                long* dstUsed, int byteSwap) {
  const long length = lengthOf(src, srcLen);
  if (length > INT_MAX) return ZuConvertFailed;
  UErrorCode status = U_ZERO_ERROR;
  int32_t needed = 0;
  u_strFromUTF8(reinterpret_cast<UChar*>(dst), clamp(capacity), &needed, reinterpret_cast<const char*>(src),
                static_cast<int32_t>(length), &status);
  store(dstUsed, needed);
  const ZuConvertReturn result = mapICUreturn(status);
  if (byteSwap && result <= ZuConvertTruncated) {
    oxUCS2Swap(dst, dst, static_cast<unsigned long>(std::min<long>(needed, clamp(capacity))));
  }
  return result;
}

template <class Char>
void zeroEnd(Char* text, long length, long n) {
  const long zeros = std::clamp(n, 0L, std::max(length, 0L));
  std::memset(text + (length < 0 ? 0 : length - zeros), 0, static_cast<unsigned long>(zeros) * sizeof *text);
}

}  // namespace

ZuConvertReturn oxAnsiToUTF8(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                             long* dstUsed, long* srcUsed, UConverter* from, UConverter* to) {
  if (!dst || dstLen <= 0 || !src) return ZuConvertFailed;
  return convertReporting(Start::Ascii, dst, dstLen, src, srcLen, dstUsed, srcUsed, from, to, 1);
}

ZuConvertReturn oxAnsiToUTF8(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                             long* dstUsed, UConverter* from, UConverter* to) {
  if (!dst || !src) return ZuConvertFailed;
  return convertCounting({dst, dstLen, 1, 1, to}, src, srcLen, true, dstUsed, from);
}

ZuConvertReturn oxUTF8ToAnsi(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                             long* dstUsed, long* srcUsed, UConverter* from, UConverter* to) {
  if (dst && dstLen > 0 && src) {
    return convertReporting(Start::Ascii, dst, dstLen, src, srcLen, dstUsed, srcUsed, from, to, 1);
  }
  store(dstUsed, 0);
  return ZuConvertFailed;
}

ZuConvertReturn oxUTF8ToAnsi(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                             long* dstUsed, UConverter* from, UConverter* to) {
  if (!dst || !src) return ZuConvertFailed;
  return convertCounting({dst, dstLen, 1, 1, to}, src, srcLen, true, dstUsed, from);
}

ZuConvertReturn oxCpgToCpg(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                           long* dstUsed, long* srcUsed, UConverter* from, UConverter* to) {
  if (!dst || dstLen <= 0 || !src) return ZuConvertFailed;
  return convertReporting(Start::Any, dst, dstLen, src, srcLen, dstUsed, srcUsed, from, to, 2);
}

ZuConvertReturn oxCpgToCpg(unsigned char* dst, long dstLen, const unsigned char* src, long srcLen,
                           long* dstUsed, UConverter* from, UConverter* to) {
  if (!dst || !src) return ZuConvertFailed;
  const long min = ucnv_getMinCharSize(to);
  return convertCounting({dst, dstLen, min, min >= 2 ? 2 : 1, to}, src, srcLen, false, dstUsed, from);
}

ZuConvertReturn oxUCS2ToAnsi(unsigned char* dst, long dstLen, unsigned short* src, long srcLen, long* dstUsed,
                             long* srcUsed, UConverter* to, int byteSwap) {
  if (!dst || dstLen <= 0 || !src) return ZuConvertFailed;
  const long length = lengthOf(src, srcLen);
  if (byteSwap && length >= 1) oxUCS2Swap(src, src, static_cast<unsigned long>(length));
  char* out = reinterpret_cast<char*>(dst);
  char* const limit = out + dstLen;
  long taken = 0;
  const auto put = [&](const UChar* units, const UChar* end, bool flush) {
    const UChar* const start = units;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_fromUnicode(to, &out, limit, &units, end, nullptr, flush, &status);
    taken += units - start;
    return status;
  };
  ucnv_resetFromUnicode(to);
  const UChar* const units = reinterpret_cast<const UChar*>(src);
  const UErrorCode status =
      isAligned(src) ? put(units, units + length, true) : stageUnits<kStagedUnits>(src, length, put);
  if (out < limit) *out = 0;
  store(dstUsed, reinterpret_cast<unsigned char*>(out) - dst);
  store(srcUsed, taken);
  return mapICUreturn(status);
}

ZuConvertReturn oxUCS2ToAnsi(unsigned char* dst, long dstLen, unsigned short* src, long srcLen, long* dstUsed,
                             UConverter* to, int byteSwap) {
  if (!dst || !src) return ZuConvertFailed;
  const long length = lengthOf(src, srcLen);
  if (length > INT_MAX) return ZuConvertFailed;
  if (byteSwap && length >= 1) oxUCS2Swap(src, src, static_cast<unsigned long>(length));
  if (!isAligned(src)) {
    CountingOutput output(dst, dstLen, 1, 1, to);
    const auto put = [&output](const UChar* units, const UChar* end, bool flush) {
      return output.put(units, end, flush);
    };
    return output.finish(stageUnits<kCountingUnits>(src, length, put), dstUsed);
  }
  zeroEnd(dst, dstLen, ucnv_getMaxCharSize(to));
  UErrorCode status = U_ZERO_ERROR;
  store(dstUsed, ucnv_fromUChars(to, reinterpret_cast<char*>(dst), clamp(dstLen - 1),
                                 reinterpret_cast<const UChar*>(src), static_cast<int32_t>(length), &status));
  return mapICUreturn(status);
}

ZuConvertReturn oxAnsiToUCS2(unsigned short* dst, long dstLen, const unsigned char* src, long srcLen,
                             long* dstUsed, long* srcUsed, UConverter* from, int byteSwap) {
  if (!dst || dstLen <= 0 || !src) return ZuConvertFailed;
  const char* in = reinterpret_cast<const char*>(src);
  UChar* out = reinterpret_cast<UChar*>(dst);
  UErrorCode status = U_ZERO_ERROR;
  ucnv_resetToUnicode(from);
  ucnv_toUnicode(from, &out, out + dstLen, &in, in + lengthOf(src, srcLen), nullptr, true, &status);
  const long written = out - reinterpret_cast<UChar*>(dst);
  store(dstUsed, written);
  store(srcUsed, reinterpret_cast<const unsigned char*>(in) - src);
  const ZuConvertReturn result = mapICUreturn(status);
  if (result >= ZuConvertFailed) return result;
  if (written < dstLen) dst[written] = 0;
  if (byteSwap) oxUCS2Swap(dst, dst, static_cast<unsigned long>(written));
  return result;
}

ZuConvertReturn oxAnsiToUCS2(unsigned short* dst, long dstLen, const unsigned char* src, long srcLen,
                             long* dstUsed, UConverter* from, int byteSwap) {
  if (!dst || !src) return ZuConvertFailed;
  const long length = lengthOf(src, srcLen);
  if (length > INT_MAX) return ZuConvertFailed;
  zeroEnd(dst, dstLen, 2);
  UErrorCode status = U_ZERO_ERROR;
  const int32_t capacity = clamp(dstLen - 1);
  const int32_t needed =
      ucnv_toUChars(from, reinterpret_cast<UChar*>(dst), capacity, reinterpret_cast<const char*>(src),
                    static_cast<int32_t>(length), &status);
  store(dstUsed, needed);
  const ZuConvertReturn result = mapICUreturn(status);
  if (byteSwap && result < ZuConvertFailed) {
    oxUCS2Swap(dst, dst, static_cast<unsigned long>(std::min(needed, capacity)));
  }
  return result;
}

ZuConvertReturn oxUTF16ToUTF8(unsigned char* dst, long dstLen, const unsigned short* src, long srcLen,
                              long* dstUsed, int byteSwap) {
  if (!dst || !src) return ZuConvertFailed;
  return convertToUTF8(dst, dstLen, src, srcLen, dstUsed, byteSwap);
}

ZuConvertReturn oxUTF16ToUTF8ReqLen(unsigned char* dst, long dstLen, const unsigned short* src, long srcLen,
                                    long* dstUsed, int byteSwap) {
  if (!dst || !src) return ZuConvertFailed;
  zeroEnd(dst, dstLen, 4);
  return convertToUTF8(dst, dstLen - 1, src, srcLen, dstUsed, byteSwap);
}

ZuConvertReturn oxUTF8ToUTF16(unsigned short* dst, long dstLen, const unsigned char* src, long srcLen,
                              long* dstUsed, int byteSwap) {
  if (!dst || !src) return ZuConvertFailed;
  return convertFromUTF8(dst, dstLen, src, srcLen, dstUsed, byteSwap);
}

ZuConvertReturn oxUTF8ToUTF16ReqLen(unsigned short* dst, long dstLen, const unsigned char* src, long srcLen,
                                    long* dstUsed, int byteSwap) {
  if (!dst || !src) return ZuConvertFailed;
  zeroEnd(dst, dstLen, 2);
  return convertFromUTF8(dst, dstLen - 1, src, srcLen, dstUsed, byteSwap);
}
