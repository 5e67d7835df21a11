// Reading the runs of a ZuSort in merged order, with no more memory than the sorter's own buffers.
//
// The runs are the sections of the merge. They are kept in an array ordered by their current record; after
// each record the front section is put back by binary search.
//
// A MergeInfo lies at the start of the sorter's first buffer; the records after it are cache:
//
//   memory records of the sorter
//   0                 firstCacheRecord                                      lastCacheRecord
//   |-- MergeInfo ----|-- section 0 --|-- section 1 --| ...  |- unused ------|
//
// Each section has `cacheSize` records of cache to itself. If that would be none, the cache rotates: each
// record read takes the next record of memory, and the section that had it gives it up.
//
// Invariants:
//   1. Sections below `activeSections` are not used up, and ordered by current record under `fullCompare`.
//   2. With cacheIndex >= 0: current == cacheFirst, and the section's record is memory record cacheStart +
//      cacheIndex. With cacheIndex < 0 nothing is loaded, and the section's record is file record `current`.
//   3. A section with current > last is used up.
//
// Operations return 0, or 1 after one record on the thread's error list; bosFileWrite and the sorter's reads
// have put it there.

#ifndef ZULIB_STORAGE_INTERNAL_MERGE_H
#define ZULIB_STORAGE_INTERNAL_MERGE_H

#include <cstdint>

class ZuSort;

// One run. Record numbers are those of the file.
struct MergeSection {
  uint32_t cacheFirst;  // first record in the cache
  uint32_t current;     // first record of the cache, or next record of the section; see above
  uint32_t first;
  uint32_t last;
  int32_t cacheIndex;   // the section's record in the cache; -1 not loaded, -2 cache taken away
  uint32_t cacheStart;  // memory record of the cache
  uint32_t resortStart;
  uint32_t resortEnd;

  bool isUsedUp() const { return current > last; }
  bool isLive() const { return cacheIndex >= 0; }
  // Number of the section's next record.
  uint32_t next() const { return isLive() ? cacheFirst + static_cast<uint32_t>(cacheIndex) : current; }
  void giveUpCache();
  void startResortRange();
  void endResortRange();
};
static_assert(sizeof(MergeSection) == 32);

struct MergeInfo {
  // Whether a sorter can merge so many runs: the MergeInfo must fit the first buffer, and two records must be
  // left as cache, for comparing two sections.
  static bool fitsMemory(const ZuSort* sort, unsigned long sections);

  void prepareForMerge(ZuSort* sort);
  int getFirstRecord(ZuSort* sort, void** record);
  // Null after the last record.
  int getNextRecord(ZuSort* sort, void** record);
  // Null if no record equals `key`; the sorter's position is then where it would be.
  int getFirstRecordWithKey(ZuSort* sort, const void* key, void** record);

  // The section's record, read into the cache if it is not there. Null for a section that is used up, which
  // then is no longer active: the sections after it have moved down.
  int getCurrentRecordInSection(ZuSort* sort, unsigned short section, void** record);
  int loadCacheForSection(ZuSort* sort, unsigned short section);
  int sortSections(ZuSort* sort);

  void startResortRange();
  void endResortRange();
  int resortRange(ZuSort* sort);
  int getFirstRecordInRange(void** record, ZuSort* sort);

  uint16_t sectionCount;
  uint16_t activeSections;
  uint32_t sectionSize;  // records in a full run
  uint32_t cacheSize;    // records in one section's cache
  uint8_t rotatingCache : 1;
  uint8_t frontIsNext : 1;  // the front record has not been delivered: a search or a read has missed it
  uint32_t lastCacheRecord;
  uint32_t firstCacheRecord;
  uint32_t nextCacheRecord;  // to be taken next in a rotating cache

  MergeSection* sections() { return reinterpret_cast<MergeSection*>(this + 1); }

 private:
  enum class Compared { Less, Equal, Greater, OneIsUsedUp };

  void restart();
  void advanceFront();
  int findNext(ZuSort* sort, void** record);
  int placeFront(ZuSort* sort);
  int compareSections(ZuSort* sort, unsigned short a, unsigned short b, Compared* result);
  int seekInSection(ZuSort* sort, MergeSection& section, const void* key, unsigned char* record, bool* isHit);
  int resortSection(ZuSort* sort, MergeSection& section);
  int resortInAllMemory(ZuSort* sort, uint32_t first, unsigned long count);
};
static_assert(sizeof(MergeInfo) == 28);

#endif
