// A profile file on disk: read whole, and replaced whole.

#ifndef ZULIB_OS_PROFILES_INTERNAL_ZUINIFILE_H
#define ZULIB_OS_PROFILES_INTERNAL_ZUINIFILE_H

#include "zulib/errors/zuerror.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/os/profiles/internal/zuinitext.h"

namespace zuini {

// The records that were put on the thread's list since this was made. Older ones are never touched: a list
// that keeps one error takes no second one, and its last record then says nothing about this failure.
class NewErrors {
 public:
  NewErrors() : list(ZuErrorKeeper::getErrorList()), count(list ? list->getCount() : 0) {}

  bool areThere() const { return list && list->getCount() > count; }
  bool isOutOfMemory() const { return list && list->isOutOfMemory(); }

  // The number of the last one; 0 without one.
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

// True for the file of the installed drivers, by its special names or by the environment: it is no error if
// that one is missing.
bool mayBeMissing(const unsigned char* name);

// A file's whole text, owned.
class FileText {
 public:
  FileText() = default;
  FileText(const FileText&) = delete;
  FileText& operator=(const FileText&) = delete;
  ~FileText();

  // Reads the open file `handle`, whose name is for the error. 0, or 1 with the error recorded.
  int read(int handle, const unsigned char* path);

  Bytes view() const { return {text, length}; }

  // Hands the terminated text over.
  unsigned char* give();

  // Of the file when the text was read. The date is 0 if the file was changed within the second: a later
  // change in that second would leave the same date.
  unsigned long date = 0;
  unsigned long size = 0;

 private:
  bool fill(int handle, unsigned long fileSize);

  unsigned char* text = nullptr;
  unsigned long length = 0;
};

// Opens a file by the name that a user gave and reads it.
class FileReader {
 public:
  enum class Outcome { Loaded, Absent, Failed };

  FileReader() = default;
  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;
  ~FileReader();

  // Opens `name`, for writing too if that is permitted, and reads the file whole.
  Outcome run(const unsigned char* name);

  unsigned char path[bosPathSize] = "";  // the true one
  unsigned long mode = 0;                // bits of BosOpenMode
  FileText text;

 private:
  bool open(const unsigned char* name);
  bool tryAgain(NewErrors& errors);
  bool tryAgainWithout(NewErrors& errors);

  int handle = 0;
  bool isAbsent = false;
};

// A file that is opened for writing and locked against all other writers, of this process and others, until
// the end of the object.
//
// The lock is on the file itself. A writer that puts a new file in its place holds the lock of the old one;
// one that waited for that lock notices the change, and locks the new file.
class FileWriter {
 public:
  explicit FileWriter(const unsigned char* path) : path(path) {}
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;
  ~FileWriter();

  // Opens the file, which is made if it is missing, waits for the lock and reads the text as it is then. 0,
  // or 1 with the error recorded.
  int begin();

  // Makes `pieces` the file's content. Owner, group, mode, access lists and other attributes stay; a symbolic
  // link stays a link.
  //
  // The new text is written to a file beside the old one, brought to the disk, and renamed to the old one's
  // name: whoever opens the file meanwhile finds all of the old text or all of the new one. The file is
  // rewritten in place if that is not possible: the directory cannot be written to, the file is a mount point
  // or has several links, its owner or attributes cannot be copied, or the disk is full and the text gets no
  // longer. A reader may then see a part of it, and a failure puts the old text back.
  //
  // 0, or 1 with the old text in the file and the error recorded.
  int replace(std::span<const Bytes> pieces);

  FileText text;

 private:
  bool open();
  bool isStillThere() const;

  const unsigned char* path;
  int handle = 0;
};

}  // namespace zuini

#endif
