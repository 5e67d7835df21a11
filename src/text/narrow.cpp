#include "text/internal/narrow.h"

#include <langinfo.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <cwctype>

namespace zutext {
namespace {

typedef signed char Bytes16 __attribute__((vector_size(16)));
typedef std::uint64_t Words2 __attribute__((vector_size(16)));

constexpr std::array<unsigned char, 256> utf8Sizes = [] {
  std::array<unsigned char, 256> sizes{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    sizes[byte] = byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
  }
  return sizes;
}();

// Plain data, so that it needs no constructor and no destructor in a library that may be unloaded.
thread_local LocaleFacts threadFacts;

size_t sizeOf(const char* bytes, size_t n) {
  std::mbstate_t state{};
  return std::mbrlen(bytes, n, &state);
}

// True when some second byte makes a double-byte character with `byte`.
bool canLead(unsigned char byte) {
  if (sizeOf(reinterpret_cast<const char*>(&byte), 1) != static_cast<size_t>(-2)) return false;
  for (unsigned i = 0; i < 256; ++i) {
    // Counting down from the middle of the high bytes meets a second byte of most encodings at once.
    const char pair[2] = {static_cast<char>(byte), static_cast<char>((0xBFu - i) & 0xFF)};
    if (sizeOf(pair, 2) == 2) return true;
  }
  return false;
}

unsigned char foldByte(unsigned char byte, std::uint32_t (*map)(std::uint32_t)) {
  std::mbstate_t state{};
  wchar_t wide = 0;
  if (std::mbrtowc(&wide, reinterpret_cast<const char*>(&byte), 1, &state) != 1) return byte;
  const std::uint32_t mapped = map(static_cast<std::uint32_t>(wide));
  if (mapped == static_cast<std::uint32_t>(wide)) return byte;
  char bytes[MB_LEN_MAX];
  std::mbstate_t back{};
  if (std::wcrtomb(bytes, static_cast<wchar_t>(mapped), &back) != 1) return byte;
  return static_cast<unsigned char>(bytes[0]);
}

void fillFacts(LocaleFacts& facts, const char* codeset) {
  facts.asciiPlain = true;
  facts.asciiFold = true;
  for (unsigned i = 0; i < 256; ++i) {
    const auto byte = static_cast<unsigned char>(i);
    facts.size[i] = canLead(byte) ? 2 : 1;
    facts.upper[i] = foldByte(byte, javaToUpper);
    facts.lower[i] = foldByte(byte, javaToLower);
    const bool isLowerLetter = byte >= 'a' && byte <= 'z';
    const unsigned plain = isLowerLetter ? i - 32 : i;
    if (i < 0x80 && facts.size[i] != 1) facts.asciiPlain = false;
    if (i < 0x80 ? facts.upper[i] != plain : facts.upper[i] < 0x80) facts.asciiFold = false;
  }
  std::strncpy(facts.codeset, codeset, sizeof facts.codeset - 1);
  facts.codeset[sizeof facts.codeset - 1] = 0;
  facts.ready = true;
}

Bytes16 load16(const unsigned char* p) {
  Bytes16 bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return bytes;
}

bool any(Bytes16 bytes, std::uint64_t bits = ~std::uint64_t{0}) {
  const Words2 words = reinterpret_cast<Words2>(bytes);
  return ((words[0] | words[1]) & bits) != 0;
}

// a to z to A to Z, for bytes that are all ASCII.
Bytes16 foldAscii(Bytes16 bytes) {
  const Bytes16 isLowerLetter = (bytes > 'a' - 1) & (bytes < 'z' + 1);
  return bytes - (isLowerLetter & 32);
}

}  // namespace

const LocaleFacts& localeFacts() {
  LocaleFacts& facts = threadFacts;
  const char* codeset = nl_langinfo(CODESET);
  if (!facts.ready || std::strncmp(facts.codeset, codeset, sizeof facts.codeset - 1) != 0) {
    fillFacts(facts, codeset);
  }
  return facts;
}

bool isDoubleByte(const unsigned char* p) { return sizeOf(reinterpret_cast<const char*>(p), 2) == 2; }

unsigned long decodeLocale(const unsigned char* p, unsigned long left, wchar_t* wide, bool* cut) {
  std::mbstate_t state{};
  const unsigned long most = MB_CUR_MAX;
  const size_t size = std::mbrtowc(wide, reinterpret_cast<const char*>(p), left < most ? left : most, &state);
  *cut = size == static_cast<size_t>(-2);
  return size > most ? 0 : size;
}

bool isWhiteSpaceWithin(const unsigned char* p, unsigned long left, const LocaleFacts& facts) {
  // Graphic characters are never white space, and the blank always is.
  if (facts.asciiPlain && *p > 0x20 && *p < 0x7F) return false;
  if (facts.asciiPlain && *p == 0x20) return true;
  wchar_t wide;
  bool cut;
  return decodeLocale(p, left, &wide, &cut) != 0 && std::iswspace(static_cast<std::wint_t>(wide)) != 0;
}

const unsigned char* skipAscii(const unsigned char* p, const unsigned char* end) {
  while (end - p >= 16 && ((load8(p) | load8(p + 8)) & highBits) == 0) p += 16;
  while (p < end && *p < 0x80) ++p;
  return p;
}

const unsigned char* findEither(const unsigned char* p, const unsigned char* end, unsigned char c1,
                                unsigned char c2) {
  const auto s1 = static_cast<signed char>(c1);
  const auto s2 = static_cast<signed char>(c2);
  for (; end - p >= 16; p += 16) {
    const Bytes16 bytes = load16(p);
    if (any((bytes == s1) | (bytes == s2))) break;
  }
  for (; p < end; ++p) {
    if (*p == c1 || *p == c2) return p;
  }
  return nullptr;
}

unsigned long sameAsciiCi(const unsigned char* a, const unsigned char* b, unsigned long n) {
  unsigned long i = 0;
  for (; n - i >= 16; i += 16) {
    const Bytes16 x = load16(a + i);
    const Bytes16 y = load16(b + i);
    if (any(x | y, highBits) || any(foldAscii(x) ^ foldAscii(y))) break;
  }
  return i;
}

NarrowWalk::NarrowWalk(zuCPType cp) : utf8(cp == zuCPUTF8) {
  const LocaleFacts& facts = localeFacts();
  sizes = utf8 ? utf8Sizes.data() : facts.size;
  localeUpper = facts.upper;
  ask = !utf8;
  asciiPlain = utf8 || facts.asciiPlain;
  asciiFold = asciiPlain && facts.asciiFold;
}

const unsigned char* NarrowWalk::reach(const unsigned char* start, const unsigned char* target,
                                       const unsigned char* end) const {
  while (start < target) {
    if (asciiPlain) {
      start = skipAscii(start, target);
      if (start == target) break;
    }
    start = next(start, end);
  }
  return start;
}

const unsigned char* findBytes(const NarrowWalk& walk, const unsigned char* s, unsigned long n,
                               const unsigned char* pat, unsigned long m) {
  if (m == 0 || m > n) return nullptr;
  const unsigned char* end = s + n;
  const unsigned char* start = s;
  while (start < end) {
    const void* found = memmem(start, static_cast<size_t>(end - start), pat, m);
    if (found == nullptr) return nullptr;
    const auto* hit = static_cast<const unsigned char*>(found);
    start = walk.reach(start, hit, end);
    if (start == hit) return hit;
  }
  return nullptr;
}

const unsigned char* findByte(const NarrowWalk& walk, const unsigned char* s, unsigned long n,
                              unsigned char ch) {
  const unsigned char* end = s + n;
  const unsigned char* start = s;
  while (start < end) {
    const void* found = std::memchr(start, ch, static_cast<size_t>(end - start));
    if (found == nullptr) return nullptr;
    const auto* hit = static_cast<const unsigned char*>(found);
    start = walk.reach(start, hit, end);
    if (start == hit) return hit;
  }
  return nullptr;
}

}  // namespace zutext
