// Sending parameters: bound values, arrays of them, and values that come while the statement is executed.

#ifndef PGWIRE_ODBC_PARAMETERS_H
#define PGWIRE_ODBC_PARAMETERS_H

#include <zulib/convert/converters/zubinaryconverter.h>
#include <zulib/convert/converters/zucharconverterinput.h>

#include <memory>

#include "odbc/handles.h"
#include "wire/request.h"

namespace pgwire {

// Prepares on the server if need be, and executes once for each set of parameters. SQL_NEED_DATA if a value
// is to be put.
SQLRETURN executeWithParameters(Statement& stmt);

// A parameter's value in one set: where it is and how long.
struct BoundValue {
  SQLSMALLINT cType = SQL_C_CHAR;
  SQLPOINTER data = nullptr;
  SQLLEN length = SQL_NTS;  // an octet length, or SQL_NTS, SQL_NULL_DATA, or data at execution
  bool isNull() const { return length == SQL_NULL_DATA; }
  bool isAtExecution() const { return length == SQL_DATA_AT_EXEC || length <= SQL_LEN_DATA_AT_EXEC_OFFSET; }
};

// The Bind messages of an execution while they are built. It lives from SQLExecute to the end of the data at
// execution.
class ParameterStream {
 public:
  explicit ParameterStream(Statement& stmt) : stmt(stmt) {}
  ~ParameterStream();

  [[nodiscard]] int initialize() { return request.initialize(); }

  // Goes on with the parameters, and executes when all are there.
  SQLRETURN proceed();
  // Takes the value that `proceed` stopped at as ended.
  [[nodiscard]] int endPut();
  [[nodiscard]] int put(SQLPOINTER data, SQLLEN length);
  // Executes the next set of an array whose sets have results or outputs; SQL_NO_DATA after the last one.
  SQLRETURN executeNext();
  bool hasNext() const { return isSequential && next < batch.size(); }
  // The application's word for the value that is wanted.
  SQLPOINTER token() const { return wanted.data; }

 private:
  class Sink;
  class Source;

  // The parameter that is being sent, from 0.
  unsigned current() const { return stmt.text.sent[stmt.put.number]; }
  BoundValue locate(unsigned number) const;
  bool isBinary(unsigned number) const;
  bool isIgnored() const;
  void setStatus(SQLULEN set, SQLUSMALLINT status);
  int beginSet();
  int endSet();
  int addValue(unsigned number, const BoundValue& value);
  int addText(const BoundValue& value);
  int addHex(const BoundValue& value);
  int openConverter();
  int executeBatch();
  int takeBatchReply(SQLULEN set);
  SQLRETURN finishArray();
  void countSet(SQLULEN set, bool failed);

  Statement& stmt;
  Request request;
  bool inSet = false;
  BoundValue wanted;  // the value at execution that is being put
  // The sets that are built and not executed, and where each ends in the request.
  struct Set {
    SQLULEN number;
    unsigned long end;
  };
  Array<Set> batch;
  bool isSequential = false;  // sets are executed one by one, for their results
  std::size_t next = 0;       // of `batch`, if so
  SQLLEN total = 0;           // rows affected by all sets
  SQLULEN failures = 0;
  SQLULEN executed = 0;
  std::unique_ptr<ZuCharConverterInput> characters;
  std::unique_ptr<ZuBinaryConverterInput> binary;
  Source* source = nullptr;
  Sink* sink = nullptr;
};

}  // namespace pgwire

#endif
