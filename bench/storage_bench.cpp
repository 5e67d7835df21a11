// Temporary storage and sorting beside the calls of the system, the sorts of the C and C++ libraries and the
// system's sort program, on the same data.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zulib/storage/sort.h"
#include "zulib/storage/tmp.h"

namespace {

// A file of its own in the directory of the library's temporary files, removed with the program.
class File {
 public:
  File() {
    const char* directory = std::getenv("TMPDIR");
    name = std::string(directory ? directory : "/tmp") + "/zubenchXXXXXX";
    handle = mkstemp(name.data());
    if (handle < 0) std::abort();
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

// --- ZuTmpFile --------------------------------------------------------------------------------------------

constexpr unsigned long kPiece = 64;
constexpr unsigned long kCached = 32768;

// Places of 64 bytes within what the cache holds, in random order.
std::vector<unsigned long> places() {
  std::mt19937 random(3);
  std::vector<unsigned long> all(1024);
  for (unsigned long& place : all) place = 1 + random() % (kCached - kPiece - 1);
  return all;
}

void tmpHitOurs(benchmark::State& state) {
  ZuTmpFile store(kCached, 0);
  const std::vector<char> content(kCached - 1, 'c');
  if (store.tmpWrite(1, content.data(), content.size())) state.SkipWithError("not written");
  const std::vector<unsigned long> all = places();
  char piece[kPiece];
  for (auto _ : state) {
    for (const unsigned long place : all) {
      if (store.tmpRead(place, piece, kPiece)) state.SkipWithError("not read");
      benchmark::DoNotOptimize(piece);
    }
  }
}
BENCHMARK(tmpHitOurs)->Name("tmp_file_hit_1024_of_64_bytes/ours");

void tmpHitReference(benchmark::State& state) {
  const File file;
  const std::vector<char> content(kCached, 'c');
  if (pwrite(file.handle, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
    state.SkipWithError("not written");
  }
  const std::vector<unsigned long> all = places();
  char piece[kPiece];
  for (auto _ : state) {
    for (const unsigned long place : all) {
      if (pread(file.handle, piece, kPiece, static_cast<off_t>(place)) != kPiece)
        state.SkipWithError("not read");
      benchmark::DoNotOptimize(piece);
    }
  }
}
BENCHMARK(tmpHitReference)->Name("tmp_file_hit_1024_of_64_bytes/reference");

constexpr unsigned long kPage = 2048;
constexpr unsigned long kPages = 32768;  // 64 MB

void tmpSpillOurs(benchmark::State& state) {
  const std::vector<char> page(kPage, 'p');
  for (auto _ : state) {
    ZuTmpFile store(kCached, 0);
    for (unsigned long i = 0; i < kPages; ++i) {
      if (store.tmpWrite(i * kPage, page.data(), kPage)) state.SkipWithError("not written");
    }
  }
}
BENCHMARK(tmpSpillOurs)->Name("tmp_file_spill_64MB/ours")->Unit(benchmark::kMillisecond);

void tmpSpillReference(benchmark::State& state) {
  const std::vector<char> page(kPage, 'p');
  for (auto _ : state) {
    const File file;
    for (unsigned long i = 0; i < kPages; ++i) {
      if (pwrite(file.handle, page.data(), kPage, static_cast<off_t>(i * kPage)) != kPage) {
        state.SkipWithError("not written");
      }
    }
  }
}
BENCHMARK(tmpSpillReference)->Name("tmp_file_spill_64MB/reference")->Unit(benchmark::kMillisecond);

// --- sorting in memory ------------------------------------------------------------------------------------

constexpr unsigned long kRecords = 200000;

// A text key is at most 11 bytes and a terminator, so that the C library can compare it where it is.
struct Record {
  unsigned char number[8];
  char text[12];
};
static_assert(sizeof(Record) == 20);

std::vector<Record> records() {
  std::mt19937_64 random(5);
  std::vector<Record> all(kRecords);
  for (Record& record : all) {
    const auto bits = random();
    std::memcpy(record.number, &bits, sizeof bits);
    std::memset(record.text, 0, sizeof record.text);
    for (unsigned long i = 0; i < 4 + random() % 8; ++i)
      record.text[i] = static_cast<char>('a' + random() % 26);
  }
  return all;
}

enum class Kind { Binary, Text };

template <Kind kKind>
int compareRecords(const void* a, const void* b) {
  const auto* left = static_cast<const Record*>(a);
  const auto* right = static_cast<const Record*>(b);
  if constexpr (kKind == Kind::Text) return strcoll(left->text, right->text);
  return std::memcmp(left->number, right->number, sizeof left->number);
}

template <Kind kKind>
void checkSorted(benchmark::State& state, const Record* sorted) {
  for (unsigned long i = 1; i < kRecords; ++i) {
    if (compareRecords<kKind>(&sorted[i - 1], &sorted[i]) > 0) return state.SkipWithError("not sorted");
  }
}

// Sorts a copy of the records, made outside of the time.
template <Kind kKind, class Sort>
void sortCopies(benchmark::State& state, Sort sort) {
  const std::vector<Record> all = records();
  std::vector<Record> copy;
  for (auto _ : state) {
    state.PauseTiming();
    copy = all;
    state.ResumeTiming();
    sort(copy);
  }
  checkSorted<kKind>(state, copy.data());
}

template <Kind kKind>
void addKeyOf(ZuSort& sorter) {
  const bool isText = kKind == Kind::Text;
  if (sorter.addKey(isText ? ZuSortText : 0, isText ? offsetof(Record, text) : offsetof(Record, number),
                    isText ? sizeof(Record::text) : sizeof(Record::number))) {
    std::abort();
  }
}

template <Kind kKind>
void sortOurs(benchmark::State& state) {
  sortCopies<kKind>(state, [&](std::vector<Record>& copy) {
    ZuSort sorter(sizeof(Record));
    addKeyOf<kKind>(sorter);
    sorter.setBuf(copy.size(), copy.data());
    if (sorter.sortBuf()) state.SkipWithError("not sorted");
  });
}

template <Kind kKind>
void sortQsort(benchmark::State& state) {
  sortCopies<kKind>(state, [](std::vector<Record>& copy) {
    const auto compare = [](const void* a, const void* b, void*) { return compareRecords<kKind>(a, b); };
    qsort_r(copy.data(), copy.size(), sizeof(Record), compare, nullptr);
  });
}

template <Kind kKind>
void sortStd(benchmark::State& state) {
  sortCopies<kKind>(state, [](std::vector<Record>& copy) {
    std::sort(copy.begin(), copy.end(),
              [](const Record& a, const Record& b) { return compareRecords<kKind>(&a, &b) < 0; });
  });
}

// Records that are added to the sorter lie in its own buffers, and are read one by one.
template <Kind kKind>
void sortAdded(benchmark::State& state) {
  const std::vector<Record> all = records();
  for (auto _ : state) {
    ZuSort sorter(sizeof(Record));
    addKeyOf<kKind>(sorter);
    bool failed = false;
    for (const Record& record : all) failed |= sorter.addRecord(&record) != 0;
    void* record;
    unsigned long read = 0;
    for (failed |= sorter.getFirstRecord(&record) != 0; record;
         failed |= sorter.getNextRecord(&record) != 0) {
      benchmark::DoNotOptimize(record);
      ++read;
    }
    if (failed || read != kRecords) state.SkipWithError("not sorted");
  }
}

template <Kind kKind>
void sortCopied(benchmark::State& state) {
  const std::vector<Record> all = records();
  for (auto _ : state) {
    std::vector<Record> copy;
    for (const Record& record : all) copy.push_back(record);
    std::sort(copy.begin(), copy.end(),
              [](const Record& a, const Record& b) { return compareRecords<kKind>(&a, &b) < 0; });
    for (const Record& record : copy) benchmark::DoNotOptimize(&record);
  }
}

#define SORT_ROW(name, function, kind) \
  BENCHMARK(function<Kind::kind>)->Name(name)->Unit(benchmark::kMillisecond)->MinTime(1)

SORT_ROW("sort_in_memory_binary_qsort_r/ours", sortOurs, Binary);
SORT_ROW("sort_in_memory_binary_qsort_r/reference", sortQsort, Binary);
SORT_ROW("sort_in_memory_binary_std_sort/ours", sortOurs, Binary);
SORT_ROW("sort_in_memory_binary_std_sort/reference", sortStd, Binary);
SORT_ROW("sort_in_memory_text_qsort_r/ours", sortOurs, Text);
SORT_ROW("sort_in_memory_text_qsort_r/reference", sortQsort, Text);
SORT_ROW("sort_in_memory_text_std_sort/ours", sortOurs, Text);
SORT_ROW("sort_in_memory_text_std_sort/reference", sortStd, Text);
SORT_ROW("sort_add_sort_read_binary_std_sort/ours", sortAdded, Binary);
SORT_ROW("sort_add_sort_read_binary_std_sort/reference", sortCopied, Binary);

// Pointers to objects that compare themselves: what a sorted array holds.
class Number : public ZuObject {
 public:
  int compare(const ZuObject* other) const override {
    const auto theirs = static_cast<const Number*>(other)->key;
    return key < theirs ? -1 : key > theirs;
  }

  unsigned long key = 0;
};

template <class Sort>
void sortObjects(benchmark::State& state, Sort sort) {
  std::mt19937_64 random(7);
  std::vector<Number> numbers(static_cast<unsigned long>(state.range(0)));
  for (Number& number : numbers) number.key = random();
  std::vector<ZuObject*> all;
  for (Number& number : numbers) all.push_back(&number);
  std::vector<ZuObject*> copy;
  for (auto _ : state) {
    state.PauseTiming();
    copy = all;
    state.ResumeTiming();
    sort(copy);
  }
}

void objectsOurs(benchmark::State& state) {
  sortObjects(state, [&](std::vector<ZuObject*>& objects) {
    ZuSort sorter(sizeof(ZuObject*));
    bool failed = sorter.addKey(ZuSortObject, 0, sizeof(ZuObject*)) != 0;
    sorter.setBuf(objects.size(), objects.data());
    failed |= sorter.sortBuf() != 0;
    if (failed) state.SkipWithError("not sorted");
  });
}
BENCHMARK(objectsOurs)
    ->Name("sort_objects_std_sort/ours")
    ->Arg(1000)
    ->Arg(50000)
    ->Arg(1000000)
    ->Unit(benchmark::kMicrosecond);

void objectsReference(benchmark::State& state) {
  sortObjects(state, [](std::vector<ZuObject*>& objects) {
    std::sort(objects.begin(), objects.end(),
              [](const ZuObject* a, const ZuObject* b) { return static_cast<short>(a->compare(b)) < 0; });
  });
}
BENCHMARK(objectsReference)
    ->Name("sort_objects_std_sort/reference")
    ->Arg(1000)
    ->Arg(50000)
    ->Arg(1000000)
    ->Unit(benchmark::kMicrosecond);

// --- sorting through a file -------------------------------------------------------------------------------

constexpr unsigned long kLine = 100;  // with its line feed
constexpr unsigned long kLines = 1000000;
constexpr unsigned long kLineKey = 10;
constexpr unsigned long kLinesAtOnce = 640;

const File& lines() {
  static const File file;
  static const bool isFilled = [] {
    std::mt19937_64 random(9);
    std::string text;
    for (unsigned long i = 0; i < kLines * kLine; ++i) {
      text += i % kLine == kLine - 1 ? '\n' : static_cast<char>('!' + random() % 94);
    }
    return write(file.handle, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }();
  if (!isFilled) std::abort();
  return file;
}

bool isSorted(const std::string& name) {
  std::FILE* file = std::fopen(name.c_str(), "r");
  std::array<char, kLine> line;
  std::array<char, kLine> previous{};
  unsigned long count = 0;
  bool inOrder = true;
  for (; std::fread(line.data(), kLine, 1, file) == 1; ++count) {
    inOrder = inOrder && std::memcmp(previous.data(), line.data(), kLineKey) <= 0;
    previous = line;
  }
  std::fclose(file);
  return inOrder && count == kLines;
}

int sortLines(std::FILE* in, std::FILE* out) {
  ZuSort sorter(kLine);  // 64 buffers of 64 KiB: 4 MiB
  if (sorter.addKey(0, 0, kLineKey)) return 1;
  const auto block = std::make_unique<char[]>(kLine * kLinesAtOnce);
  for (size_t n; (n = std::fread(block.get(), kLine, kLinesAtOnce, in)) > 0;) {
    for (size_t i = 0; i < n; ++i) {
      if (sorter.addRecord(&block[i * kLine])) return 1;
    }
  }
  void* record;
  if (sorter.getFirstRecord(&record)) return 1;
  while (record) {
    if (std::fwrite(record, kLine, 1, out) != 1 || sorter.getNextRecord(&record)) return 1;
  }
  return 0;
}

void linesOurs(benchmark::State& state) {
  const std::string name = lines().name;
  const File sorted;
  for (auto _ : state) {
    std::FILE* in = std::fopen(name.c_str(), "r");
    std::FILE* out = std::fopen(sorted.name.c_str(), "w");
    const int failed = sortLines(in, out);
    std::fclose(in);
    if (std::fclose(out) || failed) state.SkipWithError("not sorted");
  }
  if (!isSorted(sorted.name)) state.SkipWithError("not in order");
}
BENCHMARK(linesOurs)->Name("sort_100MB_of_lines/ours")->Unit(benchmark::kMillisecond)->Iterations(3);

void linesReference(benchmark::State& state) {
  const std::string name = lines().name;
  const File sorted;
  const std::string directory = name.substr(0, name.rfind('/'));
  const std::string command =
      "LC_ALL=C sort -S 4M --parallel=1 -T " + directory + " -o " + sorted.name + " " + name;
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) state.SkipWithError("not sorted");
  }
  if (!isSorted(sorted.name)) state.SkipWithError("not in order");
}
BENCHMARK(linesReference)
    ->Name("sort_100MB_of_lines/reference")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

}  // namespace
