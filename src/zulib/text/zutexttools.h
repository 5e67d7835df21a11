// Small tools for texts of dialogs: truth values, and the keys that labels offer.
//
// A label marks its key by a marker, a character of the catalog's marker set, in front of it. A bitmap of 256
// bits remembers which keys a dialog has given away: the bit of a character is number (value AND 7) of byte
// (value >> 3), where value is the character by the C library's `tolower`.
//
// Thread safety: reentrant on distinct text.

#ifndef ZULIB_TEXT_ZUTEXTTOOLS_H
#define ZULIB_TEXT_ZUTEXTTOOLS_H

#include "zulib/runtime/zuapi.h"

// True when the text begins with "1", with "T", or with "ON", in either case; the rest does not count.
ZU_API bool isTrueStr(const unsigned char* s);

// Writes the marker set to `out`, which has room for 1024 bytes; empty when there is none.
ZU_API void getMenuAccelerator(unsigned char* out);

// The first marker in the label, or null. The markers are tried in the order of the set.
ZU_API const unsigned char* findMenuAccelerator(const unsigned char* label);

// Marks the key of the label in the bitmap of 32 bytes. A label without a key marks nothing.
ZU_API void setAcceleratorKey(unsigned char* bitmap, const unsigned char* label);

// Puts `arg` (null: nothing) in place of the first "%s" of the label, which may have flags, a width and a
// precision as in printf, then sees to it that the label has a key: the first character that is not blank and
// still free in the bitmap, or the first character of all. Marks the key in the bitmap. `label` has room for
// the text, `arg` and one marker; text beyond 1022 bytes is cut.
ZU_API void makeDialogText(unsigned char* bitmap, unsigned char* label, const unsigned char* arg);

#endif
