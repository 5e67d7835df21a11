// Numbers in the server's binary form: whole numbers of 2, 4 or 8 bytes and IEEE floating point of 4 or 8,
// with their high byte first. A prepared statement asks for it: the server does not have to print what the
// application wants as a number, and the driver does not have to parse it.

#ifndef PGWIRE_TYPES_BINARY_H
#define PGWIRE_TYPES_BINARY_H

#include "types/scalars.h"
#include "types/types.h"

namespace pgwire {

// Longer than the text of any number below.
constexpr uint32_t kNumberText = 32;

// Whether values of a type are asked for in binary: those numbers, and bytea.
bool hasBinaryForm(Oid oid);

// Bytes of a value of the type; 0 if they differ.
uint32_t binarySize(Oid oid);

// Writes the number at `data`, of 2, 4 or 8 bytes, as the server would print it. Returns its length.
uint32_t binaryToText(const unsigned char* data, uint32_t length, Kind kind, char (&out)[kNumberText]);

// Converts it as `scalarFromText` converts its text.
Outcome scalarFromBinary(const unsigned char* data, uint32_t length, Kind kind, SQLSMALLINT cType,
                         const NumericForm& form, void* out);

}  // namespace pgwire

#endif
