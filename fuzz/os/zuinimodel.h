// The rules of profile files once more, byte by byte over a std::string and without regard to speed, for the
// C locale. What the library does is compared with it.

#ifndef ZULIB_FUZZ_OS_ZUINIMODEL_H
#define ZULIB_FUZZ_OS_ZUINIMODEL_H

#include <strings.h>

#include <algorithm>
#include <optional>
#include <string>

namespace inimodel {

using Text = std::string;
constexpr size_t kNone = Text::npos;

inline bool same(const Text& a, const Text& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const auto fold = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; };
    if (fold(a[i]) != fold(b[i])) return false;
  }
  return true;
}

struct Place {
  size_t start = kNone;  // "["
  size_t close = kNone;  // "]"
  size_t end = kNone;
};

inline std::optional<Place> section(const Text& text, const Text& name) {
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '[') continue;
    const size_t close = text.find(']', at);
    if (close == kNone) return std::nullopt;
    const bool first = at == 0 || text[at - 1] == '\n';
    if (first && same(text.substr(at + 1, close - at - 1), name)) {
      const size_t next = text.find('[', close);
      return Place{at, close, next == kNone ? text.size() : next};
    }
    at = close - 1;
  }
  return std::nullopt;
}

struct Line {
  size_t start, end;  // with its line feed
  Text value;
};

inline std::optional<Line> entry(const Text& text, size_t header, const Text& key) {
  size_t start = text.find('\n', header);
  while (start != kNone) {
    ++start;
    const size_t feed = text.find('\n', start);
    const Text line = text.substr(start, feed == kNone ? kNone : feed - start);
    const size_t first = line.find_first_not_of(" \t");
    if (first != kNone && line[first] == '[') return std::nullopt;
    const size_t stop = first == kNone ? kNone : line.find_first_of("= \t", first);
    if (stop != kNone && line[first] != ';' && line[first] != '#' &&
        same(line.substr(first, stop - first), key)) {
      const size_t value = line.find_first_not_of("= \t", stop);
      return Line{start, feed == kNone ? text.size() : feed + 1, value == kNone ? "" : line.substr(value)};
    }
    start = feed;
  }
  return std::nullopt;
}

// An empty value is none.
inline Text value(const Text& text, const Text& name, const Text& key, const Text& otherwise) {
  const auto place = section(text, name);
  const auto line = place ? entry(text, place->start, key) : std::nullopt;
  return line && !line->value.empty() ? line->value : otherwise;
}

// The list of keys without a limit; empty when there is none.
inline Text keys(const Text& text, const Text& name) {
  const auto place = section(text, name);
  Text list;
  size_t line = place ? text.find('\n', place->close) : kNone;
  while (line != kNone && ++line < place->end) {
    const size_t feed = text.find('\n', line);
    const Text whole = text.substr(line, std::min(feed, place->end) - line);
    const size_t first = whole.find_first_not_of(" \t");
    const bool isBlank = first == kNone || whole.substr(first) == "\r";
    const size_t equals = whole.find('=');
    if (!isBlank && whole[first] != ';' && whole[first] != '#') {
      Text key = whole.substr(first, equals == kNone ? kNone : equals - first);
      while (equals != kNone && !key.empty() && (key.back() == ' ' || key.back() == '\t')) key.pop_back();
      list += key + (equals == kNone ? "" : Text(1, 0));
    }
    line = feed;
  }
  if (!list.empty() && list.back() != 0) list += '\0';
  return list.empty() ? list : list + '\0';
}

// Whether a write is refused, because it could not be read back or would change what is read of others.
inline bool isRefused(const Text& name, const Text* key, const Text* newValue) {
  const auto opens = [](const Text& text) {
    const size_t open = text.rfind('[');
    return open != kNone && text.find(']', open) == kNone;
  };
  if (name.find_first_of("]\n") != kNone) return true;
  if (key &&
      (key->empty() || key->find_first_of("= \t\n") != kNone || Text(";#[").find(key->front()) != kNone))
    return true;
  if (newValue && newValue->find('\n') != kNone) return true;
  return (key && opens(*key)) || (newValue && opens(*newValue));
}

inline Text write(const Text& text, const Text& name, const Text* key, const Text* newValue) {
  const Text header = "[" + name + "]\n";
  const Text added = key && newValue ? *key + "=" + *newValue + "\n" : "";
  const auto place = section(text, name);
  if (!place) {
    if (added.empty()) return text;
    return text + (!text.empty() && text.back() != '\n' ? "\n" : "") + header + added;
  }
  if (!key) return text.substr(0, place->start) + text.substr(place->end);
  if (const auto line = entry(text, place->start, *key)) {
    return text.substr(0, line->start) + added + text.substr(line->end);
  }
  const size_t feed = text.find('\n', place->close);
  return text.substr(0, place->start) + header + added + (feed == kNone ? "" : text.substr(feed + 1));
}

}  // namespace inimodel

#endif
