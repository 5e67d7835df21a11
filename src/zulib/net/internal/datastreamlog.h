// The data-stream log of a pipe: what it sent and received, in hexadecimal, ASCII and EBCDIC.
//
//   Sending 9 bytes
//   HEX				ASCII			EBCDIC
//   48 65 6C 6C 6F 20 C1 C2 	H e l l o   . . 	. . % % ? . A B
//   C3                      	.               	C
//                                     (an empty line after the last row)
//
// Rows hold 8 bytes. There is a row for the end of the data, so a length that is a multiple of 8 ends with a
// row of blanks.
//
// A log that cannot be written loses what it should have taken in; no error of the log is recorded, since the
// transfer that it would be blamed on is not at fault.

#ifndef ZULIB_NET_INTERNAL_DATASTREAMLOG_H
#define ZULIB_NET_INTERNAL_DATASTREAMLOG_H

namespace zunet {

// Opens the first of 0.out, 1.out, 2.out... in the current directory that does not exist. Returns its handle,
// or 0 if it cannot be made.
int openDataStreamLog();

void closeDataStreamLog(int file);

// Writes one transfer, `header` first. Does nothing without a file.
void logTransfer(int file, const char* header, const unsigned char* data, unsigned long length);

}  // namespace zunet

#endif
