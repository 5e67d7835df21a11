// A session with the server: its transport, what the server said about itself, and who reads its replies.
//
// Requests are answered in order, so one statement at a time reads from the wire (`Replies`). A statement
// whose rows are still coming when another one wants to send keeps them in a file of its own: `claim`.
//
// A failure of the transport ends the session: `isAlive` is then false and every operation fails with 08S01.
//
// Thread safety: one thread at a time, except `cancel`, which may be called at any time after the login.

#ifndef PGWIRE_WIRE_SESSION_H
#define PGWIRE_WIRE_SESSION_H

#include <cstdint>
#include <string_view>

#include "base/array.h"
#include "base/errors.h"
#include "wire/message.h"
#include "wire/request.h"
#include "wire/transport.h"

namespace pgwire {

class Replies;

class Session {
 public:
  Session() = default;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { close(); }

  // `address` is "host,port". 0, or 1.
  [[nodiscard]] int open(std::string_view address, bool log);
  // Says goodbye, and waits for the server to close.
  void close();
  bool isAlive() const { return alive; }

  // Makes sure that nobody else reads from the wire, and empties the request.
  [[nodiscard]] int claim();
  Request& request() { return outgoing; }
  [[nodiscard]] int send() { return send(outgoing, 0, outgoing.length()); }
  [[nodiscard]] int send(Request& request, unsigned long begin, unsigned long length);

  // The next message; notices and settings are handled on the way.
  [[nodiscard]] int next(Message& message);

  // Runs a command for its effect, or for its rows: each is given to `row`, which returns 1 if it cannot be
  // read.
  using TakeRow = int (*)(void* context, MessageReader& values);
  [[nodiscard]] int run(std::string_view sql, TakeRow row = nullptr, void* context = nullptr);

  // Asks the server, over a connection of its own, to stop what this session is doing.
  [[nodiscard]] int cancel() const;

  // Records an error message of the server, and returns 1.
  int reportError(const Message& message);
  // Records a message that does not belong here, and ends the session. Returns 1.
  int reportNonsense();

  // Seconds: a wait for a reply that is longer ends the session; 0 for no limit.
  // `silence` is what is then recorded.
  void setConnectionWait(uint32_t seconds, Issue silenceIssue = Issue::ServerSilent) {
    connectionWait = seconds;
    silence = silenceIssue;
  }
  // From now on a reply that takes longer makes the driver cancel the statement; 0 for no limit.
  void startQueryTimer(uint32_t seconds);

  void setCancelKey(uint32_t process, uint32_t key) {
    serverProcess = process;
    cancelKey = key;
  }
  uint32_t process() const { return serverProcess; }

  bool wantsPassword = false;  // the server asked for one, and there was none
  char transaction = 'I';  // of the last ReadyForQuery: 'I' idle, 'T' in a transaction, 'E' in a failed one
  Text serverVersion;
  bool standardStrings = true;  // a backslash is an ordinary character in '...'
  Replies* reader = nullptr;

 private:
  int onTimeout();
  int postServerText(const Message& message, bool warning);
  int takeSetting(const Message& message);
  void lose();

  Transport transport;
  Request outgoing;
  Text address;
  bool alive = false;
  uint32_t serverProcess = 0;
  uint32_t cancelKey = 0;
  uint32_t connectionWait = 0;
  Issue silence = Issue::ServerSilent;
  uint32_t queryWait = 0;
  bool queryCancelled = false;  // because its time was over
};

}  // namespace pgwire

#endif
