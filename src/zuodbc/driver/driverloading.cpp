#include "zuodbc/driver/driverloading.h"

#include <dlfcn.h>
#include <link.h>
#include <odbcinst.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <mutex>

namespace dm {
namespace {

// RTLD_DEEPBIND keeps a driver's inner calls in the driver although this library exports the same names.
// The sanitizers refuse it; they intercept the allocator through the global scope. A program under them
// must therefore not export SQL... names itself.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int openFlags = RTLD_NOW | RTLD_LOCAL;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr int openFlags = RTLD_NOW | RTLD_LOCAL;
#else
constexpr int openFlags = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
#endif
#else
constexpr int openFlags = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
#endif

// A driver may be linked against a library that exports the same names, and dlsym looks there too: what
// does not lie in the driver's own object does not count.
void* ownSymbol(void* module, const void* base, const char* name) {
  void* address = dlsym(module, name);
  Dl_info info{};
  if (!address || !dladdr(address, &info)) return nullptr;
  return info.dli_fbase == base ? address : nullptr;
}

// Where a loaded module lies: the load address of the object of which the loader made `module`.
const void* baseOf(void* module) {
  // The dynamic section lies in the object itself, so its address tells the object's base.
  link_map* map = nullptr;
  Dl_info info{};
  if (dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || !map || !dladdr(map->l_ld, &info)) return nullptr;
  return info.dli_fbase;
}

std::string loaderWords() {
  const char* words = dlerror();
  return words ? words : "the loader gives no reason";
}

void* open(const std::string& library, std::string& why) {
  if (void* module = dlopen(library.c_str(), openFlags)) return module;
  why = loaderWords();
  if (library.find('/') != std::string::npos) return nullptr;
  std::string installed =
      directoryOf(reinterpret_cast<const void*>(&SQLGetPrivateProfileString)) + "/odbc/" + library;
  if (access(installed.c_str(), F_OK) != 0) return nullptr;
  void* module = dlopen(installed.c_str(), openFlags);
  if (!module) why = loaderWords();
  return module;
}

}  // namespace

LoadedDriver::LoadedDriver(std::string library, void* module) : path(std::move(library)), handle(module) {
  const void* base = baseOf(module);
#define ZU_LOOK_UP(name) table.name = reinterpret_cast<decltype(table.name)>(ownSymbol(module, base, #name));
  ZU_DRIVER_FUNCTIONS(ZU_LOOK_UP)
#undef ZU_LOOK_UP
}

const LoadedDriver* loadDriver(const std::string& library, std::string& why) {
  static std::mutex lock;
  // Never destroyed: connections may outlive static destruction.
  static auto& loaded = *new std::map<std::string, std::unique_ptr<LoadedDriver>>;
  std::lock_guard guard(lock);
  auto found = loaded.find(library);
  if (found != loaded.end()) return found->second.get();
  void* module = open(library, why);
  if (!module) return nullptr;
  auto driver = std::make_unique<LoadedDriver>(library, module);
  if (!driver->functions().SQLConnect && !driver->functions().SQLDriverConnect) {
    why = library + ": no ODBC driver: it has neither SQLConnect nor SQLDriverConnect";
    dlclose(module);
    return nullptr;
  }
  return (loaded[library] = std::move(driver)).get();
}

std::string directoryOf(const void* address) {
  Dl_info info{};
  if (!dladdr(address, &info) || !info.dli_fname) return ".";
  std::string path = info.dli_fname;
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

}  // namespace dm
