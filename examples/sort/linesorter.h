// Sorts lines of any length by a range of their bytes. Lines with equal keys stay in their order.
//
// The sorter takes records of one length, so a line becomes
//
//   | key, padded with zeros | number of the line | length | text, or where it is |
//
// A text that does not fit its record goes to a temporary file. Key and number are one key of the sorter:
// the number is stored with its highest byte first.

#ifndef EXAMPLES_SORT_LINESORTER_H
#define EXAMPLES_SORT_LINESORTER_H

#include <zulib/storage/sort.h>
#include <zulib/storage/tmp.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class LineSorter {
 public:
  // The key is bytes `first` to `last` of a line, counted from 1. `memory` is in bytes.
  LineSorter(unsigned first, unsigned last, unsigned long memory);

  // Operations return 0, or 1 after a record on the thread's error list.
  int add(std::string_view line);

  // The first line, and the next ones; `*isEnd` is set after the last one.
  int next(std::string* line, bool* isEnd);

  unsigned long getLineCount() const { return sorter.getRecordCount(); }
  unsigned getRunCount() const { return sorter.getRunCount(); }

 private:
  unsigned first;
  unsigned keyLength;
  std::vector<unsigned char> record;
  ZuSort sorter;
  ZuTmpFile longLines;
  bool isKeySet;
};

#endif
