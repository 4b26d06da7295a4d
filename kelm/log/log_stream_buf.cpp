#include "kelm/log/log_stream_buf.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace kelm {

// BufVector -----------------------------------------------------------------

LogStreamBuf::BufVector::BufVector(const BufVector& other) { *this = other; }

LogStreamBuf::BufVector& LogStreamBuf::BufVector::operator=(const BufVector& other) {
  if (this == &other) return *this;
  Free();
  if (other.capacity_ == 0) return *this;
  blocks_ = new Buf*[other.capacity_];
  capacity_ = other.capacity_;
  for (; count_ < other.count_; ++count_) {
    const Buf* source = other.blocks_[count_];
    blocks_[count_] = source ? new Buf(*source) : nullptr;
  }
  return *this;
}

LogStreamBuf::BufVector::~BufVector() { Free(); }

void LogStreamBuf::BufVector::Free() {
  for (unsigned i = 0; i < count_; ++i) delete blocks_[i];
  delete[] blocks_;
  blocks_ = nullptr;
  count_ = 0;
  capacity_ = 0;
}

char* LogStreamBuf::BufVector::AddBuf() {
  if (count_ == capacity_) {
    Buf** grown = new (std::nothrow) Buf*[capacity_ + mCapacityStep];
    if (grown == nullptr) return nullptr;
    std::copy(blocks_, blocks_ + count_, grown);
    delete[] blocks_;
    blocks_ = grown;
    capacity_ += mCapacityStep;
  }
  Buf* block = new (std::nothrow) Buf();
  blocks_[count_++] = block;
  return block ? block->bytes : nullptr;
}

char* LogStreamBuf::BufVector::operator[](unsigned i) const {
  if (i >= count_ || blocks_[i] == nullptr) return nullptr;
  return blocks_[i]->bytes;
}

// LogStreamBuf --------------------------------------------------------------

LogStreamBuf::LogStreamBuf() { setp(first_buf_, first_buf_ + mBufSize); }

LogStreamBuf::~LogStreamBuf() = default;

void LogStreamBuf::flush(std::ostream& out) const {
  // Every block before the one being written is full. A block that could
  // not be allocated is null and holds nothing.
  auto write = [&](const char* block) {
    if (block == nullptr) return;
    const std::streamsize length = block == pbase() ? pptr() - pbase() : std::streamsize{mBufSize};
    out.write(block, length);
  };
  write(first_buf_);
  for (unsigned i = 0; i < bufs_.Size(); ++i) write(bufs_[i]);
}

LogStreamBuf::int_type LogStreamBuf::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  if (pptr() == epptr()) {
    char* block = AddBuf();
    // Out of memory: the stream goes bad and the text so far is kept.
    if (block == nullptr) return traits_type::eof();
    setp(block, block + mBufSize);
  }
  *pptr() = traits_type::to_char_type(c);
  pbump(1);
  return c;
}

std::streamsize LogStreamBuf::xsputn(const char* s, std::streamsize n) {
  const std::streamsize fits = std::min<std::streamsize>(n, epptr() - pptr());
  std::memcpy(pptr(), s, static_cast<std::size_t>(fits));
  pbump(static_cast<int>(fits));
  std::streamsize written = fits;
  while (written < n) {
    char* block = AddBuf();
    if (block == nullptr) return written;  // out of memory, as in overflow
    const std::streamsize piece = std::min<std::streamsize>(n - written, mBufSize);
    std::memcpy(block, s + written, static_cast<std::size_t>(piece));
    setp(block, block + mBufSize);
    pbump(static_cast<int>(piece));
    written += piece;
  }
  return n;
}

}  // namespace kelm
