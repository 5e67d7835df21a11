// zuconv: text from one code page to another, from the standard input to the standard output, in pieces and
// with little memory, as a driver moves a long column between the wire and an application.

#include <unistd.h>
#include <zulib/convert/converters/zucharconverter.h>
#include <zulib/convert/sources/zumemory.h>
#include <zulib/errors/zuerror.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "codepage.h"
#include "streamsource.h"

namespace {

struct Options {
  std::string from;
  std::string to;
  ReportCodePageErrors report = ZuReportAsWarning;
  unsigned long piece = 64UL << 10;
};

// A line on the terminal that says how far the work is, if there is a terminal and the text is long.
class Progress {
 public:
  ~Progress() {
    if (shown) std::fputs("\r\033[K", stderr);
  }

  void show(unsigned long bytes) {
    if (!isTerminal || bytes >> kStepBits == shown) return;
    shown = bytes >> kStepBits;
    std::fprintf(stderr, "\rconverting: %lu MB", bytes >> 20);
    std::fflush(stderr);
  }

 private:
  static constexpr unsigned kStepBits = 22;  // every 4 MB
  const bool isTerminal = isatty(STDERR_FILENO) != 0;
  unsigned long shown = 0;
};

void print(ZuError& error) {
  std::fprintf(stderr, "zuconv: %s: %s\n", error.getInterfaceCode(),
               reinterpret_cast<const char*>(error.getErrorText()));
}

int failWith(const char* what) {
  std::fprintf(stderr, "zuconv: ");
  std::perror(what);
  return 1;
}

int failWith(ZuErrorList& errors, const StreamSource& source) {
  if (std::ferror(stdin)) return failWith("reading");
  if (ZuError* const error = errors.getLastError()) print(*error);
  std::fprintf(stderr, "zuconv: stopped within the first %lu bytes\n", source.getBytesRead());
  return 1;
}

int convertAll(const Options& options, ZuErrorList& errors) {
  StreamSource source(stdin, options.piece);
  ZuMemorySink sink;
  sink.setNotOwned(1);
  ZuCharConverter converter(&source, &sink, findCodePage(options.from), findCodePage(options.to), 0,
                            options.report);
  converter.setSourceNotOwned(1);
  if (converter.init()) return failWith(errors, source);

  Progress progress;
  bool isWarned = false;
  std::vector<unsigned char> buffer(options.piece);
  do {
    sink.setBuffer(buffer.data(), buffer.size());
    if (converter.resetSink() || converter.convert()) return failWith(errors, source);
    if (std::fwrite(buffer.data(), 1, sink.getWritten(), stdout) != sink.getWritten())
      return failWith("writing");
    if (ZuError* const warning = errors.getLastError(); warning && !isWarned) {
      print(*warning);
      isWarned = true;
    }
    errors.clearErrors();
    progress.show(source.getBytesRead());
  } while (sink.isTruncated());
  return std::fflush(stdout) == 0 ? 0 : failWith("writing");
}

std::string checkCodePage(const std::string& page) {
  return findCodePage(page) < 0 ? "there is no code page " + page : "";
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");  // the language of error texts

  CLI::App app("Converts text between code pages, from the standard input to the standard output.");
  Options options;
  const CLI::Validator isCodePage(checkCodePage, "PAGE");
  app.add_option("--from", options.from, "code page of the input, by its IANA number or a name")
      ->required()
      ->check(isCodePage)
      ->option_text("PAGE");
  app.add_option("--to", options.to, "code page of the output")
      ->required()
      ->check(isCodePage)
      ->option_text("PAGE");
  const std::map<std::string, ReportCodePageErrors> reports = {
      {"none", ZuReportNone}, {"error", ZuReportAsError}, {"warning", ZuReportAsWarning}};
  app.add_option(
         "--report", options.report,
         "what to do with a character that the output's code page does not have: replace it, stop, or "
         "replace it with a warning (the default)")
      ->transform(CLI::CheckedTransformer(reports))
      ->option_text("none|error|warning");
  app.add_option("--piece", options.piece, "how much is read and written at a time, 16 bytes or more")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::Range(16UL, 1UL << 30))
      ->option_text("BYTES, as 1000 or 64K, which is the default");
  CLI11_PARSE(app, argc, argv);

  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  const int result = convertAll(options, errors);
  ZuErrorKeeper::giveUpErrorList();
  return result;
}
