// An application that calls any ODBC function in any order, within ODBC's rules about memory: its buffers are
// as long as it says, and live for as long as they are bound.

#ifndef ZULIB_FUZZ_ODBCCALLS_CALLS_H
#define ZULIB_FUZZ_ODBCCALLS_CALLS_H

#include <cstddef>
#include <cstdint>

namespace odbccalls {

// One application over the wild driver, with the first bytes of the input deciding on the ODBC versions, the
// cursor library and the number of threads (1 or 2, which then share the rest of the input). Afterwards
// the driver does as it is told, and everything must be free to go. Ends the program if it is not.
void runCalls(const uint8_t* data, size_t size, unsigned threads);

}  // namespace odbccalls

#endif
