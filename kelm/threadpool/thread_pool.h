// A fixed set of worker threads serving one first-in, first-out task queue.
#ifndef KELM_THREADPOOL_THREAD_POOL_H_
#define KELM_THREADPOOL_THREAD_POOL_H_

#include <deque>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

namespace kelm {

// A unit of work. Created with new by the client; from AddTask on the pool
// owns it and deletes it after running it.
class Task {
 public:
  virtual ~Task() = default;
  virtual void Execute() = 0;
};

// Told on each worker thread when it starts and when it ends, so that
// per-thread state can be set up and torn down there. Not owned by the pool.
class ThreadPoolEventHandler {
 public:
  virtual ~ThreadPoolEventHandler() = default;
  virtual void OnThreadStart() {}
  virtual void OnThreadEnd() {}
};

// Started once, ended by Stop (or by Terminate, after which the workers end
// by themselves while the pool must still exist); never restarted.
//
// A worker empties the queue before it waits, then sleeps at most half a
// second, and notices Terminate at the latest after the task it is running
// and that half second. Tasks run with no pool lock held: a task may call
// AddTask, TasksCount, IsTerminated and Terminate on its own pool, but not
// Stop. A task that adds itself again and is popped again at once by the
// same worker runs again without being deleted in between.
class ThreadPool {
 public:
  // Throws std::invalid_argument for a null `handler`.
  explicit ThreadPool(ThreadPoolEventHandler* handler);
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;
  // Neither stops the workers nor deletes the queued tasks: call Stop first.
  virtual ~ThreadPool();

  // Starts `count` workers unless the pool has (or had) threads.
  void StartThreads(int count);

  // Appends the task and wakes a worker; returns the queue length after the
  // append. Tasks added before StartThreads wait in the queue. Throws
  // std::invalid_argument for a null task.
  int AddTask(Task* task);

  // Queued tasks, not counting those being run.
  int TasksCount() const;

  bool IsTerminated() const;

  // Asks the workers to end and returns at once. Tasks still queued stay
  // there: the workers neither run nor delete them.
  void Terminate();

  // Terminate, then wait for every worker to end. The start lock is not held
  // while waiting: a task or an OnThreadEnd hook may call StartThreads, which
  // then returns without starting anything.
  void Stop();

 private:
  static int ThreadProc(ThreadPool* pool);
  Task* PopTask();

  std::vector<std::thread> threads_;
  std::deque<Task*> tasks_;
  mutable std::mutex tasks_mutex_;
  bool terminated_;
  mutable std::mutex terminated_mutex_;
  ThreadPoolEventHandler* handler_;
  std::shared_mutex start_mutex_;

  // Serialises Stop calls, which join the workers outside the start lock.
  std::mutex stop_mutex_;

  // A platform semaphore (kelm/port/sync.h) shared by every pool of the
  // process: posted once per added task, waited on by idle workers. It only
  // wakes workers; a worker woken for another pool's task finds its own
  // queue empty and waits again.
  static void* const mTaskSemaphore;
};

}  // namespace kelm

#endif  // KELM_THREADPOOL_THREAD_POOL_H_
