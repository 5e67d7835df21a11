// The three maps of code pages.

#include <algorithm>

#include "zulib/codepages/internal/ucnvtables.h"

namespace {

// The row of `id`, or null.
template <class Row>
const Row* findRow(long id, const Row* table, unsigned long rows) {
  const Row* end = table + rows;
  const Row* row = std::lower_bound(table, end, id, [](const Row& r, long key) { return r.id < key; });
  return row != end && row->id == id ? row : nullptr;
}

}  // namespace

const char* ucnvMapToName(long id, const UcnvNameRow* table, unsigned long rows) {
  const UcnvNameRow* row = findRow(id, table, rows);
  return row ? row->name : nullptr;
}

long ucnvMapToIANAID(long id, const UcnvNumberRow* table, unsigned long rows) {
  const UcnvNumberRow* row = findRow(id, table, rows);
  return row ? row->iana : ucnvNoNumber;
}

// Registered numbers, which are those of nearly all connections, need no search.
const char* ucnvIANAidToICUname(long id) {
  if (id >= 0 && id <= kLastRegisteredIANA) {
    const UcnvNameRow& row = IANAtoICUTable[kRegisteredRows[static_cast<unsigned long>(id)]];
    return row.id == id ? row.name : nullptr;
  }
  return ucnvMapToName(id, IANAtoICUTable + kFirstPrivateRow, IANAtoICURows - kFirstPrivateRow);
}

long ucnvUnilibToIANA(long id) { return ucnvMapToIANAID(id, UnilibToIANATable, UnilibToIANARows); }

long ucnvWindowsToIANA(long id) { return ucnvMapToIANAID(id, WindowsToIANATable, WindowsToIANARows); }
