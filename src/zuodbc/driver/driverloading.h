// Drivers as shared libraries.
//
// A driver stays loaded to the end of the process: drivers register thread-local destructors and exit
// handlers, which must not point into unmapped memory. A driver's own inner calls to SQL... names stay its
// own.
//
// Thread use: any thread.

#ifndef ZUODBC_DRIVER_DRIVERLOADING_H
#define ZUODBC_DRIVER_DRIVERLOADING_H

#include <string>

#include "zuodbc/driverfunctions.h"

namespace dm {

class LoadedDriver {
 public:
  LoadedDriver(void* module, const DMDriverFunctions& functions) : handle(module), table(functions) {}

  void* module() const { return handle; }
  const DMDriverFunctions& functions() const { return table; }

 private:
  void* handle;
  DMDriverFunctions table;
};

// Opens a library by its path, or by a bare name: as the loader searches, then in the directory "odbc"
// beside the system's ODBC libraries. Null on failure; `why` is then the loader's message.
//
// The archive has it as a weak symbol: a program that links a driver into itself can define it anew.
const LoadedDriver* loadDriver(const std::string& library, std::string& why);

// The directory of the shared object (or program) that holds `address`, links followed, without the last
// slash.
std::string directoryOf(const void* address);

}  // namespace dm

#endif
