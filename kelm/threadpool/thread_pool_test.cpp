#include "kelm/threadpool/thread_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "kelm/testing/latch.h"

namespace kelm {
namespace {

class CountingHandler : public ThreadPoolEventHandler {
 public:
  void OnThreadStart() override { ++starts; }
  void OnThreadEnd() override { ++ends; }
  std::atomic<int> starts{0};
  std::atomic<int> ends{0};
};

// What happened to each task of a test, by task number. `deleted` opens
// after `awaited` deletions (all tasks unless said otherwise).
struct Journal {
  explicit Journal(int tasks) : Journal(tasks, tasks) {}
  Journal(int tasks, int awaited) : runs(tasks), deletions(tasks), deleted(awaited) {}
  std::vector<std::atomic<int>> runs;
  std::vector<std::atomic<int>> deletions;
  testing::Latch deleted;
};

class JournalTask : public Task {
 public:
  JournalTask(Journal& journal, int id) : mJournal(journal), mId(id) {}
  ~JournalTask() override {
    ++mJournal.deletions[mId];
    mJournal.deleted.CountDown();
  }
  void Execute() override {
    ++mJournal.runs[mId];
    Work();
  }

 protected:
  virtual void Work() {}
  Journal& mJournal;
  int mId;
};

// Deletes the tasks the pool left queued, which stay the client's concern.
void DeleteLeftOvers(const std::vector<Task*>& tasks, Journal& journal) {
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    if (journal.deletions[i] == 0) delete tasks[i];
  }
}

TEST(ThreadPoolTest, QueuedTasksWaitForTheThreads) {
  CountingHandler handler;
  Journal journal(3);
  ThreadPool pool(&handler);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(pool.AddTask(new JournalTask(journal, i)), i + 1);
  EXPECT_EQ(pool.TasksCount(), 3);
  EXPECT_EQ(journal.runs[0], 0);
  EXPECT_FALSE(pool.IsTerminated());

  pool.StartThreads(0);
  pool.StartThreads(-1);
  EXPECT_THROW(pool.AddTask(nullptr), std::invalid_argument);
  EXPECT_EQ(pool.TasksCount(), 3);
  EXPECT_THROW(ThreadPool(nullptr), std::invalid_argument);

  pool.StartThreads(2);
  journal.deleted.Wait();
  EXPECT_EQ(pool.TasksCount(), 0);
  pool.Stop();
  EXPECT_TRUE(pool.IsTerminated());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(journal.runs[i], 1);
  EXPECT_EQ(handler.starts, 2);
}

TEST(ThreadPoolTest, HundredTasksOnFourThreads) {
  CountingHandler handler;
  Journal journal(100);
  ThreadPool pool(&handler);
  pool.StartThreads(4);
  pool.StartThreads(8);  // already started: nothing more
  for (int i = 0; i < 100; ++i) pool.AddTask(new JournalTask(journal, i));
  journal.deleted.Wait();
  pool.Stop();
  // Stop returns only after every worker has said goodbye.
  EXPECT_EQ(handler.ends, 4);
  EXPECT_EQ(handler.starts, 4);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(journal.runs[i], 1) << i;
    EXPECT_EQ(journal.deletions[i], 1) << i;
  }
  pool.StartThreads(4);  // no restart
  EXPECT_EQ(handler.starts, 4);
  pool.Stop();
}

TEST(ThreadPoolTest, TerminateLeavesQueuedTasksAlone) {
  CountingHandler handler;
  Journal journal(10);
  std::vector<Task*> tasks;
  ThreadPool pool(&handler);
  for (int i = 0; i < 10; ++i) {
    tasks.push_back(new JournalTask(journal, i));
    pool.AddTask(tasks.back());
  }
  pool.Terminate();
  EXPECT_TRUE(pool.IsTerminated());
  pool.StartThreads(2);
  pool.Stop();
  // Each worker took one task in hand before it saw the flag and dropped it
  // unrun; the rest stay queued.
  EXPECT_EQ(pool.TasksCount(), 8);
  int dropped = 0;
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(journal.runs[i], 0);
    dropped += journal.deletions[i];
  }
  EXPECT_EQ(dropped, 2);
  EXPECT_EQ(handler.ends, 2);

  Journal late(1);
  Task* added = new JournalTask(late, 0);
  EXPECT_EQ(pool.AddTask(added), 9);
  EXPECT_EQ(late.runs[0], 0);
  DeleteLeftOvers(tasks, journal);
  delete added;
}

// Terminates its pool from inside a task.
class TerminatingTask : public JournalTask {
 public:
  TerminatingTask(Journal& journal, int id, ThreadPool& pool) : JournalTask(journal, id), mPool(pool) {}

 private:
  void Work() override { mPool.Terminate(); }
  ThreadPool& mPool;
};

TEST(ThreadPoolTest, TaskInHandAfterTerminateIsDroppedUnrun) {
  CountingHandler handler;
  Journal journal(3, 2);
  ThreadPool pool(&handler);
  std::vector<Task*> tasks = {new TerminatingTask(journal, 0, pool), new JournalTask(journal, 1),
                              new JournalTask(journal, 2)};
  for (Task* task : tasks) pool.AddTask(task);
  pool.StartThreads(1);
  journal.deleted.Wait();
  pool.Stop();
  EXPECT_EQ(journal.runs[0], 1);
  EXPECT_EQ(journal.deletions[0], 1);
  EXPECT_EQ(journal.runs[1], 0);  // popped after Terminate
  EXPECT_EQ(journal.deletions[1], 1);
  EXPECT_EQ(journal.runs[2], 0);  // still queued
  EXPECT_EQ(journal.deletions[2], 0);
  EXPECT_EQ(pool.TasksCount(), 1);
  DeleteLeftOvers(tasks, journal);
}

// Adds itself to its pool again until it has run `times` times.
class RepeatingTask : public JournalTask {
 public:
  RepeatingTask(Journal& journal, ThreadPool& pool, int times)
      : JournalTask(journal, 0), mPool(pool), mLeft(times) {}

 private:
  void Work() override {
    if (--mLeft > 0) mPool.AddTask(this);
  }
  ThreadPool& mPool;
  int mLeft;
};

TEST(ThreadPoolTest, TaskAddingItselfAgainIsNotDeletedInBetween) {
  CountingHandler handler;
  Journal journal(1);
  ThreadPool pool(&handler);
  pool.AddTask(new RepeatingTask(journal, pool, 5));
  pool.StartThreads(1);
  journal.deleted.Wait();
  pool.Stop();
  EXPECT_EQ(journal.runs[0], 5);
  EXPECT_EQ(journal.deletions[0], 1);
}

class ThrowingTask : public JournalTask {
 public:
  using JournalTask::JournalTask;

 private:
  void Work() override { throw std::runtime_error("task failed"); }
};

TEST(ThreadPoolTest, ThrowingTaskIsDeletedAndTheWorkerGoesOn) {
  CountingHandler handler;
  Journal journal(2);
  ThreadPool pool(&handler);
  pool.AddTask(new ThrowingTask(journal, 0));
  pool.AddTask(new JournalTask(journal, 1));
  pool.StartThreads(1);
  journal.deleted.Wait();
  pool.Stop();
  EXPECT_EQ(journal.runs[1], 1);
  EXPECT_EQ(journal.deletions[0], 1);
  EXPECT_EQ(handler.ends, 1);
}

// Calls StartThreads on its pool from its hook and from a task that runs
// while the pool is being stopped.
class RestartingHandler : public CountingHandler {
 public:
  void OnThreadEnd() override {
    pool->StartThreads(2);
    CountingHandler::OnThreadEnd();
  }
  ThreadPool* pool = nullptr;
};

class RestartingTask : public JournalTask {
 public:
  RestartingTask(Journal& journal, ThreadPool& pool, testing::Latch& running)
      : JournalTask(journal, 0), pool_(pool), running_(running) {}

 private:
  void Work() override {
    running_.CountDown();
    while (!pool_.IsTerminated()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    pool_.StartThreads(2);
  }
  ThreadPool& pool_;
  testing::Latch& running_;
};

TEST(ThreadPoolTest, StartThreadsDuringAndAfterStopReturns) {
  auto handler = std::make_unique<RestartingHandler>();
  auto pool = std::make_unique<ThreadPool>(handler.get());
  handler->pool = pool.get();
  Journal journal(1);
  testing::Latch running(1);
  pool->AddTask(new RestartingTask(journal, *pool, running));
  pool->StartThreads(2);
  running.Wait();

  auto stopped = std::make_shared<testing::Latch>(1);
  std::thread stopper([p = pool.get(), stopped] {
    p->Stop();
    stopped->CountDown();
  });
  if (!stopped->WaitFor(std::chrono::seconds(20))) {
    // Stop waits for itself: leave the pool to the stuck threads.
    stopper.detach();
    (void)pool.release();
    (void)handler.release();
    FAIL() << "Stop does not return";
  }
  stopper.join();
  EXPECT_EQ(journal.runs[0], 1);
  EXPECT_EQ(journal.deletions[0], 1);
  EXPECT_EQ(handler->ends, 2);
  pool->StartThreads(2);  // after Stop: returns, starts nothing
  EXPECT_EQ(handler->starts, 2);
}

}  // namespace
}  // namespace kelm
