// Trees beside SQLite and LMDB, the page pool beside pread, streams beside a plain buffer. SQLite has a cache
// of as many bytes as a tree's, one transaction, and no journal. LMDB maps its file: it shows what is
// possible when the whole file may be in memory.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <lmdb.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zulib/storage/blktmp.h"
#include "zulib/storage/zutree.h"
#include "zulib/storage/zuvm.h"

namespace {

constexpr unsigned long kRecords = 1000000;
constexpr unsigned short kKeySize = 8;
constexpr unsigned short kDataSize = 16;

struct Record {
  unsigned char key[kKeySize];
  unsigned char data[kDataSize];
};

const std::vector<Record>& records() {
  static const std::vector<Record> all = [] {
    std::mt19937_64 random(1);
    std::vector<Record> made(kRecords);
    for (Record& record : made) {
      const uint64_t numbers[3] = {random(), random(), random()};
      std::memcpy(&record, numbers, sizeof record);
    }
    return made;
  }();
  return all;
}

// Another order than that of the insertions.
const std::vector<Record>& wanted() {
  static const std::vector<Record> all = [] {
    std::vector<Record> made = records();
    std::shuffle(made.begin(), made.end(), std::mt19937_64(2));
    return made;
  }();
  return all;
}

// A directory of its own, removed with the program's data.
class Directory {
 public:
  Directory() {
    char made[] = "/tmp/zubenchXXXXXX";
    name = mkdtemp(made);
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory() {
    for (const char* file : {"/db", "/data.mdb", "/lock.mdb"}) unlink((name + file).c_str());
    rmdir(name.c_str());
  }
  std::string name;
};

// The three stores, each with one way to do the work.

class OurTree {
 public:
  bool insert() {
    for (const Record& record : records()) {
      if (tree.add(record.key, record.data, nullptr)) return false;
    }
    return true;
  }
  bool find() {
    unsigned char data[kDataSize];
    for (const Record& record : wanted()) {
      unsigned found = 0;
      if (tree.getData(record.key, data, &found, nullptr) || !found || data[0] != record.data[0])
        return false;
    }
    return true;
  }
  bool walk() {
    Record record;
    unsigned found = 0;
    unsigned long n = 0;
    int failed = tree.getFirst(record.key, record.data, &found, nullptr);
    for (; !failed && found; failed = tree.getNext(record.key, record.data, &found, nullptr)) ++n;
    return n == kRecords;
  }

 private:
  ZuTree tree{kKeySize, kDataSize, nullptr, 1, 0, 1};
};

class Sqlite {
 public:
  Sqlite() {
    sqlite3_open((directory.name + "/db").c_str(), &db);
    run("pragma journal_mode=off; pragma synchronous=off; pragma cache_size=-32; pragma "
        "locking_mode=exclusive;"
        "create table t (k blob primary key, d blob) without rowid");
  }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;
  ~Sqlite() { sqlite3_close(db); }

  bool insert() {
    const Statement statement(db, "insert into t values (?, ?)");
    run("begin");
    for (const Record& record : records()) {
      statement.bindKey(record);
      sqlite3_bind_blob(statement.handle, 2, record.data, kDataSize, SQLITE_STATIC);
      if (sqlite3_step(statement.handle) != SQLITE_DONE) return false;
      sqlite3_reset(statement.handle);
    }
    run("commit");
    return true;
  }
  bool find() {
    const Statement statement(db, "select d from t where k = ?");
    run("begin");
    unsigned char data[kDataSize];
    for (const Record& record : wanted()) {
      statement.bindKey(record);
      if (sqlite3_step(statement.handle) != SQLITE_ROW) return false;
      std::memcpy(data, sqlite3_column_blob(statement.handle, 0), kDataSize);
      if (data[0] != record.data[0]) return false;
      sqlite3_reset(statement.handle);
    }
    run("commit");
    return true;
  }
  bool walk() {
    const Statement statement(db, "select k, d from t order by k");
    Record record;
    unsigned long n = 0;
    for (; sqlite3_step(statement.handle) == SQLITE_ROW; ++n) {
      std::memcpy(record.key, sqlite3_column_blob(statement.handle, 0), kKeySize);
      std::memcpy(record.data, sqlite3_column_blob(statement.handle, 1), kDataSize);
      benchmark::DoNotOptimize(record);
    }
    return n == kRecords;
  }

 private:
  struct Statement {
    Statement(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &handle, nullptr); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { sqlite3_finalize(handle); }
    void bindKey(const Record& record) const {
      sqlite3_bind_blob(handle, 1, record.key, kKeySize, SQLITE_STATIC);
    }
    sqlite3_stmt* handle = nullptr;
  };
  void run(const char* sql) { sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

  Directory directory;
  sqlite3* db = nullptr;
};

class Lmdb {
 public:
  Lmdb() {
    mdb_env_create(&environment);
    mdb_env_set_mapsize(environment, 1UL << 30);
    mdb_env_open(environment, directory.name.c_str(), MDB_NOSYNC | MDB_WRITEMAP, 0600);
  }
  Lmdb(const Lmdb&) = delete;
  Lmdb& operator=(const Lmdb&) = delete;
  ~Lmdb() { mdb_env_close(environment); }

  bool insert() {
    MDB_txn* transaction = begin(0);
    for (const Record& record : records()) {
      MDB_val key = keyOf(record);
      MDB_val data = {kDataSize, const_cast<unsigned char*>(record.data)};
      if (mdb_put(transaction, table, &key, &data, 0)) return false;
    }
    return mdb_txn_commit(transaction) == 0;
  }
  bool find() {
    MDB_txn* transaction = begin(MDB_RDONLY);
    unsigned char copy[kDataSize];
    for (const Record& record : wanted()) {
      MDB_val key = keyOf(record);
      MDB_val data;
      if (mdb_get(transaction, table, &key, &data)) return false;
      std::memcpy(copy, data.mv_data, kDataSize);
      if (copy[0] != record.data[0]) return false;
    }
    mdb_txn_abort(transaction);
    return true;
  }
  bool walk() {
    MDB_txn* transaction = begin(MDB_RDONLY);
    MDB_cursor* cursor = nullptr;
    mdb_cursor_open(transaction, table, &cursor);
    MDB_val key;
    MDB_val data;
    Record record;
    unsigned long n = 0;
    for (; mdb_cursor_get(cursor, &key, &data, MDB_NEXT) == 0; ++n) {
      std::memcpy(record.key, key.mv_data, kKeySize);
      std::memcpy(record.data, data.mv_data, kDataSize);
      benchmark::DoNotOptimize(record);
    }
    mdb_cursor_close(cursor);
    mdb_txn_abort(transaction);
    return n == kRecords;
  }

 private:
  MDB_txn* begin(unsigned flags) {
    MDB_txn* transaction = nullptr;
    mdb_txn_begin(environment, nullptr, flags, &transaction);
    mdb_dbi_open(transaction, nullptr, 0, &table);
    return transaction;
  }
  static MDB_val keyOf(const Record& record) { return {kKeySize, const_cast<unsigned char*>(record.key)}; }

  Directory directory;
  MDB_env* environment = nullptr;
  MDB_dbi table = 0;
};

template <class Store>
void insertInto(benchmark::State& state) {
  records();
  for (auto _ : state) {
    state.PauseTiming();
    auto store = std::make_unique<Store>();
    state.ResumeTiming();
    if (!store->insert()) state.SkipWithError("not inserted");
    state.PauseTiming();
    store.reset();
    state.ResumeTiming();
  }
}

template <class Store>
Store& filled() {
  static Store store;
  static const bool done = store.insert();
  if (!done) std::abort();
  return store;
}

template <class Store>
void findIn(benchmark::State& state) {
  Store& store = filled<Store>();
  wanted();
  for (auto _ : state) {
    if (!store.find()) state.SkipWithError("not found");
  }
}

template <class Store>
void walkThrough(benchmark::State& state) {
  Store& store = filled<Store>();
  for (auto _ : state) {
    if (!store.walk()) state.SkipWithError("not all were there");
  }
}

template <class Store>
void registerTree(const std::string& against, const std::string& side) {
  const auto add = [&](const char* work, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(("tree_" + against + "_" + work + "_1M/" + side).c_str(), function)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->Repetitions(2);
  };
  add("insert", insertInto<Store>);
  add("find", findIn<Store>);
  add("walk", walkThrough<Store>);
}

const bool kTreesRegistered = [] {
  registerTree<OurTree>("sqlite", "ours");
  registerTree<Sqlite>("sqlite", "reference");
  registerTree<OurTree>("lmdb", "ours");
  registerTree<Lmdb>("lmdb", "reference");
  return true;
}();

// --- page pool --------------------------------------------------------------------------------------------

constexpr unsigned long kReadSize = 100;
constexpr unsigned long kFileSize = 1UL << 20;

int pooledFile() {
  static const int file = [] {
    char name[] = "/tmp/zubenchXXXXXX";
    const int made = mkstemp(name);
    unlink(name);
    const std::string content(kFileSize, 'p');
    if (write(made, content.data(), content.size()) != static_cast<ssize_t>(content.size())) std::abort();
    return made;
  }();
  return file;
}

const std::vector<long long>& offsets() {
  static const std::vector<long long> all = [] {
    std::mt19937_64 random(3);
    std::vector<long long> made(4096);
    for (long long& offset : made) offset = static_cast<long long>(random() % (kFileSize - kReadSize));
    return made;
  }();
  return all;
}

void poolOurs(benchmark::State& state) {
  const int file = pooledFile();
  vm_info* pool = bvmInit(kFileSize / kBvmPoolSize);
  unsigned char out[kReadSize];
  for (auto _ : state) {
    for (const long long offset : offsets()) {
      unsigned long got = 0;
      bvmFileRead(pool, file, offset, out, kReadSize, &got, bvmHintNone);
      if (got != kReadSize) state.SkipWithError("not read");
      benchmark::DoNotOptimize(out);
    }
  }
  bvmTerm(pool);
}
BENCHMARK(poolOurs)->Name("pool_read_100B_4096/ours")->Unit(benchmark::kMicrosecond);

void poolReference(benchmark::State& state) {
  const int file = pooledFile();
  unsigned char out[kReadSize];
  for (auto _ : state) {
    for (const long long offset : offsets()) {
      if (pread(file, out, kReadSize, offset) != static_cast<ssize_t>(kReadSize))
        state.SkipWithError("not read");
      benchmark::DoNotOptimize(out);
    }
  }
}
BENCHMARK(poolReference)->Name("pool_read_100B_4096/reference")->Unit(benchmark::kMicrosecond);

// --- streams ----------------------------------------------------------------------------------------------

constexpr unsigned long kBlockSize = 32768;
constexpr unsigned long kNumbers = 2 * kBlockSize / 4;  // both blocks full, nothing spilled

void appendOurs(benchmark::State& state) {
  BlkTmpFile stream(kBlockSize);
  if (stream.initialize(0)) state.SkipWithError("no memory");
  for (auto _ : state) {
    stream.clear();
    for (uint32_t i = 0; i < kNumbers; ++i) {
      if (stream.appendInt32(i)) state.SkipWithError("not appended");
    }
    benchmark::ClobberMemory();
  }
}
BENCHMARK(appendOurs)->Name("appendInt32_16K/ours")->Unit(benchmark::kMicrosecond);

// A buffer as any writer of packets has one: it is sent when it is full, which the compiler cannot look into.
class PlainBuffer {
 public:
  bool append(uint32_t value) {
    if (used + sizeof value > bytes.size() && !send()) return false;
    std::memcpy(bytes.data() + used, &value, sizeof value);
    used += sizeof value;
    return true;
  }
  void clear() { used = 0; }

 private:
  [[gnu::noinline]] bool send() {
    benchmark::DoNotOptimize(bytes.data());
    asm volatile("" : : "r"(this) : "memory");
    used = 0;
    return true;
  }
  std::vector<unsigned char> bytes = std::vector<unsigned char>(kBlockSize);
  size_t used = 0;
};

void appendReference(benchmark::State& state) {
  PlainBuffer buffer;
  for (auto _ : state) {
    buffer.clear();
    for (uint32_t i = 0; i < kNumbers; ++i) {
      if (!buffer.append(i)) state.SkipWithError("not appended");
    }
    benchmark::ClobberMemory();
  }
}
BENCHMARK(appendReference)->Name("appendInt32_16K/reference")->Unit(benchmark::kMicrosecond);

}  // namespace
