// Temporary storage as a small language: the first byte chooses a class and its sizes, and the bytes after it
// write, read and free what it keeps, beside plain strings, which must agree after every step.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/net/socketpipe.h"
#include "zulib/storage/blktmp.h"
#include "zulib/storage/memfile.h"
#include "zulib/storage/tmp.h"
#include "zulib/storage/zusharedfile.h"
#include "zulib/storage/zuvm.h"

namespace storagefuzz {

// Bytes that differ from their neighbours, in any stretch of them.
std::string someBytes(Input& in, unsigned long n) {
  const unsigned long first = in(256);
  std::string all(n, 0);
  for (unsigned long i = 0; i < n; ++i) all[i] = static_cast<char>(first + i * 31 / 7);
  return all;
}

// ---- a temporary file with space that is handed out ----

// Where the next space is, by the rules of the store.
class SpaceModel {
 public:
  unsigned long find(unsigned long length) {
    for (auto& [start, size] : extents) {
      if (size < length) continue;
      const unsigned long found = start;
      const unsigned long rest = size - length;
      extents.erase(found);
      if (rest >= 256) extents[found + length] = rest;
      return found;
    }
    nextFree += length;
    return nextFree - length;
  }

  void free(unsigned long start, unsigned long length) {
    if (start + length == nextFree) {
      nextFree = start;
    } else if (length >= 256) {
      extents[start] = length;
    } else {
      return;
    }
    for (auto at = extents.begin(); at != extents.end(); ++at) {
      for (auto next = std::next(at); next != extents.end() && at->first + at->second == next->first;
           next = extents.erase(next)) {
        at->second += next->second;
      }
    }
    if (!extents.empty() && extents.rbegin()->first + extents.rbegin()->second == nextFree) {
      nextFree = extents.rbegin()->first;
      extents.erase(nextFree);
    }
  }

  unsigned long contiguous(unsigned long length) {
    unsigned long start = (nextFree + 3) / 4 * 4;
    if (2048 - start % 2048 < length) start = (start + 2047) / 2048 * 2048;
    nextFree = start + length;
    return start;
  }

  std::map<unsigned long, unsigned long> extents;
  unsigned long nextFree = 1;
};

class Blocks {
 public:
  Blocks(unsigned short cacheSize, Input& in) : in(in), store(cacheSize, 0) {}

  void run() {
    while (!in.atEnd()) {
      const unsigned long what = in(12);
      if (what < 3 || blocks.empty()) {
        allocate();
      } else {
        use(blocks[in(blocks.size())], what);
      }
    }
    for (const Block& block : blocks) {
      std::string read(block.bytes.size(), 0);
      demand(store.readHuge(block.address, read.data(), read.size()) == 0 && read == block.bytes);
    }
  }

 private:
  struct Block {
    unsigned long address;
    std::string bytes;
  };

  void allocate() {
    const unsigned long length = 1 + in(in(4) == 0 ? 9000 : 700);
    unsigned long address = 0;
    if (in(5) == 0) {
      address = store.getContiguousSpace(length);
      demand(address == model.contiguous(length));
    } else {
      demand(store.tmpFindSpace(length, &address) == 0 && address == model.find(length));
    }
    blocks.push_back({address, someBytes(in, length)});
    demand(store.tmpWrite(address, blocks.back().bytes.data(), length) == 0);
  }

  void use(Block& block, unsigned long what) {
    const unsigned long at = in(block.bytes.size());
    const unsigned long n = 1 + in(block.bytes.size() - at);
    if (what < 5) {
      block.bytes.replace(at, n, someBytes(in, n));
      demand(store.writeHuge(block.address + at, &block.bytes[at], n) == 0);
    } else if (what < 8) {
      ZuString part;
      demand(store.read(block.address + at, &part, n) == 0 && part.getLength() == n);
      demand(std::memcmp(part.asPascalStr(), &block.bytes[at], n) == 0);
    } else if (what < 10) {
      void* bytes = nullptr;
      unsigned short room = 0;
      const bool forWriting = what == 8;
      demand(store.tmpPointer(block.address + at, &bytes, &room, forWriting) == 0);
      demand(room == 2048 - (block.address + at) % 2048);
      demand(*static_cast<char*>(bytes) == block.bytes[at]);
      if (forWriting) *static_cast<char*>(bytes) = block.bytes[at] = static_cast<char>(in(256));
    } else if (what == 10) {
      demand(store.tmpFreeSpace(block.address, block.bytes.size()) == 0);
      model.free(block.address, block.bytes.size());
      block = blocks.back();
      blocks.pop_back();
    } else {
      demand(store.tmpLoseFocus() == 0);
    }
  }

  Input& in;
  ZuTmpFile store;
  SpaceModel model;
  std::vector<Block> blocks;
};

// ---- two files that share one temporary file ----

void sharedFiles(Input& in) {
  ZuTmpFile store(8192, 0);
  ZuSharedFile files[2] = {ZuSharedFile(&store), ZuSharedFile(&store)};
  std::string model[2];
  while (!in.atEnd()) {
    const unsigned long which = in(2);
    std::string& bytes = model[which];
    const unsigned long end = (bytes.size() + 4095) / 4096 * 4096;
    const unsigned long offset = in(bytes.size() + 1);
    const unsigned long n = in(in(10) ? 300 : 20000);
    std::string piece(n, '?');
    if (in(256) == 0) {
      demand(files[which].truncate() == 0 && files[which].read(0, piece.data(), 1) == 1);
      bytes.clear();
    } else if (in(2)) {
      piece = someBytes(in, n);
      demand(files[which].write(offset, piece.data(), n) == 0);
      bytes.resize(std::max(bytes.size(), offset + n));
      bytes.replace(offset, n, piece);
      // Past the next block it would leave a gap.
      demand(files[which].write((bytes.size() + 4095) / 4096 * 4096 + 4096, "x", 1) == 1);
    } else if (offset + n <= bytes.size()) {
      demand(files[which].read(offset, piece.data(), n) == 0 && bytes.compare(offset, n, piece) == 0);
    } else if (offset + n > end) {
      demand(files[which].read(offset, piece.data(), n) == 1);
    }
  }
}

// ---- streams ----

// The number as it lies in the stream.
template <class Number>
std::string ordered(Number value, bool highFirst) {
  std::string all;
  for (unsigned i = 0; i < sizeof value; ++i) all += static_cast<char>(value >> 8 * i);
  if (highFirst) std::reverse(all.begin(), all.end());
  return all;
}

class Stream {
 public:
  Stream(unsigned long blockSize, unsigned short order, Input& in)
      : in(in), blockSize(blockSize), order(order), stream(blockSize) {
    demand(stream.initialize(order) == 0);
    demand(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    pipe.emplace(ends[0]);
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() {
    pipe->closePipe();
    close(ends[1]);
  }

  void run() {
    while (!in.atEnd()) {
      step();
      // What the file has of the stream before must never be seen in the next.
      if (text.size() <= 40 * blockSize + 1000 && text.size() <= 2000000) continue;
      stream.clear();
      text.clear();
      position = 0;
    }
  }

 private:
  static constexpr unsigned long kMostOnWire = 60000;

  void step() {
    switch (in(14)) {
      case 0:
      case 1: return appendBytes();
      case 2:
      case 3: return appendNumbers();
      case 4: return overwrite();
      case 5: return point();
      case 6: return copyPart();
      case 7: return receive();
      case 8: return send();
      case 9: return readNumbers();
      default: return readPart();
    }
  }

  unsigned long someLength() { return in(5) ? in(blockSize / 3 + 4) : in(3 * blockSize + 4); }
  void appended(const std::string& more) {
    text += more;
    position += more.size();
  }

  void appendBytes() {
    const std::string more = someBytes(in, someLength());
    demand(stream.append(more.data(), more.size()) == 0);
    appended(more);
  }

  void appendNumbers() {
    for (unsigned long n = in(8); n-- > 0;) {
      const uint64_t value = in(~0UL);
      demand(stream.appendInt8(static_cast<uint8_t>(value)) == 0);
      demand(stream.appendInt16(static_cast<uint16_t>(value)) == 0);
      demand(stream.appendInt32(static_cast<uint32_t>(value)) == 0);
      demand(stream.appendInt64(value) == 0);
      appended(std::string(1, static_cast<char>(value)) + ordered(static_cast<uint16_t>(value), order) +
               ordered(static_cast<uint32_t>(value), order) + ordered(value, order));
    }
  }

  void overwrite() {
    const unsigned long address = in(text.size() + 1);
    const std::string more = someBytes(in, someLength());
    demand(stream.write(address, more.data(), more.size()) == 0);
    text.replace(address, std::min(more.size(), text.size() - address), more);
    demand(stream.write(text.size() + 1, "x", 1) == 1);  // past the end
    position = stream.getPosition();
  }

  void point() {
    const unsigned long address = in(text.size() + 1);
    void* pointer = nullptr;
    unsigned long room = 0;
    const bool writable = in(2) != 0;
    demand(stream.tmpPointer(address, &pointer, &room, writable) == 0 && room <= text.size() - address);
    demand(room > 0 || address == text.size());
    demand(text.compare(address, room, static_cast<char*>(pointer), room) == 0);
    if (!writable || room == 0) return;
    const std::string changed = someBytes(in, 1 + in(room));
    std::memcpy(pointer, changed.data(), changed.size());
    text.replace(address, changed.size(), changed);
  }

  void copyPart() {
    const unsigned long address = in(text.size() + 1);
    const unsigned long n = in(std::min(text.size() - address, 3 * blockSize) + 1);
    demand(stream.copy(address, &stream, n) == 0);
    appended(text.substr(address, n));
    demand(stream.copy(text.size(), &stream, 1) == 1);
  }

  void receive() {
    const std::string more = someBytes(in, std::min(someLength(), kMostOnWire));
    demand(::send(ends[1], more.data(), more.size(), 0) == static_cast<ssize_t>(more.size()));
    int timedOut = 7;
    demand(stream.appendFromWire(&*pipe, more.size(), 0, 0, &timedOut) == 0 && timedOut == 0);
    text += more;
  }

  void send() {
    const unsigned long address = in(text.size() + 1);
    const unsigned long n = std::min({text.size() - address, in(4 * blockSize + 1), kMostOnWire});
    demand(stream.writeToWire(address, &*pipe, n, 0) == 0);
    std::string got(n, '?');
    demand(n == 0 || recv(ends[1], got.data(), n, MSG_WAITALL) == static_cast<ssize_t>(n));
    demand(text.compare(address, n, got) == 0);
    demand(stream.writeToWire(text.size(), &*pipe, 1, 0) == 1);
  }

  void readPart() {
    const unsigned long address = in(text.size() + 1);
    const unsigned long n = in(3) ? in(20) : someLength();
    std::string out(n, '?');
    const bool is = n <= text.size() - address;
    demand(stream.read(address, out.data(), n) == (is ? 0 : 1));
    demand((!is || text.compare(address, n, out) == 0) && stream.getPosition() == position);
  }

  void readNumbers() {
    const unsigned long address = in(text.size() + 1);
    stream.setPosition(address);
    const bool highFirst = in(2) != 0;
    uint32_t value = 0;
    const int result = highFirst == (order != 0) ? stream.readInt32(&value) : stream.readBEInt32(&value);
    demand(result == (text.size() - address >= 4 ? 0 : 1));
    demand(result || ordered(value, highFirst) == text.substr(address, 4));
    position = address + 4;
    demand(stream.getPosition() == position);  // whatever the result
  }

  Input& in;
  const unsigned long blockSize;
  const bool order;
  BlkTmpFile stream;
  int ends[2] = {-1, -1};
  std::optional<SocketTCPIP> pipe;
  std::string text;
  unsigned long position = 0;
};

void memoryFile(unsigned long blockSize, Input& in) {
  MemFile file(blockSize);
  demand(file.initialize() == 0);
  std::string text;
  while (!in.atEnd()) {
    if (in(3) == 0) {
      const std::string more = someBytes(in, in(in(5) ? 20 : 3 * blockSize));
      demand(file.append(more.data(), more.size()) == 0);
      text += more;
    } else if (in(256) == 0) {
      file.clear();
      text.clear();
    }
    const unsigned long address = in(text.size() + 5);
    const unsigned long n = in(3 * blockSize);
    std::string out(n, '?');
    std::string expected = out;
    if (address < text.size()) expected.replace(0, std::min(n, text.size() - address), text, address, n);
    demand(file.read(address, out.data(), n) == 0 && out == expected);
    void* pointer = &out;
    unsigned long room = 7;
    demand(file.tmpPointer(address, &pointer, &room, 0) == 0);
    const bool is = address < text.size();
    demand(room == (is ? std::min(blockSize - address % blockSize, text.size() - address) : 0u));
    demand(is ? text.compare(address, room, static_cast<char*>(pointer), room) == 0 : !pointer);
  }
}

// ---- the page pool, beside the files that it caches ----

// Every entry is on exactly one chain, its own, or on the free list.
void demandLinked(const vm_info* pool) {
  std::vector<int> seen(pool->entryCount);
  for (unsigned chain = 0; chain < kBvmHashSize; ++chain) {
    for (uint16_t i = pool->hash[chain]; i != kBvmNone; i = pool->entries[i].next) {
      ++seen.at(i);
      demand(bvmhash(static_cast<int>(pool->entries[i].file), pool->entries[i].page) == chain);
    }
  }
  for (uint16_t i = pool->freeHead; i != kBvmNone; i = pool->entries[i].next) {
    ++seen.at(i);
    demand(pool->entries[i].file == 0);
  }
  demand(seen == std::vector<int>(pool->entryCount, 1));
}

void pagePool(unsigned short pools, Input& in) {
  constexpr long long kPage = kBvmPageSize;
  vm_info* pool = bvmInit(pools);
  demand(pool != nullptr);
  int files[3];
  for (int& file : files) {
    file = memfd_create("pages", 0);
    const std::string content(in(65536), 'a');
    demand(pwrite(file, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()));
  }
  std::string found(30000, '?');
  std::string truth = found;
  while (!in.atEnd()) {
    const int file = files[in(3)];
    const auto offset = static_cast<long long>(in(4) ? in(3 * kPage) : in(30 * kPage));
    const unsigned long length = in(20) ? in(200) : in(30000);
    const unsigned long what = in(256);
    if (what < 25) {
      const std::string bytes = someBytes(in, length);
      demand(bvmFileWrite(pool, file, offset, bytes.data(), length) == 0);
    } else if (what == 25) {
      demand(bvmFlush(pool, file) == 0);
      for (unsigned i = 0; i < pool->entryCount; ++i) demand(pool->entries[i].file != file);
    } else {
      unsigned long got = 0;
      demand(bvmFileRead(pool, file, offset, found.data(), length, &got,
                         what % 3 ? bvmHintNone : bvmHintNoEviction) == 0);
      demand(pread(file, truth.data(), length, offset) == static_cast<ssize_t>(got));
      demand(found.compare(0, got, truth, 0, got) == 0);
    }
  }
  demandLinked(pool);
  demand(pool->entryCount == pools * 8);
  bvmTerm(pool);
  for (const int file : files) close(file);
}

constexpr unsigned kKinds = 22;

}  // namespace storagefuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace storagefuzz;
  // A cache of less than one set counts as one set.
  constexpr unsigned short kCaches[] = {0, 4096, 8192, 32768};
  constexpr unsigned long kStreamBlocks[] = {1, 8, 100, 5000, 65535};
  constexpr unsigned long kMemoryBlocks[] = {1, 7, 64, 5000};
  constexpr unsigned short kPools[] = {0, 1, 3};
  Input in(data, size);
  const unsigned long kind = in(kKinds);
  if (kind < 4) {
    Blocks(kCaches[kind], in).run();
  } else if (kind < 14) {
    Stream(kStreamBlocks[kind / 2 - 2], static_cast<unsigned short>(kind % 2), in).run();
  } else if (kind < 18) {
    memoryFile(kMemoryBlocks[kind - 14], in);
  } else if (kind < 21) {
    pagePool(kPools[kind - 18], in);
  } else {
    sharedFiles(in);
  }
  return 0;
}
