// MD5 over 64 MiB: the library's MD5Init/MD5Update/MD5Final against a
// straightforward implementation written here from RFC 1321 (a loop over
// the 64 steps with tables of shifts and constants), and against OpenSSL's.
#include <openssl/evp.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "bench/bench.h"
#include "kelm/streams/md5.h"

namespace {

class ReferenceMd5 {
 public:
  ReferenceMd5() {
    for (int i = 0; i < 64; ++i)
      k_[i] = static_cast<std::uint32_t>(std::floor(std::fabs(std::sin(i + 1.0)) * 4294967296.0));
  }

  void Digest(const unsigned char* data, std::size_t n, unsigned char out[16]) const {
    std::uint32_t h[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    std::size_t full = n / 64 * 64;
    for (std::size_t at = 0; at < full; at += 64) Block(h, data + at);
    unsigned char tail[128] = {};
    const std::size_t rest = n - full;
    std::memcpy(tail, data + full, rest);
    tail[rest] = 0x80;
    const std::size_t tail_len = rest < 56 ? 64 : 128;
    const std::uint64_t bits = static_cast<std::uint64_t>(n) * 8;
    for (int i = 0; i < 8; ++i) tail[tail_len - 8 + i] = static_cast<unsigned char>(bits >> (8 * i));
    for (std::size_t at = 0; at < tail_len; at += 64) Block(h, tail + at);
    for (int i = 0; i < 4; ++i)
      for (int b = 0; b < 4; ++b) out[4 * i + b] = static_cast<unsigned char>(h[i] >> (8 * b));
  }

 private:
  void Block(std::uint32_t h[4], const unsigned char* p) const {
    static const int kShift[64] = {7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
                                   5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
                                   4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
                                   6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};
    std::uint32_t m[16];
    for (int i = 0; i < 16; ++i)
      m[i] = p[4 * i] | (p[4 * i + 1] << 8) | (p[4 * i + 2] << 16) |
             (static_cast<std::uint32_t>(p[4 * i + 3]) << 24);
    std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3];
    for (int i = 0; i < 64; ++i) {
      std::uint32_t f;
      int g;
      if (i < 16) {
        f = (b & c) | (~b & d);
        g = i;
      } else if (i < 32) {
        f = (d & b) | (~d & c);
        g = (5 * i + 1) % 16;
      } else if (i < 48) {
        f = b ^ c ^ d;
        g = (3 * i + 5) % 16;
      } else {
        f = c ^ (b | ~d);
        g = (7 * i) % 16;
      }
      const std::uint32_t sum = a + f + k_[i] + m[g];
      a = d;
      d = c;
      c = b;
      b = b + ((sum << kShift[i]) | (sum >> (32 - kShift[i])));
    }
    h[0] += a;
    h[1] += b;
    h[2] += c;
    h[3] += d;
  }

  std::uint32_t k_[64];
};

}  // namespace

int main() {
  constexpr std::size_t kSize = 64u << 20;
  std::vector<unsigned char> data(kSize);
  std::uint32_t x = 7;
  for (auto& c : data) {
    x = x * 1664525 + 1013904223;
    c = static_cast<unsigned char>(x >> 24);
  }
  unsigned char mine[16];
  unsigned char theirs[16];
  ReferenceMd5 reference;
  unsigned char openssl[16];
  const auto [library, baseline, openssl_s] = kelm::bench::BestInTurns(
      3,
      [&] {
        MD5_CTX context;
        MD5Init(&context);
        MD5Update(&context, data.data(), static_cast<unsigned>(kSize));
        MD5Final(mine, &context);
      },
      [&] { reference.Digest(data.data(), kSize, theirs); },
      [&] {
        unsigned int length = 0;
        EVP_Digest(data.data(), kSize, openssl, &length, EVP_md5(), nullptr);
      });
  if (std::memcmp(mine, theirs, 16) != 0 || std::memcmp(mine, openssl, 16) != 0) {
    std::printf("MISMATCH between the library and a baseline\n");
    return 1;
  }
  char hex[33];
  CvtHex(reinterpret_cast<char*>(mine), hex);
  std::printf("MD5 of 64 MiB: %s (all agree)\n", hex);
  kelm::bench::Report("MD5, 64 MiB", "RFC 1321 loop reference", library, baseline);
  kelm::bench::Report("MD5, 64 MiB", "OpenSSL EVP md5", library, openssl_s);
  return 0;
}
