#include "kelm/frame/sync.h"

#include "kelm/port/sync.h"

CriticalSection::CriticalSection() { kelm::port::InitializeLock(&cs_); }
CriticalSection::~CriticalSection() { kelm::port::DeleteLock(&cs_); }
void CriticalSection::Enter() { kelm::port::EnterLock(&cs_); }
void CriticalSection::Leave() { kelm::port::LeaveLock(&cs_); }

Locker::Locker(CriticalSection& cs) : cs_(&cs), owns_(true) { cs_->Enter(); }

Locker::~Locker() {
  if (owns_) cs_->Leave();
}

Semaphore::Semaphore(long initial, long maximum)
    : handle_(kelm::port::CreateSemaphoreObject(initial, maximum)) {}

Semaphore::~Semaphore() {
  if (handle_ != nullptr) kelm::port::CloseObject(handle_);
}

long Semaphore::Release(long count) {
  long previous = 0;
  if (handle_ == nullptr || !kelm::port::ReleaseSemaphoreObject(handle_, count, &previous)) return -1;
  return previous;
}

Mutex1::Mutex1() : handle_(kelm::port::CreateMutexObject()) {}

Mutex1::~Mutex1() {
  if (handle_ != nullptr) kelm::port::CloseObject(handle_);
}

bool Mutex1::Release() { return handle_ != nullptr && kelm::port::ReleaseMutexObject(handle_); }
