// MemStream: a growable stream in one block of memory that it owns.
#ifndef KELM_STREAMS_MEM_STREAM_H_
#define KELM_STREAMS_MEM_STREAM_H_

#include "kelm/streams/stream.h"

class MemStream : public Stream {
 public:
  // An empty stream with room for `size` bytes.
  explicit MemStream(unsigned size = 1024);
  MemStream(const MemStream&) = delete;
  // Frees the owned block.
  ~MemStream() override;

  // Grows the block, when the bytes do not fit, to twice the larger of its
  // capacity and the shortfall, so that appending is amortised linear; a
  // memory stream never calls Update to write.
  Stream& Write(const void* src, unsigned n) override;
  using Stream::Write;

  // Copies the content of `src` into this stream's buffer, then takes over
  // `src`'s block: `src` owns nothing afterwards and this stream's previous
  // block is freed. The buffers are left as they are, so neither stream may
  // be read or written again before it is reopened. This hand-over is the
  // library's long-standing contract and is kept on purpose.
  MemStream& operator=(MemStream& src);
  using Stream::operator=;

 private:
  char* block_;  // owned; null after its ownership passed on
};

#endif  // KELM_STREAMS_MEM_STREAM_H_
