// The stream buffer of a log record: text collects in a chain of fixed
// 1024-byte blocks that grows without limit and never moves what is written.
#ifndef KELM_LOG_LOG_STREAM_BUF_H_
#define KELM_LOG_LOG_STREAM_BUF_H_

#include <ostream>
#include <streambuf>

namespace kelm {

class LogStreamBuf : public std::streambuf {
 public:
  static constexpr unsigned mBufSize = 1024;

  struct Buf {
    char bytes[mBufSize];
  };

  // The blocks after the first one, in order. Each is zero-filled when added.
  class BufVector {
   public:
    static constexpr unsigned mCapacityStep = 8;

    BufVector() = default;
    BufVector(const BufVector& other);
    // Copies the blocks' contents.
    BufVector& operator=(const BufVector& other);
    ~BufVector();

    // Appends a new block and returns it. If the block cannot be allocated a
    // null block is appended (and counted) and null returned; if the list
    // itself cannot grow, nothing is appended and null returned.
    char* AddBuf();
    // Null when `i` is not below Size().
    char* operator[](unsigned i) const;
    unsigned Size() const { return count_; }
    unsigned Capacity() const { return capacity_; }

   private:
    void Free();

    Buf** blocks_ = nullptr;
    unsigned count_ = 0;
    unsigned capacity_ = 0;
  };

  LogStreamBuf();
  LogStreamBuf(const LogStreamBuf&) = delete;
  LogStreamBuf& operator=(const LogStreamBuf&) = delete;
  ~LogStreamBuf() override;

  // Writes all collected text to `out`, in order. The buffer keeps it:
  // flushing twice writes it twice.
  void flush(std::ostream& out) const;

  // Blocks after the first one.
  unsigned ExtraBlocks() const { return bufs_.Size(); }
  unsigned ExtraBlocksCapacity() const { return bufs_.Capacity(); }

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* s, std::streamsize n) override;
  int sync() override { return 0; }

 private:
  char* AddBuf() { return bufs_.AddBuf(); }

  char first_buf_[mBufSize];
  BufVector bufs_;
};

}  // namespace kelm

#endif  // KELM_LOG_LOG_STREAM_BUF_H_
