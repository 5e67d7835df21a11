// The register of live handles, and what keeps a handle alive and to itself during a call.
//
// The register is the process-wide set of live handles. It is threaded through the handles themselves, so
// entering it cannot fail, and looking an address up never touches what the address points to. A handle is in
// it from its constructor to its withdrawal or its destructor.
//
// A call pins the handle that it has looked up: a pinned handle is not destroyed. An application's call also
// enters it, which holds the entry lock: two threads' calls on one handle follow each other. SQLCancel and
// the diagnostics functions only pin. A descriptor that belongs to a statement is pinned and entered with it.
//
// Lock order: entry locks (environment, connection, explicit descriptors, statements; among those of one kind
// by rising address), CursorLibrarySingleThreadLock, the lists of a connection, call locks, queue locks.
// What the cursor library calls back enters nothing, since it holds its lock already; the calls that it
// marks do not even look handles up.

#ifndef ZUODBC_HANDLES_REGISTER_H
#define ZUODBC_HANDLES_REGISTER_H

#include <utility>

#include "zuodbc/dmhandle.h"
#include "zuodbc/handles/marks.h"

namespace dm {

// For the constructors and destructors of handles.
void enterRegister(DMHandle& handle) noexcept;
void leaveRegister(DMHandle& handle) noexcept;

// The live handle of the right type at an application's address, or null. Not pinned: for callers that know
// the handle to outlive their use of it.
DMEnv* findEnvironment(SQLHANDLE address) noexcept;
DMConn* findConnection(SQLHANDLE address) noexcept;
DMStmt* findStatement(SQLHANDLE address) noexcept;
DMDesc* findDescriptor(SQLHANDLE address) noexcept;
DMHandle* findHandle(int type, SQLHANDLE address) noexcept;
DMHandle* findAnyHandle(SQLHANDLE address) noexcept;

// The type that a class of handles is registered under; any for DMHandle.
constexpr int kAnyType = 0;
template <class Handle>
inline constexpr int kTypeOf = kAnyType;
template <>
inline constexpr int kTypeOf<DMEnv> = DM_ENV;
template <>
inline constexpr int kTypeOf<DMConn> = DM_CONN;
template <>
inline constexpr int kTypeOf<DMStmt> = DM_STMT;
template <>
inline constexpr int kTypeOf<DMDesc> = DM_DESC;

// Pins the live handle of a type at an address. Null if there is none.
DMHandle* pinHandle(int type, SQLHANDLE address) noexcept;

// Pins a handle that cannot go during this call, because the caller holds the list that it is in.
void pin(DMHandle& handle) noexcept;
void unpin(DMHandle& handle) noexcept;

// The entry lock of a pinned handle. False, with nothing locked, if the handle is withdrawn; `tryEnter` also
// if another thread is in a call on it.
bool enter(DMHandle& handle) noexcept;
bool tryEnter(DMHandle& handle) noexcept;
void leave(DMHandle& handle) noexcept;

// From here on no call finds the handle, and those that wait to enter it fail. The caller has entered it.
void withdraw(DMHandle& handle) noexcept;

// Waits until nobody else has pinned the withdrawn handle; `own` are the caller's pins.
void awaitUnpinned(DMHandle& handle, unsigned own) noexcept;

// A handle that is kept alive. Null if the address is not that of a live handle.
template <class Handle>
class Pinned {
 public:
  explicit Pinned(SQLHANDLE address) noexcept
      : handle(static_cast<Handle*>(pinHandle(kTypeOf<Handle>, address))) {}
  Pinned(const Pinned&) = delete;
  Pinned& operator=(const Pinned&) = delete;
  ~Pinned() {
    if (handle) unpin(*handle);
  }
  explicit operator bool() const { return handle != nullptr; }
  Handle& operator*() const { return *handle; }
  Handle* operator->() const { return handle; }

  // The pin is the caller's.
  Handle* release() { return std::exchange(handle, nullptr); }

 private:
  Handle* handle;
};

// A handle that an application's call has to itself.
template <class Handle>
class Entered {
 public:
  explicit Entered(SQLHANDLE address) noexcept : pinned(address), isLocked(false) {
    if (!pinned || isInLibrary()) return;
    isLocked = enter(*pinned);
    if (!isLocked) unpin(*pinned.release());
  }
  Entered(const Entered&) = delete;
  Entered& operator=(const Entered&) = delete;
  ~Entered() {
    if (isLocked) leave(*pinned);
  }
  explicit operator bool() const { return static_cast<bool>(pinned); }
  Handle& operator*() const { return *pinned; }
  Handle* operator->() const { return &*pinned; }

  // Makes the handle the caller's alone, for it to destroy: no call finds it any more, and none is left in
  // it.
  Handle* takeOut() {
    withdraw(*pinned);
    if (isLocked) leave(*pinned);
    isLocked = false;
    awaitUnpinned(*pinned, 1);
    return pinned.release();
  }

 private:
  Pinned<Handle> pinned;
  bool isLocked;
};

}  // namespace dm

#endif
