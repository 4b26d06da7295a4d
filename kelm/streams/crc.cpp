#include "kelm/streams/crc.h"

#include <algorithm>
#include <cstring>

#include <zlib.h>

GVars::GlobalVarRegistrator<CRC32, GVars::DefaultGlobalVarAllocator<CRC32>>
    CheckSum_CRC32_Registrator;

namespace {
constexpr std::uint32_t kPolynomial = 0xEDB88320;
// Below this many bytes the table is quicker than a call into zlib.
constexpr std::size_t kTableRunLimit = 64;
}  // namespace

void CRC32::BuildCRCTable() {
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t r = i;
    for (int bit = 0; bit < 8; ++bit) r = (r & 1) != 0 ? (r >> 1) ^ kPolynomial : r >> 1;
    table_[i] = r;
  }
}

std::uint32_t CRC32::Run(std::uint32_t r, const unsigned char* p, std::size_t n) const {
  if (n < kTableRunLimit) {
    while (n-- != 0) r = (r >> 8) ^ table_[(*p++ ^ r) & 0xFF];
    return r;
  }
  // zlib's crc32 works on several words at once and keeps the same register,
  // inverted on the way in and out.
  uLong z = ~r & 0xFFFFFFFFul;
  while (n != 0) {
    const auto chunk = static_cast<uInt>(std::min<std::size_t>(n, 1u << 30));
    z = crc32(z, p, chunk);
    p += chunk;
    n -= chunk;
  }
  return ~static_cast<std::uint32_t>(z);
}

unsigned long CRC32::Calculate(unsigned long length, const char* data) const {
  if (length == 0) return 0;
  return Run(0, reinterpret_cast<const unsigned char*>(data), length);
}

unsigned long CRC32::Continue(unsigned long crc, unsigned long length, const char* data) const {
  if (length == 0) return crc;
  return Run(static_cast<std::uint32_t>(crc), reinterpret_cast<const unsigned char*>(data), length);
}

unsigned long CRC32::Calculate(Stream& s) const {
  unsigned long total = s.Size();
  if (s.Update(0, Stream::utCopy) == 0) return 0;
  std::uint32_t result = 0;
  unsigned long offset = 0;
  while (total >= 1) {
    const unsigned long k = std::min<unsigned long>(static_cast<unsigned long>(s.GetBufLen()), total);
    if (k == 0) break;  // the stream has fewer bytes than its size says
    const std::uint32_t chunk = Run(0, reinterpret_cast<const unsigned char*>(s.GetBuf()), k);
    result = chunk ^ (result >> 8);
    total -= k;
    offset += k;
    if (s.Update(offset, Stream::utCopy) == 0) break;
  }
  return result;
}

unsigned char CRC8(unsigned char* data, unsigned long length) {
  if (data == nullptr || length == 0) return 0;
  unsigned char r = 0;
  for (unsigned long i = 0; i < length; ++i) {
    unsigned char byte = data[i];
    for (int bit = 0; bit < 8; ++bit) {
      const bool mix = ((byte ^ r) & 1) != 0;
      r >>= 1;
      if (mix) r ^= 0x8C;
      byte >>= 1;
    }
  }
  return r;
}
