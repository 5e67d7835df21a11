// The two errors that the string classes record on the calling thread's list.

#ifndef ZULIB_TEXT_INTERNAL_REPORT_H
#define ZULIB_TEXT_INTERNAL_REPORT_H

namespace zutext {

// A borrowed buffer would have to grow (2716).
void reportBorrowedBuffer();

// Narrow text could not be decoded (2737, with the state and interface number of a truncation).
void reportUndecodable();

}  // namespace zutext

#endif
