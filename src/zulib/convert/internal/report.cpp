#include "zulib/convert/internal/report.h"

namespace zuconvert {

namespace {

void setInterface(ZuError& record, const char* state, unsigned short native) {
  record.setInterfaceCode(state);
  record.setInterfaceError(native);
}

}  // namespace

int reportFailure(ZuMessage message) {
  setInterface(addError(message), "HY000", kNativeFailed);
  return 1;
}

void reportSubstitution() { setInterface(addWarning(ZU_MSG_SUBSTITUTED), "01000", kNativeSubstituted); }
void reportTruncation() { setInterface(addWarning(ZU_MSG_TRUNCATED), "01004", kNativeTruncated); }

}  // namespace zuconvert
