#include "zulib/text/zustringw.h"

#include <unicode/ustring.h>

#include <climits>
#include <cwchar>

#include "zulib/text/internal/replacedefs.h"
#include "zulib/text/internal/stringdefs.h"
#include "zulib/text/internal/viewdefs.h"

using namespace zutext;

template class ZuSubStringOf<unsigned short>;
template class ZuStringOf<unsigned short>;
template class ZuReplaceStringOf<unsigned short>;
template class ZuSubStringUpperOf<unsigned short, 48>;

namespace {

// Replaces a character that the encoding of the locale does not have.
constexpr char kSubstitute = '?';

unsigned char outOfMemoryText[] = "Out Of Memory";

// At most two units for each byte. A character that the count cuts ends the text; a byte that begins none is
// widened as it is.
unsigned long decodeLocaleText(const unsigned char* p, unsigned long n, unsigned short* out) {
  unsigned long length = 0;
  for (unsigned long i = 0; i < n;) {
    wchar_t wide = p[i];
    bool cut = false;
    unsigned long size = p[i] < 0x80 ? 1 : decodeLocale(p + i, n - i, &wide, &cut);
    if (cut) break;
    if (size == 0) {
      wide = p[i];
      size = 1;
    }
    const auto c = static_cast<std::uint32_t>(wide);
    if (c > 0xFFFF) {
      out[length++] = highOf(c);
      out[length++] = lowOf(c);
    } else {
      out[length++] = static_cast<unsigned short>(c);
    }
    i += size;
  }
  return length;
}

// At most one unit for each byte. False if the bytes are not valid UTF-8.
bool decodeUTF8(const unsigned char* p, unsigned long n, unsigned short* out, unsigned long* length) {
  UErrorCode status = U_ZERO_ERROR;
  int32_t units = 0;
  if (n > INT_MAX - 1) return false;
  u_strFromUTF8(reinterpret_cast<UChar*>(out), static_cast<int32_t>(n + 1), &units,
                reinterpret_cast<const char*>(p), static_cast<int32_t>(n), &status);
  *length = static_cast<unsigned long>(units);
  return U_SUCCESS(status) != 0;
}

// Writes UTF-8 into 3n bytes; false if the units are not valid UTF-16.
bool encodeUTF8(const unsigned short* p, unsigned long n, unsigned char* out, unsigned long* length) {
  UErrorCode status = U_ZERO_ERROR;
  int32_t bytes = 0;
  if (n > (INT_MAX - 1) / 3) return false;
  u_strToUTF8(reinterpret_cast<char*>(out), static_cast<int32_t>(3 * n + 1), &bytes,
              reinterpret_cast<const UChar*>(p), static_cast<int32_t>(n), &status);
  *length = static_cast<unsigned long>(bytes);
  return U_SUCCESS(status) != 0;
}

unsigned long encodeLocaleText(const unsigned short* p, unsigned long n, unsigned char* out) {
  auto* to = reinterpret_cast<char*>(out);
  for (unsigned long i = 0; i < n; i += wideSize(p + i, n - i)) {
    const std::uint32_t c = codePointAt(p + i, n - i);
    std::mbstate_t state{};
    const size_t size = c < 0x80 ? 0 : std::wcrtomb(to, static_cast<wchar_t>(c), &state);
    if (c < 0x80) {
      *to++ = static_cast<char>(c);
    } else if (size == static_cast<size_t>(-1)) {
      *to++ = kSubstitute;
    } else {
      to += size;
    }
  }
  return static_cast<unsigned long>(to - reinterpret_cast<char*>(out));
}

}  // namespace

std::uint32_t ZuSubStringW::hash() const {
  constexpr unsigned long kMost = 6;
  unsigned short folded[kMost + 1] = {};
  moveChars(folded, data, std::min(length, kMost));
  strUpper(folded);
  std::uint32_t sum = 0;
  for (unsigned i = 0; folded[i] != 0; ++i) sum += static_cast<std::uint32_t>(folded[i]) << (3 * i);
  return sum;
}

ZuStringW::~ZuStringW() { std::free(narrowImage); }

int ZuStringW::initialize(const unsigned char* terminated, zuCPType cp) {
  return initialize(terminated, lengthOf(terminated, cp), cp);
}

int ZuStringW::initialize(const unsigned char* p, unsigned long n, zuCPType cp) {
  if (n >= kMostCharacters<unsigned short> / 2) return outOfMemory();
  const unsigned long newCapacity = cp == zuCPLocale ? 2 * n + 1 : cp == zuCPUCS2 ? n / 2 + 1 : n + 1;
  auto* units = static_cast<unsigned short*>(ramAlloc(newCapacity * sizeof(unsigned short)));
  if (!units) return 1;
  unsigned long newLength = 0;
  bool decoded = true;
  if (cp == zuCPUCS2) {
    newLength = n / 2;
    if (n != 0) std::memcpy(units, p, 2 * newLength);
  } else if (cp == zuCPLocale) {
    newLength = decodeLocaleText(p, n, units);
  } else {
    // Single-byte text is read as UTF-8 here too; beyond ASCII it does not pass.
    decoded = decodeUTF8(p, n, units, &newLength);
  }
  if (!decoded) {
    constexpr unsigned short kInterface = 4;
    std::free(units);
    zuhooks::report({.number = ZU_MSG_CONVERSION_FAILED, .sqlstate = "01004", .interfaceError = kInterface});
    return 1;
  }
  units[newLength] = 0;
  setBuffer(units, newCapacity, newLength, 1);
  return 0;
}

unsigned char* ZuStringW::asCStr(zuCPType cp) {
  std::free(narrowImage);
  // A character of the locale takes at most MB_CUR_MAX bytes, one of UTF-8 at most three for each unit.
  const unsigned long perUnit = cp == zuCPUTF8 ? 3 : std::max(MB_CUR_MAX, size_t{2});
  narrowImage = static_cast<unsigned char*>(ramAlloc(perUnit * length + 1));
  if (!narrowImage) return outOfMemoryText;
  unsigned long n = 0;
  if (cp != zuCPUTF8) {
    n = encodeLocaleText(data, length, narrowImage);
  } else if (!encodeUTF8(data, length, narrowImage, &n)) {
    for (n = 0; n < length; ++n) narrowImage[n] = static_cast<unsigned char>(data[n]);
  }
  narrowImage[n] = 0;
  return narrowImage;
}

ZuReplaceStringW::~ZuReplaceStringW() = default;

int ZuSubStringUpperW::compareUpper(const unsigned short* p, unsigned long n) {
  if (length > std::size(folded)) return view->compareCi(p, n);
  fill();
  return strCompare(folded, length, p, n);
}

unsigned short ZuSubStringUpperW::getFirstChar() {
  constexpr unsigned long kFoldedWhole = 24;  // above it only the first character is folded
  if (length == 0) return 0;
  if (length <= kFoldedWhole) {
    fill();
    return folded[0];
  }
  const unsigned short* text = view->asPascalStr();
  unsigned short first[2] = {text[0], text[1]};
  strUpper(first, wideSize(text, length));
  return first[0];
}
