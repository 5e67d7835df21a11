// The line reader over arbitrary files, with small buffers and any order of steps: what it delivers is what
// stands in the file where it says that the line is.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zulib/os/files/zufilebyline.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

constexpr unsigned kMostSteps = 64;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const size_t steps = data[1] % kMostSteps < size - 2 ? data[1] % kMostSteps : size - 2;
  const unsigned long bufferSize = 5 + data[0] % 60;
  const uint8_t* script = data + 2;
  const std::string content(reinterpret_cast<const char*>(script + steps), size - 2 - steps);

  // A new file for each input, in memory, which is opened by its name like any other.
  static const int file = memfd_create("lines", 0);
  static const std::string name = "/proc/self/fd/" + std::to_string(file);
  demand(ftruncate(file, 0) == 0);
  demand(pwrite(file, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()));

  ZuFileByLine reader;
  demand(reader.openFile(reinterpret_cast<const unsigned char*>(name.c_str()), bufferSize) == 0);
  bool withFeed = true;
  for (size_t i = 0; i < steps; ++i) {
    long long wanted = reader.getNextLineOffset();
    switch (script[i] % 8) {
      case 0:
        wanted = script[i] / 8;
        reader.setSeekOffset(wanted);
        break;
      case 1:
        wanted = reader.getPrevLineOffset();
        reader.ungetLine();
        break;
      case 2:
        reader.seekToUnread();
        wanted = -1;
        break;
      case 3:
        withFeed = !withFeed;
        withFeed ? reader.setReturnEol() : reader.resetReturnEol();
        break;
      default: break;
    }
    ZuSubString view;
    demand(reader.getNextLine(&view) == 0);
    const auto at = static_cast<size_t>(reader.getPrevLineOffset());
    const auto next = static_cast<size_t>(reader.getNextLineOffset());
    demand(wanted < 0 || static_cast<size_t>(wanted) == at);
    demand(reader.isEndOfFile() == (at >= content.size()));
    if (at >= content.size()) continue;
    demand(next > at && next <= content.size());
    demand(content.compare(at, view.getLength(), reinterpret_cast<const char*>(view.asPascalStr()),
                           view.getLength()) == 0);
    const bool endsInFeed = content[next - 1] == '\n';
    demand(view.getLength() == next - at - (endsInFeed && !withFeed ? 1 : 0));
    demand(std::memchr(content.data() + at, '\n', next - at - 1) == nullptr);
    demand(reader.isLineComplete() || view.getLength() == bufferSize - 4);
    demand(!reader.isLineComplete() || endsInFeed || next == content.size());
  }
  return 0;
}
