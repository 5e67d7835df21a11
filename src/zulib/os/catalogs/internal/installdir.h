// Where the library finds the files that were installed with it.

#ifndef ZULIB_OS_CATALOGS_INTERNAL_INSTALLDIR_H
#define ZULIB_OS_CATALOGS_INTERNAL_INSTALLDIR_H

namespace zuos {

// Writes the installation directory that the profile files name, or else the one beside the library; an empty
// text if neither gives one that fits `size` bytes. Keeps the records of the profile reads.
void findInstallDir(unsigned char* out, unsigned long size);

}  // namespace zuos

#endif
