#include "kelm/streams/mem_stream.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

MemStream::MemStream(unsigned size)
    : block_(static_cast<char*>(std::malloc(std::max(size, 1u)))) {
  if (block_ == nullptr) throw std::bad_alloc();
  state_ |= kTmpFlag;
  buffer_ = block_;
  buf_size_ = size;
}

MemStream::~MemStream() { std::free(block_); }

Stream& MemStream::Write(const void* src, unsigned n) {
  const std::uint32_t room = buf_size_ > index_ ? buf_size_ - index_ : 0;
  if (n <= room) return Stream::Write(src, n);
  const std::uint64_t capacity = 2 * std::max<std::uint64_t>(buf_size_, n - room);
  if (capacity > UINT32_MAX) CannotWrite();
  char* grown = static_cast<char*>(std::malloc(static_cast<std::size_t>(capacity)));
  if (grown == nullptr) throw std::bad_alloc();
  if (length_ != 0) std::memcpy(grown, buffer_, length_);
  // `src` may lie in the old block: it is freed only after the write.
  const std::unique_ptr<char, decltype(&std::free)> old(block_, &std::free);
  block_ = buffer_ = grown;
  buf_size_ = static_cast<std::uint32_t>(capacity);
  return Stream::Write(src, n);
}

MemStream& MemStream::operator=(MemStream& src) {
  if (&src == this) return *this;
  Stream::operator=(src);
  std::free(block_);
  block_ = src.block_;
  src.block_ = nullptr;
  return *this;
}
