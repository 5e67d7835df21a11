// The replies to what was sent: messages up to a number of ReadyForQuery, from the wire, or from a file once
// another statement needs the wire.
//
//   Replies replies(session);
//   if (replies.start(1)) return 1;            // sends the session's request
//   while (!replies.isDone()) {
//     const Message* message = replies.next();
//     if (!message) return 1;
//     ...
//   }
//
// The message stays valid until `next` or `peek`, also if the replies go to a file in between; its bytes may
// move then.
//
// Thread safety: as the session.

#ifndef PGWIRE_WIRE_REPLIES_H
#define PGWIRE_WIRE_REPLIES_H

#include <zulib/storage/blktmp.h>

#include <memory>

#include "base/array.h"
#include "wire/session.h"

namespace pgwire {

class Replies {
 public:
  explicit Replies(Session& session) : session(session) {}
  Replies(const Replies&) = delete;
  Replies& operator=(const Replies&) = delete;
  ~Replies() { discard(); }

  // Sends a request, by default the session's, which asks for `syncs` times ReadyForQuery, and reads from the
  // wire. The last form sends `length` bytes of it.
  [[nodiscard]] int start(unsigned syncs) { return start(syncs, session.request()); }
  [[nodiscard]] int start(unsigned syncs, Request& request) {
    return start(syncs, request, 0, request.length());
  }
  [[nodiscard]] int start(unsigned syncs, Request& request, unsigned long begin, unsigned long length);

  // The next message, ReadyForQuery included; null on failure. Not after the last one.
  const Message* next();
  // The message that `next` will return.
  const Message* peek();
  // The message that `next` returned last.
  const Message& current() const { return message; }

  bool isDone() const { return pending == 0; }

  // Reads all that is left and throws it away.
  void discard();
  // Puts all that is left into a file, so that the wire is free.
  void detach();
  // Gives up what is left without reading it.
  void abandon();

 private:
  static constexpr unsigned long kBlock = 65536;

  int read();
  int readSpooled();
  int keepCurrent();
  int spoolRest(unsigned& syncs);

  Session& session;
  unsigned pending = 0;  // ReadyForQuery messages that have not been read by `next`
  bool peeked = false;
  bool lost = false;  // the rest could not be kept
  Message message;
  Array<unsigned char> own;           // of `message`, if it is not on the wire any more
  std::unique_ptr<BlkTmpFile> spool;  // null: from the wire
  unsigned long position = 0;         // in `spool`
};

}  // namespace pgwire

#endif
