#include "zulib/text/internal/localefacts.h"

#include <langinfo.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>

#include "zulib/text/internal/codepoint.h"

namespace zutext {
namespace {

size_t sizeOf(const char* bytes, size_t n) {
  std::mbstate_t state{};
  return std::mbrlen(bytes, n, &state);
}

// True if some second byte makes a double-byte character with `byte`.
bool canLead(unsigned char byte) {
  if (sizeOf(reinterpret_cast<const char*>(&byte), 1) != static_cast<size_t>(-2)) return false;
  for (unsigned i = 0; i < 256; ++i) {
    // Counting down from the middle of the high bytes meets a second byte of most encodings at once.
    const char pair[2] = {static_cast<char>(byte), static_cast<char>((0xBFu - i) & 0xFF)};
    if (sizeOf(pair, 2) == 2) return true;
  }
  return false;
}

unsigned char foldByte(unsigned char byte) {
  std::mbstate_t state{};
  wchar_t wide = 0;
  if (std::mbrtowc(&wide, reinterpret_cast<const char*>(&byte), 1, &state) != 1) return byte;
  const std::uint32_t mapped = upperLatin(static_cast<std::uint32_t>(wide));
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
    facts.upper[i] = foldByte(byte);
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

}  // namespace zutext
