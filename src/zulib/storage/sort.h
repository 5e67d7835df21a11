// ZuSort: sorts records of one length by a list of keys, in memory, and through a temporary file when they
// are more than 4 MiB. It also sorts a caller's array in place.
//
// Records lie in up to 64 buffers of 64 KiB, none across two of them. When the buffers are full, or memory
// is, they are sorted and written to the file as one run, and filled again. Reading then merges the runs
// (internal/merge.h):
//
//   file, by record number
//   0                  runSize            2 * runSize
//   |---- run 0 -------|---- run 1 -------|---- last run, unused rest -|
//
// Usage:
//   ZuSort sorter(sizeof(Row));
//   if (sorter.addKey(0, offsetof(Row, key), sizeof(Row::key))) return 1;
//   for (Row& row : rows) {
//     if (sorter.addRecord(&row)) return 1;
//   }
//   void* row;
//   if (sorter.getFirstRecord(&row)) return 1;
//   while (row) {
//     ...
//     if (sorter.getNextRecord(&row)) return 1;
//   }
//
// Records are added first, and read, sorted again and searched afterwards. Adding to a sorter that has
// started to merge fails. Equal records come in any order.
//
// Operations return 0, or 1 after one record on the thread's error list. Reading goes on after a failure, and
// begins anew after a search or a range that failed. A sorter that cannot go on fails each time. A record
// that is delivered is null at the end of the data, and valid until the next call.
//
// The file has no name once it is open, so that nothing is left of it whatever ends the process.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_STORAGE_SORT_H
#define ZULIB_STORAGE_SORT_H

#include "zulib/os/files/bosfile.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

// How a key compares; 0 compares its bytes as unsigned numbers. Of several kinds object wins over text, and
// text over custom.
enum ZuSortKeyFlag : unsigned short {
  ZuSortDescending = 1,
  ZuSortText = 2,    // by `strCompareIntl`
  ZuSortCustom = 4,  // by the key's function
  ZuSortObject = 8,  // the record begins with a ZuObject*, which compares itself
};

// Below 0, 0 or above 0, of which the low 16 bits count. The values are those at the key's offset.
typedef int (*ZuSortCompare)(void* context, const void* a, const void* b);

struct ZuSortKey {
  unsigned short flags;  // ZuSortKeyFlag
  unsigned long offset;  // in the record
  unsigned short length;
  ZuSortCompare compareFunction;  // of a custom key, filled in by the caller; null compares the bytes
  void* compareContext;
};

struct MergeInfo;

class ZU_API ZuSort : public ZuObject {
 public:
  static constexpr unsigned long kMaximumKeys = 64;
  static constexpr unsigned short kMaximumBuffers = 64;
  static constexpr unsigned long kBufferSize = 65536;  // bytes

  explicit ZuSort(unsigned short recordLength);
  ZuSort(const ZuSort&) = delete;
  ZuSort& operator=(const ZuSort&) = delete;
  ~ZuSort() override;

  // Before the first record is added. Buffers for records of 1 byte take 65535 of them then, and 65536 by the
  // constructor.
  void setRecordLength(unsigned short length);
  // Holds less than 4 MiB in memory: 2 to 64 buffers. Before the first record is added.
  void setBufferLimit(unsigned short buffers);

  // Error 2710 for a key beyond the 64th. A custom key gets its function through `keys`.
  int addKey(unsigned short flags, unsigned long offset, unsigned short length);

  // Copies a record in, or hands out the place of a new one. Fails if memory and, if need be, the file cannot
  // take it; the records before it stay.
  int addRecord(const void* record);
  int nextSlot(void** slot);

  // Reading in order. `getSorted` begins with the first record.
  int getFirstRecord(void** record);
  int getNextRecord(void** record);
  int getSorted(void** record);

  // `getSorted`, and the number of leading keys on which the record equals the one delivered before; 0 for
  // the first record and at the end.
  int getSortedWithCompare(void** record, unsigned long* matchingKeys);

  // The first of the records that equal `key`, a record of which only the keys matter; null if there is none.
  // Reading goes on after it, or with the first record that is greater.
  int getFirstRecordWithKey(const void* key, void** record);

  // Sorts `count` records in the caller's memory, which stays the caller's.
  void setBuf(unsigned long count, void* buffer);
  int sortBuf();

  // Sorts again, after the keys were changed; reading starts anew.
  int reSort();

  // Comparisons of sorting leave out the keys before this one.
  void setStartKey(unsigned long key) { startKey = key; }

  // Sorts records that are alike on their leading keys in another order of the rest: read the first record of
  // a group, start the range, read to the first record after the group or to the end, end the range. With
  // `wholeRange` 0 records that differ on the keys before `startKey` keep their places.
  void startResortRange();
  void endResortRange();
  int resortRange(unsigned long startKey, unsigned wholeRange);
  int getFirstRecordInRange(void** record);
  int getNextRecordInRange(void** record);

  unsigned long getRecordCount() const { return totalRecords; }
  // Runs in the file.
  unsigned short getRunCount() const { return runCount; }

 private:
  friend struct MergeInfo;

  bool isSpilled() const { return merging && sorted; }
  unsigned long runSize() const { return bufferCount * recordsPerBuffer; }

  unsigned char* getRecordAddress(unsigned long index) const;
  int allocBuffer();
  int spill();
  int prepareForGet();
  int deliver(void** record);
  int keepRecord(const void* record);
  int failToPlace(void** record);
  int getFirstInMemory(const void* key, void** record);
  void release();

  int doSort();
  int doSortRange(unsigned long first, unsigned long last, unsigned wholeRange);
  int quickSort(unsigned long first, unsigned long last);
  int reSortWithMerge();
  int reSortRun(unsigned long run, unsigned long records);

  using ZuObject::compare;
  int compare(const unsigned char* a, const unsigned char* b) const { return compareFrom(startKey, a, b); }
  int fullCompare(const void* a, const void* b) const;
  int compareFrom(unsigned long firstKey, const unsigned char* a, const unsigned char* b) const;
  int compareKey(const ZuSortKey& key, const unsigned char* a, const unsigned char* b) const;
  int compareText(const unsigned char* a, const unsigned char* b, unsigned long length) const;
  unsigned long compareLeadingKeys(const void* a, const void* b, unsigned long count) const;
  int prepareTexts();

  // `count` records between memory record `memoryRecord` and record `fileRecord` of the file.
  int writeMergeFile(unsigned long memoryRecord, unsigned long count, unsigned long fileRecord);
  int readMergeFile(unsigned long memoryRecord, unsigned long count, unsigned long fileRecord);
  int readRecord(unsigned long fileRecord, unsigned char* into);
  // Bytes at an offset of the file.
  int writeBytes(unsigned long offset, const unsigned char* bytes, unsigned long length);
  int readBytes(unsigned long offset, unsigned char* bytes, unsigned long length);
  int openMergeFile();

  unsigned long recordsInMemory = 0;  // of the present run
  unsigned long position = 0;         // index of the next record to deliver
  unsigned long totalRecords = 0;
  unsigned long startKey = 0;

 public:
  unsigned long keyCount = 0;
  ZuSortKey keys[kMaximumKeys] = {};

 private:
  unsigned short runCount = 0;
  unsigned long lastRunRecords = 0;
  int mergeFile = 0;  // handle, 0 for none
  unsigned char mergeFileName[bosPathSize] = "";
  unsigned short recordLength;     // bytes
  unsigned short bufferCount = 0;  // buffers in use
  unsigned short bufferLimit = kMaximumBuffers;
  unsigned long recordsPerBuffer;
  bool ownsBuffers : 1;
  bool borrowsBuffer : 1;                 // the buffer is the caller's array
  bool merging : 1;                       // there are runs in the file
  bool sorted : 1;                        // ready to be read
  bool keysChanged : 1;                   // since the merge was set up
  bool plainTexts : 1;                    // text keys compare by bytes: the locale has no order of its own
  MergeInfo* mergeInfo = nullptr;         // in the first buffer; null while that holds records
  const void* previousRecord = nullptr;   // the last one delivered, or its copy
  unsigned char* previousCopy = nullptr;  // owned; of recordLength bytes
  unsigned char* textRoom = nullptr;      // owned; two terminated texts
  unsigned long textRoomSize = 0;         // bytes of one of them
  unsigned long rangeStart = 0;
  unsigned long rangeEnd = 0;
  unsigned char* buffers[kMaximumBuffers] = {};
};

namespace zustorage {

// Made when the library is loaded: from then on sorted arrays sort through ZuSort.
struct SorterStart {
  SorterStart();
};

}  // namespace zustorage

#endif
