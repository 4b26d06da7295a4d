#include "kelm/port/sync.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>

namespace kelm::port {
namespace {

unsigned long __stdcall ReturnArgument(void* arg) {
  return static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(arg));
}

TEST(PortThread, AnyExitCodeIsReportedOnceTheThreadHasEnded) {
  // 259 is the code Windows uses for "still running".
  for (unsigned long expected : {0ul, 259ul, 0xFFFFFFFFul}) {
    HANDLE thread = StartThread(&ReturnArgument, reinterpret_cast<void*>(std::uintptr_t{expected}), true, nullptr);
    ASSERT_NE(thread, nullptr);
    unsigned long code = 1;
    EXPECT_FALSE(GetThreadExitCode(thread, &code));  // suspended: not run yet
    ASSERT_TRUE(ResumeThreadObject(thread));
    ASSERT_EQ(WaitForObject(thread, INFINITE), WaitResult::kSignaled);
    ASSERT_TRUE(GetThreadExitCode(thread, &code)) << expected;
    EXPECT_EQ(code, expected);
    EXPECT_TRUE(CloseObject(thread));
  }
}

TEST(PortSemaphore, ReleaseOfNothingFailsAndLeavesTheCount) {
  HANDLE semaphore = CreateSemaphoreObject(1, 5);
  ASSERT_NE(semaphore, nullptr);
  long previous = -7;
  EXPECT_FALSE(ReleaseSemaphoreObject(semaphore, 0, &previous));
  EXPECT_FALSE(ReleaseSemaphoreObject(semaphore, -1, &previous));
  EXPECT_EQ(previous, -7);
  EXPECT_TRUE(ReleaseSemaphoreObject(semaphore, 1, &previous));
  EXPECT_EQ(previous, 1);
  EXPECT_EQ(WaitForObject(semaphore, 0), WaitResult::kSignaled);
  EXPECT_EQ(WaitForObject(semaphore, 0), WaitResult::kSignaled);
  EXPECT_EQ(WaitForObject(semaphore, 0), WaitResult::kTimeout);
  EXPECT_TRUE(CloseObject(semaphore));
}

// Two threads hand a turn back and forth through two semaphores with timed
// waits, as the thread pool's workers wait: a lost wake-up shows as a
// timeout instead of a hang.
TEST(PortSemaphore, NoWakeUpIsLost) {
  HANDLE ping = CreateSemaphoreObject(0, 1);
  HANDLE pong = CreateSemaphoreObject(0, 1);
  constexpr int kRounds = 2000;
  int lost = 0;
  std::thread partner([&] {
    for (int i = 0; i < kRounds; ++i) {
      if (WaitForObject(ping, 10000) != WaitResult::kSignaled) return;
      ReleaseSemaphoreObject(pong, 1, nullptr);
    }
  });
  for (int i = 0; i < kRounds && lost == 0; ++i) {
    ReleaseSemaphoreObject(ping, 1, nullptr);
    if (WaitForObject(pong, 10000) != WaitResult::kSignaled) ++lost;
  }
  partner.join();
  EXPECT_EQ(lost, 0);
  CloseObject(ping);
  CloseObject(pong);
}

}  // namespace
}  // namespace kelm::port
