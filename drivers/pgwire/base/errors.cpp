#include "base/errors.h"

#include <algorithm>
#include <iterator>

namespace pgwire {

namespace {

struct Row {
  Issue issue;
  char state[6];
};

constexpr Row kStates[] = {
    {Issue::UnusedKeyword, "01S00"},
    {Issue::BadKeyword, "HY000"},
    {Issue::NoServer, "HY000"},
    {Issue::LoginTimedOut, "HYT00"},
    {Issue::ServerSilent, "08S01"},
    {Issue::BadMessage, "08S01"},
    {Issue::UnknownLogin, "28000"},
    {Issue::BadServerProof, "28000"},
    {Issue::NoPassword, "28000"},
    {Issue::ConnectionIsDead, "08S01"},
    {Issue::StringTruncated, "01004"},
    {Issue::FractionTruncated, "01S07"},
    {Issue::OutOfRange, "22003"},
    {Issue::NotConvertible, "22018"},
    {Issue::NoSuchConversion, "07006"},
    {Issue::IndicatorNeeded, "22002"},
    {Issue::BadDateTime, "22007"},
    {Issue::NoData, "HY010"},
    {Issue::StringTooLong, "22001"},
    {Issue::BadHexadecimal, "22018"},
    {Issue::BadColumn, "07009"},
    {Issue::BadParameter, "07009"},
    {Issue::NoCursor, "24000"},
    {Issue::NoStatement, "HY010"},
    {Issue::UnboundParameter, "07002"},
    {Issue::NotSupported, "HYC00"},
    {Issue::BadLength, "HY090"},
    {Issue::BadAttributeValue, "HY024"},
    {Issue::BadAttribute, "HY092"},
    {Issue::ForwardOnly, "HY106"},
    {Issue::RolledBack, "25S03"},
    {Issue::ValueChanged, "01S02"},
    {Issue::CursorOpen, "24000"},
    {Issue::BadSequence, "HY010"},
    {Issue::BadDescriptorField, "HY091"},
    {Issue::ReadOnlyDescriptor, "HY016"},
    {Issue::BadEscape, "42000"},
    {Issue::DescriptorInUse, "HY017"},
    {Issue::BadPrecision, "HY104"},
    {Issue::BadInfoType, "HY096"},
    {Issue::RowFailed, "01S01"},
    {Issue::QueryTimedOut, "HYT00"},
    {Issue::BadTransactionOperation, "HY012"},
    {Issue::TransactionOpen, "25000"},
    {Issue::NotSingleRow, "HYC00"},
    {Issue::BadCursorName, "34000"},
    {Issue::DuplicateCursorName, "3C000"},
    {Issue::BadBufferType, "HY003"},
    {Issue::BadDescriptorType, "HY021"},
    {Issue::NoDataSource, "IM002"},
    {Issue::IntervalOverflow, "22015"},
    {Issue::BadParameterType, "HY105"},
};

ZuError& stamp(ZuError& error, Issue issue) {
  error.setInterfaceCode(sqlstateOf(issue));
  return error;
}

}  // namespace

const char* sqlstateOf(Issue issue) {
  const auto* row =
      std::find_if(std::begin(kStates), std::end(kStates), [&](const Row& r) { return r.issue == issue; });
  return row == std::end(kStates) ? "HY000" : row->state;
}

ZuError& postError(Issue issue) { return stamp(addError(static_cast<unsigned short>(issue)), issue); }
ZuError& postWarning(Issue issue) { return stamp(addWarning(static_cast<unsigned short>(issue)), issue); }

ZuError* DiagnosticList::placed(Diagnostic* record) const {
  if (record) {
    record->row = row;
    record->column = column;
  }
  return record;
}

ZuError* DiagnosticList::allocError(unsigned short number, const unsigned char* text, zuCPType page,
                                    ErrorType type, unsigned short interfaceError, long native) {
  return placed(new Diagnostic(number, text, page, type, interfaceError, native));
}

ZuError* DiagnosticList::allocError(unsigned short number, const unsigned short* text, ErrorType type,
                                    unsigned short interfaceError, long native) {
  return placed(new Diagnostic(number, text, type, interfaceError, native));
}

}  // namespace pgwire
