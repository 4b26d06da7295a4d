#include "kelm/streams/fstream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "kelm/files/file_system_factory.h"
#include "kelm/files/file_utils.h"
#include "kelm/frame/exceptions.h"
#include "kelm/port/testing/file_faults.h"
#include "kelm/streams/testing/reports.h"
#include "kelm/streams/testing/scratch_files.h"

namespace {

using kelm::port::testing::FileCall;
using kelm::port::testing::FileCallCount;
using kelm::testing::FatalEnd;
using kelm::testing::Noise;
using kelm::testing::ReadWhole;
using kelm::testing::ReportCapture;
using kelm::testing::ScratchFile;
using kelm::testing::WriteWhole;

constexpr unsigned kRW = fmRead | fmWrite | fmOpenAlways;

std::string ReadAll(FStream& f) {
  std::string s(f.Size(), '\0');
  f.Seek(0);
  if (!s.empty()) f.Read(s.data(), static_cast<unsigned>(s.size()));
  return s;
}

void Put(FStream& f, unsigned long at, const std::string& bytes) {
  f.Seek(at);
  f.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
}

// The error code `action` raised, minus the status of a fatal end, or 0.
int CodeOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const GorseCodeException& e) {
    return e.Code();
  } catch (const FatalEnd& end) {
    return -static_cast<int>(end.status);
  }
  return 0;
}

// `text` with `part` written over it at `at`.
std::string With(std::string text, std::size_t at, const std::string& part) {
  return text.replace(at, part.size(), part);
}

class FStreamTest : public testing::Test {
 protected:
  void TearDown() override { BlockManager::Instance().SetMemoryBound(40); }
  ReportCapture reports_;
  kelm::port::testing::ScopedFileFaults faults_;
};

// Pages are packed when released: one byte short is a flag, a shorter page
// keeps its length in its last two bytes; the file gets only valid bytes.
TEST_F(FStreamTest, PagePackingAndRoundTrip) {
  ScratchFile file;
  {
    FStream f(file.c_str(), kRW);
    EXPECT_EQ(f.BufSize(), 512u);
    Put(f, 0, Noise(511, 1));
    f.Seek(600);  // another page: page 0 is released
    BlocStruct* page = nullptr;
    ASSERT_TRUE(f.Pool().GetBuf(0, page));
    EXPECT_TRUE(page->IsTruncateByte() && !page->IsTruncate() && page->IsChgBuf());
    EXPECT_EQ(f.Size(), 511u);

    Put(f, 511, Noise(1 + 512 + 100, 2));  // page 0 full, page 512 full, 100 bytes on 1024
    f.Seek(0);
    ASSERT_TRUE(f.Pool().GetBuf(1024, page));
    EXPECT_TRUE(page->IsTruncate());
    std::uint16_t stored;
    std::memcpy(&stored, page->Data() + 510, 2);
    EXPECT_EQ(stored, 100u);
    ASSERT_TRUE(f.Pool().GetBuf(512, page));
    EXPECT_FALSE(page->IsTruncate() || page->IsTruncateByte());
    EXPECT_EQ(f.Size(), 1124u);
    EXPECT_EQ(ReadWhole(file.name()), "");  // nothing written yet
  }
  const std::string expected = Noise(511, 1) + Noise(613, 2);
  EXPECT_EQ(ReadWhole(file.name()), expected);
  FStream again(file.c_str(), fmRead);
  EXPECT_EQ(ReadAll(again), expected);
  EXPECT_TRUE(reports_.texts.empty());
}

TEST_F(FStreamTest, SeekReadsNothingUntilUsed) {
  ScratchFile file;
  ASSERT_TRUE(WriteWhole(file.name(), Noise(4096, 3)));
  FStream f(file.c_str(), fmRead);
  kelm::port::testing::ResetFileFaults();
  f.Seek(2000);
  f.Seek(3000);
  EXPECT_EQ(FileCallCount(FileCall::kRead), 0u);
  EXPECT_EQ(f.PeekChar(), Noise(4096, 3)[3000]);
  EXPECT_EQ(FileCallCount(FileCall::kRead), 1u);
  EXPECT_EQ(f.Pool().Count(), 1);  // the page seeked past was never made
}

TEST_F(FStreamTest, TemporaryStreamsAndMemoryOnlyStreams) {
  FStream tmp(nullptr, 0);
  EXPECT_TRUE(tmp.IsOpen() && tmp.IsTmp() && !tmp.IsReadOnly());
  Put(tmp, 0, Noise(5000, 4));
  EXPECT_EQ(ReadAll(tmp), Noise(5000, 4));
  kelm::port::testing::ResetFileFaults();
  tmp.Close();  // no flush for a temporary file
  EXPECT_EQ(FileCallCount(FileCall::kWrite), 0u);

  FStream memory;  // never opened: pages only, a temporary file when pressed
  EXPECT_FALSE(memory.IsOpen());
  Put(memory, 0, Noise(3000, 5));
  EXPECT_EQ(ReadAll(memory), Noise(3000, 5));
  memory.Seek(1500);
  memory.Truncate();
  EXPECT_EQ(ReadAll(memory), Noise(1500, 5));

  char name[32] = "x";
  FStream::TmpName(0x1A2, name);
  EXPECT_STREQ(name, "x$1A2.tmp");
}

TEST_F(FStreamTest, PageSizes) {
  ScratchFile file;
  FStream f(file.c_str(), kRW);
  f.ChangeBufferSize(4096);
  Put(f, 0, Noise(100, 6));
  // One current page grows in place, its bytes kept.
  f.ChangeBufferSize(8192);
  EXPECT_EQ(f.BufSize(), 8192u);
  EXPECT_EQ(ReadAll(f), Noise(100, 6));
  Put(f, 100, Noise(20000, 7));
  // Several pages: written, dropped, then the new size.
  f.ChangeBufferSize(1024);
  EXPECT_EQ(f.Pool().Count(), 0);
  EXPECT_EQ(ReadWhole(file.name()), Noise(100, 6) + Noise(20000, 7));
  EXPECT_EQ(ReadAll(f), Noise(100, 6) + Noise(20000, 7));
  f.ChangeBufferSize(1000);  // rounded up to whole 256-byte units
  EXPECT_EQ(f.BufSize(), 1024u);

  f.BeginTransaction();
  Put(f, 0, "x");
  f.Seek(40000);
  EXPECT_EQ(CodeOf([&] { f.ChangeBufferSize(512); }), 291);
  f.BreakTransaction();
}

TEST_F(FStreamTest, LockedPages) {
  ScratchFile file;
  ASSERT_TRUE(WriteWhole(file.name(), Noise(1500, 8)));
  FStream f(file.c_str(), kRW);
  char* page = f.LockBuf(512);
  ASSERT_NE(page, nullptr);
  EXPECT_EQ(std::string(page, 512), Noise(1500, 8).substr(512, 512));
  page[0] = '#';
  f.UnlockChgBuf(512);
  f.Flush();
  EXPECT_EQ(ReadWhole(file.name()), With(Noise(1500, 8), 512, "#"));
  // A locked page is not given up, even when the manager is pressed.
  f.LockBuf(0);
  EXPECT_FALSE(f.Notification(f.Pool().GetBuf(0)));
  f.UnlockBuf(0);
  EXPECT_TRUE(f.Notification(f.Pool().GetBuf(0)));
  EXPECT_EQ(f.Pool().Count(), 1);

  // A page past the end of a named file cannot be read whole; a temporary
  // file's can, and the stream grows to its end.
  EXPECT_EQ(CodeOf([&] { f.LockBuf(4096); }), 30);
  BlocStruct* none = nullptr;
  EXPECT_FALSE(f.Pool().GetBuf(4096, none));
  FStream tmp(nullptr, 0);
  EXPECT_EQ(std::string(tmp.LockBuf(1024), 512), std::string(512, '\0'));
  tmp.UnlockBuf(1024);
  EXPECT_EQ(tmp.Size(), 1536u);

  EXPECT_EQ(CodeOf([&] { f.LockBuf(100); }), -289);
  EXPECT_EQ(CodeOf([&] { f.UnlockBuf(2048); }), -1);
  EXPECT_EQ(CodeOf([&] { f.UnlockBuf(512); }), -1);  // in the pool, not locked
  EXPECT_TRUE(reports_.Saw(
      "Произошла попытка снять запрет сброса на диск для несуществующей в пуле FStream страницы!"));
}

TEST_F(FStreamTest, DirectAccess) {
  ScratchFile file;
  FStream f(file.c_str(), kRW);
  Put(f, 0, Noise(2000, 9));
  f.Seek(10);
  char direct[] = "DIRECT";
  ASSERT_TRUE(f.WriteFile(500, direct, 6));
  char back[40] = {};
  ASSERT_TRUE(f.ReadFile(500, back, 6));
  EXPECT_STREQ(back, direct);
  EXPECT_EQ(f.CurPos(), 10u);
  EXPECT_FALSE(f.ReadFile(1990, back, 20));  // only 10 there
  f.Close();
  EXPECT_EQ(ReadWhole(file.name()), With(Noise(2000, 9), 500, direct));

  FStream memory;
  ASSERT_TRUE(memory.WriteFile(3, direct, 6));
  EXPECT_EQ(ReadAll(memory), std::string(3, '\0') + direct);
}

TEST_F(FStreamTest, TruncateInAndOutOfTransactions) {
  ScratchFile file;
  FStream f(file.c_str(), kRW);
  Put(f, 0, Noise(3000, 10));
  f.Seek(1200);
  f.Truncate();
  EXPECT_EQ(ReadWhole(file.name()), Noise(1200, 10));
  for (bool commit : {false, true}) {
    f.BeginTransaction();
    f.Seek(700);
    f.Truncate();
    EXPECT_EQ(ReadAll(f), Noise(700, 10));
    Put(f, 700, "tail");
    EXPECT_EQ(ReadWhole(file.name()), Noise(1200, 10));  // not yet
    if (commit) {
      f.EndTransaction();
    } else {
      f.BreakTransaction();
      EXPECT_EQ(ReadAll(f), Noise(1200, 10));
    }
  }
  EXPECT_EQ(ReadWhole(file.name()), Noise(700, 10) + "tail");
}

TEST_F(FStreamTest, TransactionsKeepTheFileUntilTheEnd) {
  ScratchFile file;
  ASSERT_TRUE(WriteWhole(file.name(), Noise(4000, 11)));
  const int outer = FStream::TrnCnt();
  FStream f(file.c_str(), kRW);
  FStream other(nullptr, 0);
  f.BeginTransaction();
  f.BeginTransaction();  // once only
  other.BeginTransaction();
  EXPECT_TRUE(f.IsUnderTransactions());
  EXPECT_EQ(FStream::TrnCnt(), outer + 2);
  Put(f, 100, "changed");
  Put(f, 3990, "past the old end");
  EXPECT_EQ(f.Flush(), false);  // refused inside
  EXPECT_EQ(ReadWhole(file.name()), Noise(4000, 11));
  f.BreakTransaction();
  EXPECT_EQ(FStream::TrnCnt(), outer + 1);
  EXPECT_EQ(ReadAll(f), Noise(4000, 11));

  f.BeginTransaction();
  Put(f, 100, "changed");
  f.EndTransaction();
  other.EndTransaction();
  EXPECT_EQ(FStream::TrnCnt(), outer);
  const std::string expected = With(Noise(4000, 11), 100, "changed");
  EXPECT_EQ(ReadWhole(file.name()), expected);

  // Closing inside a transaction drops its changes and says so.
  f.BeginTransaction();
  Put(f, 0, "lost");
  EXPECT_EQ(CodeOf([&] { f.Close(); }), 296);
  EXPECT_FALSE(f.IsOpen());
  EXPECT_EQ(FStream::TrnCnt(), outer);
  EXPECT_EQ(ReadWhole(file.name()), expected);
  EXPECT_EQ(CodeOf([] { FStream::EndGlobalTransaction(); }), -292);
}

TEST_F(FStreamTest, OpeningFailures) {
  ScratchFile file;
  FStream f;
  const std::string missing = file.name() + ".dir/none.bin";
  try {
    f.Open(missing.c_str(), fmRead);
    FAIL();
  } catch (const Exception& e) {
    const std::string text = static_cast<const char*>(e.Description());
    EXPECT_EQ(text.rfind("Невозможно открыть файл \"" + missing + "\"!", 0), 0u) << text;
  }
  const std::string long_name = kelm::port::TempFolder() + std::string(270, 'n');
  EXPECT_FALSE(f.Open(long_name.c_str(), kRW));
  EXPECT_TRUE(reports_.Saw("Имя файла длиннее 259 символов", true));
  EXPECT_FALSE(f.IsOpen());

  // A read-only file opens for reading only, and says it is read-only.
  ASSERT_TRUE(WriteWhole(file.name(), "ro"));
  ASSERT_TRUE(kelm::port::SetPathAttributes(file.c_str(), 0x1));
#ifdef _WIN32
  // Wine running as root lets the owner open it for writing; Windows refuses.
  try {
    if (f.Open(file.c_str(), kRW)) EXPECT_TRUE(f.IsReadOnly());
  } catch (const Exception&) {
  }
#else
  EXPECT_THROW(f.Open(file.c_str(), kRW), Exception);
#endif
  ASSERT_TRUE(f.Open(file.c_str(), fmRead));
  EXPECT_TRUE(f.IsReadOnly());
  EXPECT_EQ(ReadAll(f), "ro");
}

TEST_F(FStreamTest, FileTimes) {
  ScratchFile a, b;
  FStream closed, fa(a.c_str(), kRW), fb(b.c_str(), kRW);
  FILETIME written{}, old{0, 0x01D00000};  // 2014
  EXPECT_FALSE(closed.GetTime(nullptr, nullptr, &written));
  EXPECT_TRUE(reports_.Saw("Не открыт файл при установке даты/времени файла!"));
  EXPECT_FALSE(fa.CopyFileTime(closed));
  ASSERT_TRUE(kelm::port::SetFileTimes(fa.Handle(), nullptr, &old, &old));
  ASSERT_TRUE(fb.CopyFileTime(fa));
  ASSERT_TRUE(fb.GetTime(nullptr, nullptr, &written));
  EXPECT_EQ(written.dwHighDateTime, old.dwHighDateTime);
  EXPECT_EQ(written.dwLowDateTime, old.dwLowDateTime);
}

TEST_F(FStreamTest, CharacterDevice) {
#ifdef _WIN32
  FStream f("NUL", fmRead | fmWrite);
#else
  FStream f("/dev/null", fmRead | fmWrite);
  FStream zero("/dev/zero", fmRead);
  char bytes[7] = {1, 1, 1, 1, 1, 1, 1};
  zero.Read(bytes, sizeof bytes);
  EXPECT_EQ(std::string(bytes, 7), std::string(7, '\0'));
#endif
  EXPECT_TRUE(f.IsOpen() && f.IsCharDev());
  EXPECT_EQ(f.BufSize(), 2u);
  f.TxtWrite("to the device");
  f.Close();
  EXPECT_TRUE(reports_.texts.empty());
}

// A stream used from a thread other than its own reports it and goes on.
TEST_F(FStreamTest, OtherThreadIsReported) {
  FStream f(nullptr, 0);
  Put(f, 0, "mine");
  std::vector<std::string> seen;
  std::thread([&] {
    ReportCapture there;
    Put(f, 600, "theirs");
    seen = there.texts;
  }).join();
  ASSERT_FALSE(seen.empty());
  for (const auto& text : seen) EXPECT_NE(text.find(" использует BlockManager из другого потока!"), std::string::npos);
  bool named = false;
  for (const auto& text : seen) named |= text.rfind("FStream::LocPoolBuf использует", 0) == 0;
  EXPECT_TRUE(named);
  EXPECT_EQ(ReadAll(f), std::string("mine") + std::string(596, '\0') + "theirs");
  EXPECT_TRUE(reports_.texts.empty());
}

// A file system registered with the factory serves names that cannot be
// opened as files: "shelf:" names, kept in `shelf`.
std::string shelf;
int shelf_handlers = 0;

class ShelfFiles : public IFileUtils {
 public:
  ShelfFiles() { ++shelf_handlers; }
  ~ShelfFiles() override { --shelf_handlers; }
  bool Open(const char*, unsigned, Stream& content) override {
    content.Write(shelf.data(), static_cast<unsigned>(shelf.size()));
    return true;
  }
  bool Write(unsigned long offset, Stream& data) override {
    std::string bytes(data.Size(), '\0');
    data.Seek(0);
    data.Read(bytes.data(), static_cast<unsigned>(bytes.size()));
    shelf.replace(offset, bytes.size(), bytes);
    return true;
  }
  bool Exists(const char*, bool) override { return true; }
  bool Remove(const char*) override { return false; }
  bool Rename(const char*, const char*) override { return false; }
  bool GetFileList(const char*, Collection&, int) override { return false; }
};

class ShelfCreator : public IFileUtilsCreator {
 public:
  IFileUtils* Create(long long kind) override { return kind == 7 ? new ShelfFiles : nullptr; }
};

TEST_F(FStreamTest, FileSystemProviders) {
  shelf = "stored on the shelf";
  FileSystemFactory::Instance().Create(new ShelfCreator);
  FileSystemFactory::Instance().SetPathHook(
      [](const char* path, bool) -> long long { return std::strncmp(path, "shelf:", 6) == 0 ? 7 : -1; });
  {
    FStream reader("shelf:doc", fmRead);
    EXPECT_TRUE(reader.IsOpen() && reader.IsReadOnly());
    EXPECT_EQ(ReadAll(reader), "stored on the shelf");
    char bytes[] = "XX";
    try {
      reader.WriteFile(0, bytes, 2);
      FAIL();
    } catch (const Exception& e) {
      EXPECT_STREQ(static_cast<const char*>(e.Description()), "Файл не открыт на запись/редактирование");
    }
    FStream writer("shelf:doc", fmRead | fmWrite);
    writer.Seek(10);
    EXPECT_TRUE(writer.WriteFile(0, bytes, 2));
    EXPECT_EQ(writer.CurPos(), 10u);
    EXPECT_EQ(shelf, "XXored on the shelf");
    EXPECT_EQ(ReadAll(writer), shelf);
    EXPECT_EQ(shelf_handlers, 2);
    writer.Close();
    EXPECT_EQ(shelf_handlers, 1);
  }
  EXPECT_EQ(shelf_handlers, 0);
  FileSystemFactory::Instance().SetPathHook(nullptr);
  // Names no file system takes are still reported as files that cannot be opened.
  FStream none;
  EXPECT_THROW(none.Open("shelf:missing/../x", fmRead), Exception);
}

// Writing far more than the budget keeps the thread's page memory within
// 130% of it at every step, outside a transaction and inside one.
TEST_F(FStreamTest, MemoryBudgetHolds) {
  BlockManager& manager = BlockManager::Instance();
  manager.SetMemoryBound(1);
  const std::size_t limit = (1u << 20) * 13 / 10;
  const std::string chunk = Noise(4096, 13);
  std::size_t peak = 0;
  for (bool transaction : {false, true}) {
    ScratchFile file;
    FStream f(file.c_str(), fmRead | fmWrite | fmCreate);
    f.ChangeBufferSize(32768);
    if (transaction) f.BeginTransaction();
    const unsigned long total = transaction ? 32ul << 20 : 256ul << 20;
    for (unsigned long at = 0; at < total; at += chunk.size()) {
      f.Write(chunk.data(), static_cast<unsigned>(chunk.size()));
      peak = std::max(peak, manager.Allocator().AllocatedSize());
      ASSERT_LE(manager.Allocator().AllocatedSize(), limit) << at;
    }
    if (transaction) {
      // All but the pages in memory went to the swap file.
      EXPECT_GE(static_cast<unsigned long>(FStream::TrnSize()), total - (1u << 20));
      EXPECT_LT(static_cast<unsigned long>(FStream::TrnSize()), total);
      f.EndTransaction();
      EXPECT_LE(manager.Allocator().AllocatedSize(), limit);
    }
    EXPECT_EQ(f.Size(), total);
    f.Seek(total - 4096);
    std::string tail(4096, '\0');
    f.Read(tail.data(), 4096);
    EXPECT_EQ(tail, chunk);
  }
  std::printf("[ budget   ] bound 1 MiB, allocator limit %zu, peak allocated %zu bytes\n", limit, peak);
  EXPECT_TRUE(reports_.texts.empty());
}

// Two threads with their own streams, managers and transactions; with the
// smallest budget the changed pages go to the swap file and come back, and
// the file sees nothing until a transaction ends.
TEST_F(FStreamTest, ThreadsDoNotInterfere) {
  ScratchFile files[2] = {ScratchFile("t0"), ScratchFile("t1")};
  std::string results[2];
  auto work = [&](int t) {
    ReportCapture reports;
    BlockManager::Instance().SetMemoryBound(1);
    std::string model = Noise(400 * 512, 20 + t), committed = model;
    WriteWhole(files[t].name(), model);
    FStream f(files[t].c_str(), fmRead | fmWrite);
    for (int round = 0; round < 4; ++round) {
      f.BeginTransaction();
      for (unsigned long at = static_cast<unsigned long>(t + round); at + 16 < model.size(); at += 509) {
        const std::string bytes = Noise(16, static_cast<std::uint32_t>(at * 3 + round + t));
        Put(f, at, bytes);
        if (round % 2 == 1) model.replace(at, 16, bytes);
      }
      if (ReadWhole(files[t].name()) != committed) results[t] += " early write";
      if (round % 2 == 0) {
        f.BreakTransaction();
      } else {
        f.EndTransaction();
        committed = model;
      }
      if (ReadAll(f) != committed) results[t] += " stream differs";
    }
    f.Close();
    results[t] += ReadWhole(files[t].name()) == model ? "ok" : "differs";
    if (FStream::TrnCnt() != 0) results[t] += " counted " + std::to_string(FStream::TrnCnt());
    if (!reports.texts.empty()) results[t] += " reported " + reports.texts[0];
  };
  std::thread first(work, 0), second(work, 1);
  first.join();
  second.join();
  EXPECT_EQ(results[0], "ok");
  EXPECT_EQ(results[1], "ok");
}

#if GTEST_HAS_DEATH_TEST
TEST(FStreamDeathTest, EndingATransactionThatWasNotStarted) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
#ifdef _WIN32
  EXPECT_EXIT(FStream::EndGlobalTransaction(), testing::ExitedWithCode(292), "");
#else
  EXPECT_EXIT(FStream::EndGlobalTransaction(), testing::ExitedWithCode(292 & 0xFF), "");  // eight bits kept
#endif
}
#endif

}  // namespace
