// Any ODBC function in any order over a driver that returns anything: nothing but what the standard allows
// may happen to memory, and afterwards everything can be freed. `./dev fuzz odbccalls` looks for more of it.

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <vector>

#include "fuzz/odbccalls/calls.h"
#include "fuzz/odbccalls/sqltext.h"
#include "gtest/gtest.h"

namespace {

constexpr unsigned kFixedSeeds = 400;

void run(unsigned seed, unsigned threads) {
  std::cerr << seed << "\r";  // the last one before a crash
  std::mt19937 random(seed);
  std::vector<uint8_t> input(200 + random() % 6000);
  for (uint8_t& byte : input) byte = static_cast<uint8_t>(random());
  // Long runs of what works: a driver that mostly fails never lets a cursor come far.
  const unsigned calm = random() % 4;
  for (uint8_t& byte : input)
    if (calm != 0 && random() % 4 < calm && byte >= 196) byte = static_cast<uint8_t>(byte % 196);
  odbccalls::runCalls(input.data(), input.size(), threads);
}

// The fixed seeds; with ODBCCALLS_RANDOM then others until the time is over. ODBCCALLS_SEED runs one seed
// alone.
void runSeeds(unsigned threads, std::chrono::seconds time) {
  if (const char* only = std::getenv("ODBCCALLS_SEED")) {
    run(static_cast<unsigned>(std::atoi(only)), threads);
    return;
  }
  const auto end = std::chrono::steady_clock::now() + time;
  const auto isOver = [&] { return std::chrono::steady_clock::now() > end; };
  unsigned done = 0;
  for (unsigned seed = 0; seed < kFixedSeeds && !isOver(); ++seed, ++done) run(seed, threads);
  const unsigned first = std::random_device{}();
  for (unsigned seed = first; std::getenv("ODBCCALLS_RANDOM") && !isOver(); ++seed, ++done) {
    run(seed, threads);
  }
  EXPECT_GT(done, 0u);
  std::cerr << done << " runs, random ones from seed " << first << "\n";
}

TEST(OdbcCalls, OneCaller) { runSeeds(1, std::chrono::seconds(18)); }

TEST(OdbcCalls, TwoThreads) { runSeeds(2, std::chrono::seconds(5)); }

// Texts of words that mean something to the analyser, put together at random.
TEST(OdbcCalls, SqlTexts) {
  constexpr const char* kWords[] = {
      "select", "update", "delete", "from",  "where", "current", "of",   "C1", "set",
      "ddd",    "t",      "=",      "?",     "'",     "\"",      "(",    ")",  ",",
      "for",    "union",  "group",  "order", "by",    "{call",   "--",   "/*", "*/",
      "values", "insert", "join",   ".",     "''",    "\xff",    "\xc3", ";",  "C2"};
  std::mt19937 random(7);
  for (int i = 0; i < 3000; ++i) {
    std::string text = i % 3 ? "" : "update t set ddd = ? where current of C1";
    for (unsigned words = random() % 9; words != 0; --words) {
      const std::string word = std::string(kWords[random() % std::size(kWords)]) + (random() % 8 ? " " : "");
      text.insert(i % 2 ? text.size() : random() % (text.size() + 1), word);
    }
    SCOPED_TRACE(text);
    odbccalls::runSqlText(text);
  }
}

}  // namespace
