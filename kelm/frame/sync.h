// The library's lock, its scope guard, semaphores and mutexes.
#ifndef KELM_FRAME_SYNC_H_
#define KELM_FRAME_SYNC_H_

#include "kelm/port/win_types.h"

// A recursive lock over a Windows critical section. Copying copies the raw
// section contents and initialises nothing new: do not rely on copies.
class CriticalSection {
 public:
  CriticalSection();
  CriticalSection(const CriticalSection&) = default;
  CriticalSection& operator=(const CriticalSection&) = default;
  virtual ~CriticalSection();

  void Enter();
  void Leave();

 private:
  CRITICAL_SECTION cs_;
};

// Enters a section for the guard's scope. Release() hands the entered section
// over to the caller, who must then Leave it himself. A copy also believes it
// owns the section.
class Locker {
 public:
  explicit Locker(CriticalSection& cs);
  Locker(const Locker&) = default;
  Locker& operator=(const Locker&) = delete;
  virtual ~Locker();

  bool Owns() const { return owns_; }
  void Release() { owns_ = false; }

 private:
  CriticalSection* cs_;
  bool owns_;
};

// A counting semaphore. Creation failures leave a null handle; the calls
// then fail quietly.
class Semaphore {
 public:
  explicit Semaphore(long initial = 0, long maximum = 65535);
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;
  ~Semaphore();

  // The count before the release, or -1 on failure.
  long Release(long count);
  operator void*() const { return handle_; }

 private:
  HANDLE handle_;
};

// An unnamed mutex, not owned at creation.
class Mutex1 {
 public:
  Mutex1();
  Mutex1(const Mutex1&) = delete;
  Mutex1& operator=(const Mutex1&) = delete;
  ~Mutex1();

  bool Release();
  operator void*() const { return handle_; }

 private:
  HANDLE handle_;
};

#endif  // KELM_FRAME_SYNC_H_
