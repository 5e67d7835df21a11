// Opening and reading a profile file.

#ifndef ZULIB_OS_INTERNAL_ZUINIFILE_H
#define ZULIB_OS_INTERNAL_ZUINIFILE_H

#include "zulib/errors/zuerror.h"
#include "zulib/os/files/bosfile.h"

namespace zuini {

// The records that were put on the thread's list since this was made. Older ones are never touched: a list
// that keeps one error takes no second one, and its last record then tells nothing of this failure.
class NewErrors {
 public:
  NewErrors() : list(ZuErrorKeeper::getErrorList()), count(list ? list->getCount() : 0) {}

  bool areThere() const { return list && list->getCount() > count; }
  bool isOutOfMemory() const { return list && list->isOutOfMemory(); }

  // Of the last one; 0 without one.
  unsigned short number() const {
    return areThere() && !isOutOfMemory() ? list->getLastError()->getErrorNumber() : 0;
  }
  void clear() {
    if (areThere() && !isOutOfMemory()) list->shortenTo(count);
  }
  void makeWarning() {
    if (areThere()) list->getLastError()->setWarning();
  }

 private:
  ZuErrorList* list;
  unsigned long count;
};

// The file whose absence is no error: that of the installed drivers, by its special names or by what the
// environment says.
bool mayBeMissing(const unsigned char* name);

// One reading of a file.
class FileReader {
 public:
  FileReader() = default;
  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;
  ~FileReader();

  enum Outcome { loaded, absent, failed };

  // Opens `name`, with the right to write if that can be had, and reads it whole.
  Outcome run(const unsigned char* name);

  // The text is the caller's from here on.
  unsigned char* giveText();

  unsigned char path[bosPathSize] = "";  // the true one
  unsigned long mode = 0;
  unsigned long length = 0;  // bytes of the text
  unsigned long date = 0;    // of the file as it was opened; 0 when it may still change within its second,
  unsigned long size = 0;    // as the size is then

 private:
  bool open(const unsigned char* name);
  bool tryAgain(NewErrors& errors);
  bool tryAgainWithout(NewErrors& errors);
  bool read();
  bool fill(unsigned long fileSize);

  unsigned char* text = nullptr;
  int handle = 0;
  bool isAbsent = false;
};

}  // namespace zuini

#endif
