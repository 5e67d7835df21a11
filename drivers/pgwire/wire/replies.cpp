#include "wire/replies.h"

#include "base/errors.h"

namespace pgwire {

namespace {

constexpr unsigned long kHeader = 5;

bool isReady(const Message& message) { return message.type == 'Z'; }

}  // namespace

int Replies::start(unsigned syncs, Request& request, unsigned long begin, unsigned long length) {
  discard();
  lost = peeked = false;
  if (session.send(request, begin, length)) return 1;
  pending = syncs;
  session.reader = this;
  return 0;
}

const Message* Replies::peek() {
  if (!peeked && read()) return nullptr;
  peeked = true;
  return &message;
}

const Message* Replies::next() {
  if (!peek()) return nullptr;
  peeked = false;
  if (isReady(message)) {
    --pending;
    if (pending == 0) {
      if (session.reader == this) session.reader = nullptr;
      spool.reset();
    }
  }
  return &message;
}

// Reads the next message; on failure nothing is left to read.
int Replies::read() {
  if (pending == 0 || lost) {
    abandon();
    return fail(Issue::ConnectionIsDead);
  }
  if (spool ? readSpooled() : session.next(message)) {
    abandon();
    return 1;
  }
  if (!spool && isReady(message)) {
    if (message.length != 1) {
      abandon();
      return session.reportNonsense();
    }
    static_cast<void>(message.read(0, &session.transaction, 1));
  }
  return 0;
}

int Replies::readSpooled() {
  unsigned char header[kHeader];
  if (spool->read(position, header, kHeader)) return 1;
  uint32_t length = 0;
  std::memcpy(&length, header + 1, sizeof length);
  message.type = static_cast<char>(header[0]);
  message.length = length;
  message.spill = spool.get();
  message.spillStart = static_cast<uint32_t>(position + kHeader);
  message.data = nullptr;
  if (length <= kBlock) {
    if (own.resize(length + 1) || spool->read(position + kHeader, own.data(), length)) return 1;
    message.data = own.data();
  }
  position += kHeader + length;
  return 0;
}

void Replies::abandon() {
  pending = 0;
  peeked = false;
  spool.reset();
  if (session.reader == this) session.reader = nullptr;
}

void Replies::discard() {
  while (!isDone()) {
    if (spool || !session.isAlive()) {
      abandon();
    } else if (!next()) {
      return;
    }
  }
}

// Copies the message in use, whose bytes the next one from the wire would overwrite, to the head of the spool
// or to memory.
int Replies::keepCurrent() {
  if (message.data) {
    if (own.resize(message.length + 1)) return 1;
    std::memcpy(own.data(), message.data, message.length);
    message.data = own.data();
  } else if (message.spill) {
    if (spool->copy(message.spillStart, message.spill, message.length)) return 1;
    message.spill = spool.get();
    message.spillStart = 0;
  }
  return 0;
}

int Replies::spoolRest(unsigned& syncs) {
  Message fresh;
  while (syncs > 0) {
    if (session.next(fresh)) return 1;
    if (isReady(fresh)) {
      if (fresh.read(0, &session.transaction, 1)) return session.reportNonsense();
      --syncs;
    }
    unsigned char header[kHeader] = {static_cast<unsigned char>(fresh.type)};
    std::memcpy(header + 1, &fresh.length, sizeof fresh.length);
    if (spool->append(header, kHeader)) return 1;
    if (fresh.data ? spool->append(fresh.data, fresh.length) : spool->copy(0, fresh.spill, fresh.length))
      return 1;
  }
  return 0;
}

void Replies::detach() {
  if (spool || isDone()) return;
  unsigned syncs = peeked && isReady(message) ? pending - 1 : pending;
  spool.reset(new BlkTmpFile(kBlock));
  const bool kept = spool && !spool->initialize(1) && !keepCurrent();
  position = kept ? spool->getLength() : 0;
  session.reader = nullptr;
  if (kept && !spoolRest(syncs)) return;
  // The rest cannot be kept. It is read all the same, so that the wire is free.
  lost = true;
  for (Message skipped; syncs > 0 && session.isAlive();) {
    if (session.next(skipped)) return;
    if (isReady(skipped)) --syncs;
  }
}

}  // namespace pgwire
