// The tables behind the maps of ucnvconv.h. Their rows are sorted by the first column, as signed numbers.

#ifndef ZULIB_CONVERT_INTERNAL_UCNVTABLES_H
#define ZULIB_CONVERT_INTERNAL_UCNVTABLES_H

#include "convert/ucnvconv.h"

constexpr unsigned long IANAtoICURows = 310;
constexpr unsigned long UnilibToIANARows = 78;
constexpr unsigned long WindowsToIANARows = 73;

// Number to name of an ICU converter; null: the platform's default converter.
extern const UcnvNameRow IANAtoICUTable[IANAtoICURows];

// Number of the keyword "AppCodePage", and number of a Windows code page, to IANA number.
extern const UcnvNumberRow UnilibToIANATable[UnilibToIANARows];
extern const UcnvNumberRow WindowsToIANATable[WindowsToIANARows];

#endif
