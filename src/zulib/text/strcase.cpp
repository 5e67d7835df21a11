#include "zulib/text/strcase.h"

#include <climits>
#include <cwchar>

#include "zulib/text/internal/walk.h"

using namespace zutext;

namespace {

using MapPoint = std::uint32_t (*)(std::uint32_t);

// Writes the folded form of the character of `size` bytes over it, when it has that size too.
void writeFolded(unsigned char* p, unsigned long size, std::uint32_t folded) {
  char bytes[MB_LEN_MAX];
  std::mbstate_t state{};
  if (std::wcrtomb(bytes, static_cast<wchar_t>(folded), &state) == size) std::memcpy(p, bytes, size);
}

// A loop without branches, which the compiler turns into one over many bytes at a time.
void foldAsciiRun(unsigned char* p, unsigned char* end, unsigned char first) {
  for (; p < end; ++p)
    *p = static_cast<unsigned char>(*p ^ (static_cast<unsigned char>(*p - first) < 26 ? 0x20 : 0));
}

// Folds `n` bytes that hold no terminator. `first` is the first letter of those that change.
void foldNarrow(unsigned char* s, unsigned long n, MapPoint map, unsigned char first) {
  const LocaleFacts& facts = localeFacts();
  unsigned char* end = s + n;
  for (unsigned char* p = s; p < end;) {
    if (facts.asciiPlain && facts.asciiFold) {
      unsigned char* stop = p + (skipAscii(p, end) - p);
      foldAsciiRun(p, stop, first);
      p = stop;
      if (p == end) break;
    }
    wchar_t wide;
    bool cut;
    const unsigned long size = decodeLocale(p, static_cast<unsigned long>(end - p), &wide, &cut);
    if (cut) break;
    if (size != 0) {
      const std::uint32_t folded = map(static_cast<std::uint32_t>(wide));
      if (folded != static_cast<std::uint32_t>(wide)) writeFolded(p, size, folded);
    }
    p += size == 0 ? 1 : size;
  }
}

void foldNarrowTerminated(unsigned char* s, unsigned long most, MapPoint map, unsigned char first) {
  if (!s) return;
  foldNarrow(s, strnlen(reinterpret_cast<const char*>(s), most), map, first);
}

void foldWide(unsigned short* s, unsigned long n, MapPoint map) {
  for (unsigned long i = 0; i < n;) {
    if (wideSize(s + i, n - i) == 1) {
      const std::uint32_t folded = map(s[i]);
      if (folded <= 0xFFFF) s[i] = static_cast<unsigned short>(folded);
      ++i;
      continue;
    }
    const std::uint32_t folded = map(joinPair(s[i], s[i + 1]));
    if (folded > 0xFFFF) {
      s[i] = highOf(folded);
      s[i + 1] = lowOf(folded);
    }
    i += 2;
  }
}

}  // namespace

void strUpper(unsigned char* s) { foldNarrowTerminated(s, ULONG_MAX, upperLatin, 'a'); }
void strUpper(unsigned char* s, unsigned long n) { foldNarrowTerminated(s, n, upperLatin, 'a'); }
void strLower(unsigned char* s) { foldNarrowTerminated(s, ULONG_MAX, lowerLatin, 'A'); }
void strLower(unsigned char* s, unsigned long n) { foldNarrowTerminated(s, n, lowerLatin, 'A'); }

void strUpper(unsigned short* s) {
  if (s) foldWide(s, lengthOf(s), upperPoint);
}
void strUpper(unsigned short* s, unsigned long n) {
  if (s) foldWide(s, n, upperPoint);
}
void strLower(unsigned short* s) {
  if (s) foldWide(s, lengthOf(s), lowerPoint);
}
void strLower(unsigned short* s, unsigned long n) {
  if (s) foldWide(s, n, lowerPoint);
}
