// A stream for tests whose view moves page by page over memory, as a file
// stream's does: every page is a separate block, so the non-virtual
// operations must cross buffers through Update.
#ifndef KELM_STREAMS_TESTING_PAGED_STREAM_H_
#define KELM_STREAMS_TESTING_PAGED_STREAM_H_

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kelm/streams/stream.h"

namespace kelm::testing {

class PagedStream : public Stream {
 public:
  explicit PagedStream(unsigned page_size) : page_size_(page_size) {}
  PagedStream(unsigned page_size, const std::string& content) : PagedStream(page_size) {
    Write(content.data(), static_cast<unsigned>(content.size()));
    Seek(0);
  }

  unsigned long Size() override {
    Settle();
    return size_;
  }
  void Truncate() override {
    size_ = CurPos();
    length_ = index_;
  }
  int Update(unsigned long pos, UpdateType /*type*/) override {
    Settle();
    const unsigned long base = pos - pos % page_size_;
    const std::size_t page = base / page_size_;
    while (pages_.size() <= page) pages_.push_back(std::make_unique<char[]>(page_size_));
    buffer_ = pages_[page].get();
    buf_size_ = page_size_;
    base_ = static_cast<std::uint32_t>(base);
    length_ = size_ > base ? static_cast<std::uint32_t>(std::min<unsigned long>(page_size_, size_ - base)) : 0;
    index_ = static_cast<std::uint32_t>(pos - base);
    return index_ < length_ ? static_cast<int>(length_ - index_) : 0;
  }

  std::string Content() {
    Settle();
    std::string all;
    for (unsigned long p = 0; p < size_; p += page_size_)
      all.append(pages_[p / page_size_].get(), std::min<unsigned long>(page_size_, size_ - p));
    return all;
  }

 private:
  // What was written into the current page counts for the size.
  void Settle() {
    if (buffer_ != nullptr) size_ = std::max<unsigned long>(size_, base_ + length_);
  }

  unsigned page_size_;
  unsigned long size_ = 0;
  std::vector<std::unique_ptr<char[]>> pages_;
};

}  // namespace kelm::testing

#endif  // KELM_STREAMS_TESTING_PAGED_STREAM_H_
