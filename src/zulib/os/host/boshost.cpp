#include "zulib/os/host/boshost.h"

#include <pthread.h>
#include <pwd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "zulib/codepages/zutextconvert.h"

namespace {

constexpr unsigned long kMachineNameSize = 256;
constexpr unsigned long kUserBufferSize = 1024;

// At most `size` characters, and a terminator after them.
template <class Char>
void copyCut(const Char* text, unsigned long length, Char* out, unsigned long size) {
  const unsigned long n = std::min(length, size);
  std::copy(text, text + n, out);
  out[n] = 0;
}

int deliver(const char* text, unsigned char* out, unsigned long size) {
  copyCut(reinterpret_cast<const unsigned char*>(text), std::strlen(text), out, size);
  return 0;
}

int deliver(const char* text, unsigned short* out, unsigned long size) {
  unsigned short wide[kUserBufferSize];
  const long length =
      zuGetUTF16StrFromANSIStr(reinterpret_cast<const unsigned char*>(text), wide, kUserBufferSize);
  if (length < 0) return 1;
  copyCut(wide, static_cast<unsigned long>(length), out, size);
  return 0;
}

template <class Char>
int machineName(Char* out, unsigned long size) {
  if (!out || size == 0) return 0;
  char name[kMachineNameSize] = "";
  if (gethostname(name, sizeof name - 1) != 0) return 1;
  return deliver(name, out, size);
}

template <class Char>
int hostUser(Char* out, unsigned long size) {
  if (!out || size == 0) return 0;
  char buffer[kUserBufferSize];
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) != 0 || !found) return 1;
  return deliver(entry.pw_name, out, size);
}

}  // namespace

int bosGetMachineName(unsigned char* out, unsigned long size) { return machineName(out, size); }
int bosGetMachineName(unsigned short* out, unsigned long size) { return machineName(out, size); }
int bosGetHostUser(unsigned char* out, unsigned long size) { return hostUser(out, size); }
int bosGetHostUser(unsigned short* out, unsigned long size) { return hostUser(out, size); }

unsigned long bosGetProcessID() { return static_cast<unsigned long>(getpid()); }
unsigned long bosGetThreadID() { return static_cast<unsigned long>(pthread_self()); }
long bosGetLogicalProcessorCount() { return sysconf(_SC_NPROCESSORS_CONF); }

void bosGetCommand(unsigned long, unsigned char* out, unsigned long size) {
  if (!out || size == 0) return;
  char command[64];
  std::snprintf(command, sizeof command, "/bin/ps -p %i -ocomm=", static_cast<int>(getpid()));
  FILE* stream = popen(command, "re");
  if (!stream) return;
  auto* text = reinterpret_cast<char*>(out);
  text[0] = 0;
  if (std::fgets(text, static_cast<int>(std::min(size, kUserBufferSize)), stream) && text[0]) {
    text[std::strlen(text) - 1] = 0;  // the line feed
  }
  pclose(stream);
}

void bossleep(unsigned short ms) {
  if (ms == 0) return;
  const timespec time = {ms / 1000, ms % 1000 * 1000000L};
  nanosleep(&time, nullptr);
}

void bosYieldThread(unsigned long) {}

int bosCreateThread(void*, unsigned long, void*, void*, unsigned long, unsigned long*) { return 1; }

void boscreth(unsigned short, void*) {}
int bosabort() { return 0; }
