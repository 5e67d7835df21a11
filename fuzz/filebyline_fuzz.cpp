// The line reader over arbitrary files, with small buffers and any order of steps: what it delivers is what
// stands in the file where it says that the line is.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "fuzz/input.h"
#include "zulib/os/files/zufilebyline.h"

namespace filebylinefuzz {

constexpr char kBlanks[] = " \t\n\v\f\r";

// A reader, and where by the rules it is in the text. What the model takes from the reader is where a line
// that is longer than the buffer is divided, and how many blank lines were passed.
class Reading {
 public:
  Reading(const std::string& content, const std::string& name, unsigned long bufferSize)
      : content(content), room(std::max(bufferSize, 5UL)) {
    demand(reader.openFile(reinterpret_cast<const unsigned char*>(name.c_str()), bufferSize) == 0);
  }

  void step(unsigned command) {
    ZuSubString view;
    const unsigned long argument = command / 8;
    switch (command % 8) {
      case 0:
        at = argument;
        reader.setSeekOffset(static_cast<long long>(at));
        break;
      case 1:
        if (steps == 0) break;
        reader.ungetLine();
        at = last;
        unread = previousUnread;
        break;
      case 2:
        reader.seekToUnread();
        at = unread;
        break;
      case 3:
        withFeed ? reader.resetReturnEol() : reader.setReturnEol();
        withFeed = !withFeed;
        break;
      case 4:
        at = 0;
        demand(reader.getFirstLine(&view) == 0);
        return check(view);
      case 5:
        demand(reader.getNextNonBlankLine(&view) == 0);
        passBlanks(view);
        return check(view);
      default: break;
    }
    demand(reader.getNextLine(&view) == 0);
    check(view);
  }

 private:
  void passBlanks(const ZuSubString& view) {
    const auto found = static_cast<unsigned long>(reader.getPrevLineOffset());
    demand(found >= at);
    if (found > at) {
      demand(content.substr(at, found - at).find_first_not_of(kBlanks) == std::string::npos);
      unread = std::max(unread, found);
      at = found;
    }
    const std::string line(reinterpret_cast<const char*>(view.asPascalStr()), view.getLength());
    demand(reader.isEndOfFile() || line.find_first_not_of(kBlanks) != std::string::npos);
  }

  // What was delivered is what the text has at the place.
  void check(const ZuSubString& view) {
    ++steps;
    const unsigned long length = view.getLength();
    const std::string rest = at < content.size() ? content.substr(at) : "";
    const std::string whole =
        rest.substr(0, rest.find('\n') == std::string::npos ? rest.size() : rest.find('\n') + 1);
    demand(whole.compare(0, length, reinterpret_cast<const char*>(view.asPascalStr()), length) == 0);
    demand(reader.isEndOfFile() == whole.empty());
    demand(reader.getPrevLineOffset() == static_cast<long long>(at));
    last = at;
    if (reader.isLineComplete()) {
      const bool endsInFeed = !whole.empty() && whole.back() == '\n';
      demand(length == whole.size() - (endsInFeed && !withFeed));
      at += whole.size();
    } else {
      demand(length == room - 4 && whole.size() >= room);
      at += length;
    }
    previousUnread = unread;
    unread = std::max(unread, at);
    demand(reader.getNextLineOffset() == static_cast<long long>(at));
  }

  const std::string& content;
  const unsigned long room;
  ZuFileByLine reader;
  unsigned steps = 0;
  unsigned long at = 0, last = 0, unread = 0, previousUnread = 0;
  bool withFeed = true;
};

}  // namespace filebylinefuzz

// The size of the buffer, the number of steps, the steps, and the content of the file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kMostSteps = 64;
  if (size < 2) return 0;
  const size_t steps = std::min(data[1] % kMostSteps, size - 2);
  const std::string content(reinterpret_cast<const char*>(data + 2 + steps), size - 2 - steps);

  // A new file for each input, in memory, which is opened by its name like any other.
  static const int file = memfd_create("lines", 0);
  static const std::string name = "/proc/self/fd/" + std::to_string(file);
  demand(ftruncate(file, 0) == 0);
  demand(pwrite(file, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()));

  filebylinefuzz::Reading reading(content, name, data[0] % 65);
  for (size_t i = 0; i < steps; ++i) reading.step(data[2 + i]);
  return 0;
}
