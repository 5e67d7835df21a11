// Arbitrary SQL text through the cursor library's analyser.

#include <cstddef>
#include <cstdint>

#include "fuzz/odbccalls/sqltext.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  odbccalls::runSqlText(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
