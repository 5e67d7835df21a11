// Static objects that threads may use to the very end of the process.
//
// exit() destroys static objects while other threads run on: a record, a lock or a profile could be freed in
// the hands of a thread that uses it. So what the library constructs at load is destroyed by dlclose only.
// When the process ends, the system takes the memory back.
//
// Usage:
//   static LibraryObject<Profiles> profiles;
//   extern ZuCriticalSection LOCK;                                // in a header
//   LibraryObject<ZuCriticalSection> lock asm("LOCK"){0u};        // the same object

#ifndef ZULIB_RUNTIME_ZULIFETIME_H
#define ZULIB_RUNTIME_ZULIFETIME_H

#include <utility>

// True once dlclose has begun to unload the library, before its static objects are destroyed. False while
// exit() destroys them.
bool isLibraryUnloading() noexcept;

// An object with the layout of `T` that an unload destroys and the end of the process does not.
template <class T>
class LibraryObject {
 public:
  template <class... Arguments>
  constexpr explicit LibraryObject(Arguments&&... arguments)
      : object(std::forward<Arguments>(arguments)...) {}
  LibraryObject(const LibraryObject&) = delete;
  LibraryObject& operator=(const LibraryObject&) = delete;
  ~LibraryObject() {
    if (isLibraryUnloading()) object.~T();
  }

  T& operator*() { return object; }
  T* operator->() { return &object; }

 private:
  union {
    T object;
  };
};

#endif
