// SQL text through the cursor library's analyser, next to an open cursor of the name C1.

#ifndef ZULIB_FUZZ_ODBCCALLS_SQLTEXT_H
#define ZULIB_FUZZ_ODBCCALLS_SQLTEXT_H

#include <string>

namespace odbccalls {

// Prepares, executes and asks for the native form of a text, given with its length and, if it can be, with a
// zero at its end: both must come to the same. A text that is not positioned reaches the driver as it is.
// Ends the program if not.
void runSqlText(const std::string& text);

}  // namespace odbccalls

#endif
