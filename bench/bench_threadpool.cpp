// Thread pool throughput: one million trivial tasks through kelm::ThreadPool
// against a minimal pool of a mutex, a condition variable and a deque.
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/bench.h"
#include "kelm/testing/latch.h"
#include "kelm/threadpool/thread_pool.h"

namespace {

constexpr int kTasks = 1000000;
constexpr int kThreads = 4;

// Counts down; the last one opens `done`.
struct Countdown {
  std::atomic<int> left{kTasks};
  kelm::testing::Latch done{1};
  void Tick() {
    if (left.fetch_sub(1, std::memory_order_acq_rel) == 1) done.CountDown();
  }
};

class TickTask : public kelm::Task {
 public:
  explicit TickTask(Countdown& countdown) : mCountdown(countdown) {}
  void Execute() override { mCountdown.Tick(); }

 private:
  Countdown& mCountdown;
};

// The baseline: the same heap-allocated tasks, one lock, one condition variable.
class MinimalPool {
 public:
  explicit MinimalPool(int threads) {
    for (int i = 0; i < threads; ++i) mThreads.emplace_back([this] { Work(); });
  }
  ~MinimalPool() {
    {
      std::lock_guard lock(mMutex);
      mStop = true;
    }
    mWake.notify_all();
    for (std::thread& t : mThreads) t.join();
  }
  void Add(kelm::Task* task) {
    {
      std::lock_guard lock(mMutex);
      mTasks.push_back(task);
    }
    mWake.notify_one();
  }

 private:
  void Work() {
    for (;;) {
      kelm::Task* task;
      {
        std::unique_lock lock(mMutex);
        mWake.wait(lock, [this] { return mStop || !mTasks.empty(); });
        if (mTasks.empty()) return;
        task = mTasks.front();
        mTasks.pop_front();
      }
      task->Execute();
      delete task;
    }
  }

  std::mutex mMutex;
  std::condition_variable mWake;
  std::deque<kelm::Task*> mTasks;
  bool mStop = false;
  std::vector<std::thread> mThreads;
};

// Time from the first task added to the last one run; starting and stopping
// the threads are not counted.
double KelmPool() {
  kelm::ThreadPoolEventHandler handler;
  kelm::ThreadPool pool(&handler);
  pool.StartThreads(kThreads);
  Countdown countdown;
  const double seconds = kelm::bench::BestSeconds(1, [&] {
    for (int i = 0; i < kTasks; ++i) pool.AddTask(new TickTask(countdown));
    countdown.done.Wait();
  });
  pool.Stop();
  return seconds;
}

double Minimal() {
  MinimalPool pool(kThreads);
  Countdown countdown;
  return kelm::bench::BestSeconds(1, [&] {
    for (int i = 0; i < kTasks; ++i) pool.Add(new TickTask(countdown));
    countdown.done.Wait();
  });
}

}  // namespace

int main() {
  double kelm = 1e300;
  double baseline = 1e300;
  for (int run = 0; run < 3; ++run) {
    kelm = std::min(kelm, KelmPool());
    baseline = std::min(baseline, Minimal());
  }
  kelm::bench::Report("1M trivial tasks, 4 threads", "mutex+condvar pool", kelm, baseline);
  return 0;
}
