#include "zulib/convert/internal/report.h"

#include "zulib/errors/zuerror.h"
#include "zulib/runtime/zumessages.h"

namespace zuconvert {

int reportFailure() {
  ZuError& error = addError(ZU_MSG_CONVERSION_FAILED);
  error.setInterfaceCode("HY000");
  error.setInterfaceError(kNativeFailed);
  return 1;
}

void reportSubstitution() {
  ZuError& warning = addWarning(ZU_MSG_SUBSTITUTED);
  warning.setInterfaceCode("01000");
  warning.setInterfaceError(kNativeSubstituted);
}

}  // namespace zuconvert
