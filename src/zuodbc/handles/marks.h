// The re-entrance marks: which handles the calling thread has marked.
//
// A mark belongs to the thread that set it: another thread's SQLCancel on a marked statement is still the
// application's own call. A mark lives for one call of the cursor library into the driver manager, so a
// thread never holds more than a few.
//
// Marks need no memory and no thread-local storage of the compiler, which is allocated lazily and ends the
// process when that fails: a thread finds its marks in a fixed table by its identity.

#ifndef ZUODBC_HANDLES_MARKS_H
#define ZUODBC_HANDLES_MARKS_H

#include "zuodbc/dmhandle.h"

namespace dm {

// The marks of one thread. Only that thread touches them.
struct ThreadMarks {
  static constexpr unsigned kCapacity = 8;
  struct Mark {
    const DMHandle* handle;
    unsigned depth;
  };
  bool isStray;      // lies outside the thread's own part of the table
  DMStmt* onBehalf;  // the statement whose call is in the cursor library, or null
  unsigned count;
  Mark marks[kCapacity];

  bool holds(const DMHandle* handle) const {
    for (unsigned i = count; i != 0; --i) {
      if (marks[i - 1].handle == handle) return true;
    }
    return false;
  }
};

// The marks of the calling thread, or null if it holds none. Valid until it takes its last mark back.
const ThreadMarks* marksOfThread() noexcept;

// True if the calling thread has marked the handle, or the connection or statement that it belongs to. Only a
// thread that holds a mark looks into the handle: it is in the cursor library, whose handles are valid.
inline bool isMarked(const ThreadMarks* marks, const DMConn* conn) noexcept {
  return marks && conn && marks->holds(conn);
}
inline bool isMarked(const ThreadMarks* marks, const DMStmt* stmt) noexcept {
  return marks && stmt && (marks->holds(stmt) || marks->holds(stmt->conn));
}
inline bool isMarked(const ThreadMarks* marks, const DMDesc* desc) noexcept {
  return marks && desc &&
         (marks->holds(desc) || marks->holds(desc->conn) ||
          (desc->ownerStmt && marks->holds(desc->ownerStmt)));
}
template <class Handle>
bool isMarked(const Handle* handle) noexcept {
  return isMarked(marksOfThread(), handle);
}

// Takes the place of a handle for the cursor library as a whole. Only its address is used.
extern const DMHandle* const kLibraryMark;

// Marks the time that the calling thread spends in the cursor library, for a call on `stmt` if that is not
// null. A call that comes back from there without a mark on its handle belongs to the application's call
// around it.
class InLibrary {
 public:
  explicit InLibrary(DMStmt* stmt) noexcept;
  InLibrary(const InLibrary&) = delete;
  InLibrary& operator=(const InLibrary&) = delete;
  ~InLibrary();

 private:
  ThreadMarks& marks;
  DMStmt* outer;
};
inline bool isInLibrary(const ThreadMarks* marks) noexcept { return marks && marks->holds(kLibraryMark); }
inline bool isInLibrary() noexcept { return isInLibrary(marksOfThread()); }

}  // namespace dm

#endif
