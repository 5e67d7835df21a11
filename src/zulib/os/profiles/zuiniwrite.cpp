// Changing a cached file.

#include <cstdio>

#include "zulib/os/profiles/internal/zuinifile.h"
#include "zulib/os/profiles/internal/zuinireplace.h"
#include "zulib/os/profiles/internal/zuinitext.h"
#include "zulib/os/profiles/internal/zuinitrace.h"
#include "zulib/os/profiles/zuinicache.h"
#include "zulib/runtime/zumessages.h"

using zuini::Bytes;
using zuini::bytesOf;
using zuini::chars;
using zuini::Edit;
using zuini::isTraced;
using zuini::NewErrors;
using zuini::SemaphoreHolder;
using zuini::TRACE_WRITES;

namespace {

constexpr char WRITE[] = "PutProfileString:";

void traceEdit(const Edit& edit, const unsigned char* section, const unsigned char* key,
               const unsigned char* value) {
  switch (edit.getKind()) {
    case Edit::addSection:
      std::printf("%s Section missing adding it.\n|->[%s]\n%s=%s\n", WRITE, chars(section), chars(key),
                  chars(value));
      break;
    case Edit::addEntry:
      std::printf("%s Entry missing adding it.\n|->%s=%s\n", WRITE, chars(key), chars(value));
      break;
    case Edit::changeEntry:
      std::printf("%s %s %s\n", WRITE, "Updating Entry Value with:", chars(value));
      break;
    case Edit::removeEntry: std::printf("%s %s %s\n", WRITE, "Deleting Entry:", chars(key)); break;
    case Edit::removeSection: std::printf("%s Deleting section %s\n", WRITE, chars(section)); break;
    case Edit::nothing: break;
  }
}

void traceText(const unsigned char* text, unsigned long length) {
  std::printf("%s Updated FileCache: Len=%d\n", WRITE, static_cast<int>(length));
  if (length == 0) {
    std::printf("%s FileCache is empty.\n", WRITE);
  } else {
    std::printf("%s Updated FileCache:\n|->%s\n", WRITE, chars(text));
  }
}

// An open that failed because of the lock, or because nobody may write, is tried once more without the lock.
bool isWorthAnotherTry(unsigned short error) {
  return error == ZU_MSG_FILE_IN_USE || error == ZU_MSG_ACCESS_DENIED || error == ZU_MSG_SHARING_VIOLATION;
}

}  // namespace

int ZuIniFileCache::openForWriting() {
  unsigned long mode = bosOpenWriteLock | bosOpenReadWrite | bosOpenCreate;
  const unsigned char* path = name;
  for (;;) {
    NewErrors errors;
    if (!bosFileOpen(path, mode, &handle)) return 0;
    handle = 0;
    if ((mode & bosOpenWriteLock) == 0 || !isWorthAnotherTry(errors.number())) return 1;
    mode &= ~static_cast<unsigned long>(bosOpenWriteLock);
    errors.clear();
  }
}

// The work of a write, under the lock. The file stays open, and the advisory lock with it, until the new text
// is in place.
int ZuIniFileCache::put(const unsigned char* section, const unsigned char* key, const unsigned char* value) {
  if (syncLocked() || openForWriting()) return 1;
  const Bytes all(text, textLength);
  const Edit edit(all, bytesOf(section), key, value);
  if (isTraced(TRACE_WRITES)) traceEdit(edit, section, key, value);
  const int failed = edit.isSameAs(all) ? 0 : zuini::replaceFile(name, handle, edit.getPieces(), all);
  bosFileClose(handle);
  handle = 0;
  // The next request reads the file again.
  stamp(0, 0);
  return failed;
}

int ZuIniFileCache::bosPutProfileString(const unsigned char* section, const unsigned char* key,
                                        const unsigned char* value) {
  if (!isOpen() || !section || !zuini::isWritable(bytesOf(section), key, value)) return 0;
  SemaphoreHolder hold(semaphore);
  if (put(section, key, value)) return 0;
  if (isTraced(TRACE_WRITES) && !reload()) traceText(text, textLength);
  return 1;
}
