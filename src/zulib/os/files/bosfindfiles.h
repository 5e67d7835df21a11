// The files that match a pattern, as the shell expands it: * ? [ ] and a leading ~ have the shell's meaning,
// every other character stands for itself. A pattern cannot run a command.
//
// A directory that matches gives the names in it, and several matches of which some are directories are
// listed as `ls` lists them.
//
// Usage:
//   unsigned char name[bosPathSize] = "/var/log/*.log";
//   ZuBosFileFindDesc* search = nullptr;
//   do {
//     if (bosFindFiles(&search, name)) return 1;
//     if (search) use(name);
//   } while (search);
//
// Thread safety: a search belongs to one thread.

#ifndef ZULIB_OS_FILES_BOSFINDFILES_H
#define ZULIB_OS_FILES_BOSFINDFILES_H

#include <stdio.h>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

// One search. The shell's output is read into a buffer of 4096 bytes. When no whole line is left in it the
// command runs again and what was delivered is skipped, so no process is left running between two calls.
class ZU_API ZuBosFileFindDesc : public ZuObject {
 public:
  // Runs the command. If that is not possible an error is recorded and `isInitialized` is false: the pattern
  // contains a line feed (30041), or is too long for a command of 1024 bytes (30041), or no process can be
  // started.
  explicit ZuBosFileFindDesc(const unsigned char* pattern);
  ZuBosFileFindDesc(const ZuBosFileFindDesc&) = delete;
  ZuBosFileFindDesc& operator=(const ZuBosFileFindDesc&) = delete;
  ~ZuBosFileFindDesc() override;

  bool isInitialized() const { return initialized; }
  bool isDataAvailable() const { return dataAvailable; }

  // Takes the next name, without its directory, to `out`, which has room for bosPathSize bytes. Returns 1; or
  // 0 with `out` empty if there is none.
  int getData(unsigned char* out);

 private:
  static constexpr unsigned long kCommandSize = 1024;
  static constexpr unsigned long kBufferSize = 4096;

  int makeCommand(const unsigned char* pattern);
  int open();
  int reOpen();
  void close();
  void readProcess();
  void reReadData();
  unsigned long getFileSize() const { return held; }
  void setDataAvailable() { dataAvailable = true; }
  void clearDataAvailable() { dataAvailable = false; }
  void setInitialized() { initialized = true; }
  unsigned char* findLineEnd() const;

  FILE* process = nullptr;               // open only while it is read
  unsigned long capacity = kBufferSize;  // bytes that the next reading may take
  unsigned long used = 0;                // bytes of the output that were delivered
  char command[kCommandSize] = "";
  unsigned char buffer[kBufferSize] = "";
  unsigned char* readPointer = buffer;
  bool initialized = false;
  bool dataAvailable = false;
  unsigned long held = 0;   // bytes in the buffer
  bool endReached = false;  // the buffer holds the end of the output
};

// A null `*desc` begins a search for the pattern in `name`; each call replaces `name`, which has room for
// bosPathSize bytes, by the next name. At the end, or if nothing matches, `*desc` is null, and 0 is returned.
// 1 if the search cannot begin, after an error record, with `*desc` null.
ZU_API int bosFindFiles(ZuBosFileFindDesc** desc, unsigned char* name);

#endif
