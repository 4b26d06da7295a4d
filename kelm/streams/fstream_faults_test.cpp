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
  // Does `step`; a reported failure (coded error or fatal end) is counted and
  // the step done once more. False when the retry failed too.
  bool Retry(const std::function<void()>& step) {
    for (int attempt = 0; attempt < 2; ++attempt) {
      try {
        step();
        return true;
      } catch (const GorseCodeException&) {
        ++reported;
      } catch (const FatalEnd&) {
        ++reported;
      }
    }
    return false;
  }
  // Does `step`; false (counted) when it reported a failure.
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

  unsigned long reported = 0;
  bool ok = true;  // the file holds what it must
  std::string why;
};

void Put(FStream& f, unsigned long at, const std::string& bytes) {
  f.Seek(at);
  f.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
}

// Reads back through the stream and compares with the model.
void Check(Attempt& run, FStream& f, const std::string& model, unsigned long at, unsigned n) {
  std::string got(n, '\0');
  if (!run.Retry([&] {
        f.Seek(at);
        f.Read(got.data(), n);
      }))
    return;
  if (got != model.substr(at, n)) {
    run.ok = false;
    run.why = "read back at " + std::to_string(at);
  }
}

// The page size and the number of pages of a sweep. With a budget of 1 MiB
// the manager keeps at most 336 records, or 1 MiB of page memory: 360 pages
// of 512 bytes or 40 of 32 KiB make it give pages up.
struct Shape {
  unsigned page;
  unsigned pages;
  unsigned long Bytes() const { return static_cast<unsigned long>(page) * pages; }
};
Shape shape{512, 360};


constexpr unsigned kFresh = fmRead | fmWrite | fmCreate;
constexpr unsigned kExisting = fmRead | fmWrite;

// A scenario: its files are prepared without faults, then it runs under
// them and answers what the file must hold afterwards.
struct Scenario {
  std::function<void(const std::string& name)> prepare = [](const std::string&) {};
  std::function<std::string(Attempt& run, const std::string& name)> run;
};

// Sequential writes into a new file.
std::string Sequential(Attempt& run, const std::string& name) {
  const std::string model = Noise(shape.Bytes(), 1);
  FStream f(name.c_str(), kFresh);
  f.ChangeBufferSize(static_cast<unsigned short>(shape.page));
  for (unsigned long at = 0; at < model.size(); at += 1000)
    run.Retry([&] { Put(f, at, model.substr(at, 1000)); });
  run.Retry([&] { f.Flush(); });
  f.Close();
  return model;
}

// 4-byte updates over every page of an existing file, then at random
// places, with reads checked along the way.
std::string RandomUpdates(Attempt& run, const std::string& name) {
  std::string model = Noise(shape.Bytes(), 2);
  FStream f(name.c_str(), kExisting);
  f.ChangeBufferSize(static_cast<unsigned short>(shape.page));
  std::uint32_t x = 7;
  for (unsigned i = 0; i < shape.pages * 4 / 3; ++i) {
    x = x * 1103515245u + 12345u;
    const unsigned long at =
        i < shape.pages ? i * shape.page + (x >> 8) % (shape.page - 4) : (x >> 8) % (model.size() - 4);
    const std::string bytes = Noise(4, x);
    run.Retry([&] { Put(f, at, bytes); });
    model.replace(at, 4, bytes);
    if (i % 16 == 0) Check(run, f, model, (x >> 4) % (model.size() - 64), 64);
  }
  run.Retry([&] { f.Flush(); });
  f.Close();
  return model;
}

std::string Truncation(Attempt& run, const std::string& name) {
  std::string model = Noise(100000, 3);
  FStream f(name.c_str(), kFresh);
  f.ChangeBufferSize(static_cast<unsigned short>(shape.page));
  for (unsigned long at = 0; at < model.size(); at += 1000)
    run.Retry([&] { Put(f, at, model.substr(at, 1000)); });
  run.Retry([&] { f.Flush(); });
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
  if (f.Size() != model.size()) {
    run.ok = false;
    run.why = "size";
  }
  f.Close();
  return model;
}

// Changes past the memory budget inside a transaction, so that pages go to
// the swap file and come back. Any failure breaks the transaction; the file
// must then be as it was. With `commit`, a clean run ends the transaction,
// and a failure while it ends is repaired by ending it again.
std::string Transaction(Attempt& run, const std::string& name, bool commit) {
  const std::string before = Noise(shape.Bytes(), 6);
  std::string model = before;
  FStream f(name.c_str(), kExisting);
  f.ChangeBufferSize(static_cast<unsigned short>(shape.page));
  bool failed = !run.Once([&] { f.BeginTransaction(); });
  std::uint32_t x = 11;
  for (unsigned i = 0; i < shape.pages * 4 / 3 && !failed; ++i) {
    x = x * 1103515245u + 12345u;
    const unsigned long at =
        i < shape.pages ? i * shape.page + (x >> 8) % (shape.page - 8) : (x >> 8) % (model.size() - 8);
    const std::string bytes = Noise(8, x);
    failed = !run.Once([&] { Put(f, at, bytes); });
    model.replace(at, 8, bytes);
    if (!failed && i % 16 == 0) {
      std::string got(64, '\0');
      const unsigned long from = (x >> 4) % (model.size() - 64);
      failed = !run.Once([&] {
        f.Seek(from);
        f.Read(got.data(), 64);
      });
      if (!failed && got != model.substr(from, 64)) {
        run.ok = false;
        run.why = "read back in the transaction";
      }
    }
  }
  if (failed || !commit) {
    f.BreakTransaction();
    model = before;
  } else {
    run.Retry([&] { f.EndTransaction(); });
  }
  f.Close();
  if (FStream::TrnCnt() != 0) {
    run.ok = false;
    run.why += " transaction still counted";
  }
  return model;
}

struct Tally {
  unsigned long runs = 0;
  unsigned long losses = 0;
  unsigned long silent = 0;
};

// Runs the scenario in a thread of its own (a fresh block manager, swap
// file and fault counters each time) with the N-th call of `kind` failing.
Attempt RunOnce(const Scenario& scenario, FileCall kind, unsigned long n, unsigned long* calls,
                unsigned long* injected) {
  Attempt run;
  std::thread([&] {
    ReportCapture reports;
    ScratchFile file("faults");
    scenario.prepare(file.name());
    BlockManager::Instance().SetMemoryBound(1);
    kelm::port::testing::ResetFileFaults();
    static const unsigned long errors[] = {30, 112, 87, 112, 112};
    if (n > 0) kelm::port::testing::FailFileCall(kind, n, errors[static_cast<int>(kind)]);
    const std::string model = scenario.run(run, file.name());
    *calls = kelm::port::testing::FileCallCount(kind);
    *injected = kelm::port::testing::FileFaultsInjected();
    kelm::port::testing::ResetFileFaults();
    if (ReadWhole(file.name()) != model) {
      run.ok = false;
      run.why += " file differs";
    }
    // A failure is reported through the thread's messager, never silently.
    if (reports.texts.empty()) run.reported = 0;
  }).join();
  return run;
}

Tally Sweep(const char* title, const Scenario& scenario) {
  Tally tally;
  const char* kinds[] = {"reads", "writes", "seeks", "set-ends", "flushes"};
  std::string line;
  for (int k = 0; k < kelm::port::testing::kFileCallKinds; ++k) {
    const auto kind = static_cast<FileCall>(k);
    unsigned long count = 0;
    unsigned long injected = 0;
    const Attempt clean = RunOnce(scenario, kind, 0, &count, &injected);
    EXPECT_TRUE(clean.ok) << title << ": " << clean.why;
    EXPECT_EQ(clean.reported, 0u) << title;
    for (unsigned long n = 1; n <= count; ++n) {
      unsigned long calls = 0;
      const Attempt run = RunOnce(scenario, kind, n, &calls, &injected);
      ++tally.runs;
      if (!run.ok) {
        ++tally.losses;
        ADD_FAILURE() << title << ": " << kinds[k] << " #" << n << ": " << run.why;
      }
      if (injected > 0 && run.reported == 0) {
        ++tally.silent;
        ADD_FAILURE() << title << ": " << kinds[k] << " #" << n << " failed silently";
      }
    }
    line += " " + std::to_string(count) + " " + kinds[k];
  }
  std::printf("[ faults   ] %s:%s; %lu runs, %lu losses, %lu silent\n", title, line.c_str(), tally.runs,
              tally.losses, tally.silent);
  return tally;
}

void PrepareRandom(const std::string& name) { WriteWhole(name, Noise(shape.Bytes(), 2)); }
void PrepareTransaction(const std::string& name) { WriteWhole(name, Noise(shape.Bytes(), 6)); }

// Every sweep runs with 32 KiB pages (the memory bound gives pages up); the
// native build without sanitizers also runs it with 512-byte pages (the
// record limit gives them up), which makes ten times the calls.
void SweepShapes(const char* title, const Scenario& scenario) {
  shape = {32768, 40};
  Sweep((std::string(title) + ", 32 KiB pages").c_str(), scenario);
#if !defined(_WIN32) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  shape = {512, 360};
  Sweep((std::string(title) + ", 512-byte pages").c_str(), scenario);
#endif
}

TEST(FStreamFaultsTest, SequentialWrites) { SweepShapes("sequential writes", {.run = Sequential}); }

TEST(FStreamFaultsTest, RandomUpdates) {
  SweepShapes("random updates", {.prepare = PrepareRandom, .run = RandomUpdates});
}

TEST(FStreamFaultsTest, Truncation) { SweepShapes("truncation", {.run = Truncation}); }

TEST(FStreamFaultsTest, BrokenTransactionWithSwappedPages) {
  SweepShapes("broken transaction", {.prepare = PrepareTransaction, .run = [](Attempt& run, const std::string& name) {
                                 return Transaction(run, name, false);
                               }});
}

TEST(FStreamFaultsTest, EndedTransactionWithSwappedPages) {
  SweepShapes("ended transaction", {.prepare = PrepareTransaction, .run = [](Attempt& run, const std::string& name) {
                                return Transaction(run, name, true);
                              }});
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
