#include "zulib/storage/internal/merge.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "zulib/runtime/ram.h"
#include "zulib/storage/sort.h"

namespace {

constexpr int32_t kNotLoaded = -1;
constexpr int32_t kCacheTaken = -2;

unsigned long bytesFor(unsigned long sections) { return sizeof(MergeInfo) + sections * sizeof(MergeSection); }

}  // namespace

void MergeSection::giveUpCache() {
  if (!isLive()) return;
  current = next();
  cacheIndex = kNotLoaded;
}

void MergeSection::startResortRange() { resortStart = isUsedUp() ? current : next(); }

void MergeSection::endResortRange() {
  if (resortStart > last) {
    resortEnd = resortStart;
  } else if (isUsedUp()) {
    resortEnd = last;
  } else {
    resortEnd = next() == resortStart ? resortStart : next() - 1;
  }
}

// --- setting up -------------------------------------------------------------------------------------------

bool MergeInfo::fitsMemory(const ZuSort* sort, unsigned long sections) {
  const unsigned long bytes = bytesFor(sections);
  const unsigned long taken = (bytes + sort->recordLength - 1) / sort->recordLength;
  return bytes <= ZuSort::kBufferSize && taken + 2 <= sort->runSize();
}

void MergeInfo::prepareForMerge(ZuSort* sort) {
  sectionCount = sort->runCount;
  sectionSize = static_cast<uint32_t>(sort->runSize());
  firstCacheRecord =
      static_cast<uint32_t>((bytesFor(sectionCount) + sort->recordLength - 1) / sort->recordLength);
  nextCacheRecord = firstCacheRecord;
  lastCacheRecord = sectionSize - 1;
  cacheSize = (lastCacheRecord - firstCacheRecord + 1) / sectionCount;
  rotatingCache = cacheSize == 0;
  if (rotatingCache) cacheSize = 1;
  for (uint32_t i = 0; i < sectionCount; ++i) {
    MergeSection& section = sections()[i];
    section = {};
    section.cacheStart = rotatingCache ? 0 : i * cacheSize + firstCacheRecord;
    section.first = i * sectionSize;
    section.last = std::min(section.first + sectionSize, static_cast<uint32_t>(sort->totalRecords)) - 1;
  }
  restart();
}

// Every section at its first record.
void MergeInfo::restart() {
  activeSections = sectionCount;
  frontIsNext = 0;
  for (unsigned i = 0; i < sectionCount; ++i) {
    MergeSection& section = sections()[i];
    section.current = section.first;
    section.cacheIndex = kNotLoaded;
    section.cacheFirst = 0;
  }
}

// --- records of sections ----------------------------------------------------------------------------------

int MergeInfo::loadCacheForSection(ZuSort* sort, unsigned short number) {
  MergeSection& section = sections()[number];
  if (rotatingCache) {
    for (unsigned i = 0; i < sectionCount; ++i) {
      MergeSection& other = sections()[i];
      if (other.cacheStart != nextCacheRecord) continue;
      other.cacheIndex = kCacheTaken;
      other.cacheStart = 0;
    }
    section.cacheStart = nextCacheRecord;
  }
  const uint32_t count = std::min(cacheSize, section.last - section.current + 1);
  section.cacheIndex = kNotLoaded;
  if (sort->readMergeFile(section.cacheStart, count, section.current)) return 1;
  section.cacheFirst = section.current;
  section.cacheIndex = 0;
  return 0;
}

int MergeInfo::getCurrentRecordInSection(ZuSort* sort, unsigned short number, void** record) {
  *record = nullptr;
  MergeSection& section = sections()[number];
  if (section.isUsedUp()) {
    section.cacheIndex = kCacheTaken;
    std::rotate(sections() + number, sections() + number + 1, sections() + activeSections);
    --activeSections;
    return 0;
  }
  const bool isLoaded = section.isLive() && static_cast<uint32_t>(section.cacheIndex) < cacheSize;
  if (!isLoaded && loadCacheForSection(sort, number)) return 1;
  *record = sort->getRecordAddress(section.cacheStart + static_cast<uint32_t>(section.cacheIndex));
  // The next load must not take the place of the record that is delivered here.
  if (rotatingCache && section.cacheStart == nextCacheRecord) {
    nextCacheRecord = nextCacheRecord == lastCacheRecord ? firstCacheRecord : nextCacheRecord + 1;
  }
  return 0;
}

// The order of the records of two active sections. If one is used up it is not active any more, and the
// sections after it have moved.
int MergeInfo::compareSections(ZuSort* sort, unsigned short a, unsigned short b, Compared* result) {
  *result = Compared::OneIsUsedUp;
  void* ours;
  void* theirs;
  // The second load cannot take the place of the first record.
  if (getCurrentRecordInSection(sort, a, &ours)) return 1;
  if (!ours) return 0;
  if (getCurrentRecordInSection(sort, b, &theirs)) return 1;
  if (!theirs) return 0;
  const int order = sort->fullCompare(ours, theirs);
  *result = order < 0 ? Compared::Less : order > 0 ? Compared::Greater : Compared::Equal;
  return 0;
}

int MergeInfo::sortSections(ZuSort* sort) {
  sort->keysChanged = true;  // a failure leaves them to be sorted by the next call
  bool isDone = false;
  while (!isDone) {
    isDone = true;
    for (unsigned short i = 0; isDone && i + 1 < activeSections; ++i) {
      for (auto j = static_cast<unsigned short>(i + 1); isDone && j < activeSections; ++j) {
        Compared order;
        if (compareSections(sort, i, j, &order)) return 1;
        if (order == Compared::Greater) std::swap(sections()[i], sections()[j]);
        if (order == Compared::OneIsUsedUp) isDone = false;
      }
    }
  }
  sort->keysChanged = false;
  return 0;
}

// --- reading ----------------------------------------------------------------------------------------------

int MergeInfo::getFirstRecord(ZuSort* sort, void** record) {
  restart();
  if (sortSections(sort)) return 1;
  return getCurrentRecordInSection(sort, 0, record);
}

void MergeInfo::advanceFront() {
  MergeSection& front = sections()[0];
  if (!front.isLive()) {
    ++front.current;
    return;
  }
  ++front.cacheIndex;
  if (static_cast<uint32_t>(front.cacheIndex) >= cacheSize || front.next() > front.last) {
    front.current += cacheSize;
    front.cacheIndex = kNotLoaded;
  }
}

int MergeInfo::getNextRecord(ZuSort* sort, void** record) {
  *record = nullptr;
  if (activeSections == 0) return 0;
  if (!frontIsNext) advanceFront();
  frontIsNext = 1;  // a failure does not advance it again
  if (findNext(sort, record)) return 1;
  frontIsNext = 0;
  return 0;
}

// The record of the front section, which has advanced, or of the one that takes its place.
int MergeInfo::findNext(ZuSort* sort, void** record) {
  if (sort->keysChanged && sortSections(sort)) return 1;
  if (activeSections == 0) return 0;
  if (getCurrentRecordInSection(sort, 0, record)) return 1;
  if (!*record) return activeSections == 0 ? 0 : getCurrentRecordInSection(sort, 0, record);
  if (activeSections == 1) return 0;
  if (placeFront(sort)) return 1;
  return getCurrentRecordInSection(sort, 0, record);
}

// Moves the front section to its place among the others.
int MergeInfo::placeFront(ZuSort* sort) {
  unsigned low = 1;
  unsigned high = activeSections;  // the place is before it
  while (low < high) {
    const auto middle = static_cast<unsigned short>((low + high - 1) / 2);
    Compared order;
    if (compareSections(sort, 0, middle, &order)) return 1;
    if (order == Compared::Equal) high = low = middle;
    if (order == Compared::Less) high = middle;
    if (order == Compared::Greater) low = middle + 1u;
    if (order == Compared::OneIsUsedUp) return sortSections(sort);
  }
  std::rotate(sections(), sections() + 1, sections() + low);
  return 0;
}

// --- searching --------------------------------------------------------------------------------------------

// Sets the section to its first record that is not less than `key`.
int MergeInfo::seekInSection(ZuSort* sort, MergeSection& section, const void* key, unsigned char* record,
                             bool* isHit) {
  section.cacheIndex = kNotLoaded;
  section.current = section.first;
  unsigned long low = section.first;
  unsigned long high = section.last + 1UL;
  while (low < high) {
    const unsigned long middle = low + (high - low) / 2;
    if (sort->readRecord(middle, record)) return 1;
    const int order = sort->fullCompare(key, record);
    if (order > 0) {
      low = middle + 1;
    } else if (order < 0) {
      high = middle;
    } else {
      *isHit = true;
      // Back to the first of the equal ones.
      for (low = middle; low > section.first; --low) {
        if (sort->readRecord(low - 1, record)) return 1;
        if (sort->fullCompare(key, record) != 0) break;
      }
      high = low;
    }
  }
  section.current = static_cast<uint32_t>(low);
  return 0;
}

int MergeInfo::getFirstRecordWithKey(ZuSort* sort, const void* key, void** record) {
  AFPU8 scratch;
  scratch = static_cast<unsigned char*>(ramAlloc(sort->recordLength));
  if (!scratch) return 1;
  activeSections = sectionCount;
  sort->position = 0;
  bool isHit = false;
  for (unsigned i = 0; i < sectionCount; ++i) {
    MergeSection& section = sections()[i];
    if (seekInSection(sort, section, key, scratch, &isHit)) return 1;
    sort->position += section.current - section.first;
  }
  if (sortSections(sort)) return 1;
  frontIsNext = !isHit;
  if (!isHit) return 0;
  if (getCurrentRecordInSection(sort, 0, record)) return 1;
  ++sort->position;
  return 0;
}

// --- ranges -----------------------------------------------------------------------------------------------

void MergeInfo::startResortRange() {
  for (unsigned i = 0; i < sectionCount; ++i) sections()[i].startResortRange();
}

void MergeInfo::endResortRange() {
  for (unsigned i = 0; i < sectionCount; ++i) sections()[i].endResortRange();
}

int MergeInfo::resortRange(ZuSort* sort) {
  // A re-sort that needs all memory takes this object's place for a while: only the count is kept outside.
  const unsigned count = sectionCount;
  for (unsigned i = 0; i < count; ++i) {
    if (resortSection(sort, sections()[i])) return 1;
  }
  return 0;
}

int MergeInfo::resortSection(ZuSort* sort, MergeSection& section) {
  if (section.resortStart > section.last || section.resortEnd <= section.resortStart) return 0;
  const uint32_t first = section.resortStart;
  const unsigned long count = section.resortEnd - first + 1UL;
  const bool isCached =
      section.isLive() && first >= section.cacheFirst && section.resortEnd - section.cacheFirst < cacheSize;
  if (!isCached && count > cacheSize) return resortInAllMemory(sort, first, count);
  unsigned long place = section.cacheStart;
  if (isCached) {
    place += first - section.cacheFirst;
  } else {
    section.giveUpCache();
    if (sort->readMergeFile(place, count, first)) return 1;
  }
  if (sort->quickSort(place, place + count - 1)) return 1;
  return sort->writeMergeFile(place, count, first);
}

// This object goes to the file, past all records, while the range takes its place.
int MergeInfo::resortInAllMemory(ZuSort* sort, uint32_t first, unsigned long count) {
  for (unsigned i = 0; i < sectionCount; ++i) sections()[i].giveUpCache();
  const unsigned long offset = sort->totalRecords * sort->recordLength;
  const unsigned long bytes = bytesFor(sectionCount);
  auto* self = reinterpret_cast<unsigned char*>(this);
  if (sort->writeBytes(offset, self, bytes)) return 1;
  const bool failed = sort->readMergeFile(0, count, first) || sort->quickSort(0, count - 1) ||
                      sort->writeMergeFile(0, count, first);
  if (sort->readBytes(offset, self, bytes)) {
    sort->mergeInfo = nullptr;
    return 1;
  }
  return failed;
}

int MergeInfo::getFirstRecordInRange(void** record, ZuSort* sort) {
  activeSections = sectionCount;
  frontIsNext = 0;
  for (unsigned i = 0; i < sectionCount; ++i) {
    MergeSection& section = sections()[i];
    const bool isCached = section.isLive() && section.resortStart >= section.cacheFirst &&
                          section.resortStart - section.cacheFirst < cacheSize;
    section.cacheIndex =
        isCached ? static_cast<int32_t>(section.resortStart - section.cacheFirst) : kNotLoaded;
    section.current = isCached ? section.cacheFirst : section.resortStart;
  }
  if (sortSections(sort)) return 1;
  *record = nullptr;
  return activeSections == 0 ? 0 : getCurrentRecordInSection(sort, 0, record);
}
