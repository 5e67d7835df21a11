// Connection strings: KEYWORD=value;KEYWORD={value with ; in it};...
//
// Keywords are read without regard to case, and the first of several counts. A value in braces runs to
// the closing brace; a doubled closing brace is one in the value. Blanks around a keyword and around a
// value without braces are not part of them. Empty segments are passed over.

#ifndef ZULIB_DRIVERMANAGER_INTERNAL_CONNECTIONSTRING_H
#define ZULIB_DRIVERMANAGER_INTERNAL_CONNECTIONSTRING_H

#include <string>
#include <string_view>
#include <vector>

namespace dm {

class ConnectionString {
 public:
  struct Attribute {
    std::string keyword;
    std::string value;
  };

  // False when the text is malformed; `why` then says what is wrong, and where. Values are not repeated
  // in it: they may be secrets.
  bool parse(std::string_view text, std::string& why);

  // The value of the first attribute with this keyword, or null.
  const std::string* find(std::string_view keyword) const;

  const std::vector<Attribute>& all() const { return attributes; }

 private:
  std::vector<Attribute> attributes;
};

// The value as it stands in a connection string: in braces when it needs them.
std::string quoteValue(std::string_view value);

}  // namespace dm

#endif
