// Makes the file calls of the library fail on demand. Test programs that use this are linked with --wrap for
// them (tests/CMakeLists.txt), so that tests and fixtures reach them too: arm only around calls of the
// library.

#ifndef ZULIB_TESTS_SUPPORT_FILE_FAULTS_H
#define ZULIB_TESTS_SUPPORT_FILE_FAULTS_H

#include <cstddef>
#include <functional>

// Arms the failures of all threads; disarms them at its end. One at a time.
class FileFaults {
 public:
  // With `names` link and unlink count too.
  explicit FileFaults(bool names = false);
  FileFaults(const FileFaults&) = delete;
  FileFaults& operator=(const FileFaults&) = delete;
  ~FileFaults();

  // Only the n-th call from here on fails, with `error`; n counts from 1. A close that fails has closed.
  void failAt(std::size_t n, int error);

  // After `n` more bytes are written each write falls short, or fails with ENOSPC.
  void fillDiskAfter(std::size_t n);

  void stop();

  // A call has failed since the last failAt or fillDiskAfter.
  bool triggered() const;
};

// Runs `scenario` with its 1st, its 2nd, its 3rd ... file call failing, until a run meets no failure.
// `scenario` returns whether all its work succeeded, which it must if and only if no call failed. Returns how
// many calls were made to fail.
std::size_t sweepFileCalls(const std::function<bool(FileFaults&)>& scenario, bool names = false);

#endif
