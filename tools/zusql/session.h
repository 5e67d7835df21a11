// A session with a data source: its connection, its settings, and how a statement is run and shown.

#ifndef TOOLS_ZUSQL_SESSION_H
#define TOOLS_ZUSQL_SESSION_H

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/zusql/formats.h"
#include "tools/zusql/odbc.h"
#include "tools/zusql/output.h"

namespace zusql {

struct Settings {
  FormatOptions format;
  bool isTiming = false;
  bool isBrowsing = false;      // results of queries open in the browser
  std::size_t cellBytes = 256;  // of a value that the browser holds for its screen
  bool isInteractive = false;   // somebody is at the terminal
};

class Session {
 public:
  explicit Session(const Settings& settings) : settings(settings) {}

  // Connects, and asks for the password where `asks` is set or the data source wants one that the string does
  // not have. A connection that is open is closed first. An empty string is that of the last connection.
  // Throws OdbcError.
  void connect(const std::string& connectionString, bool asks = false);

  // Throws std::runtime_error if there is none.
  Connection& connection();
  bool isConnected() const { return current != nullptr; }

  // Runs a statement and shows its results. Throws OdbcError and std::runtime_error.
  void run(const std::string& sql);

  // Writes the result of a query to a file, with progress on the terminal.
  void exportTo(const std::string& path, const std::string& sql);

  // Reports a failure on the standard error. After a lost connection the session has none.
  void report(const std::exception& failure);

  // All output goes to the file from now on; an empty path is the standard output.
  void redirect(const std::string& path);

  // A name of the data source for the prompt.
  std::string name() const;

  Output& out() { return file ? *file : standard; }
  Settings settings;

 private:
  void runToOutput(const std::string& sql);
  void browse(const std::string& sql);
  void open(const std::string& connectionString);
  bool wantsPassword(const OdbcError& failure) const;

  std::string lastString;  // with the password, so that the connection can be opened again
  std::unique_ptr<Connection> current;
  Output standard;
  std::unique_ptr<Output> file;
};

}  // namespace zusql

#endif
