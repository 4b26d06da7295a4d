#include "kelm/streams/crc.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <thread>

#include "kelm/streams/mem_stream.h"
#include "kelm/streams/testing/paged_stream.h"
#include "kelm/streams/testing/scratch_files.h"

namespace {

const CRC32& Crc() { return *CheckSum_CRC32_Registrator.Get(); }

unsigned long Crc(const std::string& s) {
  return Crc().Calculate(static_cast<unsigned long>(s.size()), s.data());
}

// Bytes that exercise every table entry and every alignment.
std::string Noise(std::size_t n) { return kelm::testing::Noise(n, 7); }

// The definition, one bit at a time: register 0, no final inversion.
std::uint32_t BitwiseCrc(const char* p, std::size_t n) {
  std::uint32_t r = 0;
  while (n-- != 0) {
    r ^= static_cast<unsigned char>(*p++);
    for (int bit = 0; bit < 8; ++bit) r = (r & 1) != 0 ? (r >> 1) ^ 0xEDB88320u : r >> 1;
  }
  return r;
}

TEST(CRC32Test, KnownValuesAndTheZlibRelation) {
  EXPECT_EQ(Crc("123456789"), 0x2DFD2D88u);
  EXPECT_EQ(Crc().Calculate(0, "whatever"), 0u);
  for (std::size_t n : {1u, 9u, 63u, 64u, 65u, 1000u, 4099u}) {
    const std::string s = Noise(n);
    for (std::size_t skip = 0; skip < 3 && skip <= n; ++skip) {
      const auto* p = reinterpret_cast<const Bytef*>(s.data() + skip);
      const auto len = static_cast<uInt>(n - skip);
      const auto zlib = static_cast<std::uint32_t>(~crc32(0xFFFFFFFFul, p, len));
      const unsigned long mine = Crc().Calculate(len, s.data() + skip);
      EXPECT_EQ(mine, BitwiseCrc(s.data() + skip, len)) << n << "+" << skip;
      EXPECT_EQ(mine, len == 0 ? 0u : zlib) << n << "+" << skip;
    }
  }
}

TEST(CRC32Test, ContinueChecksDataInPieces) {
  const std::string s = Noise(5000);
  const unsigned long whole = Crc(s);
  for (std::size_t cut : {0u, 1u, 63u, 64u, 2500u, 4999u, 5000u}) {
    const unsigned long head = Crc().Calculate(static_cast<unsigned long>(cut), s.data());
    EXPECT_EQ(Crc().Continue(head, static_cast<unsigned long>(s.size() - cut), s.data() + cut), whole) << cut;
  }
}

TEST(CRC32Test, OneTablePerThread) {
  const CRC32* mine = CheckSum_CRC32_Registrator.Get();
  const CRC32* theirs = nullptr;
  std::thread([&] { theirs = CheckSum_CRC32_Registrator.Get(); }).join();
  EXPECT_NE(theirs, mine);
  EXPECT_EQ(CheckSum_CRC32_Registrator.Get(), mine);
}

TEST(CRC32Test, StreamsCombineTheirBuffers) {
  // One buffer: the same as over memory, whatever the position.
  const std::string content = Noise(100);
  MemStream flat;
  flat.Write(content.data(), 100);
  flat.Seek(40);
  EXPECT_EQ(Crc().Calculate(flat), Crc(content));

  // Several buffers: each from a fresh register, combined with the result
  // so far shifted right by eight bits.
  kelm::testing::PagedStream paged(32, content);
  std::uint32_t expected = 0;
  for (std::size_t at = 0; at < content.size(); at += 32)
    expected = static_cast<std::uint32_t>(Crc(content.substr(at, 32))) ^ (expected >> 8);
  EXPECT_EQ(Crc().Calculate(paged), expected);
  EXPECT_NE(expected, Crc(content));
  EXPECT_EQ(paged.CurPos(), 100u);  // where the last buffer left it
}

TEST(CRC8Test, Maxim) {
  unsigned char digits[] = "123456789";
  EXPECT_EQ(CRC8(digits, 9), 0xA1);
  EXPECT_EQ(CRC8(nullptr, 5), 0);
}

}  // namespace
