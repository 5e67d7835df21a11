#include "zulib/os/files/bosfindfiles.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "zulib/os/files/bosfile.h"
#include "zulib/os/internal/tracing.h"

namespace {

constexpr char kCommandStart[] = "/bin/sh 2>>/dev/null <<EOT\n/bin/ls ";
constexpr char kCommandEnd[] = "\nEOT";

// Room that is left in the buffer for one more piece of a line.
constexpr unsigned long kLeastRoom = 2;

bool isLetterOrDigit(unsigned char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Means nothing to a shell, or is a wildcard; "!", "^" and "-" are among them as they belong to [ ].
bool isPlain(unsigned char c) {
  return isLetterOrDigit(c) || c >= 0x80 || std::strchr("*?[]!^-/._+,:@%=", c) != nullptr;
}

// Means something in the text that a command is fed with (<<EOT), before the command's own shell reads it.
bool isExpandedFirst(unsigned char c) { return c == '$' || c == '`' || c == '\\'; }

// Builds the command text; what does not fit is remembered.
class CommandText {
 public:
  CommandText(char* out, unsigned long size) : out(out), room(size) {}

  void append(const char* text) {
    while (*text) append(*text++);
  }
  void append(char c) {
    if (room < 2) {
      overflown = true;
      return;
    }
    *out++ = c;
    *out = 0;
    --room;
  }
  // Two shells read it: the first must leave a backslash and the character to the second.
  void appendEscaped(char c) {
    append("\\\\");
    if (isExpandedFirst(static_cast<unsigned char>(c))) append('\\');
    append(c);
  }
  bool fits() const { return !overflown; }

 private:
  char* out;
  unsigned long room;
  bool overflown = false;
};

}  // namespace

ZuBosFileFindDesc::ZuBosFileFindDesc(const unsigned char* pattern) {
  if (makeCommand(pattern) || open()) return;
  setInitialized();
  readProcess();
  if (getFileSize() > 0) setDataAvailable();
}

ZuBosFileFindDesc::~ZuBosFileFindDesc() { close(); }

int ZuBosFileFindDesc::makeCommand(const unsigned char* pattern) {
  CommandText text(command, sizeof command);
  text.append(kCommandStart);
  // A name that begins with "-" is no option.
  if (*pattern && std::strchr("-*?[", *pattern)) text.append("./");
  int reason = 0;
  for (const unsigned char* c = pattern; *c; ++c) {
    if (*c == '\n') reason = EINVAL;
    if (isPlain(*c) || (*c == '~' && c == pattern)) {
      text.append(static_cast<char>(*c));
    } else {
      text.appendEscaped(static_cast<char>(*c));
    }
  }
  text.append(kCommandEnd);
  if (!text.fits()) reason = ENAMETOOLONG;
  if (reason) bosMapError(reason, pattern);
  return reason ? 1 : 0;
}

int ZuBosFileFindDesc::open() {
  errno = 0;
  process = popen(command, "re");
  if (process) return 0;
  bosMapError(errno ? errno : ENOMEM, static_cast<const unsigned char*>(nullptr));
  return 1;
}

int ZuBosFileFindDesc::reOpen() {
  close();
  return open();
}

void ZuBosFileFindDesc::close() {
  if (process) pclose(process);
  process = nullptr;
}

// Reads lines, and a piece of the last one, until `capacity` bytes are there.
void ZuBosFileFindDesc::readProcess() {
  held = 0;
  endReached = false;
  while (!endReached && capacity - held >= kLeastRoom) {
    auto* to = reinterpret_cast<char*>(buffer + held);
    if (std::fgets(to, static_cast<int>(capacity - held), process)) {
      held += std::strlen(to);
    } else {
      endReached = true;
    }
  }
  readPointer = buffer;
  close();
}

// Runs the command again and reads what comes after the part that was delivered.
void ZuBosFileFindDesc::reReadData() {
  held = 0;
  readPointer = buffer;
  if (reOpen()) return;
  for (unsigned long left = used; left > 0;) {
    const unsigned long n = std::fread(buffer, 1, std::min(left, kBufferSize), process);
    if (n == 0) break;
    left -= n;
  }
  readProcess();
}

unsigned char* ZuBosFileFindDesc::findLineEnd() const {
  const auto left = getFileSize() - static_cast<unsigned long>(readPointer - buffer);
  return static_cast<unsigned char*>(std::memchr(readPointer, '\n', left));
}

int ZuBosFileFindDesc::getData(unsigned char* out) {
  *out = 0;
  unsigned char* end = findLineEnd();
  if (!end && !endReached) {
    reReadData();
    end = findLineEnd();
  }
  if (!end) {
    clearDataAvailable();
    return 0;
  }
  auto* start =
      static_cast<unsigned char*>(memrchr(readPointer, '/', static_cast<unsigned long>(end - readPointer)));
  start = start ? start + 1 : readPointer;
  const unsigned long length = std::min(static_cast<unsigned long>(end - start), bosPathSize - 1);
  std::memcpy(out, start, length);
  out[length] = 0;
  used += static_cast<unsigned long>(end + 1 - readPointer);
  readPointer = end + 1;
  if (endReached && readPointer == buffer + getFileSize()) clearDataAvailable();
  return 1;
}

int bosFindFiles(ZuBosFileFindDesc** desc, unsigned char* name) {
  if (!*desc) {
    if (zuos::traced(zuos::kTraceFileSearch)) {
      std::printf("bosFindFiles: Search for %s\n", reinterpret_cast<const char*>(name));
    }
    *desc = new ZuBosFileFindDesc(name);
    if (*desc && !(*desc)->isInitialized()) {
      delete *desc;
      *desc = nullptr;
    }
    if (!*desc) return 1;
  }
  if ((*desc)->isDataAvailable() && (*desc)->getData(name)) {
    if (zuos::traced(zuos::kTraceFileSearch)) {
      std::printf("bosFindFiles: returns fileName=%s\n", reinterpret_cast<const char*>(name));
    }
    return 0;
  }
  delete *desc;
  *desc = nullptr;
  return 0;
}
