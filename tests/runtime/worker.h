// A thread that stays alive and runs what it is given, one piece at a time.

#ifndef ZULIB_TESTS_RUNTIME_WORKER_H
#define ZULIB_TESTS_RUNTIME_WORKER_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

class Worker {
 public:
  Worker() : thread([this] { serve(); }) {}
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    start({}, true);
    thread.join();
  }

  // Starts the work, or returns when the thread has done it.
  void start(std::function<void()> work) { start(std::move(work), false); }
  void run(std::function<void()> work) {
    start(std::move(work));
    wait();
  }
  void wait() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return !piece; });
  }

 private:
  void start(std::function<void()> work, bool last) {
    const std::lock_guard lock(mutex);
    piece = std::move(work);
    ending = last;
    changed.notify_all();
  }

  void serve() {
    std::unique_lock lock(mutex);
    for (;;) {
      changed.wait(lock, [this] { return piece || ending; });
      if (ending) return;
      auto work = piece;
      lock.unlock();
      work();
      lock.lock();
      piece = nullptr;
      changed.notify_all();
    }
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::function<void()> piece;
  bool ending = false;
  std::thread thread;
};

#endif
