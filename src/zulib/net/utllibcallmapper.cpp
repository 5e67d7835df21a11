#include "zulib/net/utllibcallmapper.h"

#include <dlfcn.h>

#include <cstdlib>

#include "zulib/errors/zuerror.h"
#include "zulib/os/loading/bosload.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"

UtlLibCallMapper::UtlLibCallMapper() = default;

UtlLibCallMapper::~UtlLibCallMapper() { std::free(entryPoints); }

int UtlLibCallMapper::setDLLName(const unsigned char* name) {
  if (libraryHandle || strLen(name) > kLongestName) return 1;
  strCopy(reinterpret_cast<unsigned char*>(libraryName), sizeof libraryName, name);
  return 0;
}

int UtlLibCallMapper::initialize() {
  if (libraryHandle) return 1;
  libraryHandle = dlopen(libraryName, RTLD_NOW);
  if (!libraryHandle) {
    addError(ZU_MSG_LIBRARY_NOT_OPENED) << libraryName;
    return 1;
  }
  entryPoints = static_cast<void**>(ramAllocZ((entryCount + 1) * sizeof *entryPoints));
  if (!entryPoints) {
    abandon();
    return 1;
  }
  initialized = 1;
  return 0;
}

int UtlLibCallMapper::setDLLEntryPoint(const unsigned char* function, unsigned long index) {
  if (!libraryHandle || index > entryCount) return 1;
  void* found = zuGetProcAddr(libraryHandle, function);
  if (!found) {
    addError(ZU_MSG_FUNCTION_MISSING) << function << libraryName;
    return 1;
  }
  entryPoints[index] = found;
  return 0;
}

void* UtlLibCallMapper::getDLLEntryPoint(unsigned long index) const {
  return libraryHandle && index <= entryCount ? entryPoints[index] : nullptr;
}

void UtlLibCallMapper::abandon() {
  std::free(entryPoints);
  entryPoints = nullptr;
  if (libraryHandle) dlclose(libraryHandle);
  libraryHandle = nullptr;
  initialized = 0;
}
