#include "kelm/frame/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "kelm/port/sync.h"

namespace {

using kelm::port::WaitForObject;
using kelm::port::WaitResult;

TEST(Locker, ReleaseHandsTheEnteredSectionOver) {
  CriticalSection cs;
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
  // The other thread cannot get in while this one holds the section.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(entered);
  cs.Leave();
  other.join();
  EXPECT_TRUE(entered);
}

TEST(Locker, LeavesOnScopeExitAndIsRecursive) {
  CriticalSection cs;
  {
    Locker outer(cs);
    Locker inner(cs);  // the owner may enter again
  }
  std::atomic<bool> entered{false};
  std::thread other([&] {
    Locker guard(cs);
    entered = true;
  });
  other.join();
  EXPECT_TRUE(entered);
}

TEST(Semaphore, ReleaseReportsThePreviousCount) {
  Semaphore s;
  EXPECT_EQ(s.Release(1), 0);
  EXPECT_EQ(s.Release(1), 1);
  EXPECT_EQ(s.Release(3), 2);
  EXPECT_EQ(WaitForObject(s, 0), WaitResult::kSignaled);
  EXPECT_EQ(s.Release(1), 4);
}

TEST(Semaphore, CeilingAndWaiting) {
  Semaphore s(0, 1);
  EXPECT_EQ(s.Release(2), -1);
  EXPECT_EQ(s.Release(0), -1);
  EXPECT_EQ(s.Release(-1), -1);
  EXPECT_EQ(WaitForObject(s, 0), WaitResult::kTimeout);
  EXPECT_EQ(s.Release(1), 0);
  EXPECT_EQ(s.Release(1), -1);
  EXPECT_EQ(WaitForObject(s, 0), WaitResult::kSignaled);
  EXPECT_EQ(WaitForObject(s, 10), WaitResult::kTimeout);

  // A waiting thread wakes when another releases.
  std::thread waiter([&] { EXPECT_EQ(WaitForObject(s, INFINITE), WaitResult::kSignaled); });
  EXPECT_EQ(s.Release(1), 0);
  waiter.join();
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

TEST(Semaphore, FailedCreationFailsQuietly) {
  Semaphore broken(5, 1);
  EXPECT_EQ(static_cast<void*>(broken), nullptr);
  EXPECT_EQ(broken.Release(1), -1);
}

TEST(Mutex1, OnlyTheOwnerReleases) {
  Mutex1 m;
  ASSERT_NE(static_cast<void*>(m), nullptr);
  EXPECT_FALSE(m.Release());  // not owned at creation
  ASSERT_EQ(WaitForObject(m, INFINITE), WaitResult::kSignaled);
  ASSERT_EQ(WaitForObject(m, INFINITE), WaitResult::kSignaled);  // recursive

  std::thread other([&] {
    EXPECT_FALSE(m.Release());
    EXPECT_EQ(WaitForObject(m, 20), WaitResult::kTimeout);
  });
  other.join();

  EXPECT_TRUE(m.Release());
  EXPECT_TRUE(m.Release());
  EXPECT_FALSE(m.Release());
  std::thread taker([&] {
    EXPECT_EQ(WaitForObject(m, INFINITE), WaitResult::kSignaled);
    EXPECT_TRUE(m.Release());
  });
  taker.join();
}

}  // namespace
