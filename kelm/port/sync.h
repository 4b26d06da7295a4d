// Locks, semaphores, mutexes, threads and waiting on them.
//
// Objects are HANDLEs as on Windows: created here, waited on with
// WaitForObject and closed with CloseObject. A failed creation returns null.
#ifndef KELM_PORT_SYNC_H_
#define KELM_PORT_SYNC_H_

#include "kelm/port/win_types.h"

namespace kelm::port {

// Critical sections: recursive, owned by the entering thread.
void InitializeLock(CRITICAL_SECTION* cs);
void DeleteLock(CRITICAL_SECTION* cs);
void EnterLock(CRITICAL_SECTION* cs);
void LeaveLock(CRITICAL_SECTION* cs);

// Counting semaphore with a ceiling. Release fails, leaving the count as it
// is, when the count would pass the ceiling or `count` is not positive; on
// success `*previous` (if given) receives the count before the release.
HANDLE CreateSemaphoreObject(long initial, long maximum);
bool ReleaseSemaphoreObject(HANDLE semaphore, long count, long* previous);

// Recursive mutex owned by the thread that waited on it; created unowned.
// Only the owner can release it.
HANDLE CreateMutexObject();
bool ReleaseMutexObject(HANDLE mutex);

// Threads. The function runs with `arg` and its result becomes the exit
// code; `suspended` threads wait for ResumeThreadObject. A thread object is
// signalled once the thread has finished, thread-exit notifications included.
using ThreadFunction = unsigned long(__stdcall*)(void*);
HANDLE StartThread(ThreadFunction function, void* arg, bool suspended, unsigned long* thread_id);
bool ResumeThreadObject(HANDLE thread);
// False while the thread still runs.
bool GetThreadExitCode(HANDLE thread, unsigned long* code);
unsigned long CurrentThreadId();
// Posts WM_QUIT to a thread's message queue. POSIX threads have none: false.
bool PostQuitToThread(unsigned long thread_id);

enum class WaitResult { kSignaled, kTimeout, kFailed };
// Semaphores: take one unit; mutexes: acquire; threads: wait for the end.
WaitResult WaitForObject(HANDLE object, unsigned long timeout_ms);

bool CloseObject(HANDLE object);

}  // namespace kelm::port

#endif  // KELM_PORT_SYNC_H_
