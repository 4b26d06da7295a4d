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
using Names = std::vector<std::string>;

const char kCrashReport[] = "Внимание! Произошла исключительная ситуация. Для ее анализа создан дамп.";
const char kPureCallReport[] =
    "Произошел вызов нереализованной виртуальной функции!\n\r"
    "После нажатия на \"OK\" будет сформирован дамп в каталоге \"\\dumps\".\n\r"
    "Пожалуйста, обратитесь к разработчикам.";

volatile int sink;

struct Flag {
  bool* set;
  ~Flag() { *set = true; }
};

// The sanitizers would report these faults themselves before they happen.
// A local of the faulting frame tells whether it was unwound.
__attribute__((noinline, no_sanitize("undefined"))) void ReadNull(bool* destroyed = nullptr) {
  bool ignored;
  Flag flag{destroyed ? destroyed : &ignored};
  volatile int* volatile nowhere = nullptr;
  sink = *nowhere;
}

// The first fault is caught in the faulting function itself; the second
// leaves through the caller.
__attribute__((no_sanitize("undefined"))) void FaultHereThenInACallee(unsigned* first, bool* destroyed) {
  try {
    volatile int* volatile nowhere = nullptr;
    sink = *nowhere;
  } catch (const SE_Exception& e) {
    *first = e.getSeNumber();
  }
  ReadNull(destroyed);
}

// The exception code a fault in `fault`, run in a thread with its dump
// initializer, was translated to; `report` gets that thread's last error.
template <class Fault>
unsigned CaughtInTranslatingThread(Fault fault, std::string* report = nullptr) {
  unsigned caught = 0;
  std::thread([&] {
    MinidumpThreadInitializer::Instance();
    try {
      fault();
    } catch (const SE_Exception& e) {
      caught = e.getSeNumber();
    }
    if (report != nullptr) *report = ErrorMessager::Instance().GetLastError();
  }).join();
  return caught;
}

class Recorder : public IErrorPolicy {
 public:
  explicit Recorder(Names* texts) : texts_(texts) {}
  void Message(const std::string& text, long, bool) override { texts_->push_back(text); }
  IErrorPolicy& Clone() override { return *new Recorder(texts_); }

 private:
  Names* texts_;
};

Names FilesIn(const fs::path& dir) {
  Names names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(dir, error)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// "dump_гггг_мм_дд__чч_ии_сс" and `suffix`; '9' in the pattern stands for a digit.
bool IsDumpName(const std::string& name, const std::string& suffix = ".dmp") {
  const std::string pattern = "dump_9999_99_99__99_99_99" + suffix;
  if (name.size() != pattern.size()) return false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (pattern[i] == '9' ? !std::isdigit(static_cast<unsigned char>(name[i])) : name[i] != pattern[i]) return false;
  }
  return true;
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

TEST(MiniDumpSettingsTest, TypeOfTheOldestSetterAndAPathSharedByThreads) {
  EXPECT_EQ(MiniDumpTypeSetter::CurrentType(), MiniDumpNormal);
  auto a = std::make_unique<MiniDumpTypeSetter>(MiniDumpWithDataSegs);
  auto b = std::make_unique<MiniDumpTypeSetter>(MiniDumpWithFullMemory);
  EXPECT_EQ(MiniDumpTypeSetter::CurrentType(), MiniDumpWithDataSegs);
  b.reset();  // removes A's entry, not its own
  EXPECT_EQ(MiniDumpTypeSetter::CurrentType(), MiniDumpWithFullMemory);
  a.reset();
  EXPECT_EQ(MiniDumpTypeSetter::CurrentType(), MiniDumpNormal);

  EXPECT_EQ(MiniDumpPathChanger::Instance().Path(), "dumps");
  std::thread([] { MiniDumpPathChanger::Instance().SetPath("elsewhere"); }).join();
  EXPECT_EQ(MiniDumpPathChanger::Instance().Path(), "elsewhere");
  MiniDumpPathChanger::Instance().SetPath("dumps");
}

TEST_F(DumpTest, PureCallInATranslatingThreadLeavesACrashDumpAndBothReports) {
  ReportAboutDumps = true;
  Names reports;
  EXPECT_EQ(CaughtInTranslatingThread([&] {
              ErrorMessager::Instance().Reset(new Recorder(&reports));
              PureCallHandler();
            }),
            EXCEPTION_ACCESS_VIOLATION);
  EXPECT_EQ(reports, (Names{kPureCallReport, kCrashReport}));
  // The folder did not exist: the dump made it.
  const Names dumps = FilesIn("dumps");
  ASSERT_EQ(dumps.size(), 1u);
  EXPECT_TRUE(IsDumpName(dumps[0], "_crash.dmp")) << dumps[0];
  EXPECT_GT(fs::file_size(fs::path("dumps") / dumps[0]), 1000u);
}

TEST_F(DumpTest, SnapshotKeepsTheTenNewestDumpFilesAndNothingElseIsTouched) {
  fs::create_directory("dumps");
  for (int i = 10; i < 21; ++i) std::ofstream("dumps/dump_2000_01_01__00_00_" + std::to_string(i) + ".dmp");
  const Names others = {"a.DMP", "b.dmp.old", "c.dmpx", "dmp"};
  for (const std::string& name : others) std::ofstream("dumps/" + name);
  fs::create_directories("dumps/0.dmp/inner");  // a folder, first by name
  std::ofstream("outside.dmp");
#ifndef _WIN32
  std::ofstream("target.dmp");
  fs::create_symlink("../target.dmp", "dumps/00_link.dmp");  // first of the dumps by name
#endif

  ASSERT_NE(SnapCurrentProcessMiniDump(MiniDumpNormal), 0);

  // The new snapshot sorts last.
  Names files = FilesIn("dumps");
  ASSERT_FALSE(files.empty());
  EXPECT_TRUE(IsDumpName(files.back())) << files.back();
  files.pop_back();
  Names expected = others;
  expected.insert(expected.begin(), "0.dmp");
  for (int i = 12; i < 21; ++i) expected.push_back("dump_2000_01_01__00_00_" + std::to_string(i) + ".dmp");
  EXPECT_EQ(files, expected);
  EXPECT_TRUE(fs::exists("dumps/0.dmp/inner"));
  EXPECT_TRUE(fs::exists("outside.dmp"));
#ifndef _WIN32
  EXPECT_TRUE(fs::exists("target.dmp"));  // only the link went
#endif
}

TEST_F(DumpTest, AFolderThatCannotBeMadeSendsTheDumpToTheCurrentDirectory) {
  MiniDumpPathChanger::Instance().SetPath("missing/parent");
  ASSERT_NE(SnapCurrentProcessMiniDump(MiniDumpNormal), 0);
  const Names files = FilesIn(".");
  ASSERT_EQ(files.size(), 1u);
  EXPECT_TRUE(IsDumpName(files[0])) << files[0];
}

// "dumps" is a file: the folder "exists" but no dump can be created in it.
// The fault still arrives, is caught in the faulting function itself (the
// code is compiled with -fnon-call-exceptions) with the locals of the frames
// left destroyed, and the thread goes on translating.
TEST_F(DumpTest, AFileInTheWayFailsSilentlyAndFaultsStillArrive) {
  std::ofstream("dumps") << "in the way";
  EXPECT_EQ(SnapCurrentProcessMiniDump(MiniDumpNormal), 0);

  ErrorMessager::Instance().ClrLastError();
  EXPECT_EQ(CreateCurrentProcessCrashDump(nullptr, MiniDumpNormal), 1);  // no exception: no dump
  EXPECT_STREQ(ErrorMessager::Instance().GetLastError(), "");
  ReportAboutDumps = true;
  EXPECT_EQ(CreateCurrentProcessCrashDump(nullptr, MiniDumpNormal), 1);
  EXPECT_STREQ(ErrorMessager::Instance().GetLastError(), kCrashReport);

  unsigned first = 0;
  bool destroyed = false;
  std::string report;
  EXPECT_EQ(CaughtInTranslatingThread([&] { FaultHereThenInACallee(&first, &destroyed); }, &report),
            EXCEPTION_ACCESS_VIOLATION);
  EXPECT_EQ(first, EXCEPTION_ACCESS_VIOLATION);
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(report, kCrashReport);
  EXPECT_EQ(FilesIn("."), Names{"dumps"});
}

TEST_F(DumpTest, TwoThreadsFaultingAtOnceLeaveTwoDumps) {
  std::mutex mutex;
  std::condition_variable cv;
  int ready = 0;
  unsigned caught[2] = {0, 0};
  auto body = [&](int i) {
    caught[i] = CaughtInTranslatingThread([&] {
      {
        std::unique_lock<std::mutex> lock(mutex);
        ++ready;
        cv.notify_all();
        cv.wait(lock, [&] { return ready == 2; });
      }
      ReadNull();
    });
  };
  std::thread first(body, 0), second(body, 1);
  first.join();
  second.join();
  EXPECT_EQ(caught[0], EXCEPTION_ACCESS_VIOLATION);
  EXPECT_EQ(caught[1], EXCEPTION_ACCESS_VIOLATION);
  const Names dumps = FilesIn("dumps");
  ASSERT_EQ(dumps.size(), 2u);
  EXPECT_TRUE(IsDumpName(dumps[0], "_crash.dmp") && IsDumpName(dumps[1], "_crash.dmp"));
}

#ifndef _WIN32
// Names are cut at 255 characters, whatever the folder's length.
TEST_F(DumpTest, NamesStopAt255Characters) {
  std::string folder;
  while (folder.size() < 230) folder += (folder.empty() ? "" : "/") + std::string(40, 'd');
  fs::create_directories(folder);
  MiniDumpPathChanger::Instance().SetPath(folder);
  ASSERT_NE(SnapCurrentProcessMiniDump(MiniDumpNormal), 0);
  const Names files = FilesIn(folder);
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(folder.size() + 1 + files[0].size(), 255u);
  EXPECT_EQ(files[0].substr(0, 5), "dump_");
}

void FaultInAnotherThread() {
  MinidumpThreadInitializer::Instance();  // the handler is installed, for this thread only
  std::thread([] { ReadNull(); }).join();
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
        std::string report;
        const bool ok = CaughtInTranslatingThread([] { ReadNull(); }, &report) == EXCEPTION_ACCESS_VIOLATION &&
                        report == kCrashReport;
        const Names dumps = FilesIn("dumps");
        std::exit(ok && dumps.size() == 1 && fs::file_size(fs::path("dumps") / dumps[0]) <= 2048 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
