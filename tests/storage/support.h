// What the tests of temporary storage share: a directory for the temporary files, and the thread's errors.

#ifndef ZULIB_TESTS_STORAGE_SUPPORT_H
#define ZULIB_TESTS_STORAGE_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "fuzz/input.h"
#include "zulib/errors/zuerror.h"

namespace storagetest {

// Temporary files go to a directory of the test, which must be empty at its end.
class StorageTest : public testing::Test {
 protected:
  StorageTest() {
    char name[] = "/tmp/zustorageXXXXXX";
    directory = mkdtemp(name);
    setenv("TMPDIR", directory.c_str(), 1);
    ZuErrorKeeper::setErrorList(&errors);
  }
  ~StorageTest() override {
    EXPECT_EQ(filesLeft(), 0u);
    ZuErrorKeeper::giveUpErrorList();
    unsetenv("TMPDIR");
    std::filesystem::remove_all(directory);
  }

  unsigned long filesLeft() const {
    return static_cast<unsigned long>(
        std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()));
  }
  // The number of the error that was recorded since the last call, 0 for none.
  unsigned takeError() {
    const ZuError* error = errors.getLastError();
    const unsigned number = error ? error->getErrorNumber() : 0;
    errors.clearErrors();
    return number;
  }

  std::string directory;
  ZuErrorList errors;
};

}  // namespace storagetest

#endif
