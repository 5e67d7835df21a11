#include "zulib/storage/sort.h"

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zuhooks.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/storage/internal/keyorder.h"
#include "zulib/storage/internal/merge.h"
#include "zulib/storage/internal/quicksort.h"
#include "zulib/text/strcompare.h"

using namespace zustorage;

namespace {

// bosFileWrite takes less than 65536 bytes at a time.
constexpr unsigned long kWriteSize = 32768;

// Bytes of a record that is a pointer to an object.
constexpr unsigned short kPointerSize = sizeof(void*);

int fail(int errnum, const unsigned char* name) {
  bosMapError(errnum, name);
  return 1;
}

// A locale without an order of its own: strcoll is strcmp there.
bool comparesTextsByBytes() {
  const char* locale = nl_langinfo(_NL_LOCALE_NAME(LC_COLLATE));
  return std::strcmp(locale, "C") == 0 || std::strcmp(locale, "POSIX") == 0;
}

}  // namespace

ZuSort::ZuSort(unsigned short recordLength)
    : recordLength(recordLength),
      recordsPerBuffer(recordLength ? kBufferSize / recordLength : 0),
      ownsBuffers(false),
      borrowsBuffer(false),
      merging(false),
      sorted(false),
      keysChanged(false),
      plainTexts(false) {}

ZuSort::~ZuSort() {
  release();
  free(previousCopy);
  free(textRoom);
}

// Gives up the records, wherever they are.
void ZuSort::release() {
  bosFileClose(mergeFile);
  if (mergeFileName[0]) bosFileDelete(mergeFileName);
  mergeFile = 0;
  mergeFileName[0] = 0;
  if (ownsBuffers) {
    for (unsigned char* buffer : buffers) free(buffer);
  }
  std::fill(std::begin(buffers), std::end(buffers), nullptr);
  bufferCount = 0;
  runCount = 0;
  recordsInMemory = totalRecords = position = 0;
  ownsBuffers = merging = sorted = false;
  mergeInfo = nullptr;
  previousRecord = nullptr;
  rangeStart = rangeEnd = 0;
}

void ZuSort::setRecordLength(unsigned short length) {
  recordLength = length;
  free(previousCopy);
  previousCopy = nullptr;
  previousRecord = nullptr;
  recordsPerBuffer = length > 1 ? kBufferSize / length : length ? kBufferSize - 1 : 0;
}

void ZuSort::setBufferLimit(unsigned short count) {
  bufferLimit = std::clamp<unsigned short>(count, 2, kMaximumBuffers);
}

int ZuSort::addKey(unsigned short flags, unsigned long offset, unsigned short length) {
  if (keyCount >= kMaximumKeys) {
    addError(ZU_MSG_TOO_MANY_SORT_KEYS);
    return 1;
  }
  keys[keyCount++] = {flags, offset, length, nullptr, nullptr};
  keysChanged = true;
  return 0;
}

// --- adding -----------------------------------------------------------------------------------------------

unsigned char* ZuSort::getRecordAddress(unsigned long index) const {
  // Not more than 64 buffers of 65536 records, unless the one buffer is a caller's array.
  if (bufferCount == 1) return buffers[0] + index * recordLength;
  const auto perBuffer = static_cast<uint32_t>(recordsPerBuffer);
  const auto number = static_cast<uint32_t>(index);
  return buffers[number / perBuffer] + static_cast<unsigned long>(number % perBuffer) * recordLength;
}

int ZuSort::allocBuffer() {
  buffers[bufferCount] = static_cast<unsigned char*>(ramAlloc(kBufferSize));
  if (!buffers[bufferCount]) return 1;
  ++bufferCount;
  return 0;
}

int ZuSort::nextSlot(void** slot) {
  *slot = nullptr;
  if (borrowsBuffer || isSpilled()) {
    addError(borrowsBuffer ? ZU_MSG_BORROWED_BUFFER_FULL : ZU_MSG_BAD_FILE_HANDLE);
    return 1;
  }
  if (recordsPerBuffer == 0) return fail(EINVAL, nullptr);
  if (recordsInMemory == runSize()) {
    ownsBuffers = true;
    const bool mayGrow = !merging && bufferCount < bufferLimit;
    if (!mayGrow || allocBuffer()) {
      // A merge takes two buffers at least; with them it is no error that there is no memory for another.
      if (bufferCount < 2) return 1;
      if (mayGrow) ZuErrorKeeper::clearLastError();
      if (spill()) return 1;
    }
  }
  sorted = false;
  *slot = getRecordAddress(recordsInMemory);
  ++recordsInMemory;
  ++totalRecords;
  return 0;
}

int ZuSort::addRecord(const void* record) {
  void* slot;
  if (nextSlot(&slot)) return 1;
  std::memcpy(slot, record, recordLength);
  return 0;
}

// Writes what is in memory to the file as a run, after which there is nothing in memory. After a failure the
// records are still there.
int ZuSort::spill() {
  const unsigned long runs = runCount + 2UL;  // this one, and the records still to come
  if (runs * runSize() > UINT32_MAX) return fail(EFBIG, mergeFileName);
  if (!MergeInfo::fitsMemory(this, runs)) {
    ramAddMemoryError();
    return 1;
  }
  if (doSort() || openMergeFile()) return 1;
  if (writeMergeFile(0, runSize(), runCount * runSize())) return 1;
  merging = true;
  ++runCount;
  recordsInMemory = 0;
  return 0;
}

// --- reading ----------------------------------------------------------------------------------------------

int ZuSort::prepareForGet() {
  if (doSort()) return 1;
  if (merging) {
    if (writeMergeFile(0, runSize(), runCount * runSize())) return 1;
    ++runCount;
    lastRunRecords = recordsInMemory;
    mergeInfo = reinterpret_cast<MergeInfo*>(buffers[0]);
    mergeInfo->prepareForMerge(this);
  }
  sorted = true;
  position = 0;
  return 0;
}

// The record at `position`, and one step. In memory the position is the record's index.
int ZuSort::deliver(void** record) {
  *record = nullptr;
  if (!merging) {
    if (position < totalRecords) *record = getRecordAddress(position);
  } else if (!mergeInfo) {
    // The file or the memory of the merge was lost in an operation that failed.
    return fail(EIO, mergeFileName);
  } else if (position == 0 ? mergeInfo->getFirstRecord(this, record)
                           : mergeInfo->getNextRecord(this, record)) {
    *record = nullptr;
    return 1;
  }
  if (*record) ++position;
  return 0;
}

int ZuSort::getFirstRecord(void** record) {
  *record = nullptr;
  if (!sorted && prepareForGet()) return 1;
  position = 0;
  return deliver(record);
}

int ZuSort::getNextRecord(void** record) { return getSorted(record); }

int ZuSort::getSorted(void** record) {
  *record = nullptr;
  if (!sorted && prepareForGet()) return 1;
  return deliver(record);
}

// Makes `record` the previous one. A record of a merge is copied: its place is read over.
int ZuSort::keepRecord(const void* record) {
  previousRecord = record;
  if (!merging || !record) return 0;
  previousRecord = nullptr;
  if (!previousCopy) previousCopy = static_cast<unsigned char*>(ramAlloc(recordLength));
  if (!previousCopy) return 1;
  std::memcpy(previousCopy, record, recordLength);
  previousRecord = previousCopy;
  return 0;
}

int ZuSort::getSortedWithCompare(void** record, unsigned long* matchingKeys) {
  *matchingKeys = 0;
  const bool isFirst = !sorted || position == 0;
  if (getSorted(record)) return 1;
  if (!isFirst && *record && previousRecord) {
    *matchingKeys = compareLeadingKeys(*record, previousRecord, keyCount);
  }
  return keepRecord(*record);
}

// The sections of the merge are no longer where they were: reading starts anew.
int ZuSort::failToPlace(void** record) {
  *record = nullptr;
  position = 0;
  return 1;
}

int ZuSort::getFirstInMemory(const void* key, void** record) {
  unsigned long low = 0;
  unsigned long high = totalRecords;
  position = 0;
  while (low < high) {
    const unsigned long middle = low + (high - low) / 2;
    const int result = fullCompare(key, getRecordAddress(middle));
    if (result == 0) {
      position = middle;
      while (position > 0 && fullCompare(key, getRecordAddress(position - 1)) == 0) --position;
      *record = getRecordAddress(position++);
      return 0;
    }
    (result > 0 ? low : high) = result > 0 ? middle + 1 : middle;
    position = low;
  }
  return 0;
}

int ZuSort::getFirstRecordWithKey(const void* key, void** record) {
  *record = nullptr;
  if ((!sorted && prepareForGet()) || prepareTexts()) return 1;
  previousRecord = nullptr;
  if (merging) {
    if (!mergeInfo) return fail(EIO, mergeFileName);
    if (mergeInfo->getFirstRecordWithKey(this, key, record)) return failToPlace(record);
  } else if (getFirstInMemory(key, record)) {
    return 1;
  }
  return *record ? keepRecord(*record) : 0;
}

// --- sorting ----------------------------------------------------------------------------------------------

void ZuSort::setBuf(unsigned long count, void* buffer) {
  release();
  buffers[0] = static_cast<unsigned char*>(buffer);
  bufferCount = 1;
  borrowsBuffer = true;
  recordsInMemory = totalRecords = recordsPerBuffer = count;
}

int ZuSort::sortBuf() {
  if (sorted) return 0;
  if (doSort()) return 1;
  position = 0;
  sorted = true;
  return 0;
}

int ZuSort::doSort() {
  if (recordsInMemory < 2) return 0;
  return doSortRange(0, recordsInMemory - 1, 0);
}

int ZuSort::doSortRange(unsigned long first, unsigned long last, unsigned wholeRange) {
  if (first >= last) return 0;
  if (prepareTexts()) return 1;
  if (startKey == 0 || wholeRange) return quickSort(first, last);
  // The records are in order on the keys before startKey; groups that are alike on them are sorted.
  for (unsigned long i = 0; i <= last;) {
    unsigned long j = i + 1;
    while (j <= last && compareLeadingKeys(getRecordAddress(i), getRecordAddress(j), startKey) == startKey)
      ++j;
    if (j - i > 1 && quickSort(i, j - 1)) return 1;
    i = j;
  }
  return 0;
}

namespace {

template <class Space, class Order>
int quickSortBy(const Space& space, const Order& order, unsigned long first, unsigned long last) {
  QuickSort<Space, Order> sort(space, order);
  if (sort.run(first, last)) return 0;
  addError(ZU_MSG_SORT_TOO_DEEP);
  return 1;
}

}  // namespace

int ZuSort::quickSort(unsigned long first, unsigned long last) {
  const RecordSpace space{buffers, recordsPerBuffer, recordLength};
  if (keyCount == startKey + 1) {
    const ZuSortKey& key = keys[startKey];
    const bool isBytes = (key.flags & (ZuSortObject | ZuSortText | ZuSortCustom)) == 0;
    if (key.flags == ZuSortObject && recordLength == kPointerSize && borrowsBuffer) {
      return quickSortBy(ArraySpace<kPointerSize>{buffers[0]}, ObjectOrder(), first, last);
    }
    if (isBytes && BytesOrder::fits(key.offset, key.length, recordLength)) {
      const bool descending = (key.flags & ZuSortDescending) != 0;
      return quickSortBy(space, BytesOrder(key.offset, key.length, recordLength, descending), first, last);
    }
    const auto byKey = [this, &key](const unsigned char* a, const unsigned char* b) {
      return compareKey(key, a, b);
    };
    return quickSortBy(space, FunctionOrder<decltype(byKey)>{byKey}, first, last);
  }
  const auto byKeys = [this](const unsigned char* a, const unsigned char* b) { return compare(a, b); };
  return quickSortBy(space, FunctionOrder<decltype(byKeys)>{byKeys}, first, last);
}

int ZuSort::reSort() {
  const bool isInOrder = !sorted && !merging;  // once it is prepared: all of it is sorted then
  if (!sorted && prepareForGet()) return 1;
  previousRecord = nullptr;
  if (merging ? reSortWithMerge() : !isInOrder && doSort()) return 1;
  position = 0;
  return 0;
}

int ZuSort::reSortRun(unsigned long run, unsigned long records) {
  const unsigned long used = (records + recordsPerBuffer - 1) / recordsPerBuffer * recordsPerBuffer;
  recordsInMemory = records;
  if (readMergeFile(0, used, run * runSize()) || doSort()) return 1;
  return writeMergeFile(0, used, run * runSize());
}

// Each run is sorted by itself. The memory is needed for that, so the merge is set up anew.
int ZuSort::reSortWithMerge() {
  mergeInfo = nullptr;
  for (unsigned long run = 0; run < runCount; ++run) {
    if (reSortRun(run, run + 1 < runCount ? runSize() : lastRunRecords)) return 1;
  }
  mergeInfo = reinterpret_cast<MergeInfo*>(buffers[0]);
  mergeInfo->prepareForMerge(this);
  return 0;
}

// --- a range of records that are alike --------------------------------------------------------------------

void ZuSort::startResortRange() {
  rangeStart = position > 0 ? position - 1 : 0;
  if (mergeInfo) mergeInfo->startResortRange();
}

void ZuSort::endResortRange() {
  const bool atEnd = position >= totalRecords;
  const unsigned long after = atEnd ? totalRecords : position > 0 ? position - 1 : 0;
  rangeEnd = after > 0 ? after - 1 : 0;
  if (mergeInfo) mergeInfo->endResortRange();
}

int ZuSort::resortRange(unsigned long key, unsigned wholeRange) {
  if (!sorted && prepareForGet()) return 1;
  if (merging && !mergeInfo) return fail(EIO, mergeFileName);
  startKey = key;
  const int result = prepareTexts() || (mergeInfo ? mergeInfo->resortRange(this)
                                                  : doSortRange(rangeStart, rangeEnd, wholeRange));
  startKey = 0;
  return result;
}

int ZuSort::getFirstRecordInRange(void** record) {
  *record = nullptr;
  if (!sorted && prepareForGet()) return 1;
  if (rangeStart >= totalRecords) return 0;
  if (!merging) {
    *record = getRecordAddress(rangeStart);
  } else if (!mergeInfo) {
    return fail(EIO, mergeFileName);
  } else if (mergeInfo->getFirstRecordInRange(record, this)) {
    return failToPlace(record);
  }
  position = rangeStart + 1;
  return keepRecord(*record);
}

int ZuSort::getNextRecordInRange(void** record) {
  *record = nullptr;
  return position > rangeEnd ? 0 : getNextRecord(record);
}

// --- comparing --------------------------------------------------------------------------------------------

int ZuSort::fullCompare(const void* a, const void* b) const {
  return compareFrom(0, static_cast<const unsigned char*>(a), static_cast<const unsigned char*>(b));
}

int ZuSort::compareFrom(unsigned long firstKey, const unsigned char* a, const unsigned char* b) const {
  for (unsigned long i = firstKey; i < keyCount; ++i) {
    const int result = compareKey(keys[i], a, b);
    if (result != 0) return result;
  }
  return 0;
}

int ZuSort::compareKey(const ZuSortKey& key, const unsigned char* a, const unsigned char* b) const {
  short result;
  if (key.flags & ZuSortObject) {
    result = ObjectOrder::compareObjects(ObjectOrder::object(a), ObjectOrder::object(b));
  } else if (key.flags & ZuSortText) {
    result = static_cast<short>(compareText(a + key.offset, b + key.offset, key.length));
  } else if (key.flags & ZuSortCustom && key.compareFunction) {
    result = static_cast<short>(key.compareFunction(key.compareContext, a + key.offset, b + key.offset));
  } else {
    result = memCompare(a + key.offset, b + key.offset, key.length);
  }
  return key.flags & ZuSortDescending ? -result : result;
}

// What strCompareIntl of the two counted texts is, without its need for memory.
int ZuSort::compareText(const unsigned char* a, const unsigned char* b, unsigned long length) const {
  if (plainTexts) {
    return std::strncmp(reinterpret_cast<const char*>(a), reinterpret_cast<const char*>(b), length);
  }
  if (length >= textRoomSize) return strCompareIntl(a, length, b, length);
  unsigned char* ours = textRoom;
  unsigned char* theirs = textRoom + textRoomSize;
  std::memcpy(ours, a, length);
  std::memcpy(theirs, b, length);
  ours[length] = theirs[length] = 0;
  return strCompareIntl(ours, theirs);
}

// Called before records are compared: afterwards no comparison can fail.
int ZuSort::prepareTexts() {
  unsigned long longest = 0;
  bool hasTexts = false;
  for (unsigned long i = 0; i < keyCount; ++i) {
    if (!(keys[i].flags & ZuSortText)) continue;
    hasTexts = true;
    longest = std::max<unsigned long>(longest, keys[i].length);
  }
  if (!hasTexts) return 0;
  plainTexts = comparesTextsByBytes();
  if (plainTexts || longest < textRoomSize) return 0;
  free(textRoom);
  textRoom = static_cast<unsigned char*>(ramAlloc(2 * (longest + 1)));
  textRoomSize = textRoom ? longest + 1 : 0;
  return textRoom ? 0 : 1;
}

unsigned long ZuSort::compareLeadingKeys(const void* a, const void* b, unsigned long count) const {
  const auto* left = static_cast<const unsigned char*>(a);
  const auto* right = static_cast<const unsigned char*>(b);
  const unsigned long compared = std::min(count, keyCount);
  for (unsigned long i = 0; i < compared; ++i) {
    const ZuSortKey& key = keys[i];
    const unsigned char* ours = left + key.offset;
    const unsigned char* theirs = right + key.offset;
    // Objects are asked, and their pointers compared all the same: only a record with the same object
    // matches.
    if (key.flags & ZuSortObject) ObjectOrder()(left, right);
    const bool isText = (key.flags & (ZuSortText | ZuSortObject)) == ZuSortText;
    if (isText ? compareText(ours, theirs, key.length) != 0 : memCompare(ours, theirs, key.length) != 0)
      return i;
  }
  return compared;
}

// --- the file ---------------------------------------------------------------------------------------------

int ZuSort::openMergeFile() {
  if (mergeFile > 0) return 0;
  if (bosFileOpen(mergeFileName, bosOpenTemporary | bosOpenReadWrite, &mergeFile)) return 1;
  if (unlink(reinterpret_cast<const char*>(mergeFileName)) == 0) mergeFileName[0] = 0;
  return 0;
}

int ZuSort::writeBytes(unsigned long offset, const unsigned char* bytes, unsigned long length) {
  auto place = static_cast<long long>(offset);
  while (length > 0) {
    const unsigned long n = std::min(length, kWriteSize);
    if (bosFileWrite(mergeFile, place, bytes, n)) return 1;
    place = -1;
    bytes += n;
    length -= n;
  }
  return 0;
}

int ZuSort::readBytes(unsigned long offset, unsigned char* bytes, unsigned long length) {
  unsigned long got = 0;
  bosFileRead(mergeFile, static_cast<long long>(offset), bytes, length, &got);
  if (got == length) return 0;
  return fail(static_cast<long>(got) < 0 ? errno : EIO, mergeFileName);
}

namespace {

// Calls `move(memory record, file record, count)` for each stretch of records that is in one buffer.
template <class Move>
int forEachStretch(unsigned long perBuffer, unsigned long memoryRecord, unsigned long count,
                   unsigned long fileRecord, Move move) {
  while (count > 0) {
    const unsigned long n = std::min(count, perBuffer - memoryRecord % perBuffer);
    if (move(memoryRecord, fileRecord, n)) return 1;
    memoryRecord += n;
    fileRecord += n;
    count -= n;
  }
  return 0;
}

}  // namespace

int ZuSort::writeMergeFile(unsigned long memoryRecord, unsigned long count, unsigned long fileRecord) {
  return forEachStretch(recordsPerBuffer, memoryRecord, count, fileRecord,
                        [this](unsigned long memory, unsigned long file, unsigned long n) {
                          return writeBytes(file * recordLength, getRecordAddress(memory), n * recordLength);
                        });
}

int ZuSort::readMergeFile(unsigned long memoryRecord, unsigned long count, unsigned long fileRecord) {
  return forEachStretch(recordsPerBuffer, memoryRecord, count, fileRecord,
                        [this](unsigned long memory, unsigned long file, unsigned long n) {
                          return readBytes(file * recordLength, getRecordAddress(memory), n * recordLength);
                        });
}

int ZuSort::readRecord(unsigned long fileRecord, unsigned char* into) {
  return readBytes(fileRecord * recordLength, into, recordLength);
}

// --- sorted arrays ----------------------------------------------------------------------------------------

namespace {

int sortObjects(ZuObject** objects, unsigned long count) {
  ZuSort sorter(kPointerSize);
  if (sorter.addKey(ZuSortObject, 0, kPointerSize)) return 1;
  sorter.setBuf(count, objects);
  return sorter.sortBuf();
}

}  // namespace

SorterStart::SorterStart() { zuhooks::setSorter(sortObjects); }
