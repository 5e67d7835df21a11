// The locales that the build compiles for the tests (tests/support/locales.cmake), one at a time.

#ifndef ZULIB_TESTS_SUPPORT_LOCALES_H
#define ZULIB_TESTS_SUPPORT_LOCALES_H

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

// Sets the process's locale for its scope: "ja_JP.EUC-JP", "ja_JP.SJIS", "zh_CN.GBK", "en_US.UTF-8",
// "de_DE.UTF-8", "tr_TR.ISO-8859-9" or "C". A locale that is not there fails the test by an exception.
class TestLocale {
 public:
  explicit TestLocale(const char* name) : before(std::setlocale(LC_ALL, nullptr)) {
    const auto binary = std::filesystem::read_symlink("/proc/self/exe");
    const auto directory = binary.parent_path().parent_path() / "locale";
    setenv("LOCPATH", directory.c_str(), 1);
    if (std::setlocale(LC_ALL, name) == nullptr) throw std::runtime_error(std::string("no locale ") + name);
  }
  TestLocale(const TestLocale&) = delete;
  TestLocale& operator=(const TestLocale&) = delete;
  ~TestLocale() { std::setlocale(LC_ALL, before.c_str()); }

 private:
  std::string before;
};

#endif
