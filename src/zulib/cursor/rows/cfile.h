// CFile, the private temporary file of a scrollable cursor. Every failure is a CFileException, and leaves the
// file usable for a second try.

#ifndef ZULIB_CURSOR_ROWS_CFILE_H
#define ZULIB_CURSOR_ROWS_CFILE_H

#include <sys/types.h>
#include <cstddef>

#include "zulib/cursor/internal/clobject.h"

class CFile : public CLObject {
 public:
  // Opens `name` with the given open(2) flags; a file that is created has mode 0600.
  CFile(const char* name, int flags);

  // Creates and opens a new file, O_EXCL and mode 0600. `name` ends with XXXXXX, which are replaced.
  explicit CFile(char* name);
  ~CFile() override;  // closes, without a report
  ZU_CURSOR_CLASS(CFile, CLObject)

  void fileSeek(off_t offset, int whence);
  void fileRead(void* bytes, std::size_t count);  // the whole count or an exception

  // Writes the whole count or throws. A write beyond the process's file-size limit is refused here, because
  // the system would respond with a signal that ends the application.
  void fileWrite(const void* bytes, std::size_t count);
  void fileClose();
  static void fileRemove(const char* name);

  // Returns the number of bytes that the file has now, whoever may have changed it.
  off_t fileSize() const;

  // Records the length; the file itself is not changed.
  void fileSetLength(off_t newLength) { length = newLength; }

  off_t length = 0;
  off_t position = 0;  // of the next read or write; both advance it

 private:
  int fd = -1;
};

// Writes the pattern of a temporary name to `out`: the directory of "ODBCTMPDIR" (else /tmp), a slash,
// `prefix` and XXXXXX. The first and third arguments have no effect. Throws if it does not fit in `outSize`
// bytes.
void GetTempFileName(const char* dir, const char* prefix, int unique, char* out, std::size_t outSize);

#endif
