#include "tools/zusql/cancel.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>

namespace zusql {

namespace {

std::atomic<bool> interrupted{false};
int wakeUp[2] = {-1, -1};

// Held by the thread during SQLCancel, so that the statement is not freed meanwhile. The thread that owns the
// statement takes it between calls only.
std::mutex targetLock;
SQLHSTMT target = SQL_NULL_HSTMT;

void onInterrupt(int) {
  const int error = errno;
  interrupted.store(true, std::memory_order_relaxed);
  const char byte = 0;
  [[maybe_unused]] const ssize_t written = write(wakeUp[1], &byte, 1);
  errno = error;
}

void cancelOnWakeUp() {
  char byte;
  while (read(wakeUp[0], &byte, 1) == 1) {
    const std::lock_guard lock(targetLock);
    if (target) SQLCancel(target);
  }
}

}  // namespace

CancelWatch::CancelWatch() {
  if (pipe2(wakeUp, O_CLOEXEC) != 0) return;
  fcntl(wakeUp[1], F_SETFL, O_NONBLOCK);
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  // The handler is to run in the thread that reads the keyboard, whose wait it ends.
  pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
  thread = std::thread(cancelOnWakeUp);
  pthread_sigmask(SIG_UNBLOCK, &interrupt, nullptr);
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
}

CancelWatch::~CancelWatch() {
  if (!thread.joinable()) return;
  std::signal(SIGINT, SIG_DFL);
  close(wakeUp[1]);
  thread.join();
  close(wakeUp[0]);
}

bool takeInterrupt() { return interrupted.exchange(false, std::memory_order_relaxed); }

CancelScope::CancelScope(SQLHSTMT stmt) {
  const std::lock_guard lock(targetLock);
  before = target;
  target = stmt;
}

CancelScope::~CancelScope() {
  const std::lock_guard lock(targetLock);
  target = before;
}

}  // namespace zusql
