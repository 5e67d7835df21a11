#include "zuodbc/driver/cursorlibrary.h"

#include <dlfcn.h>

#include <memory>
#include <mutex>

#include "zuodbc/driver/driverloading.h"

namespace dm {
namespace {

const constexpr char* kLibraryNames[] = {"libzulib.so.0", "libzulib.so"};

void* openLibrary(std::string& why) {
  const std::string beside = directoryOf(reinterpret_cast<const void*>(&loadCursorLibrary)) + "/";
  for (const std::string& directory : {beside, std::string()}) {
    for (const char* name : kLibraryNames) {
      if (void* module = dlopen((directory + name).c_str(), RTLD_NOW | RTLD_LOCAL)) return module;
      // The words about the first name in the loader's own search say best what is missing.
      const char* words = dlerror();
      if (why.empty() || (directory.empty() && name == kLibraryNames[0])) why = words ? words : name;
    }
  }
  return nullptr;
}

// False when the module lacks an entry point; `why` then names it.
bool lookUp(void* module, CursorLibrary& library, std::string& why) {
  auto find = [&](const char* name) {
    void* address = dlsym(module, name);
    if (!address && why.empty()) why = std::string("the cursor library has no ") + name;
    return address;
  };
  why.clear();
#define ZU_LOOK_UP(name) library.name = reinterpret_cast<decltype(library.name)>(find(#name));
  ZU_CURSOR_LIBRARY_FUNCTIONS(ZU_LOOK_UP)
#undef ZU_LOOK_UP
  return why.empty();
}

}  // namespace

__attribute__((weak)) const CursorLibrary* loadCursorLibrary(std::string& why) {
  static std::mutex lock;
  static const CursorLibrary* loaded = nullptr;  // never unloaded: statements hold its objects
  const std::lock_guard guard(lock);
  if (loaded) return loaded;
  void* module = openLibrary(why);
  if (!module) return nullptr;
  auto library = std::make_unique<CursorLibrary>();
  if (!lookUp(module, *library, why)) {
    dlclose(module);
    return nullptr;
  }
  loaded = library.release();
  return loaded;
}

}  // namespace dm
