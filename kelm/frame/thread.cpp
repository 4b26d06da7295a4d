#include "kelm/frame/thread.h"

#include "kelm/port/sync.h"

Thread::Thread(unsigned long(__stdcall* fn)(void*), void* arg, bool suspended, bool waitOnDestroy)
    : procs_(nullptr), handle_(nullptr), id_(0), wait_on_destroy_(waitOnDestroy) {
  handle_ = kelm::port::StartThread(fn, arg, suspended, &id_);
}

Thread::Thread(std::unique_ptr<ThreadProcs> procs, bool suspended)
    : procs_(procs.release()), handle_(nullptr), id_(0), wait_on_destroy_(false) {
  handle_ = kelm::port::StartThread(&RunProcs, procs_, suspended, &id_);
}

Thread::~Thread() {
  if (handle_ != nullptr) {
    kelm::port::PostQuitToThread(id_);
    if (wait_on_destroy_) kelm::port::WaitForObject(handle_, INFINITE);
    kelm::port::CloseObject(handle_);
  }
  delete procs_;
}

unsigned long __stdcall Thread::RunProcs(void* procs) {
  if (procs == nullptr) return 0;
  try {
    return static_cast<ThreadProcs*>(procs)->Run();
  } catch (...) {
    return 0;
  }
}
