#include "zuodbc/handles/register.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>
#include <shared_mutex>

// A handle's place in the register. The members that a call reads before it has locked anything are atomic,
// and all of them may by then be those of another handle. They change under the register's lock only; the
// address is taken off under the keeper's entry lock too.
struct DMHandleCell {
  std::atomic<SQLHANDLE> address{nullptr};  // of the live handle, else null
  std::atomic<int> type{0};
  std::atomic<DMHandleCell*> next{nullptr};  // in its bucket, or among the unused cells
  std::atomic<DMHandleCell*> keeper{this};   // whose life and entry lock count for this handle
  std::atomic<unsigned> pins{0};             // calls that have the handle in hand
  dm::EntryLock lock;
};

namespace dm {
namespace {

// Buckets of cells by address. Handles are at least 16 bytes apart, so the low bits say nothing.
constexpr size_t kBuckets = 4096;
constinit std::array<std::atomic<DMHandleCell*>, kBuckets> buckets{};
constinit std::shared_mutex registerLock;
constinit DMHandleCell* unused = nullptr;

std::atomic<DMHandleCell*>& bucketOf(const void* address) {
  const auto number = reinterpret_cast<uintptr_t>(address) >> 4;
  return buckets[(number ^ (number >> 12) ^ (number >> 24)) % kBuckets];
}

// The caller holds the register's lock.
DMHandleCell* lookUp(SQLHANDLE address) {
  DMHandleCell* cell = bucketOf(address).load(std::memory_order_relaxed);
  while (cell && cell->address.load(std::memory_order_relaxed) != address)
    cell = cell->next.load(std::memory_order_relaxed);
  return cell;
}

// The same without the lock. Null if the address is not among the first cells of its bucket, or if they are
// just being changed.
DMHandleCell* glanceUp(SQLHANDLE address) {
  constexpr int kGlances = 4;
  DMHandleCell* cell = bucketOf(address).load(std::memory_order_acquire);
  for (int i = 0; cell && i < kGlances; ++i) {
    if (cell->address.load(std::memory_order_acquire) == address) return cell;
    cell = cell->next.load(std::memory_order_acquire);
  }
  return nullptr;
}

// From here on nobody finds the handle. The caller holds the register's lock.
void remove(DMHandle& handle) {
  std::atomic<DMHandleCell*>* link = &bucketOf(&handle);
  DMHandleCell* cell = link->load(std::memory_order_relaxed);
  for (; cell && cell != handle.cell; cell = link->load(std::memory_order_relaxed)) link = &cell->next;
  if (!cell) return;
  cell->address.store(nullptr, std::memory_order_relaxed);
  link->store(cell->next.load(std::memory_order_relaxed), std::memory_order_release);
}

bool isOf(const DMHandleCell& cell, int type, SQLHANDLE address) {
  if (cell.address.load(std::memory_order_relaxed) != address) return false;
  return type == kAnyType || cell.type.load(std::memory_order_relaxed) == type;
}

DMHandleCell& keeperOf(const DMHandle& handle) {
  return *handle.cell->keeper.load(std::memory_order_relaxed);
}

// The top bit of DMHandleCell::pins: somebody waits for the others to go.
constexpr unsigned kAwaited = 1u << 31;

std::mutex awaitLock;

// Never destroyed, since that waits for the threads that wait, and exit() would not return.
std::condition_variable& makeUnpinned() {
  alignas(std::condition_variable) static unsigned char storage[sizeof(std::condition_variable)];
  return *new (storage) std::condition_variable;
}
std::condition_variable& unpinned = makeUnpinned();

// The caller holds the register's lock.
DMHandleCell* takeCell() {
  DMHandleCell* cell = unused;
  if (!cell) return new (std::nothrow) DMHandleCell;
  unused = cell->next.load(std::memory_order_relaxed);
  return cell;
}

// The cell that keeps a new handle; null if that has none.
DMHandleCell* keeperFor(const DMHandle& handle, DMHandleCell* own) {
  const DMStmt* owner = handle.handleType == DM_DESC ? static_cast<const DMDesc&>(handle).ownerStmt : nullptr;
  return owner ? owner->cell : own;
}

}  // namespace

void enterRegister(DMHandle& handle) noexcept {
  const std::unique_lock lock(registerLock);
  DMHandleCell* cell = takeCell();
  DMHandleCell* keeper = cell ? keeperFor(handle, cell) : nullptr;
  handle.cell = cell;
  if (!keeper) return;
  std::atomic<DMHandleCell*>& first = bucketOf(&handle);
  cell->type.store(handle.handleType, std::memory_order_relaxed);
  cell->keeper.store(keeper, std::memory_order_relaxed);
  cell->next.store(first.load(std::memory_order_relaxed), std::memory_order_relaxed);
  cell->address.store(&handle, std::memory_order_release);
  first.store(cell, std::memory_order_release);
}

void leaveRegister(DMHandle& handle) noexcept {
  if (!handle.cell) return;
  const std::unique_lock lock(registerLock);
  remove(handle);
  handle.cell->pins.store(0, std::memory_order_relaxed);
  handle.cell->next.store(unused, std::memory_order_relaxed);
  unused = handle.cell;
}

DMHandle* findAnyHandle(SQLHANDLE address) noexcept { return findHandle(kAnyType, address); }

DMHandle* findHandle(int type, SQLHANDLE address) noexcept {
  if (!address) return nullptr;
  const std::shared_lock lock(registerLock);
  const DMHandleCell* cell = lookUp(address);
  return cell && isOf(*cell, type, address) ? static_cast<DMHandle*>(address) : nullptr;
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
  const DMHandleCell* cell = lookUp(address);
  if (!cell || !isOf(*cell, type, address)) return nullptr;
  auto* handle = static_cast<DMHandle*>(address);
  pin(*handle);
  return handle;
}

void pin(DMHandle& handle) noexcept { keeperOf(handle).pins.fetch_add(1, std::memory_order_relaxed); }

void unpin(DMHandle& handle) noexcept {
  // The handle may be gone as soon as the pin is.
  if (!(keeperOf(handle).pins.fetch_sub(1, std::memory_order_acq_rel) & kAwaited)) return;
  const std::lock_guard lock(awaitLock);
  unpinned.notify_all();
}

EntryLock* enterHandle(int type, SQLHANDLE address) noexcept {
  if (const DMHandleCell* cell = address ? glanceUp(address) : nullptr) {
    DMHandleCell* const keeper = cell->keeper.load(std::memory_order_relaxed);
    keeper->lock.lock();
    if (isOf(*cell, type, address) && cell->keeper.load(std::memory_order_relaxed) == keeper) [[likely]]
      return &keeper->lock;
    keeper->lock.unlock();
  }
  DMHandle* const handle = pinHandle(type, address);
  if (!handle) return nullptr;
  EntryLock* const lock = enter(*handle) ? &keeperOf(*handle).lock : nullptr;
  unpin(*handle);
  return lock;
}

bool enter(DMHandle& handle) noexcept {
  DMHandleCell& keeper = keeperOf(handle);
  keeper.lock.lock();
  if (keeper.address.load(std::memory_order_relaxed)) return true;
  keeper.lock.unlock();
  return false;
}

bool tryEnter(DMHandle& handle) noexcept {
  DMHandleCell& keeper = keeperOf(handle);
  if (!keeper.lock.tryLock()) return false;
  if (keeper.address.load(std::memory_order_relaxed)) return true;
  keeper.lock.unlock();
  return false;
}

void leave(DMHandle& handle) noexcept { keeperOf(handle).lock.unlock(); }

EntryLock& entryLockOf(const DMHandle& handle) noexcept { return keeperOf(handle).lock; }

void withdraw(DMHandle& handle) noexcept {
  const std::unique_lock lock(registerLock);
  remove(handle);
  if (handle.handleType != DM_STMT) return;
  for (DMDesc* desc : static_cast<DMStmt&>(handle).implicitDescriptors()) remove(*desc);
}

void awaitUnpinned(DMHandle& handle, unsigned own) noexcept {
  std::atomic<unsigned>& pins = handle.cell->pins;
  pins.fetch_or(kAwaited, std::memory_order_acq_rel);
  std::unique_lock lock(awaitLock);
  unpinned.wait(lock, [&] { return (pins.load(std::memory_order_acquire) & ~kAwaited) <= own; });
}

}  // namespace dm
