// The bridge between wide strings and narrow text.

#include <unicode/ustring.h>

#include <climits>
#include <cstdlib>
#include <cwchar>

#include "zulib/text/internal/stringalgorithms.h"
#include "zulib/text/zustringw.h"

using namespace zutext;

namespace {

using Memory = StringAlgorithms<WideKind>;

// What stands for a character that the encoding of the locale does not have.
constexpr char substitute = '?';

unsigned char outOfMemoryText[] = "Out Of Memory";

// A buffer of units that goes with its scope, unless it is taken.
class Units {
 public:
  explicit Units(unsigned long n)
      : block(n > Memory::mostElements ? nullptr
                                       : static_cast<unsigned short*>(ramAlloc(n * sizeof *block))) {
    if (n > Memory::mostElements) Memory::memoryIsGone();
  }
  Units(const Units&) = delete;
  Units& operator=(const Units&) = delete;
  ~Units() { std::free(block); }

  unsigned short* get() const { return block; }
  unsigned short* take() {
    unsigned short* taken = block;
    block = nullptr;
    return taken;
  }

 private:
  unsigned short* block;
};

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

// At most one unit for each byte. False when the bytes are not valid UTF-8.
bool decodeUTF8(const unsigned char* p, unsigned long n, unsigned short* out, unsigned long* length) {
  UErrorCode status = U_ZERO_ERROR;
  int32_t units = 0;
  if (n > INT_MAX - 1) return false;
  u_strFromUTF8(reinterpret_cast<UChar*>(out), static_cast<int32_t>(n + 1), &units,
                reinterpret_cast<const char*>(p), static_cast<int32_t>(n), &status);
  *length = static_cast<unsigned long>(units);
  return U_SUCCESS(status) != 0;
}

// Writes UTF-8 into 3n bytes; false when the units are not valid UTF-16.
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
      *to++ = substitute;
    } else {
      to += size;
    }
  }
  return static_cast<unsigned long>(to - reinterpret_cast<char*>(out));
}

}  // namespace

int ZuStringW::initialize(const unsigned char* terminated, zuCPType cp) {
  return initialize(terminated, narrowLength(terminated, cp), cp);
}

int ZuStringW::initialize(const unsigned char* p, unsigned long n, zuCPType cp) {
  if (n >= Memory::mostElements / 2) return Memory::memoryIsGone();
  const unsigned long newCapacity = cp == zuCPLocale ? 2 * n + 1 : cp == zuCPUCS2 ? n / 2 + 1 : n + 1;
  Units units(newCapacity);
  if (units.get() == nullptr) return 1;
  unsigned long units16 = 0;
  if (cp == zuCPUCS2) {
    units16 = n / 2;
    if (n != 0) std::memcpy(units.get(), p, 2 * units16);
  } else if (cp == zuCPLocale) {
    units16 = decodeLocaleText(p, n, units.get());
  } else if (!decodeUTF8(p, n, units.get(), &units16)) {
    // Single-byte text is read as UTF-8 here too; beyond ASCII it does not pass.
    reportUndecodable();
    return 1;
  }
  units.get()[units16] = 0;
  Memory::setBuffer(*this, units.take(), newCapacity, units16, 1);
  return 0;
}

unsigned char* ZuStringW::asCStr(zuCPType cp) {
  std::free(narrowImage);
  // A character of the locale takes at most MB_CUR_MAX bytes, one of UTF-8 at most three for each unit.
  const unsigned long perUnit = cp == zuCPUTF8 ? 3 : MB_CUR_MAX < 2 ? 2 : MB_CUR_MAX;
  narrowImage = static_cast<unsigned char*>(ramAlloc(perUnit * length + 1));
  if (narrowImage == nullptr) return outOfMemoryText;
  unsigned long n = 0;
  if (cp != zuCPUTF8) {
    n = encodeLocaleText(data, length, narrowImage);
  } else if (!encodeUTF8(data, length, narrowImage, &n)) {
    for (n = 0; n < length; ++n) narrowImage[n] = static_cast<unsigned char>(data[n]);
  }
  narrowImage[n] = 0;
  return narrowImage;
}
