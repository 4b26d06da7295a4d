#include "kelm/frame/fatal_terminator.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using KelmErrors::FatalTerminator;
using KelmErrors::IFatalTerminationPolicy;

class RecordingPolicy : public IFatalTerminationPolicy {
 public:
  explicit RecordingPolicy(int* deleted = nullptr) : deleted_(deleted) {}
  ~RecordingPolicy() override {
    if (deleted_ != nullptr) ++*deleted_;
  }
  void Terminate(unsigned long status) override { last_status = static_cast<long>(status); }
  long last_status = -1;

 private:
  int* deleted_;
};

// Each test changes only the calling thread's terminator and puts a default
// policy back at the end.
class FatalTerminatorTest : public testing::Test {
 protected:
  void TearDown() override { FatalTerminator::Instance().Reset(new KelmErrors::DefaultFatalTerminationPolicy); }
};

TEST_F(FatalTerminatorTest, OwnedPerThreadPolicies) {
  int deleted = 0;
  auto* first = new RecordingPolicy(&deleted);
  FatalTerminator::Instance().Reset(first);
  FatalTerminator::Instance().Terminate(9);
  EXPECT_EQ(first->last_status, 9);

  FatalTerminator::Instance().Reset(first);  // the same policy again: kept
  EXPECT_EQ(deleted, 0);
  FatalTerminator::Instance().Reset(new RecordingPolicy(&deleted));
  EXPECT_EQ(deleted, 1);
  delete FatalTerminator::Instance().Release();
  EXPECT_EQ(deleted, 2);

  auto* mine = new RecordingPolicy;
  FatalTerminator::Instance().Reset(mine);
  IFatalTerminationPolicy* others = nullptr;
  std::thread other([&] {
    others = FatalTerminator::Instance().Release();
    FatalTerminator::Instance().Terminate(1);  // no policy there: returns
    delete others;
  });
  other.join();
  EXPECT_NE(others, mine);
  FatalTerminator::Instance().Terminate(4);
  EXPECT_EQ(mine->last_status, 4);
}

void AnnounceExit() { std::fputs("exit handlers ran\n", stderr); }

// The default policy exits through the runtime's exit handlers; the
// terminate policy ends the process at once.
TEST(FatalTerminatorDeathTest, DefaultExitsThroughTheRuntimeTerminateAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (bool terminate : {false, true}) {
    EXPECT_EXIT(
        {
          std::atexit(&AnnounceExit);
          if (terminate) FatalTerminator::Instance().Reset(new KelmErrors::WindowsTerminatePolicy);
          FatalTerminator::Instance().Terminate(terminate ? 3 : 7);
        },
        testing::ExitedWithCode(terminate ? 3 : 7), terminate ? "^$" : "exit handlers ran");
  }
}

}  // namespace
