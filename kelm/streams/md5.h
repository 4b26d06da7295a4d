// MD5 message digest with the interface of the RFC 1321 reference
// implementation, and the hexadecimal converter of RFC 2617.
#ifndef KELM_STREAMS_MD5_H_
#define KELM_STREAMS_MD5_H_

#include <cstdint>

struct MD5_CTX {
  std::uint32_t state[4];   // A, B, C, D
  std::uint32_t count[2];   // number of bits, modulo 2^64, low word first
  unsigned char buffer[64]; // input not yet hashed
};

void MD5Init(MD5_CTX* context);
void MD5Update(MD5_CTX* context, const unsigned char* input, unsigned length);
// Pads, stores the 16-byte digest and wipes the context.
void MD5Final(unsigned char digest[16], MD5_CTX* context);

// The 16 bytes of `bin` as 32 lowercase hexadecimal digits, high nibble
// first, and a terminating zero (`hex` holds 33 characters).
void CvtHex(char* const bin, char* const hex);

#endif  // KELM_STREAMS_MD5_H_
