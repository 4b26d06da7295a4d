#include "kelm/threadpool/thread_pool.h"

#include <chrono>
#include <stdexcept>

#include "kelm/port/sync.h"

namespace kelm {
namespace {

constexpr unsigned long kIdleWaitMs = 500;
constexpr long kSemaphoreCeiling = 0x7FFFFFFF;  // the largest Win32 semaphore count

// An exception escaping a task would end the process on a worker thread; the
// task counts as run instead, and the worker goes on with the queue.
void RunTask(Task* task) {
  try {
    task->Execute();
  } catch (...) {
  }
}

}  // namespace

// Never closed: workers of a pool that was only terminated may still wait on
// it while the process exits.
void* const ThreadPool::mTaskSemaphore = port::CreateSemaphoreObject(0, kSemaphoreCeiling);

ThreadPool::ThreadPool(ThreadPoolEventHandler* handler) : terminated_(false), handler_(handler) {
  if (handler == nullptr) throw std::invalid_argument("ThreadPool needs an event handler");
}

ThreadPool::~ThreadPool() {
  // Workers still running are let go, as a thread group does on destruction.
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.detach();
  }
}

void ThreadPool::StartThreads(int count) {
  std::unique_lock lock(start_mutex_);
  if (!threads_.empty()) return;
  for (int i = 0; i < count; ++i) threads_.emplace_back(&ThreadPool::ThreadProc, this);
}

int ThreadPool::AddTask(Task* task) {
  // A null task would read as an empty queue to the worker that pops it.
  if (task == nullptr) throw std::invalid_argument("ThreadPool::AddTask: null task");
  int length;
  {
    std::lock_guard lock(tasks_mutex_);
    tasks_.push_back(task);
    length = static_cast<int>(tasks_.size());
  }
  port::ReleaseSemaphoreObject(mTaskSemaphore, 1, nullptr);
  return length;
}

int ThreadPool::TasksCount() const {
  std::lock_guard lock(tasks_mutex_);
  return static_cast<int>(tasks_.size());
}

bool ThreadPool::IsTerminated() const {
  std::lock_guard lock(terminated_mutex_);
  return terminated_;
}

void ThreadPool::Terminate() {
  std::lock_guard lock(terminated_mutex_);
  terminated_ = true;
}

// The start lock is held, shared, only to wait for a StartThreads in
// progress: a task or hook calling StartThreads while the workers are joined
// must not wait for the join. A started pool's thread list never changes
// again, so it is joined outside the lock.
void ThreadPool::Stop() {
  Terminate();
  std::lock_guard stop(stop_mutex_);
  std::size_t count;
  {
    std::shared_lock lock(start_mutex_);
    count = threads_.size();
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (threads_[i].joinable()) threads_[i].join();
  }
}

Task* ThreadPool::PopTask() {
  std::lock_guard lock(tasks_mutex_);
  if (tasks_.empty()) return nullptr;
  Task* task = tasks_.front();
  tasks_.pop_front();
  return task;
}

int ThreadPool::ThreadProc(ThreadPool* pool) {
  if (pool == nullptr) return 0;
  pool->handler_->OnThreadStart();
  do {
    Task* task = pool->PopTask();
    while (task != nullptr && !pool->IsTerminated()) {
      RunTask(task);
      Task* next = pool->PopTask();
      if (next != task) delete task;
      task = next;
    }
    delete task;  // taken from the queue after Terminate: dropped unrun
    if (port::WaitForObject(mTaskSemaphore, kIdleWaitMs) == port::WaitResult::kFailed) {
      // No semaphore: poll at the same pace.
      std::this_thread::sleep_for(std::chrono::milliseconds(kIdleWaitMs));
    }
  } while (!pool->IsTerminated());
  pool->handler_->OnThreadEnd();
  return 0;
}

}  // namespace kelm
