#include "zulib/os/catalogs/zuresource.h"

#include <atomic>

#include "zulib/os/catalogs/boscatalog.h"
#include "zulib/runtime/zuhooks.h"
#include "zulib/text/strcopy.h"

namespace {

std::atomic<bool> catalogIsOpen = false;
unsigned long catalogUsers = 0;

// The first text opens the catalog, unless a driver has opened its own: only then has the program had the
// time to set its locale. Two threads may both come here first, which does no harm.
void openCatalog() {
  if (catalogIsOpen.load(std::memory_order_acquire)) return;
  if (bosLoadResourceDLL(BZUHINST, 0, nullptr, &catalogUsers) != 0) return;
  catalogIsOpen.store(true, std::memory_order_release);
}

}  // namespace

unsigned long winGetString(unsigned char* out, unsigned short id) {
  openCatalog();
  unsigned char text[zuResourceTextSize];
  unsigned long length = LoadString(BZUHINST, id, text, sizeof text);
  strCopy(out, text, length);
  return length;
}

unsigned long winGetString(unsigned short* out, unsigned short id) {
  openCatalog();
  return LoadStringW(BZUHINST, id, out, zuResourceTextSize);
}

ResourceTextStart::ResourceTextStart() { zuhooks::setTexts(winGetString, winGetString); }
