// A library that is opened at run time by its name, with a table of functions that are looked up in it. So a
// system without the library can do everything that does not need it.
//
//   UtlLibCallMapper mapper;
//   if (mapper.setDLLName(name) || mapper.initialize()) return 1;   // error 2733
//   if (mapper.setDLLEntryPoint(function, 0)) return 1;             // error 2734
//   auto* call = reinterpret_cast<int (*)()>(mapper.getDLLEntryPoint(0));
//
// The library stays open when the mapper is destroyed.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_NET_UTLLIBCALLMAPPER_H
#define ZULIB_NET_UTLLIBCALLMAPPER_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"

class ZU_API UtlLibCallMapper {
 public:
  // The longest name of a library, and the highest index of a function.
  static constexpr unsigned long kLongestName = 1024;
  static constexpr unsigned long kHighestIndex = 100;

  UtlLibCallMapper();
  UtlLibCallMapper(const UtlLibCallMapper&) = delete;
  UtlLibCallMapper& operator=(const UtlLibCallMapper&) = delete;
  ~UtlLibCallMapper();

  // 0, or 1 if a library is open already or the name is too long.
  int setDLLName(const unsigned char* name);

  // Opens the library. 0, or 1 if it is open already, if it cannot be opened (error 2733 with its name) or if
  // there is no memory for the table.
  int initialize();

  // Looks up `function`. 0, or 1 if no library is open, if the index is too high, or if the library has no
  // such function (error 2734 with both names).
  int setDLLEntryPoint(const unsigned char* function, unsigned long index);

  // Null if no library is open, if the index is too high, or if nothing was looked up for it.
  void* getDLLEntryPoint(unsigned long index) const;

  unsigned getInitialized() const { return initialized; }

 protected:
  // Closes a library that turned out not to be the right one. The name stays.
  void abandon();

 private:
  void** entryPoints = nullptr;  // owned
  unsigned long entryCount = kHighestIndex;
  void* libraryHandle = nullptr;
  char libraryName[kLongestName + 1] = "";
  uint32_t initialized = 0;
};

#endif
