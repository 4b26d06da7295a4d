// CRC32::Calculate over 64 MiB in memory against zlib's crc32 over the same
// bytes. The library's CRC is the raw register (no inversions), so it
// equals ~crc32(0xFFFFFFFF, ...); the run checks that before timing.
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "bench/bench.h"
#include "kelm/streams/crc.h"

int main() {
  constexpr std::size_t kSize = 64u << 20;
  std::vector<char> data(kSize);
  std::uint32_t x = 1;
  for (auto& c : data) {
    x = x * 1664525 + 1013904223;
    c = static_cast<char>(x >> 24);
  }
  const CRC32& crc = *CheckSum_CRC32_Registrator.Get();

  unsigned long mine = 0;
  unsigned long theirs = 0;
  // Both take a few milliseconds, so they are timed in turns: a busy
  // machine then slows both alike.
  double library = 1e300;
  double baseline = 1e300;
  for (int round = 0; round < 15; ++round) {
    library = std::min(library, kelm::bench::BestSeconds(1, [&] { mine = crc.Calculate(kSize, data.data()); }));
    baseline = std::min(baseline, kelm::bench::BestSeconds(1, [&] {
      theirs = crc32(0xFFFFFFFFul, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(kSize));
    }));
  }
  const auto expected = static_cast<std::uint32_t>(~theirs);
  if (mine != expected) {
    std::printf("MISMATCH: kelm %08lX, ~zlib %08X\n", mine, expected);
    return 1;
  }
  std::printf("CRC32 of 64 MiB: %08lX = ~crc32(0xFFFFFFFF, ...) of zlib %s\n", mine, zlibVersion());
  kelm::bench::Report("CRC32::Calculate, 64 MiB", "zlib crc32", library, baseline);
  return 0;
}
