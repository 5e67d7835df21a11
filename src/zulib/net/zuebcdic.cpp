#include "zulib/net/zuebcdic.h"

#include <array>

namespace {

// `count` bytes from `ebcdic` on stand for consecutive ASCII characters.
struct Run {
  unsigned char ebcdic;
  unsigned char count;
  char ascii;
};

constexpr Run kRuns[] = {
    {0x81, 9, 'a'},  {0x91, 9, 'j'}, {0xA2, 8, 's'}, {0xC1, 9, 'A'}, {0xD1, 9, 'J'},  {0xE2, 8, 'S'},
    {0xF0, 10, '0'}, {0x40, 1, ' '}, {0x4C, 1, '<'}, {0x4D, 1, '('}, {0x4E, 1, '+'},  {0x4F, 1, '|'},
    {0x50, 1, '&'},  {0x5A, 1, '!'}, {0x5B, 1, '$'}, {0x5C, 1, '*'}, {0x5D, 1, ')'},  {0x5E, 1, ';'},
    {0x60, 1, '-'},  {0x61, 1, '/'}, {0x6B, 1, ','}, {0x6C, 1, '%'}, {0x6D, 1, '_'},  {0x6E, 1, '>'},
    {0x6F, 1, '?'},  {0x7A, 1, ':'}, {0x7B, 1, '#'}, {0x7C, 1, '@'}, {0x7D, 1, '\''}, {0x7E, 1, '='},
    {0x7F, 1, '"'},  {0xB9, 1, '`'},
};

constexpr std::array<unsigned char, 256> kAscii = [] {
  std::array<unsigned char, 256> table = {};
  table.fill('.');
  for (const Run& run : kRuns) {
    for (int i = 0; i < run.count; ++i) table[run.ebcdic + i] = static_cast<unsigned char>(run.ascii + i);
  }
  return table;
}();

}  // namespace

unsigned char ZuEbcdicToAscii(unsigned char byte) { return kAscii[byte]; }
