// What a driver reports about its last call on a handle.

#ifndef ZUODBC_DRIVER_DRIVERDIAGNOSTICS_H
#define ZUODBC_DRIVER_DRIVERDIAGNOSTICS_H

#include "zuodbc/dmhandle.h"

namespace dm {

// Moves the driver's records into the handle's queue, as unsettled records. Nothing that the driver returns
// is trusted: lengths, missing terminators and a list without an end are all taken.
void pullDriverErrors(DMHandle& handle);

}  // namespace dm

#endif
