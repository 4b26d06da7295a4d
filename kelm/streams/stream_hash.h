// StreamHash: the MD5 digest of a stream.
#ifndef KELM_STREAMS_STREAM_HASH_H_
#define KELM_STREAMS_STREAM_HASH_H_

#include "kelm/streams/stream.h"

template <int N>
class TextBuffer;

class StreamHash {
 public:
  // All zero.
  StreamHash() : digest_{} {}

  // The MD5 of the stream's bytes from `from` to its end; the stream's
  // position is kept. A start at or past the end, or a negative one: the
  // MD5 of no bytes.
  void CalcHash(Stream& s, long from);
  // The first differing byte, unsigned: -1 when this one is smaller, 1
  // when it is greater, 0 for equal digests.
  int Compare(const StreamHash& other) const;
  void GetHash(char (&out)[16]) const;

  // 32 lowercase hexadecimal digits (CvtHex) and a terminating zero.
  void GetHashHex(char (&hex)[33]) const;
  // The digest's four 32-bit words in memory order (little-endian), each
  // as an unsigned decimal number, with no separator: at most 40 digits.
  void GetHashStr(char (&text)[41]) const;

  // The same texts in a TextBuffer, whose text is returned.
  template <int N>
  const char* GetHashHex(TextBuffer<N>& buf) const {
    char hex[33];
    GetHashHex(hex);
    buf.Set(hex);
    return buf.C_str();
  }
  template <int N>
  const char* GetHashStr(TextBuffer<N>& buf) const {
    char text[41];
    GetHashStr(text);
    buf.Set(text);
    return buf.C_str();
  }

 private:
  unsigned char digest_[16];
};

#endif  // KELM_STREAMS_STREAM_HASH_H_
