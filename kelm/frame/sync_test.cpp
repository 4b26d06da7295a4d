#include "kelm/frame/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "kelm/port/sync.h"

namespace {

using kelm::port::WaitForObject;
using kelm::port::WaitResult;

TEST(Locker, RecursiveLeavesOnScopeExitAndReleaseHandsTheSectionOver) {
  CriticalSection cs;
  {
    Locker outer(cs);
    Locker inner(cs);  // the owner may enter again
  }
  std::thread([&] { Locker guard(cs); }).join();  // left at scope exit: no hang

  {
    Locker guard(cs);
    EXPECT_TRUE(guard.Owns());
    guard.Release();
    EXPECT_FALSE(guard.Owns());
  }  // the section stays entered
  std::atomic<bool> entered{false};
  std::thread other([&] {
    Locker guard(cs);
    entered = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(entered);
  cs.Leave();
  other.join();
  EXPECT_TRUE(entered);
}

TEST(Semaphore, ReleaseReportsThePreviousCountOrMinusOneAboveTheCeiling) {
  Semaphore s;
  for (int count : {0, 1}) EXPECT_EQ(s.Release(1), count);
  EXPECT_EQ(s.Release(3), 2);
  EXPECT_EQ(WaitForObject(s, 0), WaitResult::kSignaled);
  EXPECT_EQ(s.Release(1), 4);

  Semaphore one(0, 1);
  for (int refused : {2, 0, -1}) EXPECT_EQ(one.Release(refused), -1);
  EXPECT_EQ(WaitForObject(one, 0), WaitResult::kTimeout);
  EXPECT_EQ(one.Release(1), 0);
  EXPECT_EQ(one.Release(1), -1);
  EXPECT_EQ(WaitForObject(one, 0), WaitResult::kSignaled);
  EXPECT_EQ(WaitForObject(one, 10), WaitResult::kTimeout);

  Semaphore broken(5, 1);  // a failed creation fails quietly
  EXPECT_EQ(static_cast<void*>(broken), nullptr);
  EXPECT_EQ(broken.Release(1), -1);
}

// Two threads hand a turn back and forth with timed waits, as the thread
// pool's workers wait: a lost wake-up shows as a timeout instead of a hang.
TEST(Semaphore, NoWakeUpIsLost) {
  Semaphore ping(0, 1);
  Semaphore pong(0, 1);
  constexpr int kRounds = 2000;
  int lost = 0;
  std::thread partner([&] {
    for (int i = 0; i < kRounds; ++i) {
      if (WaitForObject(ping, 10000) != WaitResult::kSignaled) return;
      pong.Release(1);
    }
  });
  for (int i = 0; i < kRounds && lost == 0; ++i) {
    ping.Release(1);
    if (WaitForObject(pong, 10000) != WaitResult::kSignaled) ++lost;
  }
  partner.join();
  EXPECT_EQ(lost, 0);
}

TEST(Mutex1, OnlyTheOwnerReleases) {
  Mutex1 m;
  ASSERT_NE(static_cast<void*>(m), nullptr);
  EXPECT_FALSE(m.Release());  // not owned at creation
  ASSERT_EQ(WaitForObject(m, INFINITE), WaitResult::kSignaled);
  ASSERT_EQ(WaitForObject(m, INFINITE), WaitResult::kSignaled);  // recursive
  std::thread([&] {
    EXPECT_FALSE(m.Release());
    EXPECT_EQ(WaitForObject(m, 20), WaitResult::kTimeout);
  }).join();
  EXPECT_TRUE(m.Release());
  EXPECT_TRUE(m.Release());
  EXPECT_FALSE(m.Release());
  std::thread([&] {
    EXPECT_EQ(WaitForObject(m, INFINITE), WaitResult::kSignaled);
    EXPECT_TRUE(m.Release());
  }).join();
}

}  // namespace
