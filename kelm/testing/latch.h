// A single-use count-down latch for the tests, on std::mutex and
// std::condition_variable. (std::latch of MinGW GCC 12 loses wake-ups: its
// waiter checks the count before it takes the mutex that the notifier does
// not take.)
//
//   kelm::testing::Latch done(3);
//   ... three threads call done.CountDown() ...
//   done.Wait();
#ifndef KELM_TESTING_LATCH_H_
#define KELM_TESTING_LATCH_H_

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace kelm::testing {

class Latch {
 public:
  explicit Latch(int count) : count_(count) {}
  Latch(const Latch&) = delete;
  Latch& operator=(const Latch&) = delete;

  // Notifies under the mutex: a waiter may destroy the latch as soon as
  // Wait returns.
  void CountDown() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (count_ > 0 && --count_ == 0) opened_.notify_all();
  }

  void Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    opened_.wait(lock, [this] { return count_ == 0; });
  }

  // False if the count has not reached zero within `timeout`.
  bool WaitFor(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    return opened_.wait_for(lock, timeout, [this] { return count_ == 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  int count_;
};

}  // namespace kelm::testing

#endif  // KELM_TESTING_LATCH_H_
