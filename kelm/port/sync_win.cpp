#include "kelm/port/sync.h"

#include <process.h>

#include <memory>

namespace kelm::port {
namespace {

struct StartArgs {
  ThreadFunction function;
  void* arg;
};

unsigned __stdcall ThreadTrampoline(void* p) {
  std::unique_ptr<StartArgs> start(static_cast<StartArgs*>(p));
  return static_cast<unsigned>(start->function(start->arg));
}

}  // namespace

void InitializeLock(CRITICAL_SECTION* cs) { ::InitializeCriticalSection(cs); }
void DeleteLock(CRITICAL_SECTION* cs) { ::DeleteCriticalSection(cs); }
void EnterLock(CRITICAL_SECTION* cs) { ::EnterCriticalSection(cs); }
void LeaveLock(CRITICAL_SECTION* cs) { ::LeaveCriticalSection(cs); }

HANDLE CreateSemaphoreObject(long initial, long maximum) {
  return ::CreateSemaphoreW(nullptr, initial, maximum, nullptr);
}

bool ReleaseSemaphoreObject(HANDLE semaphore, long count, long* previous) {
  // Wine releases by 0 (or less) without complaint.
  if (count <= 0) return false;
  LONG before = 0;
  if (!::ReleaseSemaphore(semaphore, count, &before)) return false;
  if (previous != nullptr) *previous = before;
  return true;
}

HANDLE CreateMutexObject() { return ::CreateMutexW(nullptr, FALSE, nullptr); }

bool ReleaseMutexObject(HANDLE mutex) { return ::ReleaseMutex(mutex) != FALSE; }

HANDLE StartThread(ThreadFunction function, void* arg, bool suspended, unsigned long* thread_id) {
  auto start = std::make_unique<StartArgs>(StartArgs{function, arg});
  unsigned id = 0;
  const uintptr_t handle = ::_beginthreadex(nullptr, 0, &ThreadTrampoline, start.get(),
                                            suspended ? CREATE_SUSPENDED : 0, &id);
  if (handle == 0 || handle == static_cast<uintptr_t>(-1)) return nullptr;
  start.release();  // the thread owns it now
  if (thread_id != nullptr) *thread_id = id;
  return reinterpret_cast<HANDLE>(handle);
}

bool ResumeThreadObject(HANDLE thread) { return ::ResumeThread(thread) != static_cast<DWORD>(-1); }

// A thread may end with the code STILL_ACTIVE (259) itself; only its signalled
// handle tells that apart from a running thread.
bool GetThreadExitCode(HANDLE thread, unsigned long* code) {
  DWORD value = 0;
  if (!::GetExitCodeThread(thread, &value)) return false;
  if (value == STILL_ACTIVE && ::WaitForSingleObject(thread, 0) != WAIT_OBJECT_0) return false;
  *code = value;
  return true;
}

unsigned long CurrentThreadId() { return ::GetCurrentThreadId(); }

bool PostQuitToThread(unsigned long thread_id) {
  return ::PostThreadMessageW(thread_id, WM_QUIT, 0, 0) != FALSE;
}

WaitResult WaitForObject(HANDLE object, unsigned long timeout_ms) {
  switch (::WaitForSingleObject(object, timeout_ms)) {
    case WAIT_OBJECT_0:
    case WAIT_ABANDONED:
      return WaitResult::kSignaled;
    case WAIT_TIMEOUT:
      return WaitResult::kTimeout;
    default:
      return WaitResult::kFailed;
  }
}

bool CloseObject(HANDLE object) { return ::CloseHandle(object) != FALSE; }

}  // namespace kelm::port
