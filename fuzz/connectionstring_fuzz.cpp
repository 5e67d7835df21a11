// The connection-string parsers of the code-page layer, and its parser of profiles, over arbitrary bytes and
// units that end where their block ends.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "zulib/codepages/ucnvconv.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

template <class Char>
std::unique_ptr<Char[]> exact(const uint8_t* p, size_t n) {
  std::unique_ptr<Char[]> block(new Char[n]);
  for (size_t i = 0; i < n; ++i) block[i] = static_cast<Char>(p[i]);
  return block;
}

void parse(const uint8_t* data, size_t size) {
  char* dsn = nullptr;
  const long narrow = ucnvAnsiIANAAppCodePage(exact<char>(data, size).get(), size, &dsn);
  char16_t* wideDsn = nullptr;
  const auto units = exact<char16_t>(data, size);
  const long wide = ucnvUnicodeIANAAppCodePage(units.get(), size, &wideDsn);
  bool ascii = true;
  for (size_t i = 0; i < size; ++i) ascii = ascii && data[i] < 0x80;
  demand(!ascii || (narrow == wide && (dsn == nullptr) == (wideDsn == nullptr)));
  demand(!wideDsn || std::char_traits<char16_t>::length(wideDsn) < size);

  // A second "DSN" is never looked for; and a number that is found first stays.
  char known[] = "known";
  char* knownDsn = known;
  const std::string longer = "IACP=7;" + std::string(reinterpret_cast<const char*>(data), size);
  demand(ucnvAnsiIANAAppCodePage(longer.data(), longer.size(), &knownDsn) == 7 && knownDsn == known);
  ucnv_free(dsn);
  ucnv_free(wideDsn);

  // Any units, read as they lie in memory.
  const std::unique_ptr<char16_t[]> any(new char16_t[size / 2]);
  std::memcpy(any.get(), data, size / 2 * 2);
  wideDsn = nullptr;
  ucnvUnicodeIANAAppCodePage(any.get(), size / 2, &wideDsn);
  ucnv_free(wideDsn);
}

void search(const uint8_t* data, size_t size) {
  const auto profile = exact<char>(data, size);
  for (const char* key : {"key", "", static_cast<const char*>(nullptr)}) {
    for (const unsigned long room : {0UL, 1UL, 7UL, 300UL}) {
      const std::unique_ptr<char[]> out(new char[room]);
      const unsigned long n =
          ucnvNWGetProfileString(profile.get(), size, "section", key, "default", out.get(), room);
      demand(n <= room && (room == 0 || key == nullptr || n < room));
      demand(room == 0 || key == nullptr || std::memchr(out.get(), 0, room) == out.get() + n);
      demand(key != nullptr || n < 2 || room < 8 || out[n - 1] == 0 || n == 7);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  data[0] & 1 ? search(data + 1, size - 1) : parse(data + 1, size - 1);
  return 0;
}
