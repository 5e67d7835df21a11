#include "zuodbc/handles/register.h"

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>
#include <shared_mutex>

namespace dm {
namespace {

// Buckets of live handles by address. Handles are at least 16 bytes apart, so the low bits say nothing.
constexpr size_t kBuckets = 4096;
constinit std::array<DMHandle*, kBuckets> buckets{};
constinit std::shared_mutex registerLock;

DMHandle*& bucketOf(const void* address) {
  const auto number = reinterpret_cast<uintptr_t>(address) >> 4;
  return buckets[(number ^ (number >> 12) ^ (number >> 24)) % kBuckets];
}

// The caller holds the register's lock.
DMHandle* lookUp(SQLHANDLE address) {
  DMHandle* handle = bucketOf(address);
  while (handle && handle != address) handle = handle->nextInRegister;
  return handle;
}

void remove(DMHandle& handle) {
  DMHandle** link = &bucketOf(&handle);
  while (*link && *link != &handle) link = &(*link)->nextInRegister;
  if (*link) *link = handle.nextInRegister;
}

// The handle whose life and entry lock stand for this one's.
DMHandle& keeperOf(DMHandle& handle) {
  if (handle.handleType != DM_DESC) return handle;
  DMStmt* owner = static_cast<DMDesc&>(handle).ownerStmt;
  return owner ? static_cast<DMHandle&>(*owner) : handle;
}

// The top bit of DMHandle::pins: somebody waits for the others to go.
constexpr unsigned kAwaited = 1u << 31;

std::mutex awaitLock;

// Never destroyed, since that waits for the threads that wait, and exit() would not return.
std::condition_variable& makeUnpinned() {
  alignas(std::condition_variable) static unsigned char storage[sizeof(std::condition_variable)];
  return *new (storage) std::condition_variable;
}
std::condition_variable& unpinned = makeUnpinned();

}  // namespace

void enterRegister(DMHandle& handle) noexcept {
  const std::unique_lock lock(registerLock);
  DMHandle*& first = bucketOf(&handle);
  handle.nextInRegister = first;
  first = &handle;
}

void leaveRegister(DMHandle& handle) noexcept {
  const std::unique_lock lock(registerLock);
  remove(handle);
}

DMHandle* findAnyHandle(SQLHANDLE address) noexcept {
  if (!address) return nullptr;
  const std::shared_lock lock(registerLock);
  return lookUp(address);
}

DMHandle* findHandle(int type, SQLHANDLE address) noexcept {
  DMHandle* handle = findAnyHandle(address);
  return handle && handle->handleType == type ? handle : nullptr;
}

DMEnv* findEnvironment(SQLHANDLE address) noexcept {
  return static_cast<DMEnv*>(findHandle(DM_ENV, address));
}
DMConn* findConnection(SQLHANDLE address) noexcept {
  return static_cast<DMConn*>(findHandle(DM_CONN, address));
}
DMStmt* findStatement(SQLHANDLE address) noexcept {
  return static_cast<DMStmt*>(findHandle(DM_STMT, address));
}
DMDesc* findDescriptor(SQLHANDLE address) noexcept {
  return static_cast<DMDesc*>(findHandle(DM_DESC, address));
}

DMHandle* pinHandle(int type, SQLHANDLE address) noexcept {
  if (!address) return nullptr;
  const std::shared_lock lock(registerLock);
  DMHandle* handle = lookUp(address);
  if (!handle || (type != kAnyType && handle->handleType != type)) return nullptr;
  pin(*handle);
  return handle;
}

void pin(DMHandle& handle) noexcept { __atomic_add_fetch(&keeperOf(handle).pins, 1, __ATOMIC_RELAXED); }

void unpin(DMHandle& handle) noexcept {
  // The handle may be gone as soon as the pin is.
  if (!(__atomic_fetch_sub(&keeperOf(handle).pins, 1, __ATOMIC_ACQ_REL) & kAwaited)) return;
  const std::lock_guard lock(awaitLock);
  unpinned.notify_all();
}

bool enter(DMHandle& handle) noexcept {
  DMHandle& keeper = keeperOf(handle);
  pthread_mutex_lock(&keeper.entryLock);
  if (!keeper.isWithdrawn) return true;
  pthread_mutex_unlock(&keeper.entryLock);
  return false;
}

bool tryEnter(DMHandle& handle) noexcept {
  DMHandle& keeper = keeperOf(handle);
  if (pthread_mutex_trylock(&keeper.entryLock) != 0) return false;
  if (!keeper.isWithdrawn) return true;
  pthread_mutex_unlock(&keeper.entryLock);
  return false;
}

void leave(DMHandle& handle) noexcept { pthread_mutex_unlock(&keeperOf(handle).entryLock); }

void withdraw(DMHandle& handle) noexcept {
  const std::unique_lock lock(registerLock);
  remove(handle);
  if (handle.handleType == DM_STMT) {
    auto& stmt = static_cast<DMStmt&>(handle);
    for (DMDesc* desc : {&stmt.implicitArdStorage, &stmt.implicitApdStorage, &stmt.implicitIrdStorage,
                         &stmt.implicitIpdStorage})
      remove(*desc);
  }
  handle.isWithdrawn = true;
}

void awaitUnpinned(DMHandle& handle, unsigned own) noexcept {
  __atomic_or_fetch(&handle.pins, kAwaited, __ATOMIC_ACQ_REL);
  std::unique_lock lock(awaitLock);
  unpinned.wait(lock, [&] { return (__atomic_load_n(&handle.pins, __ATOMIC_ACQUIRE) & ~kAwaited) <= own; });
}

}  // namespace dm
