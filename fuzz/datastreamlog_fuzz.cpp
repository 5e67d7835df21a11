// The data-stream log of any bytes, read back: its cells give the bytes again, and its rows are all of one
// width.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/input.h"
#include "zulib/net/internal/datastreamlog.h"
#include "zulib/net/zuebcdic.h"

namespace {

constexpr size_t kRowWidth = 8 * 3 + 1 + 8 * 2 + 1 + 8 * 2 + 1;
constexpr size_t kAsciiAt = 8 * 3 + 1;
constexpr size_t kEbcdicAt = kAsciiAt + 8 * 2 + 1;
const std::string kHead = "header\nHEX\t\t\t\tASCII\t\t\tEBCDIC\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int file = memfd_create("log", 0);
  demand(ftruncate(file, 0) == 0 && lseek(file, 0, SEEK_SET) == 0);
  zunet::logTransfer(file, "header\n", data, size);
  std::string log(kHead.size() + (size / 8 + 1) * kRowWidth + 2, '\0');
  demand(pread(file, log.data(), log.size(), 0) == static_cast<ssize_t>(log.size() - 1));
  demand(log.compare(0, kHead.size(), kHead) == 0);
  demand(log[log.size() - 2] == '\n');

  for (size_t i = 0; i < (size / 8 + 1) * 8; ++i) {
    const std::string row = log.substr(kHead.size() + i / 8 * kRowWidth, kRowWidth);
    const std::string hex = row.substr(i % 8 * 3, 3);
    const std::string ascii = row.substr(kAsciiAt + i % 8 * 2, 2);
    const std::string ebcdic = row.substr(kEbcdicAt + i % 8 * 2, 2);
    demand(row[kAsciiAt - 1] == '\t' && row[kEbcdicAt - 1] == '\t' && row.back() == '\n');
    if (i >= size) {
      demand(hex == "   " && ascii == "  " && ebcdic == "  ");
      continue;
    }
    demand(std::strtoul(hex.c_str(), nullptr, 16) == data[i] && hex[2] == ' ');
    demand(ascii[0] == (data[i] >= 32 && data[i] <= 127 ? static_cast<char>(data[i]) : '.') &&
           ascii[1] == ' ');
    demand(ebcdic[0] == static_cast<char>(ZuEbcdicToAscii(data[i])) && ebcdic[1] == ' ');
  }
  return 0;
}
