#include "zulib/text/internal/narrow.h"

#include <langinfo.h>
#include <pthread.h>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <atomic>
#include <bit>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <cwctype>

namespace zutext {
namespace {

typedef signed char Bytes16 __attribute__((vector_size(16)));
typedef unsigned char UnsignedBytes16 __attribute__((vector_size(16)));
typedef std::uint64_t Words2 __attribute__((vector_size(16)));

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
    const bool isLowerLetter = byte >= 'a' && byte <= 'z';
    const unsigned plain = isLowerLetter ? i - 32 : i;
    if (i < 0x80 && facts.size[i] != 1) facts.asciiPlain = false;
    if (i < 0x80 ? facts.upper[i] != plain : facts.upper[i] < 0x80) facts.asciiFold = false;
  }
  std::strncpy(facts.codeset, codeset, sizeof facts.codeset - 1);
  facts.codeset[sizeof facts.codeset - 1] = 0;
}

// The facts of every encoding that the process has used so far. They depend on the encoding alone, so all
// threads share them. Rows are added under the lock, read without it, and never changed afterwards.
//
// Neither compiler thread-local storage nor the heap: both can fail, and a text operation cannot.
constexpr unsigned kMostEncodings = 128;  // the C library comes with fewer that a locale can have
LocaleFacts knownFacts[kMostEncodings];
constinit std::atomic<unsigned> knownCount = 0;
pthread_mutex_t knownLock = PTHREAD_MUTEX_INITIALIZER;

const LocaleFacts* findFacts(const char* codeset) {
  const unsigned count = knownCount.load(std::memory_order_acquire);
  for (unsigned i = 0; i < count; ++i) {
    if (std::strncmp(knownFacts[i].codeset, codeset, sizeof knownFacts[i].codeset - 1) == 0) {
      return &knownFacts[i];
    }
  }
  return nullptr;
}

// A process with more encodings than rows, which takes custom ones, reads all others as the last of them.
const LocaleFacts& addFacts(const char* codeset) {
  pthread_mutex_lock(&knownLock);
  const LocaleFacts* found = findFacts(codeset);
  if (!found) {
    const unsigned row = std::min(knownCount.load(std::memory_order_relaxed), kMostEncodings - 1);
    found = &knownFacts[row];
    if (knownCount.load(std::memory_order_relaxed) < kMostEncodings) {
      fillFacts(knownFacts[row], codeset);
      knownCount.store(row + 1, std::memory_order_release);
    }
  }
  pthread_mutex_unlock(&knownLock);
  return *found;
}

Bytes16 load16(const unsigned char* p) {
  Bytes16 bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return bytes;
}

bool any(Bytes16 bytes) {
  const Words2 words = reinterpret_cast<Words2>(bytes);
  return (words[0] | words[1]) != 0;
}

// What a comparison of ASCII without regard to case has come upon.
struct CiFindings {
  Bytes16 high = {};  // the high bits of all bytes that were looked at
  Bytes16 diff = {};  // not 0 where two differ in more than the case of a letter

  void look(const unsigned char* a, const unsigned char* b) {
    const Bytes16 x = load16(a);
    const Bytes16 y = load16(b);
    // One comparison for both ends of the letters: what lies behind z wraps to below 0.
    const auto shifted = reinterpret_cast<UnsignedBytes16>(x | 0x20) + (127 - 'z');
    const Bytes16 isLetter = reinterpret_cast<Bytes16>(shifted) > 127 - 26;
    diff |= (x ^ y) & ~(isLetter & 0x20);
    high |= x | y;
  }
  bool areNone() const { return !any(diff | (high & static_cast<signed char>(0x80))); }
};

#if defined(__x86_64__)
typedef signed char Bytes32 __attribute__((vector_size(32)));
typedef unsigned char UnsignedBytes32 __attribute__((vector_size(32)));

// What `CiFindings` looks for, four blocks of 32 bytes at a time: how many bytes are the same. One function
// without helpers, since only what carries the mark may hold such vectors. Where two bytes differ in no more
// than the bit of the case, either of them with that bit set is both of them together.
[[gnu::target("avx2")]] unsigned long sameAsciiCi32(const unsigned char* a, const unsigned char* b,
                                                    unsigned long n) {
  unsigned long i = 0;
  for (; n - i >= 4 * sizeof(Bytes32); i += 4 * sizeof(Bytes32)) {
    Bytes32 high = {};
    Bytes32 diff = {};
    for (unsigned long at = i; at < i + 4 * sizeof(Bytes32); at += sizeof(Bytes32)) {
      Bytes32 x, y;
      std::memcpy(&x, a + at, sizeof x);
      std::memcpy(&y, b + at, sizeof y);
      const auto shifted = reinterpret_cast<UnsignedBytes32>(x | y) + (127 - 'z');
      const Bytes32 isLetter = reinterpret_cast<Bytes32>(shifted) > 127 - 26;
      diff |= (x ^ y) & ~(isLetter & 0x20);
      high |= x | y;
    }
    const auto bits = reinterpret_cast<__m256i>(diff | (high & static_cast<signed char>(0x80)));
    if (_mm256_testz_si256(bits, bits) == 0) break;
  }
  return i;
}

// `findEither` in 32 bytes and more.
[[gnu::target("avx2")]] const unsigned char* findEither32(const unsigned char* p, const unsigned char* end,
                                                          signed char c1, signed char c2) {
  for (; end - p >= 128; p += 128) {
    Bytes32 found = {};
    for (int i = 0; i < 128; i += 32) {
      Bytes32 bytes;
      std::memcpy(&bytes, p + i, sizeof bytes);
      found |= (bytes == c1) | (bytes == c2);
    }
    const auto bits = reinterpret_cast<__m256i>(found);
    if (_mm256_testz_si256(bits, bits) == 0) break;
  }
  for (; p < end; p += 32) {
    if (end - p < 32) p = end - 32;  // looks again at some bytes that are known to be neither
    Bytes32 bytes;
    std::memcpy(&bytes, p, sizeof bytes);
    const auto found =
        static_cast<unsigned>(_mm256_movemask_epi8(reinterpret_cast<__m256i>((bytes == c1) | (bytes == c2))));
    if (found != 0) return p + std::countr_zero(found);
  }
  return nullptr;
}

bool hasBlocksOf32() { return __builtin_cpu_supports("avx2") != 0; }
#else
unsigned long sameAsciiCi32(const unsigned char*, const unsigned char*, unsigned long) { return 0; }
const unsigned char* findEither32(const unsigned char*, const unsigned char*, signed char, signed char) {
  return nullptr;
}
bool hasBlocksOf32() { return false; }
#endif

Bytes16 isEither(const unsigned char* p, signed char c1, signed char c2) {
  const Bytes16 bytes = load16(p);
  return (bytes == c1) | (bytes == c2);
}

// The searches look at four blocks at a time, then at one.
constexpr std::ptrdiff_t block = 16;
constexpr std::ptrdiff_t fourBlocks = 4 * block;

// The number of the first byte in memory that is not 0.
static_assert(std::endian::native == std::endian::little);
std::ptrdiff_t lowestByte(std::uint64_t word) { return std::countr_zero(word) / 8; }

// Has the high bit of each byte set that is 0; above the first of them maybe of others too.
std::uint64_t zeroBytes(std::uint64_t word) { return (word - 0x0101010101010101u) & ~word & highBits; }

std::uint64_t spread(unsigned char byte) { return 0x0101010101010101u * byte; }

// `findEither` in less than a block: in the first and the last eight bytes, which may overlap.
const unsigned char* findEitherShort(const unsigned char* p, const unsigned char* end, unsigned char c1,
                                     unsigned char c2) {
  if (end - p >= 8) {
    for (const unsigned char* at : {p, end - 8}) {
      const std::uint64_t word = load8(at);
      const std::uint64_t found = zeroBytes(word ^ spread(c1)) | zeroBytes(word ^ spread(c2));
      if (found != 0) return at + lowestByte(found);
    }
    return nullptr;
  }
  while (p < end && *p != c1 && *p != c2) ++p;
  return p < end ? p : nullptr;
}

}  // namespace

const LocaleFacts& localeFacts() {
  const char* codeset = nl_langinfo(CODESET);
  const LocaleFacts* known = findFacts(codeset);
  return known ? *known : addFacts(codeset);
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
  if (end - p < block) return findEitherShort(p, end, c1, c2);
  const auto s1 = static_cast<signed char>(c1);
  const auto s2 = static_cast<signed char>(c2);
  if (end - p >= 32 && hasBlocksOf32()) return findEither32(p, end, s1, s2);
  for (; end - p >= fourBlocks; p += fourBlocks) {
    if (any(isEither(p, s1, s2) | isEither(p + 16, s1, s2) | isEither(p + 32, s1, s2) |
            isEither(p + 48, s1, s2))) {
      break;
    }
  }
  for (; p < end; p += block) {
    if (end - p < block) p = end - block;  // looks again at some bytes that are known to be neither
    const Words2 found = reinterpret_cast<Words2>(isEither(p, s1, s2));
    if (found[0] != 0) return p + lowestByte(found[0]);
    if (found[1] != 0) return p + 8 + lowestByte(found[1]);
  }
  return nullptr;
}

unsigned long sameAsciiCi(const unsigned char* a, const unsigned char* b, unsigned long n) {
  const unsigned char* start = a;
  const unsigned char* end = a + n;
  if (hasBlocksOf32()) {
    const unsigned long same = sameAsciiCi32(a, b, n);
    a += same;
    b += same;
  } else {
    for (; end - a >= fourBlocks; a += fourBlocks, b += fourBlocks) {
      CiFindings findings;
      for (std::ptrdiff_t i = 0; i < fourBlocks; i += block) findings.look(a + i, b + i);
      if (!findings.areNone()) break;
    }
  }
  for (; end - a >= block; a += block, b += block) {
    CiFindings findings;
    findings.look(a, b);
    if (!findings.areNone()) break;
  }
  return static_cast<unsigned long>(a - start);
}

void NarrowWalk::followLocale() {
  const LocaleFacts& facts = localeFacts();
  sizes = facts.size;
  upper = facts.upper;
  utf8 = false;
  ask = true;
  asciiPlain = facts.asciiPlain;
  asciiFold = asciiPlain && facts.asciiFold;
}

// True when no byte before `p` could begin a character that reaches over `p`, wherever the characters before
// it begin. In valid UTF-8 that holds for every start.
bool NarrowWalk::isSurelyStart(const unsigned char* start, const unsigned char* p) const {
  const std::ptrdiff_t before = p - start;
  const std::ptrdiff_t longest = utf8 ? 3 : 1;
  for (std::ptrdiff_t i = 1; i <= longest && i <= before; ++i) {
    if (sizes[p[-i]] > i) return false;
  }
  return true;
}

const unsigned char* NarrowWalk::reachFurther(const unsigned char* start, const unsigned char* target,
                                              const unsigned char* end) const {
  const unsigned char* p = target;
  while (p > start && !isSurelyStart(start, p)) --p;
  while (p < target) p = next(p, end);
  return p;
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
