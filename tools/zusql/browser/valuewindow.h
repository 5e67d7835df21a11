// A long value over the whole screen.

#ifndef TOOLS_ZUSQL_BROWSER_VALUEWINDOW_H
#define TOOLS_ZUSQL_BROWSER_VALUEWINDOW_H

#include <string>

#include "tools/zusql/browser/longtext.h"
#include "tools/zusql/browser/screen.h"

namespace zusql {

class ValueWindow {
 public:
  ValueWindow(Screen& screen, std::string title, LongText::Reader reader);

  // Until the user closes it.
  void run();

 private:
  void draw();
  bool take(int key);
  void toEnd();
  std::int64_t height() const { return std::max(screen.rows() - 2, 1); }

  Screen& screen;
  const std::string title;
  LongText text;
  std::int64_t top = 0;
};

}  // namespace zusql

#endif
