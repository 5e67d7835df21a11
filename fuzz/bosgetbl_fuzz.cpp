// Logical lines of arbitrary text: every call moves on or says why not, stays inside its buffer, and the
// buffer's size changes nothing but what does not fit.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "zulib/os/files/bosgetbl.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const unsigned long room = data[0] % 40;
  const std::string copy(reinterpret_cast<const char*>(data + 1), size - 1);
  const auto* text = reinterpret_cast<const unsigned char*>(copy.c_str());
  const size_t end = std::strcspn(copy.c_str(), "\x1A");
  const std::unique_ptr<unsigned char[]> narrow(new unsigned char[room]);
  const std::unique_ptr<unsigned char[]> wide(new unsigned char[size + 1]);
  unsigned long pos = 0;
  for (;;) {
    unsigned long here = pos;
    long status = 0;
    bosgetbl(text, &here, wide.get(), size + 1, &status);
    demand(status != bosLineTooLong);
    demand((status == bosLineEnd) == (pos == end));

    unsigned long there = pos;
    long narrowStatus = 0;
    bosgetbl(text, &there, narrow.get(), room, &narrowStatus);
    const bool fits = status <= static_cast<long>(room);
    demand(narrowStatus == (fits ? status : bosLineTooLong));
    demand(there == (fits ? here : pos));
    if (status == bosLineEnd) return 0;

    const auto length = static_cast<unsigned long>(status);
    demand(here > pos && here <= end && length <= here - pos && wide[length] == 0);
    const unsigned long same = fits ? length : room > 0 ? room - 1 : 0;
    demand(std::memcmp(wide.get(), narrow.get(), same) == 0);
    demand(fits || room == 0 || narrow[room - 1] == 0);
    pos = here;
  }
}
