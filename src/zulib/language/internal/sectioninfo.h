// SectionInfo: what a query file knows about one of its sections.

#ifndef ZULIB_LANGUAGE_INTERNAL_SECTIONINFO_H
#define ZULIB_LANGUAGE_INTERNAL_SECTIONINFO_H

#include <cstdint>

#include "zulib/runtime/zuobject.h"
#include "zulib/text/zustring.h"

enum SectionKind : unsigned short {
  sectionIsKnown = 1,  // its name is one of Sections, in any case
  sectionIsOther = 2,
  sectionIsKey = 3,  // only a name to look for
};

class SectionInfo : public ZuObject {
 public:
  // The order of a saved file: known sections first, then by place in the file that was read, and last those
  // that were not in it. A search key is compared by its name.
  int compare(const ZuObject* other) const override {
    const auto& o = *static_cast<const SectionInfo*>(other);
    if (sectionKind == sectionIsKey || o.sectionKind == sectionIsKey) return name.compare(&o.name);
    if (sectionKind != o.sectionKind) return sectionKind < o.sectionKind ? -1 : 1;
    const unsigned long place = fileOffset - 1;
    const unsigned long otherPlace = o.fileOffset - 1;
    return place < otherPlace ? -1 : place > otherPlace;
  }

  ZuString name;
  unsigned long fileOffset = 0;  // of the first line after the header; 0: not in the file
  unsigned long tmpOffset = 0;   // in the temporary file; 0: the text is still in the file
  unsigned long length = 0;      // bytes; 0: not yet known, or empty
  unsigned short sectionKind = sectionIsKey;
  std::uint32_t removed = 0;
};

#endif
