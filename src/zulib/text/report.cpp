#include "zulib/text/internal/report.h"

#include "zulib/errors/zuerror.h"
#include "zulib/errors/zumessages.h"

namespace zutext {

void reportBorrowedBuffer() { addError(ZU_MSG_BORROWED_BUFFER_FULL); }

void reportUndecodable() {
  constexpr unsigned short interfaceNumber = 4;
  ZuError& error = addError(ZU_MSG_CONVERSION_FAILED);
  error.setInterfaceCode("01004");
  error.setInterfaceError(interfaceNumber);
}

}  // namespace zutext
