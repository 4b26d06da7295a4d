#include "kelm/streams/stream_hash.h"

#include <cstdint>
#include <cstdarg>
#include <cstring>

#include "kelm/port/format.h"
#include "kelm/streams/md5.h"

void StreamHash::CalcHash(Stream& s, long from) {
  PosRestorer keep(s);
  MD5_CTX context;
  MD5Init(&context);
  // A start at or past the end, or a negative one, hashes no bytes.
  unsigned long p = static_cast<unsigned long>(from);
  while (from >= 0 && p < s.Size() && s.Update(p, Stream::utCopy) != 0) {
    const int n = s.GetBufLen();
    if (n <= 0) break;
    MD5Update(&context, reinterpret_cast<const unsigned char*>(s.GetBuf()), static_cast<unsigned>(n));
    p += static_cast<unsigned>(n);
  }
  MD5Final(digest_, &context);
}

int StreamHash::Compare(const StreamHash& other) const {
  const int c = std::memcmp(digest_, other.digest_, sizeof digest_);
  return c < 0 ? -1 : c > 0 ? 1 : 0;
}

void StreamHash::GetHash(char (&out)[16]) const { std::memcpy(out, digest_, sizeof digest_); }

void StreamHash::GetHashHex(char (&hex)[33]) const {
  char bin[16];
  GetHash(bin);
  CvtHex(bin, hex);
}

namespace {
int Print(char* out, std::size_t room, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int n = kelm::port::FormatBounded(out, room, format, args);
  va_end(args);
  return n;
}
}  // namespace

void StreamHash::GetHashStr(char (&text)[41]) const {
  std::size_t len = 0;
  text[0] = '\0';
  for (int i = 0; i < 4; ++i) {
    std::uint32_t word;
    std::memcpy(&word, digest_ + 4 * i, 4);
    len += static_cast<std::size_t>(Print(text + len, sizeof text - len, "%lu",
                                          static_cast<unsigned long>(word)));
  }
}
