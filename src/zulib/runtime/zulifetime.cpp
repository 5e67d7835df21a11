#include "zulib/runtime/zulifetime.h"

namespace {

constinit bool isUnloading = false;

// dlclose calls the library's functions of this kind before it destroys the static objects, exit() after.
[[gnu::destructor]] void noteUnload() { isUnloading = true; }

}  // namespace

bool isLibraryUnloading() noexcept { return isUnloading; }
