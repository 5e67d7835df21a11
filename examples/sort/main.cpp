// zusort: sorts lines from the standard input to the standard output, with little memory.

#include <unistd.h>
#include <zulib/errors/zuerror.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "linesorter.h"

namespace {

// A line on the terminal that says how far the work is, if there is a terminal.
class Progress {
 public:
  ~Progress() {
    if (isShown) std::fputs("\r\033[K", stderr);
  }

  void show(const char* work, unsigned long lines, unsigned runs) {
    if (!isTerminal || lines % kStep != 0) return;
    isShown = true;
    std::fprintf(stderr, "\r%s: %lu lines, %u runs", work, lines, runs);
    std::fflush(stderr);
  }

 private:
  static constexpr unsigned long kStep = 10000;
  const bool isTerminal = isatty(STDERR_FILENO) != 0;
  bool isShown = false;
};

int failWithError(ZuErrorList& errors) {
  ZuError* error = errors.getLastError();
  std::fprintf(stderr, "zusort: %s\n",
               error ? reinterpret_cast<const char*>(error->getErrorText()) : "failed");
  return 1;
}

int failWith(const char* what) {
  std::fprintf(stderr, "zusort: ");
  std::perror(what);
  return 1;
}

int addLines(LineSorter& sorter, Progress& progress, ZuErrorList& errors) {
  char* line = nullptr;
  size_t room = 0;
  int result = 0;
  for (ssize_t n; result == 0 && (n = getline(&line, &room, stdin)) > 0;) {
    const size_t length = static_cast<size_t>(n) - (line[n - 1] == '\n' ? 1 : 0);
    if (sorter.add({line, length})) result = failWithError(errors);
    progress.show("reading", sorter.getLineCount(), sorter.getRunCount());
  }
  std::free(line);
  if (result == 0 && std::ferror(stdin)) return failWith("reading");
  return result;
}

int writeLines(LineSorter& sorter, Progress& progress, ZuErrorList& errors) {
  std::string line;
  bool isEnd = false;
  for (unsigned long written = 0;; ++written) {
    if (sorter.next(&line, &isEnd)) return failWithError(errors);
    if (isEnd) break;
    line += '\n';
    if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size()) return failWith("writing");
    progress.show("writing", written, sorter.getRunCount());
  }
  return std::fflush(stdout) == 0 ? 0 : failWith("writing");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Sorts lines by their bytes, from the standard input to the standard output.");
  std::vector<unsigned> key = {1, 10};
  unsigned long memory = 4UL << 20;
  app.add_option("--key", key, "first and last byte of the key, counted from 1")
      ->delimiter(',')
      ->expected(2)
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--memory", memory, "bytes for sorting, 128K to 4M")
      ->transform(CLI::AsSizeValue(false))
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  if (key[1] < key[0]) return app.exit(CLI::ValidationError("--key", "the last byte is before the first"));

  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  int result;
  {
    Progress progress;
    LineSorter sorter(key[0], key[1], memory);
    result = addLines(sorter, progress, errors);
    if (result == 0) result = writeLines(sorter, progress, errors);
  }
  ZuErrorKeeper::giveUpErrorList();
  return result;
}
