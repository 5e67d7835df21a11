// Gives the driver manager the cursor library that is linked into the test program, in place of the shared
// library that it would open.

#include <string>

#include "zuodbc/driver/cursorlibrary.h"

namespace dm {

const CursorLibrary* loadCursorLibrary(std::string&) {
  static const CursorLibrary linked = {
#define ZU_LINKED_FUNCTION(name) .name = &::name,
      ZU_CURSOR_LIBRARY_FUNCTIONS(ZU_LINKED_FUNCTION)
#undef ZU_LINKED_FUNCTION
  };
  return &linked;
}

}  // namespace dm
