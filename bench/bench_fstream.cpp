// FStream against the system's file calls, in one run:
// - the memory budget: 256 MiB written through one stream with a 1 MiB
//   bound (the allocator's peak and the process's peak resident size);
// - 256 MiB written and read back sequentially in 32 KiB chunks, through
//   FStream with 512-byte and with 32 KiB pages (40 MiB budget), against
//   write() and read() of the same chunks;
// - 1 M random 4-byte updates over a 64 MiB file inside one transaction with
//   a 4 MiB budget, then EndTransaction, against pwrite() of each update.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bench.h"
#include "kelm/files/file_utils.h"
#include "kelm/port/file.h"
#include "kelm/port/testing/file_faults.h"
#include "kelm/streams/fstream.h"

namespace {

constexpr std::size_t kChunk = 32 << 10;
constexpr std::size_t kTotal = 256u << 20;

std::string Scratch(const char* tag) { return kelm::port::TempFolder() + "kelm_bench_" + tag + ".bin"; }

long PeakRssKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

void Budget() {
  const std::string name = Scratch("budget");
  BlockManager::Instance().SetMemoryBound(1);
  std::vector<char> chunk(4096, 'b');
  std::size_t peak = 0;
  {
    FStream f(name.c_str(), fmRead | fmWrite | fmCreate);
    f.ChangeBufferSize(32768);
    for (std::size_t at = 0; at < kTotal; at += chunk.size()) {
      f.Write(chunk.data(), static_cast<unsigned>(chunk.size()));
      peak = std::max(peak, BlockManager::Instance().Allocator().AllocatedSize());
    }
  }
  std::printf("budget: 256 MiB through one stream, bound 1 MiB: allocator peak %zu bytes (limit %u), "
              "peak RSS %ld KiB\n",
              peak, (1u << 20) * 13 / 10, PeakRssKiB());
  unlink(name.c_str());
  BlockManager::Instance().SetMemoryBound(40);
}

double Seconds(const std::function<void()>& f) {
  const auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The four runs take turns, `rounds` times, and each keeps its best time, so
// that a busy machine slows both sides alike.
void Sequential(unsigned short page, int rounds) {
  const std::string mine = Scratch("seq_fstream");
  const std::string theirs = Scratch("seq_posix");
  std::vector<char> chunk(kChunk);
  for (std::size_t i = 0; i < kChunk; ++i) chunk[i] = static_cast<char>(i * 7);
  std::vector<char> back(kChunk);
  unsigned long sum_mine = 0;
  unsigned long sum_theirs = 0;
  double write_mine = 1e300, write_theirs = 1e300, read_mine = 1e300, read_theirs = 1e300;
  for (int round = 0; round < rounds; ++round) {
    write_mine = std::min(write_mine, Seconds([&] {
      FStream f(mine.c_str(), fmRead | fmWrite | fmCreate);
      f.ChangeBufferSize(page);
      for (std::size_t at = 0; at < kTotal; at += kChunk) f.Write(chunk.data(), kChunk);
    }));
    write_theirs = std::min(write_theirs, Seconds([&] {
      const int fd = open(theirs.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
      for (std::size_t at = 0; at < kTotal; at += kChunk)
        if (write(fd, chunk.data(), kChunk) != static_cast<ssize_t>(kChunk)) std::abort();
      close(fd);
    }));
    read_mine = std::min(read_mine, Seconds([&] {
      FStream f(mine.c_str(), fmRead);
      f.ChangeBufferSize(page);
      sum_mine = 0;
      for (std::size_t at = 0; at < kTotal; at += kChunk) {
        f.Read(back.data(), kChunk);
        sum_mine += static_cast<unsigned char>(back[at / kChunk % kChunk]);
      }
    }));
    read_theirs = std::min(read_theirs, Seconds([&] {
      const int fd = open(theirs.c_str(), O_RDONLY);
      sum_theirs = 0;
      for (std::size_t at = 0; at < kTotal; at += kChunk) {
        if (read(fd, back.data(), kChunk) != static_cast<ssize_t>(kChunk)) std::abort();
        sum_theirs += static_cast<unsigned char>(back[at / kChunk % kChunk]);
      }
      close(fd);
    }));
  }
  if (sum_mine != sum_theirs) std::printf("CONTENT MISMATCH\n");
  char what[80];
  std::snprintf(what, sizeof what, "write 256 MiB, %u-byte pages", page);
  kelm::bench::Report(what, "write() 32 KiB chunks", write_mine, write_theirs);
  std::snprintf(what, sizeof what, "read 256 MiB, %u-byte pages", page);
  kelm::bench::Report(what, "read() 32 KiB chunks", read_mine, read_theirs);
  std::snprintf(what, sizeof what, "write+read, %u-byte pages", page);
  kelm::bench::Report(what, "write()+read()", write_mine + read_mine, write_theirs + read_theirs);
  unlink(mine.c_str());
  unlink(theirs.c_str());
}

void RandomUpdates(unsigned short page, unsigned long updates) {
  constexpr std::size_t kFile = 64u << 20;
  const std::string mine = Scratch("rnd_fstream");
  const std::string theirs = Scratch("rnd_posix");
  {
    std::vector<char> zeros(1 << 20, 'z');
    for (const std::string* name : {&mine, &theirs}) {
      const int fd = open(name->c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
      for (std::size_t at = 0; at < kFile; at += zeros.size())
        if (write(fd, zeros.data(), zeros.size()) != static_cast<ssize_t>(zeros.size())) std::abort();
      close(fd);
    }
  }
  std::vector<std::uint32_t> where(updates);
  std::uint32_t x = 12345;
  for (auto& at : where) {
    x = x * 1103515245u + 12345u;
    at = (x >> 2) % (kFile - 4);
  }
  BlockManager::Instance().SetMemoryBound(4);
  long swap_peak = 0;
  unsigned long swap_writes = 0;
  unsigned long file_writes = 0;
  const double library = kelm::bench::BestSeconds(1, [&] {
    FStream f(mine.c_str(), fmRead | fmWrite);
    f.ChangeBufferSize(page);
    kelm::port::testing::ResetFileFaults();
    f.BeginTransaction();
    for (unsigned long i = 0; i < updates; ++i) {
      f.Seek(where[i]);
      f << static_cast<long>(i);
      swap_peak = std::max(swap_peak, FStream::TrnSize());
    }
    swap_writes = kelm::port::testing::FileCallCount(kelm::port::testing::FileCall::kWrite);
    f.EndTransaction();
    file_writes = kelm::port::testing::FileCallCount(kelm::port::testing::FileCall::kWrite) - swap_writes;
  });
  const double baseline = kelm::bench::BestSeconds(1, [&] {
    const int fd = open(theirs.c_str(), O_RDWR);
    for (unsigned long i = 0; i < updates; ++i) {
      const auto value = static_cast<std::int32_t>(i);
      if (pwrite(fd, &value, 4, where[i]) != 4) std::abort();
    }
    fsync(fd);
    close(fd);
  });
  char what[96];
  std::snprintf(what, sizeof what, "%lu random updates, %u-byte pages", updates, page);
  kelm::bench::Report(what, "pwrite() each", library, baseline);
  std::printf("    swap file %ld KiB, %lu pages written to the swap file, %lu to the data file\n",
              swap_peak >> 10, swap_writes, file_writes);
  BlockManager::Instance().SetMemoryBound(40);
  unlink(mine.c_str());
  unlink(theirs.c_str());
}

}  // namespace

// With an argument, only the part named: budget, sequential or random.
int main(int argc, char** argv) {
  const std::string only = argc > 1 ? argv[1] : "";
  if (only.empty() || only == "budget") Budget();
  if (only.empty() || only == "sequential") {
    Sequential(32768, 5);
    Sequential(512, 1);
  }
  if (only.empty() || only == "random") RandomUpdates(4096, 1000000);
  return 0;
}
