// zudsn: prints what a connection string means: its attributes, merged with the settings of its data source.
// Passwords are not shown.
//
//   zudsn 'DSN=mydata;UID=scott'

#include <strings.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include <zulib/errors/zuerror.h>

#include "attributes.h"

namespace {

constexpr const char* kPasswords[] = {"PWD", "Password"};

bool isPassword(const std::string& word) {
  for (const char* password : kPasswords) {
    if (strcasecmp(word.c_str(), password) == 0) return true;
  }
  return false;
}

void print(const std::string& word, const std::string& value, bool isFromProfile) {
  std::printf("%-24s %-32s %s\n", word.c_str(), isPassword(word) ? "********" : value.c_str(),
              isFromProfile ? "(data source)" : "");
}

int show(Attributes& attributes, const std::string& profile, bool asString) {
  bool isFound = false;
  std::string value;
  if (attributes.parse() || attributes.getValue(kPasswords[0], kPasswords[1], &value) ||
      attributes.mergeProfile(profile, &isFound))
    return 1;
  if (!isFound) {
    std::fprintf(stderr, "zudsn: the data source has no section in %s\n", profile.c_str());
    return 1;
  }
  if (!asString) {
    attributes.visitAll(print);
    return 0;
  }
  if (attributes.build(&value)) return 1;
  std::puts(value.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Prints what an ODBC connection string means."};
  std::string text;
  std::string profile = ".odbc.ini";
  bool asString = false;
  bool keepFirst = false;
  app.add_option("text", text, "the connection string")->required();
  app.add_option("--profile", profile, "the profile file with the data sources")->capture_default_str();
  app.add_flag("--string", asString, "print one connection string, passwords included");
  app.add_flag("--keep-first", keepFirst, "of a keyword that comes twice, the first value counts");
  CLI11_PARSE(app, argc, argv);

  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  int failed;
  {
    Attributes attributes(text, keepFirst);
    failed = show(attributes, profile, asString);
  }
  if (ZuError* const error = errors.getLastError()) {
    std::fprintf(stderr, "zudsn: %d: %s\n", error->getErrorNumber(),
                 reinterpret_cast<const char*>(error->getErrorText()));
  }
  ZuErrorKeeper::giveUpErrorList();
  return failed;
}
