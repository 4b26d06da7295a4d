// Threads running a plain function or a body object.
#ifndef KELM_FRAME_THREAD_H_
#define KELM_FRAME_THREAD_H_

#include <memory>

#include "kelm/port/win_types.h"

// The body of a thread.
class ThreadProcs {
 public:
  virtual ~ThreadProcs() = default;
  // The thread's exit code.
  virtual unsigned long Run() = 0;
};

// Starts a thread at construction. The destructor posts WM_QUIT to the
// thread, waits for it only when asked to at construction, closes the handle
// and then deletes the body. A body thread is not waited for: stop it before
// destroying its Thread.
class Thread {
 public:
  // Runs fn(arg). A failed start leaves a null handle.
  Thread(unsigned long(__stdcall* fn)(void*), void* arg, bool suspended, bool waitOnDestroy);
  // Runs procs->Run(); an exception escaping it is swallowed and the exit
  // code is then 0. Does not wait on destruction.
  Thread(std::unique_ptr<ThreadProcs> procs, bool suspended);
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  virtual ~Thread();

  void* Handle() const { return handle_; }
  unsigned long ID() const { return id_; }

 private:
  static unsigned long __stdcall RunProcs(void* procs);

  ThreadProcs* procs_;  // owned
  HANDLE handle_;
  unsigned long id_;
  bool wait_on_destroy_;
};

#endif  // KELM_FRAME_THREAD_H_
