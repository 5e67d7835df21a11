// The three maps of code pages.

#include "convert/internal/ucnvtables.h"

namespace {

// The row of `id`, or null. The halving has no branch to guess: the last row that is not behind `id` is
// found in the same number of steps wherever it is.
template <class Row>
const Row* findRow(long id, const Row* table, unsigned long rows) {
  if (rows == 0) return nullptr;
  const Row* row = table;
  while (rows > 1) {
    const unsigned long half = rows / 2;
    row += row[half].id <= id ? half : 0;
    rows -= half;
  }
  return row->id == id ? row : nullptr;
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

const char* ucnvIANAidToICUname(long id) { return ucnvMapToName(id, IANAtoICUTable, IANAtoICURows); }

long ucnvUnilibToIANA(long id) { return ucnvMapToIANAID(id, UnilibToIANATable, UnilibToIANARows); }

long ucnvWindowsToIANA(long id) { return ucnvMapToIANAID(id, WindowsToIANATable, WindowsToIANARows); }
