// Text as a terminal shows it: UTF-8 measured in columns, control characters made visible.

#ifndef TOOLS_ZUSQL_DISPLAY_H
#define TOOLS_ZUSQL_DISPLAY_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zusql {

// `text` as it may be sent to a terminal: control characters as pictures of one column (line feed is U+240A),
// bytes that are no UTF-8 and code points that have no width known as U+FFFD.
std::string visible(std::string_view text);

// The columns that `visible` text takes.
std::size_t columnsOf(std::string_view text);

// The bytes of the longest beginning of `visible` text that takes at most `columns` columns.
std::size_t bytesWithin(std::string_view text, std::size_t columns);

// `visible` text in exactly `columns` columns: filled with blanks, or cut, with "…" as its last character.
std::string fitted(std::string_view text, std::size_t columns, bool isRightAligned);

// Appends the character of `text` at `from`, and moves past it. Bytes that are no UTF-8 become U+FFFD each.
void appendValidUtf8(std::string& out, std::string_view text, std::size_t& from);

// A number with a comma between groups of three digits.
std::string grouped(std::int64_t number);

}  // namespace zusql

#endif
