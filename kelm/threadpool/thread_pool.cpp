#include "kelm/threadpool/thread_pool.h"

#include <chrono>
#include <stdexcept>

namespace kelm {
namespace {

constexpr std::chrono::microseconds kIdleWait(500000);

// An exception escaping a task would end the process on a worker thread; the
// task counts as run instead, and the worker goes on with the queue.
void RunTask(Task* task) {
  try {
    task->Execute();
  } catch (...) {
  }
}

}  // namespace

std::counting_semaphore<> ThreadPool::mTaskSemaphore(0);

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
  mTaskSemaphore.release();
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

// The start lock also keeps StartThreads and a second Stop away from the
// thread list while the workers are joined.
void ThreadPool::Stop() {
  Terminate();
  std::unique_lock lock(start_mutex_);
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.join();
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
    (void)mTaskSemaphore.try_acquire_for(kIdleWait);
  } while (!pool->IsTerminated());
  pool->handler_->OnThreadEnd();
  return 0;
}

}  // namespace kelm
