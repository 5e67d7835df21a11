// The full-screen browser of a result: keys in, model and editor asked, screen drawn.

#ifndef TOOLS_ZUSQL_BROWSER_BROWSER_H
#define TOOLS_ZUSQL_BROWSER_BROWSER_H

#include <optional>
#include <string>

#include "tools/zusql/browser/editing.h"
#include "tools/zusql/browser/model.h"
#include "tools/zusql/browser/result.h"
#include "tools/zusql/browser/screen.h"

namespace zusql {

class Browser {
 public:
  Browser(Connection& connection, Result& result, const std::string& sql);

  // Until the user leaves.
  void run();

 private:
  void fitToScreen();
  void draw();
  void drawHeading();
  void drawRow(int line, std::int64_t row);
  std::string status() const;

  // False when the user leaves.
  bool take(int key);
  void takeMovement(int key);
  void takeColumnKey(int key);

  void jump();
  void askSearch(bool isForward, bool isInColumn);
  void searchAgain(bool isReversed);
  void showValue();
  void editCell();
  void deleteRow();
  bool leave();

  Connection& connection;
  Result& result;
  const std::string sql;
  Screen screen;
  BrowserModel model;
  RowEditor editor;
  std::optional<Search> search;
  std::string message;
};

}  // namespace zusql

#endif
