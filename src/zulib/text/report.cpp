#include "zulib/text/internal/report.h"

#include "zulib/runtime/zuhooks.h"

namespace zutext {

void reportBorrowedBuffer() { zuhooks::report(ZU_MSG_BORROWED_BUFFER_FULL); }

void reportUndecodable() {
  constexpr unsigned short interfaceNumber = 4;
  zuhooks::report(
      {.number = ZU_MSG_CONVERSION_FAILED, .sqlstate = "01004", .interfaceError = interfaceNumber});
}

}  // namespace zutext
