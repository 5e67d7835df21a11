#include "zuodbc/driver/driverloading.h"

#include <dlfcn.h>
#include <link.h>
#include <odbcinst.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

namespace dm {
namespace {

// RTLD_DEEPBIND keeps a driver's inner calls in the driver although this library exports the same names.
// The sanitizers refuse it; they intercept the allocator through the global scope. A program under them
// must therefore not export SQL... names itself.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kOpenFlags = RTLD_NOW | RTLD_LOCAL;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr int kOpenFlags = RTLD_NOW | RTLD_LOCAL;
#else
constexpr int kOpenFlags = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
#endif
#else
constexpr int kOpenFlags = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
#endif

// A driver may be linked against a library that exports the same names, and dlsym looks there too: only a
// symbol of the driver's own object counts.
void* ownSymbol(void* module, const void* base, const char* name) {
  void* address = dlsym(module, name);
  Dl_info info{};
  if (!address || !dladdr(address, &info)) return nullptr;
  return info.dli_fbase == base ? address : nullptr;
}

// The load address of the object that the loader opened as `module`.
const void* baseOf(void* module) {
  // The dynamic section is part of the object, so its address gives the object's base.
  link_map* map = nullptr;
  Dl_info info{};
  if (dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || !map || !dladdr(map->l_ld, &info)) return nullptr;
  return info.dli_fbase;
}

std::string loaderMessage() {
  const char* message = dlerror();
  return message ? message : "the loader gives no reason";
}

void* open(const std::string& library, std::string& why) {
  if (void* module = dlopen(library.c_str(), kOpenFlags)) return module;
  why = loaderMessage();
  if (library.find('/') != std::string::npos) return nullptr;
  const std::string installed =
      directoryOf(reinterpret_cast<const void*>(&SQLGetPrivateProfileString)) + "/odbc/" + library;
  if (access(installed.c_str(), F_OK) != 0) return nullptr;
  void* module = dlopen(installed.c_str(), kOpenFlags);
  if (!module) why = loaderMessage();
  return module;
}

DMDriverFunctions lookUpFunctions(void* module) {
  const void* base = baseOf(module);
  DMDriverFunctions table;
#define ZU_LOOK_UP(name) table.name = reinterpret_cast<decltype(table.name)>(ownSymbol(module, base, #name));
  ZU_DRIVER_FUNCTIONS(ZU_LOOK_UP)
#undef ZU_LOOK_UP
#define ZU_LOOK_UP(name) \
  table.name##W = reinterpret_cast<decltype(table.name##W)>(ownSymbol(module, base, #name "W"));
  ZU_DRIVER_TEXT_FUNCTIONS(ZU_LOOK_UP)
#undef ZU_LOOK_UP
  // The standard's statement attributes and types are no texts: these two forms are one function.
  if (!table.SQLSetStmtAttr) table.SQLSetStmtAttr = table.SQLSetStmtAttrW;
  if (!table.SQLGetStmtAttr) table.SQLGetStmtAttr = table.SQLGetStmtAttrW;
  if (!table.SQLGetTypeInfo) table.SQLGetTypeInfo = table.SQLGetTypeInfoW;
  return table;
}

}  // namespace

__attribute__((weak)) const LoadedDriver* loadDriver(const std::string& library, std::string& why) {
  static std::mutex lock;
  // Never destroyed: connections may outlive static destruction.
  static auto& loaded = *new std::map<std::string, std::unique_ptr<LoadedDriver>>;
  const std::lock_guard guard(lock);
  const auto found = loaded.find(library);
  if (found != loaded.end()) return found->second.get();
  void* module = open(library, why);
  if (!module) return nullptr;
  auto driver = std::make_unique<LoadedDriver>(module, lookUpFunctions(module));
  const DMDriverFunctions& table = driver->functions();
  if (!table.SQLConnect && !table.SQLDriverConnect && !table.SQLConnectW && !table.SQLDriverConnectW) {
    why = library + ": no ODBC driver: it has neither SQLConnect nor SQLDriverConnect";
    dlclose(module);
    return nullptr;
  }
  return (loaded[library] = std::move(driver)).get();
}

std::string directoryOf(const void* address) {
  Dl_info info{};
  if (!dladdr(address, &info) || !info.dli_fname) return ".";
  // Loaded by a link of another name, a library is still where the link leads to.
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(info.dli_fname, nullptr), &std::free);
  const std::string path = real ? real.get() : info.dli_fname;
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

}  // namespace dm
