// A value out of a profile file that has not changed, beside the least that such a request can cost: one look
// at the file's date and size, and one search of the same text without regard to case.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "zulib/os/profiles/zuini.h"

namespace {

constexpr int kEntries = 1000;
constexpr char kValue[] = "the value that is looked for";

const unsigned char* bytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

// One data source with a thousand settings, whose date is an hour ago.
struct ProfileFile {
  ProfileFile() {
    text = "; settings\n[mydata]\n";
    for (int i = 0; i < kEntries; ++i) {
      char line[64];
      std::snprintf(line, sizeof line, "Setting%04d = value of %d\n", i, i);
      text += line;
    }
    const auto at = text.find("Setting0999");
    text.replace(at, std::string::npos, std::string("Setting0999 = ") + kValue + "\n");
    char name[] = "/tmp/profileXXXXXX";
    const int handle = mkstemp(name);
    path = name;
    written = write(handle, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const timespec then = {time(nullptr) - 3600, 0};
    const timespec times[2] = {then, then};
    futimens(handle, times);
    close(handle);
  }
  ~ProfileFile() { unlink(path.c_str()); }

  std::string text;
  std::string path;
  bool written;
};

const ProfileFile& profile() {
  static const ProfileFile file;
  return file;
}

void ours(benchmark::State& state) {
  ZuIniFileCache cache(bytes(profile().path.c_str()));
  unsigned char out[101];
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        cache.bosGetProfileString(bytes("MyData"), bytes("SETTING0999"), bytes(""), out, 100));
  }
  if (!profile().written || std::strcmp(reinterpret_cast<char*>(out), kValue) != 0) {
    state.SkipWithError("not the value");
  }
}

void reference(benchmark::State& state) {
  const char* text = profile().text.c_str();
  const char* hit = nullptr;
  struct stat facts = {};
  for (auto _ : state) {
    benchmark::DoNotOptimize(stat(profile().path.c_str(), &facts));
    benchmark::DoNotOptimize(hit = strcasestr(text, "\nSETTING0999"));
  }
  if (!hit || static_cast<size_t>(facts.st_size) != profile().text.size()) state.SkipWithError("not found");
}

BENCHMARK(ours)->Name("profileValueOf1000/ours")->Repetitions(5);
BENCHMARK(reference)->Name("profileValueOf1000/reference")->Repetitions(5);

}  // namespace
