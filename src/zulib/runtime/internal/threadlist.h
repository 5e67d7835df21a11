// Frees the records of all threads when the library is unloaded.

#ifndef ZULIB_RUNTIME_INTERNAL_THREADLIST_H
#define ZULIB_RUNTIME_INTERNAL_THREADLIST_H

// Its one instance stands behind MDS_PERTHREAD_LOCK in the static order and leaves an empty list, so a
// program whose own end comes later may still enter the library.
class ThreadListOwner {
 public:
  ThreadListOwner() = default;
  ThreadListOwner(const ThreadListOwner&) = delete;
  ThreadListOwner& operator=(const ThreadListOwner&) = delete;
  ~ThreadListOwner();
};

#endif
