// Arbitrary text as a profile: what is found in it, and what a write makes of it, must be what the plain
// rules say, and no byte outside the text is looked at.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/os/zuinimodel.h"
#include "zulib/os/profiles/internal/zuinitext.h"

namespace profilefuzz {

// Takes the text up to the next zero byte off the input. Names and values hold none.
std::string take(const uint8_t*& data, size_t& size) {
  std::string taken;
  while (size > 0 && *data != 0) {
    taken += static_cast<char>(*data);
    ++data;
    --size;
  }
  if (size > 0) {
    ++data;
    --size;
  }
  return taken;
}

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }

std::string joined(const zuini::Edit& edit) {
  std::string all;
  for (const zuini::Bytes& piece : edit.getPieces()) all.append(piece.begin(), piece.end());
  return all;
}

void checkValue(zuini::Bytes text, const std::string& plain, const std::string& section,
                const std::string& key) {
  zuini::Section place;
  const bool isThere = zuini::findSection(text, zuini::bytesOf(bytes(section)), &place);
  const auto expected = inimodel::section(plain, section);
  demand(isThere == expected.has_value());
  if (!isThere) return;
  demand(place.start == text.data() + expected->start && place.close == text.data() + expected->close);
  demand(zuini::sectionEnd(text, place) == text.data() + expected->end);
  zuini::Entry entry;
  const bool hasEntry = zuini::findEntry(text, place.start, zuini::bytesOf(bytes(key)), &entry);
  const auto line = inimodel::entry(plain, expected->start, key);
  demand(hasEntry == line.has_value());
  if (!hasEntry) return;
  demand(entry.line == text.data() + line->start);
  demand(std::string(entry.value, entry.valueEnd) == line->value);
}

void checkList(zuini::Bytes text, const std::string& plain, const std::string& section, size_t size) {
  zuini::Section place;
  if (!zuini::findSection(text, zuini::bytesOf(bytes(section)), &place)) return;
  const std::unique_ptr<unsigned char[]> out(new unsigned char[size]);
  const unsigned long length = zuini::listKeys(text, place, {out.get(), size});
  const std::string listed(reinterpret_cast<const char*>(out.get()), length);
  const std::string list = inimodel::keys(plain, section);
  if (list.size() <= size) return demand(listed == list);
  // What does not fit is cut, and ends like a whole list.
  const size_t end = std::min<size_t>(size, 2);
  demand(length == size && listed == list.substr(0, size - end) + std::string(end, 0));
}

// One write into `plain`, as the file's code and the model make it. Returns the text after it.
std::string checkWrite(uint8_t how, const std::string& plain, const std::string& section,
                       const std::string& key, const std::string& value) {
  const std::unique_ptr<unsigned char[]> block(new unsigned char[plain.size()]);
  std::copy(plain.begin(), plain.end(), block.get());
  const zuini::Bytes text(block.get(), plain.size());
  checkValue(text, plain, section, key);
  checkList(text, plain, section, how);

  const bool withKey = (how & 1) != 0;
  const bool withValue = (how & 2) != 0;
  const auto* newKey = withKey ? bytes(key) : nullptr;
  const auto* newValue = withValue ? bytes(value) : nullptr;
  const bool writable = zuini::isWritable(zuini::bytesOf(bytes(section)), newKey, newValue);
  demand(writable != inimodel::isRefused(section, withKey ? &key : nullptr, withValue ? &value : nullptr));
  if (!writable) return plain;
  const zuini::Edit edit(text, zuini::bytesOf(bytes(section)), newKey, newValue);
  std::string written = joined(edit);
  demand(written == inimodel::write(plain, section, withKey ? &key : nullptr, withValue ? &value : nullptr));
  demand(edit.getLength() == written.size());
  demand(edit.isSameAs(text) == (written == plain));
  return written;
}

}  // namespace profilefuzz

// A number of writes, each with a byte that says how, a section, a key and a value; then the text they begin
// with.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace profilefuzz;
  struct Write {
    uint8_t how;
    std::string section, key, value;
  };
  if (size < 1) return 0;
  std::vector<Write> writes(*data % 6u + 1);
  ++data;
  --size;
  for (Write& write : writes) {
    write.how = size > 0 ? *data : 3;
    if (size > 0) {
      ++data;
      --size;
    }
    write.section = take(data, size);
    write.key = take(data, size);
    write.value = take(data, size);
  }
  std::string text(reinterpret_cast<const char*>(data), size);
  for (const Write& write : writes) text = checkWrite(write.how, text, write.section, write.key, write.value);
  return 0;
}
