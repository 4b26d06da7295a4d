#include "kelm/port/sync.h"

#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "kelm/port/handle_posix.h"
#include "kelm/port/thread_exit_posix.h"

namespace kelm::port {
namespace {

// Waits on `cv` until `ready()` holds, at most `timeout_ms` (INFINITE: no limit).
template <class Ready>
bool WaitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock,
               unsigned long timeout_ms, Ready ready) {
  if (timeout_ms == INFINITE) {
    cv.wait(lock, ready);
    return true;
  }
  return cv.wait_for(lock, std::chrono::milliseconds(timeout_ms), ready);
}

class SemaphoreObject : public HandleObject {
 public:
  SemaphoreObject(long initial, long maximum) : count_(initial), maximum_(maximum) {}

  bool Release(long count, long* previous) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (count <= 0 || count > maximum_ - count_) return false;
    if (previous != nullptr) *previous = count_;
    count_ += count;
    cv_.notify_all();
    return true;
  }

  WaitResult Wait(unsigned long timeout_ms) override {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!WaitUntil(cv_, lock, timeout_ms, [this] { return count_ > 0; })) return WaitResult::kTimeout;
    --count_;
    return WaitResult::kSignaled;
  }

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  long count_;
  const long maximum_;
};

class MutexObject : public HandleObject {
 public:
  bool Release() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (depth_ == 0 || owner_ != CurrentThreadId()) return false;
    if (--depth_ == 0) cv_.notify_one();
    return true;
  }

  WaitResult Wait(unsigned long timeout_ms) override {
    const unsigned long self = CurrentThreadId();
    std::unique_lock<std::mutex> lock(mutex_);
    if (!WaitUntil(cv_, lock, timeout_ms, [&] { return depth_ == 0 || owner_ == self; })) {
      return WaitResult::kTimeout;
    }
    owner_ = self;
    ++depth_;
    return WaitResult::kSignaled;
  }

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  unsigned long owner_ = 0;
  unsigned long depth_ = 0;
};

struct ThreadState {
  std::mutex mutex;
  std::condition_variable cv;
  ThreadFunction function = nullptr;
  void* arg = nullptr;
  unsigned long id = 0;
  bool id_known = false;
  bool resumed = false;
  bool done = false;
  unsigned long exit_code = 0;
};

class ThreadObject : public HandleObject {
 public:
  explicit ThreadObject(std::shared_ptr<ThreadState> state) : state_(std::move(state)) {}

  WaitResult Wait(unsigned long timeout_ms) override {
    std::unique_lock<std::mutex> lock(state_->mutex);
    if (!WaitUntil(state_->cv, lock, timeout_ms, [this] { return state_->done; })) {
      return WaitResult::kTimeout;
    }
    return WaitResult::kSignaled;
  }

  ThreadState& state() { return *state_; }

 private:
  std::shared_ptr<ThreadState> state_;
};

void* ThreadMain(void* p) {
  const std::shared_ptr<ThreadState> state =
      *std::unique_ptr<std::shared_ptr<ThreadState>>(static_cast<std::shared_ptr<ThreadState>*>(p));
  {
    std::unique_lock<std::mutex> lock(state->mutex);
    state->id = CurrentThreadId();
    state->id_known = true;
    state->cv.notify_all();
    state->cv.wait(lock, [&] { return state->resumed; });
  }
  const unsigned long code = state->function(state->arg);
  NotifyThreadExit();
  std::lock_guard<std::mutex> lock(state->mutex);
  state->exit_code = code;
  state->done = true;
  state->cv.notify_all();
  return nullptr;
}

template <class T>
T* As(HANDLE handle) {
  return dynamic_cast<T*>(ToObject(handle));
}

}  // namespace

void InitializeLock(CRITICAL_SECTION* cs) {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&cs->mutex, &attr);
  pthread_mutexattr_destroy(&attr);
}
void DeleteLock(CRITICAL_SECTION* cs) { pthread_mutex_destroy(&cs->mutex); }
void EnterLock(CRITICAL_SECTION* cs) { pthread_mutex_lock(&cs->mutex); }
void LeaveLock(CRITICAL_SECTION* cs) { pthread_mutex_unlock(&cs->mutex); }

HANDLE CreateSemaphoreObject(long initial, long maximum) {
  if (maximum <= 0 || initial < 0 || initial > maximum) return nullptr;
  return new SemaphoreObject(initial, maximum);
}

bool ReleaseSemaphoreObject(HANDLE semaphore, long count, long* previous) {
  SemaphoreObject* object = As<SemaphoreObject>(semaphore);
  return object != nullptr && object->Release(count, previous);
}

HANDLE CreateMutexObject() { return new MutexObject; }

bool ReleaseMutexObject(HANDLE mutex) {
  MutexObject* object = As<MutexObject>(mutex);
  return object != nullptr && object->Release();
}

HANDLE StartThread(ThreadFunction function, void* arg, bool suspended, unsigned long* thread_id) {
  auto state = std::make_shared<ThreadState>();
  state->function = function;
  state->arg = arg;
  state->resumed = !suspended;
  auto handle = std::make_unique<ThreadObject>(state);
  auto start = std::make_unique<std::shared_ptr<ThreadState>>(state);

  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  const int rc = pthread_create(&thread, &attr, &ThreadMain, start.get());
  pthread_attr_destroy(&attr);
  if (rc != 0) return nullptr;
  start.release();  // the thread owns it now
  std::unique_lock<std::mutex> lock(state->mutex);
  state->cv.wait(lock, [&] { return state->id_known; });
  if (thread_id != nullptr) *thread_id = state->id;
  return handle.release();
}

bool ResumeThreadObject(HANDLE thread) {
  ThreadObject* object = As<ThreadObject>(thread);
  if (object == nullptr) return false;
  std::lock_guard<std::mutex> lock(object->state().mutex);
  object->state().resumed = true;
  object->state().cv.notify_all();
  return true;
}

bool GetThreadExitCode(HANDLE thread, unsigned long* code) {
  ThreadObject* object = As<ThreadObject>(thread);
  if (object == nullptr) return false;
  std::lock_guard<std::mutex> lock(object->state().mutex);
  if (!object->state().done) return false;
  *code = object->state().exit_code;
  return true;
}

unsigned long CurrentThreadId() { return static_cast<unsigned long>(::gettid()); }

bool PostQuitToThread(unsigned long) { return false; }

WaitResult WaitForObject(HANDLE object, unsigned long timeout_ms) {
  HandleObject* target = ToObject(object);
  return target == nullptr ? WaitResult::kFailed : target->Wait(timeout_ms);
}

bool CloseObject(HANDLE object) {
  HandleObject* target = ToObject(object);
  if (target == nullptr) return false;
  delete target;
  return true;
}

}  // namespace kelm::port
