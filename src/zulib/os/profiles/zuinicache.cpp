// The life of a cached file: open, follow its changes, close.

#include "zulib/os/profiles/zuinicache.h"

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "zulib/os/profiles/internal/zuinifile.h"
#include "zulib/os/profiles/internal/zuinitext.h"
#include "zulib/os/profiles/internal/zuinitrace.h"

using zuini::Bytes;
using zuini::bytesOf;
using zuini::FileReader;
using zuini::SemaphoreHolder;

ZuIniFileCache::ZuIniFileCache() : semaphore(nullptr, nullptr) {}

ZuIniFileCache::ZuIniFileCache(const unsigned char* name) : ZuIniFileCache() { bosZuIniOpen(name); }

ZuIniFileCache::~ZuIniFileCache() {
  std::free(name);
  std::free(text);
}

int ZuIniFileCache::bosZuIniOpen(const unsigned char* fileName) {
  if (!fileName) return 1;
  FileReader reader;
  const FileReader::Outcome outcome = reader.run(fileName);
  if (outcome == FileReader::failed) return 1;
  if (outcome == FileReader::absent) {
    Close();
    return 0;
  }
  unsigned char* path = ramAllocStr(reader.path);
  if (!path) return 1;
  SemaphoreHolder hold(semaphore);
  std::free(name);
  std::free(text);
  name = path;
  text = reader.giveText();
  textLength = reader.length;
  openMode = reader.mode;
  stamp(reader.date, reader.size);
  openState = 1;
  return 0;
}

void ZuIniFileCache::Close() {
  SemaphoreHolder hold(semaphore);
  std::free(name);
  std::free(text);
  name = text = nullptr;
  textLength = 0;
  openState = 0;
}

// The stamp is compared without the lock. What matters is that the text is in place before it.
void ZuIniFileCache::stamp(unsigned long newDate, unsigned long newSize) {
  std::atomic_ref(date).store(newDate);
  std::atomic_ref(size).store(newSize);
}

bool ZuIniFileCache::isCurrent(unsigned long nowDate, unsigned long nowSize) {
  return std::atomic_ref(date).load() == nowDate && std::atomic_ref(size).load() == nowSize;
}

int ZuIniFileCache::proFileSync() {
  unsigned long nowDate;
  unsigned long nowSize;
  if (!name || bosFileDateSize(name, &nowDate, &nowSize)) return 1;
  if (isCurrent(nowDate, nowSize)) return 0;
  SemaphoreHolder hold(semaphore);
  return reload();
}

// `proFileSync` for a caller that holds the lock.
int ZuIniFileCache::syncLocked() {
  unsigned long nowDate;
  unsigned long nowSize;
  if (!name || bosFileDateSize(name, &nowDate, &nowSize)) return 1;
  return isCurrent(nowDate, nowSize) ? 0 : reload();
}

// Reads the file anew. The name stays where it is, since other threads look at it without the lock.
int ZuIniFileCache::reload() {
  FileReader reader;
  if (reader.run(name) != FileReader::loaded) return 1;
  std::free(text);
  text = reader.giveText();
  textLength = reader.length;
  openMode = reader.mode;
  stamp(reader.date, reader.size);
  return 0;
}

int ZuIniFileCache::getSection(const unsigned char* bracketed, const unsigned char** start,
                               const unsigned char** end) {
  const Bytes header = bracketed ? bytesOf(bracketed) : Bytes();
  if (!text || header.size() < 2 || header.front() != '[' || header.back() != ']') return 1;
  const Bytes all(text, textLength);
  zuini::Section section;
  if (!zuini::findSection(all, header.subspan(1, header.size() - 2), &section)) return 1;
  *start = section.start;
  *end = zuini::sectionEnd(all, section);
  return 0;
}

int ZuIniFileCache::getEntry(const unsigned char* key, const unsigned char** cursor,
                             const unsigned char** valueStart, const unsigned char** valueEnd) {
  zuini::Entry entry;
  if (!text || !key || !zuini::findEntry({text, textLength}, *cursor, bytesOf(key), &entry)) return 1;
  *cursor = entry.line;
  *valueStart = entry.value;
  *valueEnd = entry.valueEnd;
  return 0;
}

bool ZuIniFileCache::isThisFile(const unsigned char* path) const {
  return name && path && std::strcmp(zuini::chars(name), zuini::chars(path)) == 0;
}

int ZuIniFileCache::incrementUseCount() {
  SemaphoreHolder hold(semaphore);
  if (useCount < INT_MAX) ++useCount;
  return useCount;
}

int ZuIniFileCache::decrementUseCount() {
  SemaphoreHolder hold(semaphore);
  if (useCount > 0 && useCount < INT_MAX) --useCount;
  return useCount;
}
