// Stream: the library's byte stream, a movable view of one buffer over a
// larger byte space.
//
// A stream holds exactly one buffer, which shows the bytes of the stream
// from `base` on. The non-virtual operations work on that buffer directly
// and call the virtual Update only when the view must move; Update brings
// the slice holding a position into the buffer and answers how many valid
// bytes follow it. A memory stream has one slice, the whole stream; a file
// stream moves its view page by page.
//
// The base class serves a caller's buffer (Open) and memory streams: a
// position beyond the valid data is coded error 288, a write that cannot
// make progress is "Невозможно записать данные в поток.". Both throw.
//
// Typed values are written as their raw little-endian bytes with no tag;
// `long` is always 4 bytes, texts are a length byte (at most 255) and the
// bytes without a terminator.
#ifndef KELM_STREAMS_STREAM_H_
#define KELM_STREAMS_STREAM_H_

#include <bit>
#include <cstdarg>
#include <cstdint>
#include <string>

#include "kelm/containers/intrusive_list.h"

static_assert(std::endian::native == std::endian::little,
              "stream encodings are the in-memory bytes of a little-endian machine");

class Stream : public ObjRefer {
 public:
  // Why the view must move (the second argument of Update).
  enum UpdateType { utSeek = 0, utWrite = 1, utRead = 2, utCopy = 3 };

  // State flags; the other bits belong to the file streams.
  static constexpr std::uint8_t kTmpFlag = 0x02;      // memory, not a named file
  static constexpr std::uint8_t kCharDevFlag = 0x04;  // a character device
  static constexpr std::uint8_t kChangedFlags = 0x60;

  // Use count 1, no buffer.
  Stream();
  // Over the caller's buffer, as Open.
  Stream(void* buf, unsigned size);
  Stream(const Stream&) = delete;

  // The view is over `buf`, which the caller keeps; its `size` bytes are
  // all valid. Marks the stream as memory (IsTmp).
  void Open(void* buf, unsigned size);

  // Slot order matters to the file streams built on this class.
  virtual void SetChanged() { state_ |= kChangedFlags; }
  virtual unsigned long Size() { return length_; }
  // Cuts the stream at the current position.
  virtual void Truncate();
  virtual void Seek(unsigned long pos);
  virtual Stream& Write(const void* src, unsigned n);
  // Makes the byte at `pos` current; returns the valid bytes from there to
  // the end of the buffer (0 = nothing there).
  virtual int Update(unsigned long pos, UpdateType type);
  virtual void BeginTransaction() {}
  virtual void BreakTransaction() {}
  virtual void EndTransaction() {}

  // Positions.
  unsigned long CurPos() const { return base_ + index_; }
  void Move(long delta) { Seek(CurPos() + delta); }
  bool IsEOF() { return Size() <= CurPos(); }
  void Clear() {
    Seek(0);
    Truncate();
  }

  // Raw access. Reading bytes that are not there is error 288.
  Stream& Read(void* dst, unsigned n);
  Stream& Fill(unsigned char byte, unsigned count);
  // Makes `pos` current and fills the rest of the buffer with `ch`, all of
  // it valid and changed; returns the bytes filled.
  int UpdateClear(unsigned long pos, char ch);
  // The byte at the position (whatever the buffer holds there, also past
  // the valid data), advancing by one. Past the buffer's end: error 288.
  char GetChar();
  // The byte at the position without moving; 0 at the end.
  char PeekChar();
  // Searches at most `count` bytes from the position for the first byte
  // equal to `ch` (`equal`) or different from it. Found: the position is on
  // it, true. Not found: the position is after the bytes searched, false.
  bool FindChar(char ch, unsigned count, bool equal);
  char* GetBuf() const { return buffer_ + index_; }
  int GetBufLen() const {
    return static_cast<int>(index_) < static_cast<int>(length_) ? static_cast<int>(length_ - index_)
                                                                : 0;
  }
  unsigned BufSize() const { return buf_size_; }
  unsigned short State() const { return state_; }
  // Any of 0x20, 0x40, 0x80.
  bool IsChanged() const { return state_ >= 0x20; }
  bool IsCharDev() const { return (state_ & kCharDevFlag) != 0; }
  bool IsTmp() const { return (state_ & kTmpFlag) != 0; }

  // Text lines. TxtRead stores one line of at most capacity - 1 characters
  // with a terminating zero and returns its length. A line ends at a line
  // feed (a carriage return before it is dropped) or, when there is no line
  // feed, at a zero byte; both are consumed. The rest of a line too long for
  // `dst` stays for the next call. At the end of the stream it returns what
  // it has (0 when nothing is left).
  int TxtRead(char* dst, unsigned capacity);
  // The text, then "\r\n".
  Stream& TxtWrite(const char* s);
  // printf of at most 4095 characters (cut silently); TxtPrintf adds "\r\n".
  Stream& Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  Stream& TxtPrintf(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Whole streams. Compare answers the size difference when the sizes
  // differ (nothing is read), else -1, 0 or 1 by the first differing
  // unsigned byte; both positions are kept.
  int Compare(Stream& other);
  // Copies at most `count` bytes from `src`'s position onward, advancing it.
  Stream& Write(Stream& src, int count);
  // Replaces the content with all of `src`.
  Stream& operator=(Stream& src);

 protected:
  // Reports that a write made no progress; does not return.
  [[noreturn]] static void CannotWrite();

  char* buffer_;
  std::uint32_t buf_size_;
  std::uint32_t length_;  // valid bytes in the buffer
  std::uint32_t index_;   // the position inside the buffer
  std::uint8_t state_;
  std::uint32_t base_;  // stream offset of the buffer's first byte

 private:
  // The loop of Write and Fill: moves the view as needed and lets
  // `copy(dst, k)` put the next k bytes at dst.
  template <class Copy>
  Stream& WriteBytes(unsigned n, Copy copy);
  void PrintLine(bool newLine, const char* format, va_list args);
};

// Copies all of `src` from its position to its end into `dst`; `src` is
// left at its end.
Stream& operator<<(Stream& dst, Stream& src);
// The same with the roles swapped: `src >> dst` copies `src` into `dst`.
Stream& operator>>(Stream& src, Stream& dst);

// Typed values, raw little-endian bytes.
Stream& operator<<(Stream& s, char v);
Stream& operator<<(Stream& s, unsigned char v);
Stream& operator<<(Stream& s, bool v);
Stream& operator<<(Stream& s, short v);
Stream& operator<<(Stream& s, unsigned short v);
Stream& operator<<(Stream& s, int v);
Stream& operator<<(Stream& s, unsigned int v);
// `long` is 4 bytes on every platform (values beyond 32 bits are cut).
Stream& operator<<(Stream& s, long v);
Stream& operator<<(Stream& s, unsigned long v);
Stream& operator<<(Stream& s, long long v);
Stream& operator<<(Stream& s, double v);
// A length byte n (the length cut at 255), then n bytes. Null is empty.
Stream& operator<<(Stream& s, const char* v);
Stream& operator<<(Stream& s, const std::string& v);

Stream& operator>>(Stream& s, char& v);
Stream& operator>>(Stream& s, unsigned char& v);
// Cleared first; any non-zero byte is true.
Stream& operator>>(Stream& s, bool& v);
Stream& operator>>(Stream& s, short& v);
Stream& operator>>(Stream& s, unsigned short& v);
Stream& operator>>(Stream& s, int& v);
Stream& operator>>(Stream& s, unsigned int& v);
Stream& operator>>(Stream& s, long& v);
Stream& operator>>(Stream& s, unsigned long& v);
Stream& operator>>(Stream& s, long long& v);
Stream& operator>>(Stream& s, double& v);
// The length byte n, n bytes and a terminating zero: `v` must hold n + 1.
Stream& operator>>(Stream& s, char* v);
Stream& operator>>(Stream& s, std::string& v);

// Puts the stream back at its present position when it leaves scope. A
// failing seek raises its error, except while another exception unwinds the
// scope: then it is dropped, since a second one would end the program.
class PosRestorer {
 public:
  explicit PosRestorer(Stream& s);
  PosRestorer(const PosRestorer&) = delete;
  PosRestorer& operator=(const PosRestorer&) = delete;
  ~PosRestorer() noexcept(false);

 private:
  Stream& stream_;
  unsigned long pos_;
  int uncaught_;  // exceptions in flight when the position was saved
};

#endif  // KELM_STREAMS_STREAM_H_
