// FStream under failing file calls: each scenario runs once cleanly, then
// once for every N from 1 to the number of reads, writes, seeks, set-ends
// and flushes it made, with the N-th call of that kind failing. Outside a
// transaction every failure must be reported and, once the failed step is
// done again, no byte may be missing from the file; inside a transaction a
// failure before the end must leave the file exactly as it was.
#include <gtest/gtest.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <cstdio>
#include <functional>
#include <string>
#include <thread>

#include "kelm/files/file_utils.h"
#include "kelm/frame/exceptions.h"
#include "kelm/port/testing/file_faults.h"
#include "kelm/streams/fstream.h"
#include "kelm/streams/testing/reports.h"
#include "kelm/streams/testing/scratch_files.h"

namespace {

using kelm::port::testing::FileCall;
using kelm::testing::FatalEnd;
using kelm::testing::Noise;
using kelm::testing::ReadWhole;
using kelm::testing::ReportCapture;
using kelm::testing::ScratchFile;
using kelm::testing::WriteWhole;

// One run of a scenario: counts the failures reported to it.
struct Attempt {
  // Does `step`; false (counted) when it reported a failure (a coded error or a fatal end).
  bool Once(const std::function<void()>& step) {
    try {
      step();
      return true;
    } catch (const GorseCodeException&) {
    } catch (const FatalEnd&) {
    }
    ++reported;
    return false;
  }
  // Does `step` once more when it failed; false when the retry failed too.
  bool Retry(const std::function<void()>& step) { return Once(step) || Once(step); }
  void Fail(const std::string& what) {
    ok = false;
    why += " " + what;
  }

  unsigned long reported = 0;
  bool ok = true;  // the file holds what it must
  std::string why;
};

void Put(FStream& f, unsigned long at, const std::string& bytes) {
  f.Seek(at);
  f.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
}

// The page size and the number of pages of a sweep. With a budget of 1 MiB
// the manager keeps at most 336 records, or 1 MiB of page memory: 360 pages
// of 512 bytes or 40 of 32 KiB make it give pages up.
struct Shape {
  unsigned page;
  unsigned pages;
  unsigned long Bytes() const { return static_cast<unsigned long>(page) * pages; }
} shape{512, 360};

constexpr unsigned kFresh = fmRead | fmWrite | fmCreate;
constexpr unsigned kExisting = fmRead | fmWrite;

// Writes `model` from the start in pieces of 1000 bytes, then flushes.
void WriteModel(Attempt& run, FStream& f, const std::string& model) {
  for (unsigned long at = 0; at < model.size(); at += 1000) run.Retry([&] { Put(f, at, model.substr(at, 1000)); });
  run.Retry([&] { f.Flush(); });
}

std::string Sequential(Attempt& run, const std::string& name) {
  const std::string model = Noise(shape.Bytes(), 1);
  FStream f(name.c_str(), kFresh);
  f.ChangeBufferSize(static_cast<unsigned short>(shape.page));
  WriteModel(run, f, model);
  f.Close();
  return model;
}

std::string Truncation(Attempt& run, const std::string& name) {
  std::string model = Noise(100000, 3);
  FStream f(name.c_str(), kFresh);
  f.ChangeBufferSize(static_cast<unsigned short>(shape.page));
  WriteModel(run, f, model);
  auto cut = [&](unsigned long at) {
    run.Retry([&] {
      f.Seek(at);
      f.Truncate();
    });
    model.resize(at);
  };
  cut(60000);
  const std::string more = Noise(5000, 4);
  run.Retry([&] { Put(f, 60000, more); });
  model += more;
  cut(30000);
  run.Retry([&] { Put(f, 29900, Noise(200, 5)); });
  model.replace(29900, 100, Noise(200, 5));
  run.Retry([&] { f.Flush(); });
  if (f.Size() != model.size()) run.Fail("size");
  f.Close();
  return model;
}

// Small updates over every page of an existing file (the content of
// Noise(seed)), then at random places, with reads checked along the way.
// Outside a transaction a failed step is done again. Inside one, changes
// go past the memory budget, so that pages go to the swap file and come
// back; any failure breaks the transaction and the file must then be as it
// was. With `commit`, a clean run ends the transaction, and a failure while
// it ends is repaired by ending it again.
std::string Updates(Attempt& run, const std::string& name, bool transaction, bool commit) {
  const unsigned width = transaction ? 8 : 4;
  const std::string before = Noise(shape.Bytes(), transaction ? 6 : 2);
  std::string model = before;
  FStream f(name.c_str(), kExisting);
  f.ChangeBufferSize(static_cast<unsigned short>(shape.page));
  auto step = [&](const std::function<void()>& s) { return transaction ? run.Once(s) : run.Retry(s); };
  bool failed = transaction && !run.Once([&] { f.BeginTransaction(); });
  std::uint32_t x = transaction ? 11 : 7;
  for (unsigned i = 0; i < shape.pages * 4 / 3 && !failed; ++i) {
    x = x * 1103515245u + 12345u;
    const unsigned long at =
        i < shape.pages ? i * shape.page + (x >> 8) % (shape.page - width) : (x >> 8) % (model.size() - width);
    const std::string bytes = Noise(width, x);
    failed = !step([&] { Put(f, at, bytes); }) && transaction;
    model.replace(at, width, bytes);
    if (failed || i % 16 != 0) continue;
    std::string got(64, '\0');
    const unsigned long from = (x >> 4) % (model.size() - 64);
    if (!step([&] {
          f.Seek(from);
          f.Read(got.data(), 64);
        }))
      failed = transaction;
    else if (got != model.substr(from, 64))
      run.Fail("read back at " + std::to_string(from));
  }
  if (!transaction) {
    run.Retry([&] { f.Flush(); });
  } else if (failed || !commit) {
    f.BreakTransaction();
    model = before;
  } else {
    run.Retry([&] { f.EndTransaction(); });
  }
  f.Close();
  if (FStream::TrnCnt() != 0) run.Fail("transaction still counted");
  return model;
}

// A scenario: the file it updates is first written, without faults, with
// Noise(seed) (none for 0); then it runs under the faults and answers what
// the file must hold afterwards.
struct Scenario {
  std::uint32_t seed;
  std::function<std::string(Attempt& run, const std::string& name)> run;
};

// Runs the scenario in a thread of its own (a fresh block manager, swap
// file and fault counters each time) with the N-th call of `kind` failing.
Attempt RunOnce(const Scenario& scenario, FileCall kind, unsigned long n, unsigned long* calls,
                unsigned long* injected) {
  Attempt run;
  std::thread([&] {
    ReportCapture reports;
    ScratchFile file("faults");
    if (scenario.seed != 0) WriteWhole(file.name(), Noise(shape.Bytes(), scenario.seed));
    BlockManager::Instance().SetMemoryBound(1);
    kelm::port::testing::ResetFileFaults();
    static const unsigned long errors[] = {30, 112, 87, 112, 112};
    if (n > 0) kelm::port::testing::FailFileCall(kind, n, errors[static_cast<int>(kind)]);
    const std::string model = scenario.run(run, file.name());
    *calls = kelm::port::testing::FileCallCount(kind);
    *injected = kelm::port::testing::FileFaultsInjected();
    kelm::port::testing::ResetFileFaults();
    if (ReadWhole(file.name()) != model) run.Fail("file differs");
    // A failure is reported through the thread's messager, never silently.
    if (reports.texts.empty()) run.reported = 0;
  }).join();
  return run;
}

void Sweep(const std::string& title, const Scenario& scenario) {
  unsigned long runs = 0, losses = 0, silent = 0, count = 0, calls = 0, injected = 0;
  const char* kinds[] = {"reads", "writes", "seeks", "set-ends", "flushes"};
  std::string line;
  for (int k = 0; k < kelm::port::testing::kFileCallKinds; ++k) {
    const auto kind = static_cast<FileCall>(k);
    const Attempt clean = RunOnce(scenario, kind, 0, &count, &injected);
    EXPECT_TRUE(clean.ok) << title << ":" << clean.why;
    EXPECT_EQ(clean.reported, 0u) << title;
    for (unsigned long n = 1; n <= count; ++n, ++runs) {
      const Attempt run = RunOnce(scenario, kind, n, &calls, &injected);
      if (!run.ok) ++losses;
      if (injected > 0 && run.reported == 0) ++silent;
      EXPECT_TRUE(run.ok) << title << ": " << kinds[k] << " #" << n << ":" << run.why;
      EXPECT_FALSE(injected > 0 && run.reported == 0) << title << ": " << kinds[k] << " #" << n << " failed silently";
    }
    line += " " + std::to_string(count) + " " + kinds[k];
  }
  std::printf("[ faults   ] %s:%s; %lu runs, %lu losses, %lu silent\n", title.c_str(), line.c_str(), runs, losses,
              silent);
}

// Every sweep runs with 32 KiB pages (the memory bound gives pages up); the
// native build without sanitizers also runs it with 512-byte pages (the
// record limit gives them up), which makes ten times the calls.
void SweepShapes(const std::string& title, const Scenario& scenario) {
  shape = {32768, 40};
  Sweep(title + ", 32 KiB pages", scenario);
#if !defined(_WIN32) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  shape = {512, 360};
  Sweep(title + ", 512-byte pages", scenario);
#endif
}

TEST(FStreamFaultsTest, SequentialWrites) { SweepShapes("sequential writes", {0, Sequential}); }

TEST(FStreamFaultsTest, RandomUpdates) {
  SweepShapes("random updates", {2, [](Attempt& run, const std::string& name) { return Updates(run, name, false, false); }});
}

TEST(FStreamFaultsTest, Truncation) { SweepShapes("truncation", {0, Truncation}); }

TEST(FStreamFaultsTest, BrokenTransactionWithSwappedPages) {
  SweepShapes("broken transaction",
              {6, [](Attempt& run, const std::string& name) { return Updates(run, name, true, false); }});
}

TEST(FStreamFaultsTest, EndedTransactionWithSwappedPages) {
  SweepShapes("ended transaction",
              {6, [](Attempt& run, const std::string& name) { return Updates(run, name, true, true); }});
}

#if GTEST_HAS_DEATH_TEST
// With the default ending, a swap file that cannot be written ends the
// process with status 29.
TEST(FStreamFaultsDeathTest, FailingSwapWriteEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  ScratchFile file("death");
  ASSERT_TRUE(WriteWhole(file.name(), Noise(600 * 512, 8)));
  EXPECT_EXIT(
      {
#ifdef __SANITIZE_ADDRESS__
        __lsan_disable();  // the process ends inside the stream: its pages are still held
#endif
        BlockManager::Instance().SetMemoryBound(1);
        FStream f(file.c_str(), kExisting);
        f.BeginTransaction();
        kelm::port::testing::ResetFileFaults();
        kelm::port::testing::FailFileCall(FileCall::kWrite, 1, 112, true);
        for (unsigned long at = 0; at < 600 * 512; at += 512) Put(f, at, "x");
      },
      testing::ExitedWithCode(29), "");
  EXPECT_EQ(ReadWhole(file.name()), Noise(600 * 512, 8));
}
#endif

}  // namespace
