#include "odbc/parameters.h"

#include <algorithm>

#include "odbc/call.h"
#include "odbc/entry.h"
#include "odbc/execute.h"
#include "odbc/text.h"

namespace pgwire {

namespace {

// More is not sent before replies are read: a server that waits for us to read must not keep us waiting to
// write.
constexpr unsigned long kBatchBytes = 32768;

std::size_t textBytes(const BoundValue& value) {
  if (value.length >= 0) return static_cast<std::size_t>(value.length);
  return value.cType == SQL_C_WCHAR
             ? sizeof(SQLWCHAR) * lengthOf(static_cast<const SQLWCHAR*>(value.data), SQL_NTS)
             : lengthOf(static_cast<const SQLCHAR*>(value.data), SQL_NTS);
}

}  // namespace

// Takes converted bytes into the value that is being built.
class ParameterStream::Sink : public ZuDataSink {
 public:
  explicit Sink(Request& request) : ZuDataSink(0), request(request) {}
  int init() override { return 0; }
  int reset() override { return 0; }
  int writeData(const void* data, unsigned long size, int) override { return request.bytes(data, size); }
  int getData(void**, unsigned long*, int*) override { return 1; }
  int dataWritten(unsigned long, int) override { return 0; }

 private:
  Request& request;
};

// One piece of the application's data at a time.
class ParameterStream::Source : public ZuDataSource {
 public:
  void set(const void* newData, unsigned long newLength) {
    data = static_cast<const unsigned char*>(newData);
    length = newLength;
  }
  int init() override { return 0; }
  int reset() override { return 0; }
  int getData(const void** region, unsigned long* size, int* more) override {
    *region = data;
    *size = length;
    *more = 0;
    length = 0;
    return 0;
  }
  int getData(void* buffer, unsigned long max, unsigned long* got, int* more) override {
    *got = std::min(max, length);
    std::memcpy(buffer, data, *got);
    data += *got;
    length -= *got;
    *more = length > 0 ? 1 : 0;
    return 0;
  }

 private:
  const unsigned char* data = nullptr;
  unsigned long length = 0;
};

ParameterStream::~ParameterStream() = default;

BoundValue ParameterStream::locate(unsigned number) const {
  const Descriptor& apd = *stmt.params;
  const DescriptorRecord& record = apd.records[number];
  BoundValue value;
  value.cType = record.conciseType;
  if (value.cType == SQL_C_DEFAULT) value.cType = defaultCType(stmt.parameters.records[number].conciseType);
  const SQLULEN set = stmt.put.set;
  const SQLLEN offset = apd.bindOffset ? *apd.bindOffset : 0;
  const SQLLEN fixed = sizeOfCType(value.cType);
  const bool byColumn = apd.bindType == SQL_BIND_BY_COLUMN;
  const SQLLEN dataStep = byColumn ? (fixed ? fixed : record.octetLength) : static_cast<SQLLEN>(apd.bindType);
  const SQLLEN lengthStep =
      byColumn ? static_cast<SQLLEN>(sizeof(SQLLEN)) : static_cast<SQLLEN>(apd.bindType);
  const auto at = [&](void* base, SQLLEN step) {
    return base ? static_cast<char*>(base) + offset + step * static_cast<SQLLEN>(set) : nullptr;
  };
  value.data = at(record.data, dataStep);
  SQLLEN length = record.octetLengthPtr || value.cType != SQL_C_BINARY ? SQL_NTS : record.octetLength;
  if (record.octetLengthPtr) std::memcpy(&length, at(record.octetLengthPtr, lengthStep), sizeof length);
  if (record.indicator && record.indicator != record.octetLengthPtr) {
    SQLLEN indicator = 0;
    std::memcpy(&indicator, at(record.indicator, lengthStep), sizeof indicator);
    if (indicator == SQL_NULL_DATA) length = SQL_NULL_DATA;
  }
  value.length = length;
  return value;
}

bool ParameterStream::isBinary(unsigned number) const {
  return stmt.parameters.records[number].oid == static_cast<uint32_t>(Oid::Bytea);
}

bool ParameterStream::isIgnored() const {
  const SQLUSMALLINT* operations = stmt.params->arrayStatus;
  return operations && operations[stmt.put.set] == SQL_PARAM_IGNORE;
}

void ParameterStream::setStatus(SQLULEN set, SQLUSMALLINT status) {
  if (stmt.parameters.arrayStatus) stmt.parameters.arrayStatus[set] = status;
}

int ParameterStream::beginSet() {
  inSet = true;
  const auto count = static_cast<unsigned>(stmt.text.sent.size());
  if (request.begin('B') || request.text("") || request.text(stmt.serverName) || request.int16(count))
    return 1;
  for (const unsigned number : stmt.text.sent) {
    if (request.int16(isBinary(number) ? 1 : 0)) return 1;
  }
  return request.int16(count);
}

int ParameterStream::endSet() {
  inSet = false;
  const Array<DescriptorRecord>& columns = stmt.columns.records;
  if (request.int16(static_cast<unsigned>(columns.size()))) return 1;
  for (const DescriptorRecord& column : columns) {
    if (request.int16(column.binary ? 1 : 0)) return 1;
  }
  return request.end() || request.begin('E') || request.text("") || request.int32(0) || request.end() ||
         request.simple('S');
}

int ParameterStream::addText(const BoundValue& value) {
  const std::size_t n = textBytes(value);
  Text utf8;
  if (value.cType == SQL_C_WCHAR
          ? stmt.conn.codePage.toUtf8(static_cast<const SQLWCHAR*>(value.data), n / sizeof(SQLWCHAR), utf8)
          : stmt.conn.codePage.toUtf8(static_cast<const char*>(value.data), n, utf8)) {
    return 1;
  }
  return request.bytes(utf8.data(), utf8.size());
}

int ParameterStream::addHex(const BoundValue& value) {
  wanted = value;
  if (openConverter()) return 1;
  source->set(value.data, textBytes(value));
  return binary->resetSource() || binary->convert() || binary->flushSink();
}

int ParameterStream::addValue(unsigned number, const BoundValue& value) {
  if (value.isNull()) return request.nullValue();
  if (value.length < 0 && value.length != SQL_NTS) return fail(Issue::BadLength);
  if (!value.data && value.length != 0) return fail(Issue::BadLength);
  if (request.beginValue()) return 1;
  const bool isText = value.cType == SQL_C_CHAR || value.cType == SQL_C_WCHAR;
  int failed = 0;
  if (value.cType == SQL_C_BINARY) {
    const std::size_t n = value.length >= 0 ? static_cast<std::size_t>(value.length) : textBytes(value);
    failed = request.bytes(value.data, n);
  } else if (isBinary(number)) {
    failed = isText ? addHex(value) : fail(Issue::NoSuchConversion);
  } else if (isText) {
    failed = addText(value);
  } else {
    Text text;
    failed = scalarToText(value.data, value.cType, text) || request.bytes(text.data(), text.size());
  }
  return failed || request.endValue();
}

SQLRETURN ParameterStream::proceed() {
  const SQLULEN sets = std::max<SQLULEN>(stmt.params->arraySize, 1);
  isSequential = sets == 1 || !stmt.columns.records.empty();
  while (stmt.put.set < sets) {
    if (!inSet && isIgnored()) {
      setStatus(stmt.put.set++, SQL_PARAM_UNUSED);
      continue;
    }
    if (!inSet && beginSet()) return SQL_ERROR;
    for (; stmt.put.number < stmt.text.sent.size(); ++stmt.put.number) {
      const BoundValue value = locate(current());
      if (value.isAtExecution()) {
        wanted = value;
        stmt.put.announced = false;
        stmt.put.putCalled = stmt.put.isNull = false;
        stmt.stage = Stage::NeedData;
        return codeOf(request.beginValue()) == SQL_SUCCESS ? SQL_NEED_DATA : SQL_ERROR;
      }
      if (sets > 1) stmt.errors.setPlace(static_cast<long>(stmt.put.set) + 1, 0);
      if (addValue(current(), value)) return SQL_ERROR;
    }
    if (endSet()) return SQL_ERROR;
    stmt.put.number = 0;
    if (batch.append({stmt.put.set++, request.length()})) return SQL_ERROR;
    if (!isSequential && request.length() > kBatchBytes && executeBatch()) return SQL_ERROR;
  }
  stmt.errors.setPlace(0, 0);
  if (isSequential && !batch.empty()) return executeNext();
  return executeBatch() ? SQL_ERROR : finishArray();
}

// A set that fails does not keep the others from being executed; the call tells of it as of one of many.
SQLRETURN ParameterStream::executeNext() {
  SQLRETURN code = SQL_NO_DATA;
  while (hasNext()) {
    const Set set = batch[next];
    const unsigned long begin = next ? batch[next - 1].end : 0;
    ++next;
    stmt.put.set = set.number;
    stmt.errors.setPlace(batch.size() > 1 ? static_cast<long>(set.number) + 1 : 0, 0);
    if (stmt.conn.session.claim() || stmt.replies.start(1, request, begin, set.end - begin)) return SQL_ERROR;
    code = firstResult(stmt);
    if (code == SQL_NO_DATA) code = SQL_SUCCESS;
    if (code != SQL_ERROR && !stmt.text.outputs.empty()) code = takeOutputs(stmt);
    countSet(set.number, code == SQL_ERROR);
    if (code == SQL_ERROR && stmt.conn.session.isAlive() && (hasNext() || failures < executed)) {
      stmt.stage = Stage::Executed;
      stmt.rowCount = -1;
      return SQL_SUCCESS_WITH_INFO;
    }
    // Outputs are all that a call gives, and go to the parameters of its set.
    if (stmt.text.outputs.empty() || code == SQL_ERROR) break;
  }
  stmt.errors.setPlace(0, 0);
  return code;
}

int ParameterStream::takeBatchReply(SQLULEN set) {
  bool bad = false;
  for (const Message* message = nullptr; !message || message->type != 'Z';) {
    message = stmt.replies.next();
    if (!message) return 1;
    if (message->type == 'E') {
      bad = true;
      stmt.errors.setPlace(static_cast<long>(set) + 1, 0);
      stmt.conn.session.reportError(*message);
    } else if (message->type == 'C') {
      total += std::max<SQLLEN>(0, commandCount(*message));
    }
  }
  countSet(set, bad);
  return 0;
}

void ParameterStream::countSet(SQLULEN set, bool failed) {
  ++executed;
  failures += failed ? 1 : 0;
  setStatus(set, failed ? SQL_PARAM_ERROR : SQL_PARAM_SUCCESS);
  if (stmt.parameters.rowsProcessed) *stmt.parameters.rowsProcessed = set + 1;
}

int ParameterStream::executeBatch() {
  if (batch.empty()) return 0;
  if (stmt.conn.session.claim() || stmt.replies.start(static_cast<unsigned>(batch.size()), request)) return 1;
  for (const Set& set : batch) {
    if (takeBatchReply(set.number)) return 1;
  }
  batch.clear();
  request.clear();
  return 0;
}

SQLRETURN ParameterStream::finishArray() {
  stmt.errors.setPlace(0, 0);
  stmt.stage = Stage::Executed;
  stmt.rowCount = total;
  if (failures == 0) return SQL_SUCCESS;
  return failures == executed ? SQL_ERROR : SQL_SUCCESS_WITH_INFO;
}

// The converter of the value at `wanted`, which writes into the request.
int ParameterStream::openConverter() {
  source = new Source;
  sink = new Sink(request);
  if (!source || !sink) {
    delete source;
    delete sink;
    return 1;
  }
  if (isBinary(current())) {
    const BinaryType type = wanted.cType == SQL_C_CHAR    ? kZuBinaryHex
                            : wanted.cType == SQL_C_WCHAR ? kZuBinaryWideHex
                                                          : kZuBinaryPlain;
    binary.reset(new ZuBinaryConverterInput(source, sink, type));
    if (binary) return binary->init();
  } else {
    const long page = wanted.cType == SQL_C_WCHAR  ? static_cast<long>(UCNV_IANA_UTF_16LE)
                      : wanted.cType == SQL_C_CHAR ? stmt.conn.codePage.number()
                                                   : static_cast<long>(UCNV_IANA_UTF_8);
    characters.reset(new ZuCharConverterInput(source, sink, page, UCNV_IANA_UTF_8, ZuReportAsWarning));
    if (characters) return characters->init();
  }
  delete source;
  delete sink;
  return 1;
}

int ParameterStream::put(SQLPOINTER data, SQLLEN length) {
  if (length == SQL_NULL_DATA) {
    stmt.put.isNull = true;
    return stmt.put.putCalled ? fail(Issue::BadSequence) : 0;
  }
  if (stmt.put.isNull) return fail(Issue::BadSequence);
  const bool first = !stmt.put.putCalled;
  stmt.put.putCalled = true;
  if (sizeOfCType(wanted.cType) > 0) {
    if (!first) return fail(Issue::BadSequence);
    Text text;
    return scalarToText(data, wanted.cType, text) || request.bytes(text.data(), text.size());
  }
  if (length < 0 && length != SQL_NTS) return fail(Issue::BadLength);
  if (first && openConverter()) return 1;
  BoundValue piece = wanted;
  piece.data = data;
  piece.length = length;
  source->set(data, textBytes(piece));
  return binary ? binary->resetSource() || binary->convert()
                : characters->resetSource() || characters->convert();
}

int ParameterStream::endPut() {
  int failed = 0;
  if (stmt.put.isNull || !stmt.put.putCalled) {
    failed = stmt.put.isNull ? request.makeValueNull() : request.endValue();
  } else {
    if (binary) failed = binary->flushSink();
    if (characters) failed = characters->flushSink();
    failed = failed || request.endValue();
  }
  binary.reset();
  characters.reset();
  ++stmt.put.number;
  return failed;
}

SQLRETURN executeWithParameters(Statement& stmt) {
  const unsigned count = stmt.text.parameters;
  for (unsigned i = 1; i <= count; ++i) {
    const DescriptorRecord* record = stmt.params->record(i);
    if (!record || !record->isBound)
      return codeOf(fail(Issue::UnboundParameter, static_cast<unsigned long>(i)));
    const bool isCall = !stmt.text.procedure.empty();
    if (!isCall && stmt.parameters.record(i) && stmt.parameters.record(i)->parameterType == SQL_PARAM_OUTPUT)
      return codeOf(fail(Issue::NotSupported));
  }
  if (describePrepared(stmt)) return SQL_ERROR;
  if (stmt.parameters.records.size() < count) return codeOf(stmt.conn.session.reportNonsense());
  stmt.put = {};
  stmt.putStream.reset(new (std::nothrow) ParameterStream(stmt));
  if (!stmt.putStream || stmt.putStream->initialize()) {
    ZuErrorKeeper::addMemoryError();
    return SQL_ERROR;
  }
  const SQLRETURN code = stmt.putStream->proceed();
  if (code != SQL_NEED_DATA && !stmt.putStream->hasNext()) stmt.putStream.reset();
  return code;
}

}  // namespace pgwire

using namespace pgwire;

extern "C" {

SQLRETURN SQL_API SQLBindParameter(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT ioType,
                                   SQLSMALLINT cType, SQLSMALLINT sqlType, SQLULEN size, SQLSMALLINT scale,
                                   SQLPOINTER data, SQLLEN bufferLength, SQLLEN* length) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (number == 0) return codeOf(fail(Issue::BadParameter));
    if (!isCType(cType)) return codeOf(fail(Issue::BadBufferType));
    if (!isDirection(ioType)) return codeOf(fail(Issue::BadParameterType));
    DescriptorRecord* application = stmt.params->makeRecord(number);
    DescriptorRecord* implementation = stmt.parameters.makeRecord(number);
    if (!application || !implementation) return codeOf(1);
    application->setType(cType);
    application->data = data;
    application->octetLength = bufferLength;
    application->octetLengthPtr = application->indicator = length;
    application->isBound = implementation->isBound = true;
    implementation->setType(sqlType);
    implementation->parameterType = ioType;
    implementation->length = size;
    implementation->precision = static_cast<SQLSMALLINT>(std::min<SQLULEN>(size, 0x7FFF));
    implementation->scale = scale;
    return codeOf(0);
  });
}

SQLRETURN SQL_API SQLParamData(SQLHSTMT handle, SQLPOINTER* token) {
  return enter<Statement>(handle, [&](Statement& stmt) -> SQLRETURN {
    if (stmt.stage != Stage::NeedData) return codeOf(fail(Issue::BadSequence));
    ParameterStream& stream = *stmt.putStream;
    SQLRETURN code = SQL_NEED_DATA;
    if (stmt.put.announced) code = stream.endPut() ? static_cast<SQLRETURN>(SQL_ERROR) : stream.proceed();
    if (code == SQL_NEED_DATA) {
      stmt.put.announced = true;
      if (token) *token = stream.token();
      return code;
    }
    if (!stream.hasNext()) stmt.putStream.reset();
    if (code == SQL_ERROR) stmt.stage = stmt.isPrepared ? Stage::Prepared : Stage::Allocated;
    return code;
  });
}

SQLRETURN SQL_API SQLPutData(SQLHSTMT handle, SQLPOINTER data, SQLLEN length) {
  return enter<Statement>(handle, [&](Statement& stmt) {
    if (stmt.stage != Stage::NeedData || !stmt.put.announced) return codeOf(fail(Issue::BadSequence));
    return codeOf(stmt.putStream->put(data, length));
  });
}

}  // extern "C"
