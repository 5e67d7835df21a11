// A file's new content, whole or not at all.

#ifndef ZULIB_OS_INTERNAL_ZUINIREPLACE_H
#define ZULIB_OS_INTERNAL_ZUINIREPLACE_H

#include <span>

#include "zulib/os/profiles/internal/zuinitext.h"

namespace zuini {

// Makes `pieces` the content of the file `path`, which the caller has open for writing as `handle`, and whose
// content is `oldText`. Whoever opens the file meanwhile, in any process, finds all of the old text or all of
// the new one; owner, group and mode stay, and a symbolic link stays a link.
//
// The new text is written to a file beside the old one, brought to the disk, and put in its place. Where that
// is not allowed (a directory that cannot be written to, a file that is a mount point, an owner that cannot
// be kept) the file is rewritten where it is; a reader may then see a part of it, and a failure puts the old
// text back.
//
// 0, or 1 with the old text in the file and the error recorded.
int replaceFile(const unsigned char* path, int handle, std::span<const Bytes> pieces, Bytes oldText);

}  // namespace zuini

#endif
