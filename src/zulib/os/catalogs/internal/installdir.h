// Where the library finds the files that were installed with it.

#ifndef ZULIB_OS_INTERNAL_INSTALLDIR_H
#define ZULIB_OS_INTERNAL_INSTALLDIR_H

namespace zuos {

// Writes the installation directory as the profile files have it, or as it follows from where the library
// lies; an empty text when neither gives one that fits `size` bytes. Records what the profile files record.
void findInstallDir(unsigned char* out, unsigned long size);

}  // namespace zuos

#endif
