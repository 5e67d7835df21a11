// The message numbers of the catalog "odbc.m", component 524. The number holds the text, number + 1 the
// SQLSTATE; both are in catalog/*/odbc.msg.

#ifndef ZULIB_CURSOR_INTERNAL_MESSAGES_H
#define ZULIB_CURSOR_INTERNAL_MESSAGES_H

namespace clmsg {

enum Number : unsigned short {
  ConcurrencyLowered = 4,
  DataTruncated = 24,
  RowError = 28,
  OptionValueChanged = 32,
  NoRowTouched = 36,
  ManyRowsTouched = 40,
  InvalidCursorState = 60,
  CursorNameNotFound = 64,
  PositionedStatementInvalid = 68,
  TempFileCreate = 120,
  TempFileRead = 124,
  TempFileWrite = 128,
  TempFileClose = 132,
  OutOfMemory = 136,
  ColumnBeyondResult = 140,
  BookmarksOff = 162,
  BookmarkLength = 174,
  DirectionNotPossible = 238,
  RowOutOfRowset = 242,
  RowGone = 252,
  NotSupported = 264,
  NoSearchableColumn = 272,
  JoinNotUpdatable = 276,
  ReselectNotSelect = 284,
  ReselectGrouped = 288,
  ParameterArrays = 292,
  RowTooLong = 296,
  GetDataOnForwardCursor = 300,
  NoBoundColumns = 304,
  DriverBindFailed = 308,
  BindingFixed = 316,
  BinaryWithoutLength = 320,
  RowsetMovedToStart = 324,
  ColumnError = 332,
  BookmarkColumnNotPossible = 376,
  Cancelled = 388,
  OperationNotSupported = 392,
  NoBookmarkPointer = 404,
  NullArgument = 408,
  NoStatementText = 412,
  ResultLost = 416,
  NotExecuted = 460,
  FetchMixed = 464,
  TypeNotMappable = 504,
};

}  // namespace clmsg

#endif
