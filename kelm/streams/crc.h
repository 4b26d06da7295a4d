// Cyclic redundancy checks over memory and over streams.
#ifndef KELM_STREAMS_CRC_H_
#define KELM_STREAMS_CRC_H_

#include <cstdint>

#include "kelm/frame/global_vars.h"
#include "kelm/streams/stream.h"

// The CRC-32 polynomial (reflected, 0xEDB88320) with a register that starts
// at 0 and is not inverted at the end: neither the usual initial value nor
// the usual final exclusive or. Checksums of other producers do not match
// it; ~crc32(0xFFFFFFFF, ...) of zlib does. "123456789" gives 0x2DFD2D88.
// Each thread has its own instance (CheckSum_CRC32_Registrator), its table
// built on first use. Short runs go through the table, long ones through
// zlib's word-parallel crc32, which keeps the same register.
class CRC32 {
 public:
  CRC32() { BuildCRCTable(); }
  CRC32(const CRC32&) = default;
  CRC32& operator=(const CRC32&) = default;
  virtual ~CRC32() = default;

  // 0 for no bytes.
  unsigned long Calculate(unsigned long length, const char* data) const;
  // The CRC of more bytes after those whose CRC is `crc`, so that data can
  // be checked in pieces: Calculate of a and b together is
  // Continue(Calculate(a), b).
  unsigned long Continue(unsigned long crc, unsigned long length, const char* data) const;
  // The whole stream from offset 0, buffer by buffer: each buffer's CRC is
  // taken from a fresh register and combined as crc(buffer) ^ (result >> 8).
  // For a stream in one buffer this is Calculate over its bytes; for a
  // paged stream it is another value, kept because checksums stored with
  // this rule must still verify. The stream is left where the last buffer
  // put it; an empty stream gives 0.
  unsigned long Calculate(Stream& s) const;

 protected:
  // Entry i: i shifted right eight times, each shift followed by an
  // exclusive or with the polynomial when the bit shifted out was 1.
  void BuildCRCTable();

  std::uint32_t table_[256];

 private:
  // The register `r` after the bytes at `p`.
  std::uint32_t Run(std::uint32_t r, const unsigned char* p, std::size_t n) const;
};

// The calling thread's CRC32.
extern GVars::GlobalVarRegistrator<CRC32, GVars::DefaultGlobalVarAllocator<CRC32>>
    CheckSum_CRC32_Registrator;

// CRC-8/MAXIM (the 1-Wire CRC: polynomial 0x31 reflected, initial value 0, no
// final exclusive or). Null data or no bytes give 0; "123456789" gives 0xA1.
unsigned char CRC8(unsigned char* data, unsigned long length);

#endif  // KELM_STREAMS_CRC_H_
