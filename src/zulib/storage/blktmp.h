// BlkTmpFile: a stream of bytes that is appended to fast, and read anywhere. Packets are built and parsed in
// it, and it is filled from and emptied to a pipe without another copy.
//
// The last two blocks are in memory, what comes before them in a temporary file:
//
//   0              flushed                                          length
//   |--- file -----|--- other block (full) ---|--- current block ---|
//
// A block is spilled when a third one is needed, so a short stream never has a file. The file has no name
// from the moment it is open, and is gone with the process.
//
// Two blocks' worth of memory in front of the file part are made when they are needed: `view`, for
// tmpPointer, and `readCache`, for small reads. What is written to the file is written to both.
//
// The appendInt forms only move `next`; every other operation first adds what they appended to the numbers of
// the stream (`settle`).
//
// Addresses are 32 bits wide; a stream that would become longer fails (error 30041).
//
// Usage:
//   BlkTmpFile stream(8192);
//   if (stream.initialize(1)) return 1;
//   if (stream.appendInt16(42) || stream.writeToWire(0, &pipe, 2, 0)) return 1;
//
// Operations return 0, or 1 after one record on the thread's error list. After a failed append the stream has
// what was appended so far.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_STORAGE_BLKTMP_H
#define ZULIB_STORAGE_BLKTMP_H

#include <cstdint>
#include <cstring>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"

class ZuTCPIP;

class ZU_API BlkTmpFile : public ZuObject {
 public:
  // Allocates nothing yet.
  explicit BlkTmpFile(unsigned long blockSize);
  BlkTmpFile(const BlkTmpFile&) = delete;
  BlkTmpFile& operator=(const BlkTmpFile&) = delete;
  ~BlkTmpFile() override;

  // Allocates the two blocks and empties the stream. Numbers are stored low byte first if `newOrder` is 0,
  // else high byte first.
  int initialize(unsigned short newOrder);

  // Empties the stream; the memory and the file stay.
  void clear();

  unsigned long getLength() const { return length + pending(); }
  // Where readCurLoc reads next. Appending moves it too, by what is appended.
  unsigned long getPosition() const { return position + pending(); }
  void setPosition(unsigned long address) {
    settle();
    position = static_cast<uint32_t>(address);
  }

  int append(const void* data, unsigned long count);
  int appendInt8(uint8_t value) { return appendNumber(value); }
  int appendInt16(uint16_t value) { return appendNumber(value); }
  int appendInt32(uint32_t value) { return appendNumber(value); }
  int appendInt64(uint64_t value) { return appendNumber(value); }

  // Overwrites, and appends what reaches past the end. Fails if it begins past the end.
  int write(unsigned long address, const void* data, unsigned long count);

  // Fails, with nothing read, unless the whole range is there.
  int read(unsigned long address, void* out, unsigned long count);

  // Reads at the position, which moves by `count` even if that fails.
  int readCurLoc(void* out, unsigned long count);

  // Numbers at the position, in the order in which they are appended; the BE forms in the other.
  int readInt16(uint16_t* value) { return readNumber(value, swapBytes != 0); }
  int readInt32(uint32_t* value) { return readNumber(value, swapBytes != 0); }
  int readInt64(uint64_t* value) { return readNumber(value, swapBytes != 0); }
  int readBEInt16(uint16_t* value) { return readNumber(value, nativeOrder == 0); }
  int readBEInt32(uint32_t* value) { return readNumber(value, nativeOrder == 0); }
  int readBEInt64(uint64_t* value) { return readNumber(value, nativeOrder == 0); }

  // A pointer to the byte at `address`, and how many follow it there; at the end of the stream 0. It is valid
  // until the next operation. With `writable` the bytes may be changed; those of the file part reach the file
  // with the next call, reads see them at once.
  int tmpPointer(unsigned long address, void** pointer, unsigned long* room, unsigned short writable);

  // Appends `count` bytes of `source`, which may be this stream.
  int copy(unsigned long address, BlkTmpFile* source, unsigned long count);

  // Appends `count` bytes from the pipe. With `timeout` reads take the pipe's alternate wait: if it ends
  // without data the call stops, with 0 and `*timedOut` 1, or with 1 if `timedOut` is null. Any other
  // time-out waits again.
  int appendFromWire(ZuTCPIP* wire, unsigned long count, int unused, int timeout, int* timedOut);

  // Sends `count` bytes.
  int writeToWire(unsigned long address, ZuTCPIP* wire, unsigned long count, int unused);

 private:
  struct Block {
    unsigned char* data;  // owned
    uint32_t used;
    uint32_t start;  // address of the first byte
  };

  // Settles the stream for an operation that appends, and lets the appendInt forms go on after it.
  class Settled {
   public:
    explicit Settled(BlkTmpFile* stream) : stream(stream) { stream->settle(); }
    Settled(const Settled&) = delete;
    Settled& operator=(const Settled&) = delete;
    ~Settled() { stream->setNext(); }

   private:
    BlkTmpFile* stream;
  };

  template <class Number>
  int appendNumber(Number value) {
    if (swapBytes) value = reversed(value);
    if (static_cast<unsigned long>(end - next) < sizeof value) return appendSlowly(value, sizeof value);
    std::memcpy(next, &value, sizeof value);
    next += sizeof value;
    return 0;
  }
  template <class Number>
  int readNumber(Number* value, bool highFirst) {
    if (readCurLoc(value, sizeof *value)) return 1;
    if (highFirst) *value = reversed(*value);
    return 0;
  }
  static uint8_t reversed(uint8_t value) { return value; }
  static uint16_t reversed(uint16_t value) { return __builtin_bswap16(value); }
  static uint32_t reversed(uint32_t value) { return __builtin_bswap32(value); }
  static uint64_t reversed(uint64_t value) { return __builtin_bswap64(value); }

  Block& other() { return buffers[1 - current]; }
  unsigned long pending() const {
    return static_cast<unsigned long>(next - buffers[current].data) - buffers[current].used;
  }
  void settle() {
    const auto n = static_cast<uint32_t>(pending());
    buffers[current].used += n;
    length += n;
    position += n;
  }
  void setNext();
  int appendSlowly(uint64_t value, unsigned long size);
  bool hasRoomFor(unsigned long count) const;
  bool contains(unsigned long address, unsigned long count) const;
  bool isViewChanged() const { return viewLength != 0 && viewWritable != 0; }
  uint32_t limit() const;
  int openFile();
  int spillOther();
  void flip();
  int writeFile(unsigned long address, const void* data, unsigned long count);
  int storeInFile(unsigned long address, const unsigned char* data, unsigned long count);
  int readFile(unsigned long address, void* out, unsigned long count);
  int readFilePart(unsigned long address, unsigned char* out, unsigned long count);
  int fillReadCache(unsigned long address);
  int nextPiece(unsigned long address, unsigned long count, const unsigned char** piece, unsigned long* n);

  Block buffers[2] = {};
  uint32_t current = 0;  // the block that is appended to
  uint32_t blockSize;
  uint32_t length = 0;
  uint32_t position = 0;
  int handle = 0;                     // of the file
  unsigned char* fileName = nullptr;  // owned; null until the first spill; the name the file had
  uint32_t flushed = 0;               // bytes of the stream that are in the file
  unsigned char* view = nullptr;      // owned
  uint32_t viewLength = 0;
  uint32_t viewStart = 0;
  uint32_t viewWritable = 0;           // it was handed out for writing
  unsigned char* readCache = nullptr;  // owned
  uint32_t readCacheLength = 0;
  uint32_t readCacheStart = 0;
  uint16_t nativeOrder = 1;
  uint16_t swapBytes = 0;
  ZuTCPIP* pipe = nullptr;  // the last that was read from; not owned
  // Where the current block goes on, and its end. Both null until the stream is initialized.
  unsigned char* next = nullptr;
  unsigned char* end = nullptr;
};

#endif
