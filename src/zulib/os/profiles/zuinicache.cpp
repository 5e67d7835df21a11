#include "zulib/os/profiles/zuinicache.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zulib/codepages/zutextconvert.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/os/profiles/internal/zuinifile.h"
#include "zulib/os/profiles/internal/zuinitext.h"
#include "zulib/runtime/zulifetime.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"

using zuini::Bytes;
using zuini::bytesOf;
using zuini::Edit;
using zuini::FileReader;
using zuini::FileText;
using zuini::FileWriter;
using zuini::NewErrors;
using zuos::chars;
using zuos::kTraceProfileReads;
using zuos::kTraceProfileWrites;
using zuos::traced;

namespace {

constexpr char kRead[] = "GetProfileString:";
constexpr char kWrite[] = "PutProfileString:";
constexpr unsigned long kNumberSize = 20;  // of the buffer that a number is read into
constexpr unsigned long kWideSize = 128;   // of the buffers between UTF-16 and the file

void traceFound(const char* what, const unsigned char* name, bool found) {
  std::printf("%s %s %s %sfound.\n", kRead, what, chars(name), found ? "" : "not ");
}

void traceKeys(const unsigned char* list, unsigned long length) {
  for (unsigned long i = 0; i < length && list[i] != 0;) {
    const unsigned long n = std::strlen(chars(list + i));
    std::printf("%s Entry %s Len=%d\n", kRead, chars(list + i), static_cast<int>(n));
    i += n + 1;
  }
  if (length == 0) std::printf("%s No data found.\n", kRead);
}

void traceEdit(Edit::Kind kind, const unsigned char* section, const unsigned char* key,
               const unsigned char* value) {
  switch (kind) {
    case Edit::Kind::AddSection:
      std::printf("%s Section missing adding it.\n|->[%s]\n%s=%s\n", kWrite, chars(section), chars(key),
                  chars(value));
      break;
    case Edit::Kind::AddEntry:
      std::printf("%s Entry missing adding it.\n|->%s=%s\n", kWrite, chars(key), chars(value));
      break;
    case Edit::Kind::ChangeEntry:
      std::printf("%s %s %s\n", kWrite, "Updating Entry Value with:", chars(value));
      break;
    case Edit::Kind::RemoveEntry: std::printf("%s %s %s\n", kWrite, "Deleting Entry:", chars(key)); break;
    case Edit::Kind::RemoveSection: std::printf("%s Deleting section %s\n", kWrite, chars(section)); break;
    case Edit::Kind::Nothing: break;
  }
}

void traceText(const unsigned char* text, unsigned long length) {
  std::printf("%s Updated FileCache: Len=%d\n", kWrite, static_cast<int>(length));
  if (length == 0) {
    std::printf("%s FileCache is empty.\n", kWrite);
  } else {
    std::printf("%s Updated FileCache:\n|->%s\n", kWrite, chars(text));
  }
}

// A UTF-16 argument as narrow text. A null text stays null. One that is too long, or that does not convert,
// has no narrow form: a name that was cut would be another name.
class NarrowText {
 public:
  explicit NarrowText(const unsigned short* w)
      : present(w != nullptr),
        good(!w || (strLen(w) < kWideSize && zuGetANSIStrFromUTF16Str(w, buffer, kWideSize) >= 0)) {}

  bool converts() const { return good; }
  const unsigned char* text() const { return present ? buffer : nullptr; }

 private:
  unsigned char buffer[kWideSize];
  bool present;
  bool good;
};

// Copies at most `size`, which is not 0, units of a default; only an empty one gets a terminator.
unsigned long copyDefault(unsigned short* out, const unsigned short* text, unsigned long size) {
  unsigned long length = 0;
  while (text && length < size && text[length] != 0) {
    out[length] = text[length];
    ++length;
  }
  if (length == 0) *out = 0;
  return length;
}

}  // namespace

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
  if (outcome == FileReader::Outcome::Failed) return 1;
  if (outcome == FileReader::Outcome::Absent) {
    Close();
    return 0;
  }
  unsigned char* const path = ramAllocStr(reader.path);
  if (!path) return 1;
  const ZuSemaphoreHolder held(semaphore);
  std::free(name);
  name = path;
  openMode = reader.mode;
  take(reader.text);
  openState = 1;
  return 0;
}

void ZuIniFileCache::Close() {
  const ZuSemaphoreHolder held(semaphore);
  std::free(name);
  std::free(text);
  name = text = nullptr;
  textLength = 0;
  openState = 0;
}

// The caller holds the semaphore, or is alone. The stamp is compared without it, so the text comes first.
void ZuIniFileCache::take(FileText& read) {
  std::free(text);
  textLength = read.view().size();
  text = read.give();
  stamp(read.date, read.size);
}

void ZuIniFileCache::stamp(unsigned long newDate, unsigned long newSize) {
  std::atomic_ref(date).store(newDate);
  std::atomic_ref(size).store(newSize);
}

int ZuIniFileCache::proFileSync() {
  unsigned long nowDate;
  unsigned long nowSize;
  if (!name || bosFileDateSize(name, &nowDate, &nowSize)) return 1;
  if (std::atomic_ref(date).load() == nowDate && std::atomic_ref(size).load() == nowSize) return 0;
  const ZuSemaphoreHolder held(semaphore);
  return reload();
}

// Reads the file again. The name stays where it is, since other threads look at it without the lock.
int ZuIniFileCache::reload() {
  FileReader reader;
  if (reader.run(name) != FileReader::Outcome::Loaded) return 1;
  openMode = reader.mode;
  take(reader.text);
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
  return name && path && std::strcmp(chars(name), chars(path)) == 0;
}

int ZuIniFileCache::incrementUseCount() {
  const ZuSemaphoreHolder held(semaphore);
  if (useCount < INT_MAX) ++useCount;
  return useCount;
}

int ZuIniFileCache::decrementUseCount() {
  const ZuSemaphoreHolder held(semaphore);
  if (useCount > 0 && useCount < INT_MAX) --useCount;
  return useCount;
}

unsigned long zustrlcpy(unsigned char* dst, const unsigned char* src, unsigned long size) {
  if (!dst || size == 0) return 0;
  const unsigned long n = src ? strnlen(chars(src), size - 1) : 0;
  if (n) std::memmove(dst, src, n);
  dst[n] = 0;
  return n;
}

// Returns the length, or 0 with `out` untouched if there is no value.
unsigned long ZuIniFileCache::findValue(const unsigned char* section, const unsigned char* key,
                                        unsigned char* out, unsigned long outSize) {
  const bool tracing = traced(kTraceProfileReads);
  const Bytes all(text, textLength);
  zuini::Section place;
  zuini::Entry entry;
  const bool isThere = zuini::findSection(all, bytesOf(section), &place);
  if (tracing) traceFound("Section", section, isThere);
  if (!isThere) return 0;
  const bool hasEntry = zuini::findEntry(all, place.start, bytesOf(key), &entry);
  if (tracing) traceFound("Entry", key, hasEntry);
  if (!hasEntry) return 0;
  auto length = static_cast<unsigned long>(entry.valueEnd - entry.value);
  // A value of exactly the size is copied whole, and its terminator goes past the size: callers have the
  // room.
  if (length > outSize) length = outSize - 1;
  if (length == 0) return 0;
  std::memcpy(out, entry.value, length);
  out[length] = 0;
  if (tracing) std::printf("%s Value=%s\n", kRead, chars(out));
  return length;
}

unsigned long ZuIniFileCache::findKeys(const unsigned char* section, unsigned char* out,
                                       unsigned long outSize) {
  const bool tracing = traced(kTraceProfileWrites);
  if (tracing) {
    std::printf("%s Multi-Entry Output Requested.\n", kRead);
    std::printf("%s Fecthing all entries for %s\n", kRead, chars(section));
  }
  const Bytes all(text, textLength);
  zuini::Section place;
  const bool isThere = zuini::findSection(all, bytesOf(section), &place);
  if (tracing) traceFound("Section", section, isThere);
  const unsigned long length = isThere ? zuini::listKeys(all, place, {out, outSize}) : 0;
  if (tracing) traceKeys(out, length);
  return length;
}

unsigned long ZuIniFileCache::bosGetProfileString(const unsigned char* section, const unsigned char* key,
                                                  const unsigned char* defaultValue, unsigned char* out,
                                                  unsigned long outSize) {
  if (!out || outSize == 0) return 0;
  unsigned long length = 0;
  if (section && isOpen() && !proFileSync()) {
    const ZuSemaphoreHolder held(semaphore);
    length = key ? findValue(section, key, out, outSize) : findKeys(section, out, outSize);
  }
  if (length == 0) length = zustrlcpy(out, defaultValue, outSize);
  if (traced(key ? kTraceProfileReads : kTraceProfileWrites))
    std::printf("%s Return Len=%d returnBuf=%s\n", kRead, static_cast<int>(length), chars(out));
  return length;
}

unsigned long ZuIniFileCache::bosGetProfileSection(const unsigned char* section, unsigned char* out,
                                                   unsigned long outSize) {
  return bosGetProfileString(section, nullptr, nullptr, out, outSize);
}

int ZuIniFileCache::bosGetProfileInt(const unsigned char* section, const unsigned char* key,
                                     int defaultValue) {
  if (!key) return defaultValue;
  unsigned char digits[kNumberSize + 1];
  bosGetProfileString(section, key, nullptr, digits, kNumberSize);
  unsigned char* end = digits;
  while (*end >= '0' && *end <= '9') ++end;
  *end = 0;
  if (end == digits) return defaultValue;
  errno = 0;
  const unsigned long long value = std::strtoull(chars(digits), nullptr, 10);
  return errno != 0 || value > INT_MAX ? defaultValue : static_cast<int>(value);
}

unsigned long ZuIniFileCache::bosGetProfileStringW(const unsigned short* section, const unsigned short* key,
                                                   const unsigned short* defaultValue, unsigned short* out,
                                                   unsigned long outSize) {
  if (!out || outSize == 0) return 0;
  const NarrowText narrowSection(section);
  const NarrowText narrowKey(key);
  const NarrowText narrowDefault(defaultValue);
  if (narrowSection.converts() && narrowKey.converts() && narrowDefault.converts()) {
    unsigned char value[kWideSize];
    const unsigned long length = bosGetProfileString(narrowSection.text(), narrowKey.text(),
                                                     narrowDefault.text(), value, kWideSize - 1);
    const long wide = length == 0 ? 0 : zuGetUTF16StrFromANSIStr(value, out, outSize);
    if (wide > 0) return static_cast<unsigned long>(wide);
  }
  return copyDefault(out, defaultValue, outSize);
}

// The work of a write; the caller holds the semaphore.
int ZuIniFileCache::put(const unsigned char* section, const unsigned char* key, const unsigned char* value) {
  FileWriter writer(name);
  if (writer.begin()) return 1;
  const Bytes old = writer.text.view();
  const Edit edit(old, bytesOf(section), key, value);
  if (traced(kTraceProfileWrites)) traceEdit(edit.getKind(), section, key, value);
  // The next request reads the file again.
  stamp(0, 0);
  return edit.isSameAs(old) ? 0 : writer.replace(edit.getPieces());
}

int ZuIniFileCache::bosPutProfileString(const unsigned char* section, const unsigned char* key,
                                        const unsigned char* value) {
  if (!isOpen() || !section) return 0;
  if (!zuini::isWritable(bytesOf(section), key, value)) {
    addError(ZU_MSG_PROFILE_TEXT_REFUSED) << (key ? key : section);
    return 0;
  }
  const ZuSemaphoreHolder held(semaphore);
  if (put(section, key, value)) return 0;
  if (traced(kTraceProfileWrites) && !reload()) traceText(text, textLength);
  return 1;
}

namespace {

// Deletes the task's list when the library is unloaded. The task's cell outlives it, and is then empty.
class TaskListOwner {
 public:
  constexpr TaskListOwner() = default;
  TaskListOwner(const TaskListOwner&) = delete;
  TaskListOwner& operator=(const TaskListOwner&) = delete;
  ~TaskListOwner() {
    ZuIniFileCacheList* list = bosGetPTaskIniList();
    bosPutPTaskIniList(nullptr);
    delete list;
  }
};

constinit LibraryObject<TaskListOwner> taskListOwner;

// Writes the true path of a file to `path`.
bool resolve(const unsigned char* name, unsigned char* path) {
  const unsigned long n = std::strlen(chars(name));
  if (n >= bosPathSize) {
    bosMapError(ENAMETOOLONG, static_cast<const unsigned char*>(nullptr));
    return false;
  }
  std::memcpy(path, name, n + 1);
  NewErrors errors;
  int handle = 0;
  if (!bosFileOpen(path, bosOpenMapSpecial | bosOpenResolveOnly, &handle)) return true;
  const unsigned short number = errors.number();
  if (!zuini::mayBeMissing(name) || (number != 0 && number != ZU_MSG_FILE_NOT_FOUND)) return false;
  errors.clear();
  *path = 0;  // the path of no file
  return true;
}

}  // namespace

ZuIniFileCacheList* bosGetPTaskIniList() {
  return static_cast<ZuIniFileCacheList*>(std::atomic_ref(*mdsGetPerTaskDataAddress(PerTaskIniList)).load());
}

void bosPutPTaskIniList(ZuIniFileCacheList* list) {
  std::atomic_ref(*mdsGetPerTaskDataAddress(PerTaskIniList)).store(list);
}

ZuIniFileCacheList::ZuIniFileCacheList() : semaphore(nullptr, nullptr) {}

ZuIniFileCacheList::~ZuIniFileCacheList() {
  const ZuSemaphoreHolder held(semaphore);
  caches.deleteContents();
}

long ZuIniFileCacheList::indexOf(const ZuIniFileCache* cache) const {
  for (unsigned long i = 0; i < caches.getCount(); ++i) {
    if (caches.at(i) == cache) return static_cast<long>(i);
  }
  return -1;
}

ZuIniFileCache* ZuIniFileCacheList::findOpen(const unsigned char* path) {
  for (unsigned long i = 0; i < caches.getCount(); ++i) {
    auto* cache = static_cast<ZuIniFileCache*>(caches.at(i));
    if (cache->isThisFile(path)) return cache;
  }
  return nullptr;
}

ZuIniFileCache* ZuIniFileCacheList::openNew(const unsigned char* name) {
  auto* cache = new ZuIniFileCache;
  if (!cache) return nullptr;
  if (cache->bosZuIniOpen(name) || caches.add(cache)) {
    delete cache;
    return nullptr;
  }
  return cache;
}

ZuIniFileCache* ZuIniFileCacheList::open(const unsigned char* name, int) {
  unsigned char path[bosPathSize];
  if (!name || !resolve(name, path)) return nullptr;
  const ZuSemaphoreHolder held(semaphore);
  if (ZuIniFileCache* cache = findOpen(path)) {
    cache->incrementUseCount();
    return cache;
  }
  return openNew(name);
}

void ZuIniFileCacheList::close(ZuIniFileCache* cache) {
  if (!cache) return;
  const ZuSemaphoreHolder held(semaphore);
  const long index = indexOf(cache);
  if (index < 0 || cache->decrementUseCount() > 0) return;
  caches.deleteAtIndex(static_cast<unsigned long>(index));
}

void ZuIniFileCacheList::remove(ZuIniFileCache* cache) {
  const ZuSemaphoreHolder held(semaphore);
  const long index = indexOf(cache);
  if (index >= 0) caches.removeAtIndex(static_cast<unsigned long>(index));
}
