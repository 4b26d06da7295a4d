#include "kelm/frame/minidump.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "kelm/frame/errors.h"
#include "kelm/port/testing/scratch_dir.h"

#ifndef _WIN32
#include <signal.h>
#include <sys/resource.h>
#endif

namespace {

namespace fs = std::filesystem;

const char kCrashReport[] = "Внимание! Произошла исключительная ситуация. Для ее анализа создан дамп.";
const char kPureCallReport[] =
    "Произошел вызов нереализованной виртуальной функции!\n\r"
    "После нажатия на \"OK\" будет сформирован дамп в каталоге \"\\dumps\".\n\r"
    "Пожалуйста, обратитесь к разработчикам.";

volatile int sink;

// The sanitizers would report these faults themselves before they happen.
__attribute__((noinline, no_sanitize("undefined"))) void ReadNull() {
  volatile int* volatile nowhere = nullptr;
  sink = *nowhere;
}

class Recorder : public IErrorPolicy {
 public:
  explicit Recorder(std::vector<std::string>* texts) : texts_(texts) {}
  void Message(const std::string& text, long, bool) override { texts_->push_back(text); }
  IErrorPolicy& Clone() override { return *new Recorder(texts_); }

 private:
  std::vector<std::string>* texts_;
};

std::vector<std::string> FilesIn(const fs::path& dir) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(dir, error)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// "dump_гггг_мм_дд__чч_ии_сс" and `suffix`; '9' in the pattern stands for a digit.
bool IsDumpName(const std::string& name, const std::string& suffix) {
  const std::string pattern = "dump_9999_99_99__99_99_99" + suffix;
  if (name.size() != pattern.size()) return false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (pattern[i] == '9' ? !std::isdigit(static_cast<unsigned char>(name[i])) : name[i] != pattern[i]) return false;
  }
  return true;
}
bool IsSnapshotName(const std::string& name) { return IsDumpName(name, ".dmp"); }
bool IsCrashName(const std::string& name) { return IsDumpName(name, "_crash.dmp"); }

// Runs `body` in a new thread that has its dump initializer.
template <class Body>
void InTranslatingThread(Body body) {
  std::thread([&] {
    MinidumpThreadInitializer::Instance();
    body();
  }).join();
}

// Every test works in a fresh current directory with the default settings.
class DumpTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(scratch_.path().empty());
    home_ = fs::current_path();
    fs::current_path(scratch_.path());
  }
  void TearDown() override {
    fs::current_path(home_);
    MiniDumpPathChanger::Instance().SetPath("dumps");
    ReportAboutDumps = false;
  }

  kelm::testing::ScratchDir scratch_;
  fs::path home_;
};

TEST(MiniDumpTypeSetterTest, OldestLiveTypeIsCurrentAndEachSetterRemovesTheOldest) {
  EXPECT_EQ(MiniDumpTypeSetter::CurrentType(), MiniDumpNormal);
  auto a = std::make_unique<MiniDumpTypeSetter>(MiniDumpWithDataSegs);
  auto b = std::make_unique<MiniDumpTypeSetter>(MiniDumpWithFullMemory);
  EXPECT_EQ(MiniDumpTypeSetter::CurrentType(), MiniDumpWithDataSegs);
  b.reset();  // removes A's entry, not its own
  EXPECT_EQ(MiniDumpTypeSetter::CurrentType(), MiniDumpWithFullMemory);
  a.reset();
  EXPECT_EQ(MiniDumpTypeSetter::CurrentType(), MiniDumpNormal);
}

TEST(MiniDumpPathChangerTest, PathIsSharedByThreads) {
  EXPECT_EQ(MiniDumpPathChanger::Instance().Path(), "dumps");
  std::thread([] { MiniDumpPathChanger::Instance().SetPath("elsewhere"); }).join();
  EXPECT_EQ(MiniDumpPathChanger::Instance().Path(), "elsewhere");
  MiniDumpPathChanger::Instance().SetPath("dumps");
}

TEST_F(DumpTest, PureCallInATranslatingThreadLeavesACrashDumpAndBothReports) {
  ReportAboutDumps = true;
  std::vector<std::string> reports;
  unsigned caught = 0;
  InTranslatingThread([&] {
    ErrorMessager::Instance().Reset(new Recorder(&reports));
    try {
      PureCallHandler();
    } catch (const SE_Exception& e) {
      caught = e.getSeNumber();
    }
  });
  EXPECT_EQ(caught, EXCEPTION_ACCESS_VIOLATION);
  EXPECT_EQ(reports, (std::vector<std::string>{kPureCallReport, kCrashReport}));
  // The folder did not exist: the dump made it.
  const std::vector<std::string> dumps = FilesIn("dumps");
  ASSERT_EQ(dumps.size(), 1u);
  EXPECT_TRUE(IsCrashName(dumps[0])) << dumps[0];
  EXPECT_GT(fs::file_size(fs::path("dumps") / dumps[0]), 1000u);
}

TEST_F(DumpTest, SnapshotKeepsTheTenNewestDumpFilesAndNothingElseIsTouched) {
  fs::create_directory("dumps");
  for (int i = 10; i < 21; ++i) std::ofstream("dumps/dump_2000_01_01__00_00_" + std::to_string(i) + ".dmp");
  const std::vector<std::string> others = {"a.DMP", "b.dmp.old", "c.dmpx", "dmp"};
  for (const std::string& name : others) std::ofstream("dumps/" + name);
  fs::create_directories("dumps/0.dmp/inner");  // a folder, first by name
  std::ofstream("outside.dmp");
#ifndef _WIN32
  std::ofstream("target.dmp");
  fs::create_symlink("../target.dmp", "dumps/00_link.dmp");  // first of the dumps by name
#endif

  ASSERT_NE(SnapCurrentProcessMiniDump(MiniDumpNormal), 0);

  std::vector<std::string> dumps, rest;
  for (const std::string& name : FilesIn("dumps")) {
    (name.size() > 4 && name.substr(name.size() - 4) == ".dmp" && name != "0.dmp" ? dumps : rest).push_back(name);
  }
  ASSERT_EQ(dumps.size(), 10u);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(dumps[i], "dump_2000_01_01__00_00_" + std::to_string(i + 12) + ".dmp");
  EXPECT_TRUE(IsSnapshotName(dumps[9])) << dumps[9];
  std::vector<std::string> expected_rest = others;
  expected_rest.push_back("0.dmp");
  std::sort(expected_rest.begin(), expected_rest.end());
  EXPECT_EQ(rest, expected_rest);
  EXPECT_TRUE(fs::exists("dumps/0.dmp/inner"));
  EXPECT_TRUE(fs::exists("outside.dmp"));
#ifndef _WIN32
  EXPECT_TRUE(fs::exists("target.dmp"));  // only the link went
#endif
}

TEST_F(DumpTest, AFolderThatCannotBeMadeSendsTheDumpToTheCurrentDirectory) {
  MiniDumpPathChanger::Instance().SetPath("missing/parent");
  ASSERT_NE(SnapCurrentProcessMiniDump(MiniDumpNormal), 0);
  const std::vector<std::string> files = FilesIn(".");
  ASSERT_EQ(files.size(), 1u);
  EXPECT_TRUE(IsSnapshotName(files[0])) << files[0];
}

// "dumps" is a file: the folder "exists" but no dump can be created in it.
TEST_F(DumpTest, AFileInTheWayFailsSilentlyAndTheFaultStillArrives) {
  std::ofstream("dumps") << "in the way";
  EXPECT_EQ(SnapCurrentProcessMiniDump(MiniDumpNormal), 0);
  ReportAboutDumps = true;
  unsigned caught = 0;
  std::string report;
  InTranslatingThread([&] {
    try {
      ReadNull();
    } catch (const SE_Exception& e) {
      caught = e.getSeNumber();
    }
    report = ErrorMessager::Instance().GetLastError();
  });
  EXPECT_EQ(caught, EXCEPTION_ACCESS_VIOLATION);
  EXPECT_EQ(report, kCrashReport);
  EXPECT_EQ(FilesIn("."), std::vector<std::string>{"dumps"});
}

TEST_F(DumpTest, CrashDumpWithoutExceptionWritesNothingAndStillReports) {
  ErrorMessager::Instance().ClrLastError();
  EXPECT_EQ(CreateCurrentProcessCrashDump(nullptr, MiniDumpNormal), 1);
  EXPECT_STREQ(ErrorMessager::Instance().GetLastError(), "");
  ReportAboutDumps = true;
  EXPECT_EQ(CreateCurrentProcessCrashDump(nullptr, MiniDumpNormal), 1);
  EXPECT_STREQ(ErrorMessager::Instance().GetLastError(), kCrashReport);
  EXPECT_TRUE(FilesIn(".").empty());
}

TEST_F(DumpTest, TwoThreadsFaultingAtOnceLeaveTwoDumps) {
  std::mutex mutex;
  std::condition_variable cv;
  int ready = 0;
  unsigned caught[2] = {0, 0};
  auto body = [&](int i) {
    MinidumpThreadInitializer::Instance();
    {
      std::unique_lock<std::mutex> lock(mutex);
      ++ready;
      cv.notify_all();
      cv.wait(lock, [&] { return ready == 2; });
    }
    try {
      ReadNull();
    } catch (const SE_Exception& e) {
      caught[i] = e.getSeNumber();
    }
  };
  std::thread first(body, 0), second(body, 1);
  first.join();
  second.join();
  EXPECT_EQ(caught[0], EXCEPTION_ACCESS_VIOLATION);
  EXPECT_EQ(caught[1], EXCEPTION_ACCESS_VIOLATION);
  const std::vector<std::string> dumps = FilesIn("dumps");
  ASSERT_EQ(dumps.size(), 2u);
  EXPECT_TRUE(IsCrashName(dumps[0]) && IsCrashName(dumps[1]));
}

struct Flag {
  bool* set;
  ~Flag() { *set = true; }
};

__attribute__((noinline, no_sanitize("undefined"))) void FaultWithALocal(bool* destroyed) {
  Flag flag{destroyed};
  volatile int* volatile nowhere = nullptr;
  sink = *nowhere;
}

// The code that faults is compiled with -fnon-call-exceptions: a handler in
// the faulting function itself catches, and locals of the frames left are
// destroyed. A thread goes on translating after a translated fault.
__attribute__((no_sanitize("undefined"))) void FaultTwiceInOneThread(unsigned* first, bool* destroyed,
                                                                     unsigned* second) {
  try {
    volatile int* volatile nowhere = nullptr;
    sink = *nowhere;
  } catch (const SE_Exception& e) {
    *first = e.getSeNumber();
  }
  try {
    FaultWithALocal(destroyed);
  } catch (const SE_Exception& e) {
    *second = e.getSeNumber();
  }
}

TEST_F(DumpTest, FaultsAreCaughtInTheFaultingFunctionAndUnwindLocals) {
  std::ofstream("dumps") << "no dumps: this test is about the exceptions";
  unsigned first = 0, second = 0;
  bool destroyed = false;
  InTranslatingThread([&] { FaultTwiceInOneThread(&first, &destroyed, &second); });
  EXPECT_EQ(first, EXCEPTION_ACCESS_VIOLATION);
  EXPECT_EQ(second, EXCEPTION_ACCESS_VIOLATION);
  EXPECT_TRUE(destroyed);
}

#ifndef _WIN32
// Names are cut at 255 characters, whatever the folder's length.
TEST_F(DumpTest, NamesStopAt255Characters) {
  std::string folder;
  while (folder.size() < 230) folder += (folder.empty() ? "" : "/") + std::string(40, 'd');
  fs::create_directories(folder);
  MiniDumpPathChanger::Instance().SetPath(folder);
  ASSERT_NE(SnapCurrentProcessMiniDump(MiniDumpNormal), 0);
  const std::vector<std::string> files = FilesIn(folder);
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(folder.size() + 1 + files[0].size(), 255u);
  EXPECT_EQ(files[0].substr(0, 5), "dump_");
}

void FaultInAnotherThread() {
  MinidumpThreadInitializer::Instance();  // the handler is installed, for this thread only
  std::thread(&ReadNull).join();
}

TEST(DumpDeathTest, AFaultInAThreadWithoutTheInitializerEndsTheProcessAsBefore) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // The sanitizer's handler was there first: it gets the fault and reports it.
  EXPECT_DEATH(FaultInAnotherThread(), "SEGV");
#else
  EXPECT_EXIT(FaultInAnotherThread(), testing::KilledBySignal(SIGSEGV), "");
#endif
}

// A file size limit stops the dump half way: the process neither dies of
// SIGXFSZ nor loses the exception or the report.
TEST(DumpDeathTest, ADumpCutShortByTheFileSizeLimitIsSilent) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  kelm::testing::ScratchDir scratch;
  EXPECT_EXIT(
      {
        fs::current_path(scratch.path());
        rlimit limit;
        limit.rlim_cur = limit.rlim_max = 2048;
        setrlimit(RLIMIT_FSIZE, &limit);
        ReportAboutDumps = true;
        bool ok = false;
        InTranslatingThread([&] {
          try {
            ReadNull();
          } catch (const SE_Exception& e) {
            ok = e.getSeNumber() == EXCEPTION_ACCESS_VIOLATION &&
                 std::string(ErrorMessager::Instance().GetLastError()) == kCrashReport;
          }
        });
        const std::vector<std::string> dumps = FilesIn("dumps");
        std::exit(ok && dumps.size() == 1 && fs::file_size(fs::path("dumps") / dumps[0]) <= 2048 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
