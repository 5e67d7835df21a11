// Connection strings: their attributes, and how passwords stay out of sight.

#ifndef TOOLS_ZUSQL_CONNECTIONSTRING_H
#define TOOLS_ZUSQL_CONNECTIONSTRING_H

#include <string>
#include <string_view>

namespace zusql {

// True if the string has a password, also an empty one.
bool hasPassword(std::string_view connectionString);

// The string with its passwords taken out, for messages and the prompt.
std::string withoutPassword(std::string_view connectionString);

// The string with a password added.
std::string withPassword(std::string_view connectionString, std::string_view password);

// The string with what makes a driver (by its SQL_DRIVER_NAME) give rows as they come, where it would
// otherwise hold a whole result in memory. An option that the string has stays.
std::string withStreaming(std::string_view connectionString, std::string_view driver);

// A short name for the prompt: the data source, the database, or the driver.
std::string shortName(std::string_view connectionString);

// Overwrites the values of passwords in the arguments of this process, which `ps` shows.
void hidePasswords(int argc, char** argv);

// Asks on the terminal, without echo. Throws std::runtime_error without a terminal.
std::string askForPassword(const std::string& what);

}  // namespace zusql

#endif
