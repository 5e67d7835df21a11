// The re-entrance marks: which handles the calling thread has marked, and how deep.

#include <cstdio>
#include <cstdlib>

#include "zuodbc/handles/handles.h"

namespace dm {

constinit thread_local MarkTable threadMarks{};

namespace {

void setMark(const DMHandle* handle) {
  MarkTable& marks = threadMarks;
  for (unsigned i = 0; i < marks.count; ++i) {
    if (marks.entries[i].handle == handle) {
      ++marks.entries[i].depth;
      return;
    }
  }
  if (marks.count == MarkTable::capacity) {
    // A lost mark would send the cursor library back into itself without end.
    std::fputs("zuodbc: re-entrance marks are nested too deeply\n", stderr);
    std::abort();
  }
  marks.entries[marks.count++] = {handle, 1};
}

void takeBackMark(const DMHandle* handle) {
  MarkTable& marks = threadMarks;
  for (unsigned i = marks.count; i-- != 0;) {
    if (marks.entries[i].handle != handle) continue;
    // The last mark set is mostly the first taken back; it is not copied, since a copy would wait for the
    // depth that was stored a moment ago, once for every row that is fetched.
    if (marks.entries[i].depth > 1)
      --marks.entries[i].depth;
    else if (i != --marks.count)
      marks.entries[i] = marks.entries[marks.count];
    return;
  }
}

void mark(const DMHandle* handle, int on) { on ? setMark(handle) : takeBackMark(handle); }

}  // namespace
}  // namespace dm

void DMConn::CursorLibLockDbc(int on) { dm::mark(this, on); }
void DMDesc::CursorLibLockDesc(int on) { dm::mark(this, on); }
void DMStmt::CursorLibLockStmt(int on) { dm::mark(this, on); }
