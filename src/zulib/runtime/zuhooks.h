// Calls from a lower floor to a higher one: posting an error record, reading a text of the message catalog,
// and sorting objects. The owner of each service registers its function when the library is loaded
// (library/statics.cpp). Until then, and in a program that links only the lower floors, a report is dropped,
// a text is its number, and objects are sorted by the standard library.
//
// Thread safety: functions are registered at load, before another thread can use the library, and are not
// changed afterwards.

#ifndef ZULIB_RUNTIME_ZUHOOKS_H
#define ZULIB_RUNTIME_ZUHOOKS_H

#include "zulib/runtime/zumessages.h"

class ZuObject;

namespace zuhooks {

// An error to be posted on the calling thread's list.
struct Report {
  ZuMessage number;
  const char* sqlstate = nullptr;        // 5 characters, or null for none
  unsigned short interfaceError = 0;     // of the record, 0 for none
  const unsigned char* param = nullptr;  // fills the first placeholder of the text; null for none
  unsigned long paramLength = 0;         // bytes
  int codePage = 0;                      // of `param`, a zuCPType
  // Terminated text that goes after that of the message, in one width or the other; null for none.
  const unsigned char* appended = nullptr;
  const unsigned short* appendedW = nullptr;
};

using PostReport = void (*)(const Report& report);
using MarkOutOfMemory = void (*)();
using ReadText = unsigned long (*)(unsigned char* out, unsigned short id);
using ReadTextW = unsigned long (*)(unsigned short* out, unsigned short id);
using SortObjects = int (*)(ZuObject** objects, unsigned long count);

// Registered by errors/.
void setReporter(PostReport post, MarkOutOfMemory mark);
// Registered by os/catalogs/.
void setTexts(ReadText narrow, ReadTextW wide);
// Registered by storage/.
void setSorter(SortObjects sort);

// Posts an error record. Allocation failure in the attempt leaves the out-of-memory record instead.
void report(const Report& report);
inline void report(ZuMessage number) { report(Report{number}); }

// Characters that readText may write, with the terminator.
constexpr unsigned long kTextSize = 1024;

// Writes text `id` of the library's catalog to `out`, which has room for kTextSize characters, terminated.
// Returns its length. A text that no catalog has is its number in decimal.
unsigned long readText(unsigned char* out, unsigned short id);
unsigned long readText(unsigned short* out, unsigned short id);

// Sorts by the objects' `compare`, of whose result the low 16 bits count; equal objects end in any order.
// Returns 0, or 1 after an error record with the objects in any order.
[[nodiscard]] int sortObjects(ZuObject** objects, unsigned long count);

}  // namespace zuhooks

#endif
