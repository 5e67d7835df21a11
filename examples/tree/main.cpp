// zuwords: counts the words of standard input. Words are letters and digits of ASCII, in lower case, and all
// bytes above them; they are printed in the order of their bytes, or the most frequent ones first.
//
//   zuwords --top 10 < text

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include <zulib/errors/zuerror.h>

#include "wordcounter.h"

namespace {

// 0 if the byte belongs to no word.
char letterOf(int byte) {
  if (byte >= 'A' && byte <= 'Z') return static_cast<char>(byte - 'A' + 'a');
  const bool belongs = (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') || byte >= 0x80;
  return belongs ? static_cast<char>(byte) : '\0';
}

int countInput(WordCounter& words) {
  std::string word;
  for (int byte = 0; (byte = std::getchar()) != EOF;) {
    if (const char letter = letterOf(byte)) {
      word += letter;
    } else if (!word.empty()) {
      if (words.count(word)) return 1;
      word.clear();
    }
  }
  return word.empty() ? 0 : words.count(word);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Counts the words of standard input."};
  unsigned long top = 0;
  app.add_option("--top", top, "print only this many words, the most frequent ones first");
  CLI11_PARSE(app, argc, argv);

  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  int failed = 0;
  {
    WordCounter words;
    const auto print = [](const std::string& word, uint64_t count) {
      std::printf("%7llu %s\n", static_cast<unsigned long long>(count), word.c_str());
    };
    failed = countInput(words) || (top ? words.visitTop(top, print) : words.visitAll(print));
  }
  ZuError* error = errors.getLastError();
  if (failed) {
    std::fprintf(stderr, "zuwords: %s\n",
                 error ? reinterpret_cast<const char*>(error->getErrorText()) : "failed");
  }
  ZuErrorKeeper::giveUpErrorList();
  return failed;
}
