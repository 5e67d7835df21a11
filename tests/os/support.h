// What the tests of the operating-system layer share: a scratch directory, a list that shows its
// errors with their parameters, work in another process, and the trace texts.

#ifndef ZULIB_TESTS_OS_SUPPORT_H
#define ZULIB_TESTS_OS_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zudebug.h"

namespace ostest {

namespace fs = std::filesystem;

inline const unsigned char* bytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }
inline const unsigned char* bytes(const std::string& s) { return bytes(s.c_str()); }
inline const unsigned short* units(const char16_t* s) { return reinterpret_cast<const unsigned short*>(s); }
inline const unsigned short* units(const std::u16string& s) { return units(s.c_str()); }
inline std::string text(const unsigned char* s) { return reinterpret_cast<const char*>(s); }
inline std::u16string text(const unsigned short* s) { return reinterpret_cast<const char16_t*>(s); }

inline void writeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}
inline std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The errors of this thread, each as "number: parameters", or "number: text" for a text of its own.
class Errors : public ZuErrorList {
 public:
  Errors() : ZuErrorList(nullptr, 1) { ZuErrorKeeper::setErrorList(this); }
  ~Errors() override { ZuErrorKeeper::giveUpErrorList(); }

  using ZuErrorList::allocError;
  ZuError* allocError(unsigned short number, const unsigned short*, ErrorType type, unsigned short code,
                      long native) override {
    return new ZuError(number, units(u"%s1|%s2"), type, code, native);
  }

  // The records so far, which it deletes.
  std::string take() {
    std::string all;
    for (ZuError* error = getFirstNode(); error; error = getNextNode()) {
      std::string shown = text(error->getErrorText());
      for (const char* open : {"|%s2", "%s1"}) {
        const auto at = shown.find(open);
        if (at != std::string::npos) shown.erase(at);
      }
      all += (all.empty() ? "" : "; ") + std::to_string(error->getErrorNumber());
      if (!shown.empty()) all += ": " + shown;
    }
    clearErrors();
    return all;
  }
};

// A new directory, which is the current one and "HOME" for the life of a test; the variables that name
// files are not set. All of it is put back.
class OsTest : public testing::Test {
 protected:
  OsTest() : before(fs::current_path()) {
    char name[] = "/tmp/zuosXXXXXX";
    directory = mkdtemp(name);
    fs::permissions(directory, fs::perms(0777));
    fs::current_path(directory);
    for (const char* variable : {"ODBCINI", "ODBC_INI", "ODBCINST", "ODBCINSTINI", "ODBCINST_INI",
                                 "ZULIB_INI", "ZU_SYSTEM_INI", "TMPDIR", "ZU_TMPDIR", "ZU"}) {
      set(variable, nullptr);
    }
    set("HOME", directory.c_str());
  }
  ~OsTest() override {
    fs::current_path(before);
    fs::remove_all(directory);
    for (const auto& [variable, value] : saved) change(variable, value ? value->c_str() : nullptr);
  }

  // Null takes the variable away.
  void set(const std::string& variable, const char* value) {
    if (!saved.contains(variable)) {
      const char* old = getenv(variable.c_str());
      saved[variable] = old ? std::optional<std::string>(old) : std::nullopt;
    }
    change(variable, value);
  }
  std::string path(const std::string& name) const { return directory + "/" + name; }

  std::string directory;
  Errors errors;

 private:
  static void change(const std::string& variable, const char* value) {
    if (value) {
      setenv(variable.c_str(), value, 1);
    } else {
      unsetenv(variable.c_str());
    }
  }

  fs::path before;
  std::map<std::string, std::optional<std::string>> saved;
};

// Runs `work` in another process, under another user if one is given, and returns its result.
inline int inOtherProcess(const std::function<int()>& work, uid_t user = 0) {
  const pid_t child = fork();
  if (child == 0) {
    const bool changed = user == 0 || (setgid(user) == 0 && setuid(user) == 0);
    _exit(changed ? work() : 99);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// What `work` prints under trace bits, given in hexadecimal.
inline std::string traceOf(const char* bits, const std::function<void()>& work) {
  const ZuRunTimeDebug old = BOS_RUNTIME_DEBUG;
  setenv("ZU_DEBUGGING", bits, 1);
  BOS_RUNTIME_DEBUG = ZuRunTimeDebug();
  unsetenv("ZU_DEBUGGING");
  testing::internal::CaptureStdout();
  work();
  BOS_RUNTIME_DEBUG = old;
  return testing::internal::GetCapturedStdout();
}

}  // namespace ostest

#endif
