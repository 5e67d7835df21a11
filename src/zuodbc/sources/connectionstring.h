// Connection strings: KEYWORD=value;KEYWORD={value with ; in it};...
//
// Keywords are compared without regard to case; of several equal ones the first counts. A value in braces
// ends at the closing brace; two closing braces are one in the value. Blanks around a keyword and around a
// value without braces are not part of them. Empty segments are skipped.

#ifndef ZUODBC_SOURCES_CONNECTIONSTRING_H
#define ZUODBC_SOURCES_CONNECTIONSTRING_H

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

  // Returns false if the text is malformed; `why` then says what is wrong, and where. It repeats no values:
  // they may be secrets.
  bool parse(std::string_view text, std::string& why);

  // The value of the first attribute with this keyword, or null.
  const std::string* find(std::string_view keyword) const;

  // A connection string of all attributes but those with this keyword.
  std::string without(std::string_view keyword) const;

  const std::vector<Attribute>& all() const { return attributes; }

 private:
  std::vector<Attribute> attributes;
};

// The value in the form of a connection string: in braces if it needs them.
std::string quoteValue(std::string_view value);

}  // namespace dm

#endif
