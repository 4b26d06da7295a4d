#include "kelm/frame/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "kelm/frame/sync.h"
#include "kelm/port/sync.h"

namespace {

using kelm::port::WaitForObject;
using kelm::port::WaitResult;

struct Gate {
  Semaphore open{0, 1};
  std::atomic<bool> done{false};
  std::atomic<unsigned long> thread_id{0};
};

unsigned long __stdcall WaitAtGate(void* arg) {
  auto* gate = static_cast<Gate*>(arg);
  gate->thread_id = kelm::port::CurrentThreadId();
  WaitForObject(gate->open, INFINITE);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  gate->done = true;
  return 259;  // the code Windows uses for "still running"
}

TEST(Thread, WaitOnDestroyBlocksUntilTheFunctionReturns) {
  Gate gate;
  {
    Thread thread(&WaitAtGate, &gate, false, true);
    ASSERT_NE(thread.Handle(), nullptr);
    gate.open.Release(1);
  }
  EXPECT_TRUE(gate.done);
}

TEST(Thread, IdExitCodeAndSuspendedStart) {
  Gate gate;
  Thread thread(&WaitAtGate, &gate, true, true);
  ASSERT_NE(thread.Handle(), nullptr);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(gate.thread_id, 0u);  // suspended: not started yet

  unsigned long code = 0;
  EXPECT_FALSE(kelm::port::GetThreadExitCode(thread.Handle(), &code));
  ASSERT_TRUE(kelm::port::ResumeThreadObject(thread.Handle()));
  gate.open.Release(1);
  ASSERT_EQ(WaitForObject(thread.Handle(), INFINITE), WaitResult::kSignaled);
  EXPECT_EQ(gate.thread_id, thread.ID());
  ASSERT_TRUE(kelm::port::GetThreadExitCode(thread.Handle(), &code));
  EXPECT_EQ(code, 259u);
}

class Body : public ThreadProcs {
 public:
  Body(bool fail, std::atomic<int>* deleted) : fail_(fail), deleted_(deleted) {}
  ~Body() override { ++*deleted_; }
  unsigned long Run() override {
    if (fail_) throw std::runtime_error("body failed");
    return 7;
  }

 private:
  bool fail_;
  std::atomic<int>* deleted_;
};

// A body's result is the exit code; an escaping exception is swallowed
// (exit code 0, the process goes on), and so is a missing body.
TEST(Thread, BodyResultThrowingBodyAndOwnership) {
  std::atomic<int> deleted{0};
  for (int kind : {0, 1, 2}) {
    Thread thread(kind == 2 ? nullptr : std::make_unique<Body>(kind == 1, &deleted), false);
    ASSERT_NE(thread.Handle(), nullptr);
    ASSERT_EQ(WaitForObject(thread.Handle(), INFINITE), WaitResult::kSignaled);
    unsigned long code = 99;
    ASSERT_TRUE(kelm::port::GetThreadExitCode(thread.Handle(), &code));
    EXPECT_EQ(code, kind == 0 ? 7u : 0u);
  }
  EXPECT_EQ(deleted, 2);
}

}  // namespace
