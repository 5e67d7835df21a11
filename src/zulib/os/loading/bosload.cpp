#include "zulib/os/loading/bosload.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "zulib/errors/zuerror.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"
#include "zulib/text/strtrim.h"

using zuos::chars;
using zuos::traced;

namespace {

constexpr char kVersionMark[] = "22";
constexpr char kLibraryEnding[] = ".so";
constexpr unsigned long kLongestEnding = sizeof kVersionMark - 1 + sizeof kLibraryEnding - 1;

void* loadFrom(const unsigned char* path) {
  void* const library = dlopen(chars(path), RTLD_NOW);
  if (library) return library;
  const char* words = dlerror();
  if (!words) words = "";
  addError(ZU_MSG_LIBRARY_NOT_LOADED) << path << words;
  if (traced(zuos::kTraceLoading)) {
    std::printf("Unable to open Shared Library:%s\n", chars(path));
    std::printf("Loader Error: %s\n", words);
  }
  return nullptr;
}

}  // namespace

void bosdllname(unsigned char* name) { std::strcat(reinterpret_cast<char*>(name), kVersionMark); }

void* bosLoadLibrary(const unsigned char* name, int addVersion) {
  unsigned char library[bosPathSize];
  const unsigned long length = strRightTrim(name, strLen(name), zuCPLocale);
  if (length + kLongestEnding >= bosPathSize) {
    bosMapError(ENAMETOOLONG, name);
    return nullptr;
  }
  strCopy(library, name, length);
  if (addVersion) bosdllname(library);
  char* const text = reinterpret_cast<char*>(library);
  if (!std::strstr(text, kLibraryEnding)) std::strcat(text, kLibraryEnding);
  const bool trace = traced(zuos::kTraceLoading);
  if (trace) std::printf("LoadLibrary: Searching for %s.\n", text);
  unsigned char path[bosPathSize];
  if (bosLocateFile(path, library, bosLocateLibrary | bosLocateLoadPath) != 0) {
    if (trace) std::printf("Unable to open Shared Library: %s\n", text);
    return nullptr;
  }
  if (trace) std::printf("LoadLibrary: Found library %s.\n", chars(path));
  return loadFrom(path);
}

void* bosLoadLibrary(const unsigned short* name, int addVersion) {
  const zuos::NarrowName narrow(name);
  return narrow.converts() && narrow.text() ? bosLoadLibrary(narrow.text(), addVersion) : nullptr;
}

void* zuGetProcAddr(void* library, const unsigned char* function) { return dlsym(library, chars(function)); }
