#include "kelm/streams/md5.h"

#include <cstring>

namespace {

constexpr std::uint32_t F(std::uint32_t x, std::uint32_t y, std::uint32_t z) { return z ^ (x & (y ^ z)); }
constexpr std::uint32_t G(std::uint32_t x, std::uint32_t y, std::uint32_t z) { return y ^ (z & (x ^ y)); }
constexpr std::uint32_t H(std::uint32_t x, std::uint32_t y, std::uint32_t z) { return x ^ y ^ z; }
constexpr std::uint32_t I(std::uint32_t x, std::uint32_t y, std::uint32_t z) { return y ^ (x | ~z); }
constexpr std::uint32_t Rotl(std::uint32_t v, int s) { return (v << s) | (v >> (32 - s)); }

template <std::uint32_t (*Fn)(std::uint32_t, std::uint32_t, std::uint32_t)>
inline void Step(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t x,
                 int s, std::uint32_t t) {
  a = b + Rotl(a + Fn(b, c, d) + x + t, s);
}

// One 64-byte block; the words are little-endian, as the machine's.
void Transform(std::uint32_t state[4], const unsigned char block[64]) {
  std::uint32_t x[16];
  std::memcpy(x, block, 64);
  std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

  Step<F>(a, b, c, d, x[0], 7, 0xd76aa478);
  Step<F>(d, a, b, c, x[1], 12, 0xe8c7b756);
  Step<F>(c, d, a, b, x[2], 17, 0x242070db);
  Step<F>(b, c, d, a, x[3], 22, 0xc1bdceee);
  Step<F>(a, b, c, d, x[4], 7, 0xf57c0faf);
  Step<F>(d, a, b, c, x[5], 12, 0x4787c62a);
  Step<F>(c, d, a, b, x[6], 17, 0xa8304613);
  Step<F>(b, c, d, a, x[7], 22, 0xfd469501);
  Step<F>(a, b, c, d, x[8], 7, 0x698098d8);
  Step<F>(d, a, b, c, x[9], 12, 0x8b44f7af);
  Step<F>(c, d, a, b, x[10], 17, 0xffff5bb1);
  Step<F>(b, c, d, a, x[11], 22, 0x895cd7be);
  Step<F>(a, b, c, d, x[12], 7, 0x6b901122);
  Step<F>(d, a, b, c, x[13], 12, 0xfd987193);
  Step<F>(c, d, a, b, x[14], 17, 0xa679438e);
  Step<F>(b, c, d, a, x[15], 22, 0x49b40821);

  Step<G>(a, b, c, d, x[1], 5, 0xf61e2562);
  Step<G>(d, a, b, c, x[6], 9, 0xc040b340);
  Step<G>(c, d, a, b, x[11], 14, 0x265e5a51);
  Step<G>(b, c, d, a, x[0], 20, 0xe9b6c7aa);
  Step<G>(a, b, c, d, x[5], 5, 0xd62f105d);
  Step<G>(d, a, b, c, x[10], 9, 0x02441453);
  Step<G>(c, d, a, b, x[15], 14, 0xd8a1e681);
  Step<G>(b, c, d, a, x[4], 20, 0xe7d3fbc8);
  Step<G>(a, b, c, d, x[9], 5, 0x21e1cde6);
  Step<G>(d, a, b, c, x[14], 9, 0xc33707d6);
  Step<G>(c, d, a, b, x[3], 14, 0xf4d50d87);
  Step<G>(b, c, d, a, x[8], 20, 0x455a14ed);
  Step<G>(a, b, c, d, x[13], 5, 0xa9e3e905);
  Step<G>(d, a, b, c, x[2], 9, 0xfcefa3f8);
  Step<G>(c, d, a, b, x[7], 14, 0x676f02d9);
  Step<G>(b, c, d, a, x[12], 20, 0x8d2a4c8a);

  Step<H>(a, b, c, d, x[5], 4, 0xfffa3942);
  Step<H>(d, a, b, c, x[8], 11, 0x8771f681);
  Step<H>(c, d, a, b, x[11], 16, 0x6d9d6122);
  Step<H>(b, c, d, a, x[14], 23, 0xfde5380c);
  Step<H>(a, b, c, d, x[1], 4, 0xa4beea44);
  Step<H>(d, a, b, c, x[4], 11, 0x4bdecfa9);
  Step<H>(c, d, a, b, x[7], 16, 0xf6bb4b60);
  Step<H>(b, c, d, a, x[10], 23, 0xbebfbc70);
  Step<H>(a, b, c, d, x[13], 4, 0x289b7ec6);
  Step<H>(d, a, b, c, x[0], 11, 0xeaa127fa);
  Step<H>(c, d, a, b, x[3], 16, 0xd4ef3085);
  Step<H>(b, c, d, a, x[6], 23, 0x04881d05);
  Step<H>(a, b, c, d, x[9], 4, 0xd9d4d039);
  Step<H>(d, a, b, c, x[12], 11, 0xe6db99e5);
  Step<H>(c, d, a, b, x[15], 16, 0x1fa27cf8);
  Step<H>(b, c, d, a, x[2], 23, 0xc4ac5665);

  Step<I>(a, b, c, d, x[0], 6, 0xf4292244);
  Step<I>(d, a, b, c, x[7], 10, 0x432aff97);
  Step<I>(c, d, a, b, x[14], 15, 0xab9423a7);
  Step<I>(b, c, d, a, x[5], 21, 0xfc93a039);
  Step<I>(a, b, c, d, x[12], 6, 0x655b59c3);
  Step<I>(d, a, b, c, x[3], 10, 0x8f0ccc92);
  Step<I>(c, d, a, b, x[10], 15, 0xffeff47d);
  Step<I>(b, c, d, a, x[1], 21, 0x85845dd1);
  Step<I>(a, b, c, d, x[8], 6, 0x6fa87e4f);
  Step<I>(d, a, b, c, x[15], 10, 0xfe2ce6e0);
  Step<I>(c, d, a, b, x[6], 15, 0xa3014314);
  Step<I>(b, c, d, a, x[13], 21, 0x4e0811a1);
  Step<I>(a, b, c, d, x[4], 6, 0xf7537e82);
  Step<I>(d, a, b, c, x[11], 10, 0xbd3af235);
  Step<I>(c, d, a, b, x[2], 15, 0x2ad7d2bb);
  Step<I>(b, c, d, a, x[9], 21, 0xeb86d391);

  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

}  // namespace

void MD5Init(MD5_CTX* context) {
  context->count[0] = context->count[1] = 0;
  context->state[0] = 0x67452301;
  context->state[1] = 0xefcdab89;
  context->state[2] = 0x98badcfe;
  context->state[3] = 0x10325476;
}

void MD5Update(MD5_CTX* context, const unsigned char* input, unsigned length) {
  unsigned index = (context->count[0] >> 3) & 0x3F;
  const std::uint32_t bits = static_cast<std::uint32_t>(length) << 3;
  context->count[0] += bits;
  if (context->count[0] < bits) ++context->count[1];
  context->count[1] += static_cast<std::uint32_t>(length) >> 29;

  const unsigned part = 64 - index;
  unsigned i = 0;
  if (length >= part) {
    std::memcpy(&context->buffer[index], input, part);
    Transform(context->state, context->buffer);
    for (i = part; i + 63 < length; i += 64) Transform(context->state, &input[i]);
    index = 0;
  }
  if (length > i) std::memcpy(&context->buffer[index], &input[i], length - i);
}

void MD5Final(unsigned char digest[16], MD5_CTX* context) {
  unsigned char bits[8];
  std::memcpy(bits, context->count, 8);
  static const unsigned char kPadding[64] = {0x80};
  const unsigned index = (context->count[0] >> 3) & 0x3F;
  MD5Update(context, kPadding, index < 56 ? 56 - index : 120 - index);
  MD5Update(context, bits, 8);
  std::memcpy(digest, context->state, 16);
  std::memset(context, 0, sizeof *context);
}

void CvtHex(char* const bin, char* const hex) {
  static const char kDigits[] = "0123456789abcdef";
  for (int i = 0; i < 16; ++i) {
    const auto byte = static_cast<unsigned char>(bin[i]);
    hex[2 * i] = kDigits[byte >> 4];
    hex[2 * i + 1] = kDigits[byte & 0xF];
  }
  hex[32] = '\0';
}
