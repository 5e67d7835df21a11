#include "zuodbc/sources/connectionstring.h"

#include <strings.h>

namespace dm {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool isSameWord(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string at(size_t offset) {
  return " at byte " + std::to_string(offset + 1) + " of the connection string";
}

// Reads a value in braces. `position` is that of the opening brace, and afterwards that of the end of the
// segment.
bool readBraced(std::string_view text, size_t& position, std::string& value, std::string& why) {
  const size_t opened = position++;
  for (;; ++position) {
    if (position >= text.size()) {
      why = "The brace opened" + at(opened) + " is not closed";
      return false;
    }
    if (text[position] == '}') {
      if (position + 1 >= text.size() || text[position + 1] != '}') break;
      ++position;
    }
    value += text[position];
  }
  ++position;
  const size_t end = std::min(text.find(';', position), text.size());
  if (!trimmed(text.substr(position, end - position)).empty()) {
    why = "Text follows the closing brace" + at(position);
    return false;
  }
  position = end;
  return true;
}

}  // namespace

bool ConnectionString::parse(std::string_view text, std::string& why) {
  attributes.clear();
  if (const size_t zero = text.find('\0'); zero != std::string_view::npos) {
    why = "There is a zero byte" + at(zero);
    return false;
  }
  size_t position = 0;
  while ((position = text.find_first_not_of(" \t\r\n;", position)) != std::string_view::npos) {
    const size_t sign = text.find_first_of("=;", position);
    if (sign == std::string_view::npos || text[sign] == ';') {
      why = "There is no '=' after the keyword" + at(position);
      return false;
    }
    Attribute attribute{std::string(trimmed(text.substr(position, sign - position))), {}};
    if (attribute.keyword.empty()) {
      why = "There is no keyword before the '='" + at(sign);
      return false;
    }
    position = text.find_first_not_of(kBlanks, sign + 1);
    if (position == std::string_view::npos) position = text.size();
    if (position < text.size() && text[position] == '{') {
      if (!readBraced(text, position, attribute.value, why)) return false;
    } else {
      const size_t end = std::min(text.find(';', position), text.size());
      attribute.value = trimmed(text.substr(position, end - position));
      position = end;
    }
    attributes.push_back(std::move(attribute));
  }
  return true;
}

const std::string* ConnectionString::find(std::string_view keyword) const {
  for (const Attribute& attribute : attributes) {
    if (isSameWord(attribute.keyword, keyword)) return &attribute.value;
  }
  return nullptr;
}

std::string ConnectionString::without(std::string_view keyword) const {
  std::string text;
  for (const Attribute& attribute : attributes) {
    if (isSameWord(attribute.keyword, keyword)) continue;
    text += attribute.keyword + '=' + quoteValue(attribute.value) + ';';
  }
  return text;
}

std::string quoteValue(std::string_view value) {
  const bool plain =
      value.find_first_of("[]{}(),;?*=!@") == std::string_view::npos && trimmed(value) == value;
  if (plain) return std::string(value);
  std::string quoted = "{";
  for (const char c : value) {
    quoted += c;
    if (c == '}') quoted += '}';
  }
  return quoted + '}';
}

}  // namespace dm
