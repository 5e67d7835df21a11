// The driver's own failures and warnings: a message number with its SQLSTATE; the texts are in the catalog
// zupgwire.mo. A record goes on the calling thread's error list, which is that of the handle of the call.

#ifndef PGWIRE_BASE_ERRORS_H
#define PGWIRE_BASE_ERRORS_H

#include <zulib/errors/zuerror.h>

#include <cstdint>
#include <string_view>

namespace pgwire {

// Numbers of the catalog; the library's own end at 7511 and begin again at 30041.
enum class Issue : unsigned short {
  UnusedKeyword = 9100,
  BadKeyword,
  NoServer,
  LoginTimedOut,
  ServerSilent,
  BadMessage,
  UnknownLogin,
  BadServerProof,
  NoPassword,
  ConnectionIsDead,
  StringTruncated = 9110,
  FractionTruncated,
  OutOfRange,
  NotConvertible,
  NoSuchConversion,
  IndicatorNeeded,
  BadDateTime,
  NoData,
  StringTooLong,
  BadHexadecimal,
  BadColumn = 9130,
  BadParameter,
  NoCursor,
  NoStatement,
  UnboundParameter,
  NotSupported,
  BadLength,
  BadAttributeValue,
  BadAttribute,
  ForwardOnly,
  RolledBack = 9140,
  ValueChanged,
  CursorOpen,
  BadSequence,
  BadDescriptorField,
  ReadOnlyDescriptor,
  BadEscape,
  DescriptorInUse,
  BadPrecision = 9149,
  BadInfoType = 9150,
  RowFailed,
  QueryTimedOut,
  BadTransactionOperation,
  TransactionOpen,
  NotSingleRow,
  BadCursorName,
  DuplicateCursorName,
  BadBufferType,
  BadDescriptorType,
  NoDataSource = 9160,
  IntervalOverflow,
  BadParameterType,
};

const char* sqlstateOf(Issue issue);

// Put a record on the list, and return it for its parameters.
ZuError& postError(Issue issue);
ZuError& postWarning(Issue issue);

// The same, for `return fail(...)`: 1.
template <class... Parameters>
int fail(Issue issue, const Parameters&... parameters) {
  ZuError& error = postError(issue);
  static_cast<void>((error << ... << parameters));
  return 1;
}

inline ZuSubString viewOf(std::string_view text) {
  return ZuSubString(reinterpret_cast<const unsigned char*>(text.data()), text.size(), zuCPUTF8);
}

// A record with the row and the column of the result that it is about; 0 for neither.
class Diagnostic : public ZuError {
 public:
  using ZuError::ZuError;
  long row = 0;
  long column = 0;
};

// The records of a handle. `row` and `column` go to the records that are made from then on.
class DiagnosticList : public ZuErrorList {
 public:
  DiagnosticList() : ZuErrorList(nullptr, 1) {}

  ZuError* allocError(unsigned short number, const unsigned char* text, zuCPType page, ErrorType type,
                      unsigned short interfaceError, long native) override;
  ZuError* allocError(unsigned short number, const unsigned short* text, ErrorType type,
                      unsigned short interfaceError, long native) override;

  void setPlace(long newRow, long newColumn) {
    row = newRow;
    column = newColumn;
  }

 private:
  ZuError* placed(Diagnostic* record) const;
  long row = 0;
  long column = 0;
};

}  // namespace pgwire

#endif
