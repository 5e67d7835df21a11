#include "zulib/net/internal/datastreamlog.h"

#include <cstdio>
#include <cstring>

#include "zulib/net/zuebcdic.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/os/files/bospath.h"
#include "zulib/runtime/mds.h"

namespace {

constexpr unsigned long kRowBytes = 8;
constexpr long long kCurrentPosition = -1;
constexpr char kColumns[] = "HEX\t\t\t\tASCII\t\t\tEBCDIC\n";
constexpr char kDigits[] = "0123456789ABCDEF";

// While it lives, the calling thread has no error list, and errors go nowhere.
class ErrorsOff {
 public:
  ErrorsOff() : info(getThreadInfo()), list(info ? info->getThreadData(PerThreadErrorList) : nullptr) {
    if (info) info->setThreadData(PerThreadErrorList, nullptr);
  }
  ErrorsOff(const ErrorsOff&) = delete;
  ErrorsOff& operator=(const ErrorsOff&) = delete;
  ~ErrorsOff() {
    if (info) info->setThreadData(PerThreadErrorList, list);
  }

 private:
  ZuThreadInfo* info;
  void* list;
};

// Collects text and writes it to the file when the buffer is full and at the end.
class LogWriter {
 public:
  explicit LogWriter(int file) : file(file) {}
  LogWriter(const LogWriter&) = delete;
  LogWriter& operator=(const LogWriter&) = delete;
  ~LogWriter() { flush(); }

  void add(const char* text) {
    for (; *text; ++text) add(*text);
  }
  void add(char c) {
    if (used == sizeof buffer) flush();
    buffer[used++] = c;
  }

 private:
  void flush() {
    if (used) bosFileWrite(file, kCurrentPosition, buffer, used);
    used = 0;
  }

  int file;
  unsigned long used = 0;
  char buffer[8192];
};

void addHex(LogWriter& log, unsigned char byte) {
  log.add(kDigits[byte >> 4]);
  log.add(kDigits[byte & 15]);
  log.add(' ');
}

void addCharacter(LogWriter& log, unsigned char c) {
  log.add(static_cast<char>(c));
  log.add(' ');
}

// One row of the `n` bytes left, at most 8 of them.
void addRow(LogWriter& log, const unsigned char* data, unsigned long n) {
  for (unsigned long i = 0; i < kRowBytes; ++i) i < n ? addHex(log, data[i]) : log.add("   ");
  log.add('\t');
  for (unsigned long i = 0; i < kRowBytes; ++i) {
    i < n ? addCharacter(log, data[i] >= ' ' && data[i] <= 127 ? data[i] : '.') : log.add("  ");
  }
  log.add('\t');
  for (unsigned long i = 0; i < kRowBytes; ++i) {
    i < n ? addCharacter(log, ZuEbcdicToAscii(data[i])) : log.add("  ");
  }
  log.add('\n');
}

}  // namespace

int zunet::openDataStreamLog() {
  const ErrorsOff off;
  unsigned char directory[bosPathSize];
  if (bosgtcwd(directory, 1) != 0) return 0;
  const auto* path = reinterpret_cast<const char*>(directory);
  char name[bosPathSize + sizeof "2147483647.out"];
  const auto* bytes = reinterpret_cast<const unsigned char*>(name);
  for (int number = 0;; ++number) {
    std::snprintf(name, sizeof name, "%s%d.out", path, number);
    if (bosexist(bytes)) continue;
    int file = 0;
    return bosFileOpen(bytes, bosOpenCreate | bosOpenReadWrite, &file) == 0 ? file : 0;
  }
}

void zunet::closeDataStreamLog(int file) {
  const ErrorsOff off;
  bosFileClose(file);
}

void zunet::logTransfer(int file, const char* header, const unsigned char* data, unsigned long length) {
  if (file <= 0) return;
  const ErrorsOff off;
  LogWriter log(file);
  log.add(header);
  log.add(kColumns);
  for (unsigned long offset = 0; offset <= length; offset += kRowBytes) {
    addRow(log, data + offset, length - offset);
  }
  log.add('\n');
}
