// What a connection is made with: the keywords of a connection string and of a data source.

#ifndef PGWIRE_LOGIN_SETTINGS_H
#define PGWIRE_LOGIN_SETTINGS_H

#include <cstdint>

#include "base/array.h"

namespace pgwire {

struct Settings {
  Text dataSource;
  Text driver;
  Text server;
  Text port;
  Text database;
  Text user;
  Text password;
  Text applicationName;
  Text options;             // the server's command line options, as "-c search_path=shop"
  Text kerberosName;        // of the service; "postgres" unless given
  Text gssLibrary;          // file name; the library's default unless given
  uint32_t loginWait = 15;  // seconds, 0 for no limit
  long textSize = 8190;     // the column size of text types that have no limit
  bool logStream = false;   // write a data-stream log
  bool readOnly = false;
};

}  // namespace pgwire

#endif
