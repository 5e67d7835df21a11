#include "wire/session.h"

#include <cstring>

#include "base/errors.h"
#include "wire/replies.h"

namespace pgwire {

namespace {

constexpr uint32_t kCancelRequest = 80877102;
constexpr uint32_t kGrace = 10;  // seconds that the server gets to obey a cancel request
constexpr uint32_t kGoodbye = 1;
constexpr unsigned short kServerMessage = 9000;  // the number of records with the server's own words

// What is kept of an error or a notice.
struct ServerText {
  Text severity, state, message, detail, hint, position;

  Text* field(uint8_t code) {
    switch (code) {
      case 'V': return &severity;
      case 'C': return &state;
      case 'M': return &message;
      case 'D': return &detail;
      case 'H': return &hint;
      case 'P': return &position;
      default: return nullptr;
    }
  }

  int read(const Message& source) {
    MessageReader reader(source);
    Text other;
    for (uint8_t code = 0;;) {
      if (reader.int8(&code)) return 1;
      if (code == 0) return 0;
      Text* wanted = field(code);
      if (reader.text(wanted ? *wanted : other)) return 1;
    }
  }

  int compose(Text& out) const {
    if (out.assign("[zulib][zupgwire] ") || out.append(message.view())) return 1;
    if (!position.empty() &&
        (out.append(" (at character ") || out.append(position.view()) || out.append(")")))
      return 1;
    if (!detail.empty() && (out.append("\nDetail: ") || out.append(detail.view()))) return 1;
    return hint.empty() ? 0 : out.append("\nHint: ") || out.append(hint.view());
  }
};

}  // namespace

int Session::open(std::string_view to, bool log) {
  if (address.assign(to) || !address.terminated() || outgoing.initialize()) return 1;
  if (transport.open(address.data(), log)) {
    transport.close();
    return 1;
  }
  alive = true;
  transaction = 'I';
  return 0;
}

void Session::close() {
  if (reader) reader->abandon();
  if (alive) {
    outgoing.clear();
    if (!outgoing.simple('X') && !transport.send(outgoing, 0, outgoing.length())) transport.drain(kGoodbye);
  }
  lose();
}

void Session::lose() {
  alive = false;
  transport.close();
}

int Session::claim() {
  if (!alive) return fail(Issue::ConnectionIsDead);
  if (reader) reader->detach();
  outgoing.clear();
  return alive ? 0 : fail(Issue::ConnectionIsDead);
}

int Session::send(Request& request, unsigned long begin, unsigned long length) {
  if (!alive) return fail(Issue::ConnectionIsDead);
  transport.setWait(queryWait ? queryWait : connectionWait);
  if (!transport.send(request, begin, length)) return 0;
  lose();
  return 1;
}

void Session::startQueryTimer(uint32_t seconds) {
  queryWait = seconds;
  queryCancelled = false;
  transport.setWait(seconds ? seconds : connectionWait);
}

// 0 if the wait may go on: the statement was cancelled, and the server has a last chance to say so.
int Session::onTimeout() {
  if (queryWait > 0 && !queryCancelled) {
    queryCancelled = true;
    if (!cancel()) {
      transport.setWait(kGrace);
      return 0;
    }
  }
  lose();
  return fail(silence);
}

int Session::next(Message& message) {
  while (alive) {
    const Received status = transport.receive(message);
    if (status == Received::TimedOut) {
      if (onTimeout()) return 1;
      continue;
    }
    if (status == Received::Failed) {
      lose();
      return 1;
    }
    switch (message.type) {
      case 'N':
        if (postServerText(message, true)) return 1;
        break;
      case 'S':
        if (takeSetting(message)) return 1;
        break;
      case 'A': break;
      default: return 0;
    }
  }
  return fail(Issue::ConnectionIsDead);
}

int Session::takeSetting(const Message& message) {
  MessageReader reader(message);
  Text name;
  Text value;
  if (reader.text(name) || reader.text(value)) return reportNonsense();
  if (name.view() == "server_version") return serverVersion.assign(value.view());
  if (name.view() == "standard_conforming_strings") standardStrings = value.view() == "on";
  return 0;
}

int Session::postServerText(const Message& message, bool warning) {
  ServerText text;
  Text composed;
  if (text.read(message)) return reportNonsense();
  if (text.compose(composed)) return 1;
  ZuError& record = addDatabaseError(kServerMessage, 0, reinterpret_cast<const unsigned char*>("%s1"),
                                     warning ? ErrTypeWarning : ErrTypeError, zuCPUTF8);
  record << viewOf(composed.view());
  const bool timedOut = queryCancelled && text.state.view() == "57014";
  const bool plain = warning && text.state.view().substr(0, 2) != "01";
  const char* state = timedOut ? sqlstateOf(Issue::QueryTimedOut) : plain ? "01000" : text.state.terminated();
  if (state) record.setInterfaceCode(state);
  if (!warning && (text.severity.view() == "FATAL" || text.severity.view() == "PANIC")) lose();
  return 0;
}

int Session::reportError(const Message& message) {
  static_cast<void>(postServerText(message, false));
  return 1;
}

int Session::reportNonsense() {
  lose();
  return fail(Issue::BadMessage);
}

int Session::run(std::string_view sql, TakeRow row, void* context) {
  if (claim() || outgoing.begin('Q') || outgoing.text(sql) || outgoing.end()) return 1;
  Replies replies(*this);
  if (replies.start(1)) return 1;
  int failed = 0;
  while (!replies.isDone()) {
    const Message* message = replies.next();
    if (!message) return 1;
    if (message->type == 'E') failed = reportError(*message);
    if (message->type != 'D' || !row) continue;
    MessageReader values(*message);
    uint16_t count = 0;
    if (values.int16(&count) || row(context, values)) return reportNonsense();
  }
  return failed;
}

int Session::cancel() const {
  Transport second;
  Request request;
  if (request.initialize() || second.open(address.data(), false)) return 1;
  if (request.begin(0) || request.int32(kCancelRequest) || request.int32(serverProcess) ||
      request.int32(cancelKey) || request.end() || second.send(request, 0, request.length())) {
    return 1;
  }
  second.drain(kGrace);
  return 0;
}

}  // namespace pgwire
