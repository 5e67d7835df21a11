#include "zulib/os/host/zusemaphoreinfo.h"

#include <sys/ipc.h>
#include <sys/sem.h>

// The array's semaphore for the length of one operation.
class SemArray::Held {
 public:
  explicit Held(const SemArray& array) : array(array) { array.GetSemaphore(); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() { array.FreeSemaphore(); }

 private:
  const SemArray& array;
};

int SemArray::add(ZuObject* object) {
  const Held held(*this);
  return ZuArray::add(object);
}

int SemArray::addAtIndex(ZuObject* object, unsigned long index) {
  const Held held(*this);
  return ZuArray::addAtIndex(object, index);
}

void SemArray::deleteContents() {
  const Held held(*this);
  ZuArray::deleteContents();
}

void SemArray::deleteAtIndex(unsigned long index) {
  const Held held(*this);
  ZuArray::deleteAtIndex(index);
}

void SemArray::removeAtIndex(unsigned long index) {
  const Held held(*this);
  ZuArray::removeAtIndex(index);
}

unsigned long SemArray::getCount() const {
  const Held held(*this);
  return ZuArray::getCount();
}

ZuObject* SemArray::at(unsigned long index) const {
  const Held held(*this);
  return ZuArray::at(index);
}

ZuSemaphoreInfo::~ZuSemaphoreInfo() {
  removeSets();
  semaphores.deleteContents();
}

void ZuSemaphoreInfo::removeSets() const {
  for (unsigned short i = 0; i < numberOfSets; ++i) semctl(static_cast<int>(sets[i].id), 0, IPC_RMID);
}

int ZuSemaphoreInfo::availableSemaphore() const {
  for (unsigned short i = 0; i < numberOfSets; ++i) {
    if (sets[i].used < sets[i].capacity) return 1;
  }
  return 0;
}

int ZuSemaphoreInfo::allocateSemaphore(ZuSemaphore* semaphore) {
  if (semaphores.add(semaphore)) return -1;
  return numberOfSets - 1;
}

void ZuSemaphoreInfo::remove(ZuSemaphore* semaphore) {
  for (unsigned long i = 0; i < semaphores.getCount(); ++i) {
    if (semaphores.at(i) == semaphore) {
      semaphores.removeAtIndex(i);
      return;
    }
  }
}
