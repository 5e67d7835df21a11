// The attributes of a connection: those of its connection string, and for the others the settings of its data
// source.

#ifndef EXAMPLES_DSN_ATTRIBUTES_H
#define EXAMPLES_DSN_ATTRIBUTES_H

#include <zulib/language/zuvalueparser.h>

#include <functional>
#include <string>

class Attributes {
 public:
  // With `keepFirst` a keyword may come twice, and its first value counts.
  Attributes(const std::string& connectionString, bool keepFirst);

  // Operations return 0, or 1 after a record on the thread's error list.

  // Reads the connection string.
  int parse();

  // Adds what the section of the data source in the profile file has beyond that. `*isFound` is false if the
  // string names a data source that has no section.
  int mergeProfile(const std::string& profile, bool* isFound);

  // The value without its quotes, under one of two words of which only one may be there; empty if neither is.
  int getValue(const char* word, const char* synonym, std::string* value);

  using Visit = std::function<void(const std::string& word, const std::string& value, bool isFromProfile)>;
  void visitAll(const Visit& visit);

  // All of them as one connection string.
  int build(std::string* text);

 private:
  std::string text;
  ZuSubString view;
  ZuValueParser parser;
  unsigned long fromString = 0;  // the first so many attributes are those of the string
};

#endif
