#include "kelm/threadpool/thread_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
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
  explicit Journal(int tasks, int awaited = -1)
      : runs(tasks), deletions(tasks), deleted(awaited < 0 ? tasks : awaited) {}
  std::vector<std::atomic<int>> runs;
  std::vector<std::atomic<int>> deletions;
  testing::Latch deleted;
};

// Counts its runs and deletion in the journal; runs `work` if given.
class JournalTask : public Task {
 public:
  JournalTask(Journal& journal, int id, std::function<void()> work = {})
      : work(std::move(work)), mJournal(journal), mId(id) {}
  ~JournalTask() override {
    ++mJournal.deletions[mId];
    mJournal.deleted.CountDown();
  }
  void Execute() override {
    ++mJournal.runs[mId];
    if (work) work();
  }
  std::function<void()> work;

 private:
  Journal& mJournal;
  int mId;
};

// Queues `count` journal tasks; returns them.
std::vector<Task*> AddTasks(ThreadPool& pool, Journal& journal, int count) {
  std::vector<Task*> tasks;
  for (int i = 0; i < count; ++i) {
    tasks.push_back(new JournalTask(journal, i));
    pool.AddTask(tasks.back());
  }
  return tasks;
}

// Deletes the tasks the pool left queued, which stay the client's concern.
void DeleteLeftOvers(const std::vector<Task*>& tasks, Journal& journal) {
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    if (journal.deletions[i] == 0) delete tasks[i];
  }
}

TEST(ThreadPoolTest, QueuedTasksWaitForTheThreadsThenEachRunsOnce) {
  CountingHandler handler;
  Journal journal(100);
  ThreadPool pool(&handler);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(pool.AddTask(new JournalTask(journal, i)), i + 1);
  pool.StartThreads(0);
  pool.StartThreads(-1);
  EXPECT_THROW(pool.AddTask(nullptr), std::invalid_argument);
  EXPECT_THROW(ThreadPool(nullptr), std::invalid_argument);
  EXPECT_EQ(pool.TasksCount(), 3);
  EXPECT_EQ(journal.runs[0], 0);

  pool.StartThreads(4);
  pool.StartThreads(8);  // already started: nothing more
  for (int i = 3; i < 100; ++i) pool.AddTask(new JournalTask(journal, i));
  journal.deleted.Wait();
  EXPECT_EQ(pool.TasksCount(), 0);
  EXPECT_FALSE(pool.IsTerminated());
  pool.Stop();
  EXPECT_TRUE(pool.IsTerminated());
  // Stop returns only after every worker has said goodbye.
  EXPECT_EQ(handler.ends, 4);
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(journal.runs[i] == 1 && journal.deletions[i] == 1) << i;
  pool.StartThreads(4);  // no restart
  EXPECT_EQ(handler.starts, 4);
}

TEST(ThreadPoolTest, TerminateLeavesQueuedTasksAlone) {
  CountingHandler handler;
  Journal journal(10);
  ThreadPool pool(&handler);
  const std::vector<Task*> tasks = AddTasks(pool, journal, 10);
  pool.Terminate();
  pool.StartThreads(2);
  pool.Stop();
  // Each worker took one task in hand before it saw the flag and dropped it
  // unrun; the rest stay queued, and so does a task added later.
  EXPECT_EQ(pool.TasksCount(), 8);
  int dropped = 0;
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(journal.runs[i], 0);
    dropped += journal.deletions[i];
  }
  EXPECT_EQ(dropped, 2);
  EXPECT_EQ(handler.ends, 2);
  Journal late(1);
  auto added = std::make_unique<JournalTask>(late, 0);
  EXPECT_EQ(pool.AddTask(added.get()), 9);
  EXPECT_EQ(late.runs[0], 0);
  DeleteLeftOvers(tasks, journal);
}

TEST(ThreadPoolTest, TaskInHandAfterTerminateIsDroppedUnrun) {
  CountingHandler handler;
  Journal journal(3, 2);
  ThreadPool pool(&handler);
  const std::vector<Task*> tasks = AddTasks(pool, journal, 3);
  static_cast<JournalTask*>(tasks[0])->work = [&] { pool.Terminate(); };
  pool.StartThreads(1);
  journal.deleted.Wait();
  pool.Stop();
  // Run; popped after Terminate; still queued.
  EXPECT_EQ(journal.runs[0] * 100 + journal.runs[1] * 10 + journal.runs[2], 100);
  EXPECT_EQ(journal.deletions[0] * 100 + journal.deletions[1] * 10 + journal.deletions[2], 110);
  EXPECT_EQ(pool.TasksCount(), 1);
  DeleteLeftOvers(tasks, journal);
}

// A task that throws is deleted and the worker goes on; one that adds
// itself again and is popped again at once is not deleted in between.
TEST(ThreadPoolTest, RepeatingAndThrowingTasks) {
  CountingHandler handler;
  Journal journal(3);
  ThreadPool pool(&handler);
  auto* repeating = new JournalTask(journal, 0);
  repeating->work = [&, left = 5]() mutable {
    if (--left > 0) pool.AddTask(repeating);
  };
  pool.AddTask(new JournalTask(journal, 1, [] { throw std::runtime_error("task failed"); }));
  pool.AddTask(new JournalTask(journal, 2));
  pool.AddTask(repeating);
  pool.StartThreads(1);
  journal.deleted.Wait();
  pool.Stop();
  EXPECT_EQ(journal.runs[0], 5);
  EXPECT_EQ(journal.runs[2], 1);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(journal.deletions[i], 1);
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

TEST(ThreadPoolTest, StartThreadsDuringAndAfterStopReturns) {
  auto handler = std::make_unique<RestartingHandler>();
  auto pool = std::make_unique<ThreadPool>(handler.get());
  handler->pool = pool.get();
  Journal journal(1);
  testing::Latch running(1);
  pool->AddTask(new JournalTask(journal, 0, [&, p = pool.get()] {
    running.CountDown();
    while (!p->IsTerminated()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    p->StartThreads(2);
  }));
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
