// Files and code pages beside the calls of the system and of the standard library, on the same data.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "zulib/codepages/ucnvconv.h"
// The library keeps its table to itself; the reference searches a copy of it.
#include "zulib/codepages/ucnvtables.cpp"
#include "zulib/os/files/bosfile.h"
#include "zulib/os/files/zufilebyline.h"

namespace {

constexpr unsigned long kBlock = 4096;
constexpr unsigned long kBlocks = 4096;
constexpr unsigned long kLinesSize = 100UL << 20;

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }

// A file of its own in /tmp, removed with the program.
class File {
 public:
  File() {
    char made[] = "/tmp/zubenchXXXXXX";
    handle = mkstemp(made);
    name = made;
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    close(handle);
    unlink(name.c_str());
  }

  int handle;
  std::string name;
};

// Lines of 10 to 60 bytes.
const File& lines() {
  static const File file;
  static const bool filled = [] {
    std::mt19937 random(1);
    std::string text;
    while (text.size() < kLinesSize) text += std::string(9 + random() % 51, 'x') + '\n';
    text.resize(kLinesSize);
    return write(file.handle, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }();
  if (!filled) std::abort();
  return file;
}

const File& blocks() {
  static const File file;
  static const bool filled = ftruncate(file.handle, 0) == 0 && [] {
    const std::string block(kBlock, 'b');
    for (unsigned long i = 0; i < kBlocks; ++i) {
      if (write(file.handle, block.data(), kBlock) != static_cast<ssize_t>(kBlock)) return false;
    }
    return true;
  }();
  if (!filled) std::abort();
  return file;
}

void linesOurs(benchmark::State& state) {
  const File& file = lines();
  for (auto _ : state) {
    ZuFileByLine reader;
    ZuSubString line;
    unsigned long total = 0;
    if (reader.openFile(bytes(file.name), 65536)) state.SkipWithError("not opened");
    while (reader.getNextLine(&line) == 0 && !reader.isEndOfFile()) total += line.getLength();
    if (total != kLinesSize) state.SkipWithError("not all was read");
  }
}
BENCHMARK(linesOurs)->Name("lines_100MB/ours")->Unit(benchmark::kMillisecond);

void linesReference(benchmark::State& state) {
  const File& file = lines();
  for (auto _ : state) {
    std::FILE* stream = std::fopen(file.name.c_str(), "r");
    char* line = nullptr;
    size_t room = 0;
    unsigned long total = 0;
    for (ssize_t n = 0; (n = getline(&line, &room, stream)) > 0;) total += static_cast<unsigned long>(n);
    std::free(line);
    std::fclose(stream);
    if (total != kLinesSize) state.SkipWithError("not all was read");
  }
}
BENCHMARK(linesReference)->Name("lines_100MB/reference")->Unit(benchmark::kMillisecond);

std::vector<long> ids() {
  std::vector<long> all;
  std::mt19937 random(2);
  for (int i = 0; i < 1024; ++i) all.push_back(IANAtoICUTable[random() % IANAtoICURows].id);
  return all;
}

void namesOurs(benchmark::State& state) {
  const std::vector<long> all = ids();
  for (auto _ : state) {
    for (const long id : all) benchmark::DoNotOptimize(ucnvIANAidToICUname(id));
  }
}
BENCHMARK(namesOurs)->Name("code_page_names_1024/ours");

// A function that is called, as ours is.
[[gnu::noinline]] const char* nameByLowerBound(long id) {
  const UcnvNameRow* end = IANAtoICUTable + IANAtoICURows;
  const UcnvNameRow* row =
      std::lower_bound(IANAtoICUTable, end, id, [](const UcnvNameRow& r, long key) { return r.id < key; });
  return row != end && row->id == id ? row->name : nullptr;
}

void namesReference(benchmark::State& state) {
  const std::vector<long> all = ids();
  for (auto _ : state) {
    for (const long id : all) benchmark::DoNotOptimize(nameByLowerBound(id));
  }
}
BENCHMARK(namesReference)->Name("code_page_names_1024/reference");

// All blocks of a file in order: one after the other from the current position, or each at its offset, which
// takes a seek more.
void readOurs(benchmark::State& state) {
  const int handle = blocks().handle;
  const bool placed = state.range(0) != 0;
  std::vector<char> buffer(kBlock);
  for (auto _ : state) {
    bosFileSeek(handle, 0, SEEK_SET);
    for (unsigned long i = 0; i < kBlocks; ++i) {
      unsigned long got = 0;
      bosFileRead(handle, placed ? static_cast<long long>(i * kBlock) : -1, buffer.data(), kBlock, &got);
      if (got != kBlock) state.SkipWithError("not read");
    }
  }
}
BENCHMARK(readOurs)->Name("read_4096_of_4KB/ours")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void readReference(benchmark::State& state) {
  const int handle = blocks().handle;
  std::vector<char> buffer(kBlock);
  for (auto _ : state) {
    for (unsigned long i = 0; i < kBlocks; ++i) {
      if (pread(handle, buffer.data(), kBlock, static_cast<off_t>(i * kBlock)) !=
          static_cast<ssize_t>(kBlock)) {
        state.SkipWithError("not read");
      }
    }
  }
}
BENCHMARK(readReference)->Name("read_4096_of_4KB/reference")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void writeOurs(benchmark::State& state) {
  const int handle = blocks().handle;
  const bool placed = state.range(0) != 0;
  const std::vector<char> buffer(kBlock, 'w');
  for (auto _ : state) {
    bosFileSeek(handle, 0, SEEK_SET);
    for (unsigned long i = 0; i < kBlocks; ++i) {
      if (bosFileWrite(handle, placed ? static_cast<long long>(i * kBlock) : -1, buffer.data(), kBlock)) {
        state.SkipWithError("not written");
      }
    }
  }
}
BENCHMARK(writeOurs)->Name("write_4096_of_4KB/ours")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void writeReference(benchmark::State& state) {
  const int handle = blocks().handle;
  const std::vector<char> buffer(kBlock, 'w');
  for (auto _ : state) {
    for (unsigned long i = 0; i < kBlocks; ++i) {
      if (pwrite(handle, buffer.data(), kBlock, static_cast<off_t>(i * kBlock)) !=
          static_cast<ssize_t>(kBlock)) {
        state.SkipWithError("not written");
      }
    }
  }
}
BENCHMARK(writeReference)->Name("write_4096_of_4KB/reference")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace
