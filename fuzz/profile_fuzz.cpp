// Arbitrary text as a profile: what is found in it, and what a write makes of it, must be what the plain
// rules say, and no byte outside the text is looked at.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tests/os/zuini_model.h"
#include "zulib/os/profiles/internal/zuinitext.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

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

void checkList(zuini::Bytes text, const std::string& section, size_t size) {
  zuini::Section place;
  if (!zuini::findSection(text, zuini::bytesOf(bytes(section)), &place)) return;
  std::unique_ptr<unsigned char[]> out(new unsigned char[size]);
  const unsigned long length = zuini::listKeys(text, place, {out.get(), size});
  demand(length <= size);
  demand(length == 0 || out[length - 1] == 0);
  demand(length < 2 || out[length - 2] == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const uint8_t how = *data++;
  --size;
  const std::string section = take(data, size);
  const std::string key = take(data, size);
  const std::string value = take(data, size);
  const std::string plain(reinterpret_cast<const char*>(data), size);
  std::unique_ptr<unsigned char[]> block(new unsigned char[size]);
  for (size_t i = 0; i < size; ++i) block[i] = data[i];
  const zuini::Bytes text(block.get(), size);

  checkValue(text, plain, section, key);
  checkList(text, section, how);

  const bool withKey = (how & 1) != 0;
  const bool withValue = (how & 2) != 0;
  const auto* newKey = withKey ? bytes(key) : nullptr;
  const auto* newValue = withValue ? bytes(value) : nullptr;
  if (!zuini::isWritable(zuini::bytesOf(bytes(section)), newKey, newValue)) return 0;
  const zuini::Edit edit(text, zuini::bytesOf(bytes(section)), newKey, newValue);
  const std::string written = joined(edit);
  demand(written == inimodel::write(plain, section, withKey ? &key : nullptr, withValue ? &value : nullptr));
  demand(edit.getLength() == written.size());
  demand(edit.isSameAs(text) == (written == plain));
  return 0;
}
