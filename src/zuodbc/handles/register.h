// The register of live handles, and what keeps a handle alive and to itself during a call.
//
// The register is the process-wide set of live handles: a table of cells, one for each handle, found by the
// handle's address. Looking an address up never touches what the address points to. A handle is in the
// register from its constructor to its withdrawal or its destructor.
//
// An application's call enters the handle, which holds the entry lock: two threads' calls on one handle
// follow each other. Cells are used again but never given back, so a call looks a cell up and locks it
// without any other lock, and then sees whether the cell is still that of the address; until it leaves, the
// handle is not withdrawn. SQLCancel and the diagnostics functions only pin: a pinned handle is not
// destroyed. A descriptor that belongs to a statement is pinned and entered with it.
//
// Lock order: entry locks (environment, connection, explicit descriptors, statements; among those of one kind
// by rising address), CursorLibrarySingleThreadLock, the lists of a connection, call locks, queue locks.
// What the cursor library calls back enters nothing, since it holds its lock already; the calls that it
// marks do not even look handles up.

#ifndef ZUODBC_HANDLES_REGISTER_H
#define ZUODBC_HANDLES_REGISTER_H

#include <utility>

#include "zuodbc/dmhandle.h"
#include "zuodbc/handles/entrylock.h"
#include "zuodbc/handles/marks.h"

namespace dm {

// For the constructors and destructors of handles. If allocation fails the handle has no cell.
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

// Enters the live handle of a type at an address. Null if there is none; else the lock to leave it by.
EntryLock* enterHandle(int type, SQLHANDLE address) noexcept;

// The entry lock of a pinned handle. False, with nothing locked, if the handle is withdrawn; `tryEnter` also
// if another thread is in a call on it.
bool enter(DMHandle& handle) noexcept;
bool tryEnter(DMHandle& handle) noexcept;
void leave(DMHandle& handle) noexcept;

// The lock itself, of a handle that cannot go during this call.
EntryLock& entryLockOf(const DMHandle& handle) noexcept;

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

 private:
  Handle* handle;
};

// A handle that an application's call has to itself. A call of the cursor library on its way only pins.
template <class Handle>
class Entered {
 public:
  explicit Entered(SQLHANDLE address) noexcept : Entered(address, isInLibrary()) {}
  Entered(SQLHANDLE address, bool isInLibrary) noexcept {
    if (isInLibrary) [[unlikely]] {
      handle = static_cast<Handle*>(pinHandle(kTypeOf<Handle>, address));
    } else {
      lock = enterHandle(kTypeOf<Handle>, address);
      handle = lock ? static_cast<Handle*>(address) : nullptr;
    }
  }
  Entered(const Entered&) = delete;
  Entered& operator=(const Entered&) = delete;
  ~Entered() {
    if (lock) {
      lock->unlock();
    } else if (handle) {
      unpin(*handle);
    }
  }
  explicit operator bool() const { return handle != nullptr; }
  Handle& operator*() const { return *handle; }
  Handle* operator->() const { return handle; }

  // Makes the handle the caller's alone, for it to destroy: no call finds it any more, and none is left in
  // it.
  Handle* takeOut() {
    withdraw(*handle);
    if (lock) lock->unlock();
    awaitUnpinned(*handle, lock ? 0 : 1);
    lock = nullptr;
    return std::exchange(handle, nullptr);
  }

 private:
  Handle* handle;
  EntryLock* lock = nullptr;
};

}  // namespace dm

#endif
