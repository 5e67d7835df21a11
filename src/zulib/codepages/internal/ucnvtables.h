// The tables of the maps of ucnvconv.h. Their rows are sorted by the first column, as signed numbers.

#ifndef ZULIB_CODEPAGES_INTERNAL_UCNVTABLES_H
#define ZULIB_CODEPAGES_INTERNAL_UCNVTABLES_H

#include <array>
#include <cstdint>

#include "zulib/codepages/ucnvconv.h"

constexpr unsigned long IANAtoICURows = 310;
constexpr unsigned long UnilibToIANARows = 78;
constexpr unsigned long WindowsToIANARows = 73;

// Number to name of an ICU converter; null: the platform's default converter.
extern const UcnvNameRow IANAtoICUTable[IANAtoICURows];

// The registered numbers come before the private ones. For each number up to the last of them: its row,
// or row 0 when it has none.
constexpr long kLastRegisteredIANA = 2259;
constexpr unsigned long kFirstPrivateRow = 245;
extern const std::array<std::uint16_t, kLastRegisteredIANA + 1> kRegisteredRows;

// Number of the keyword "AppCodePage", and number of a Windows code page, to IANA number.
extern const UcnvNumberRow UnilibToIANATable[UnilibToIANARows];
extern const UcnvNumberRow WindowsToIANATable[WindowsToIANARows];

#endif
