#include "kelm/streams/stream.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include "kelm/frame/errors.h"
#include "kelm/port/format.h"

namespace {
// "Позиция или длина потока выходит за пределы его данных!"
constexpr unsigned long kPositionOutOfData = 288;
constexpr unsigned kPrintfBufferSize = 4096;
}  // namespace

Stream::Stream()
    : buffer_(nullptr), buf_size_(0), length_(0), index_(0), state_(0), base_(0) {}

Stream::Stream(void* buf, unsigned size) : Stream() { Open(buf, size); }

void Stream::Open(void* buf, unsigned size) {
  state_ |= kTmpFlag;
  buffer_ = static_cast<char*>(buf);
  buf_size_ = length_ = size;
  index_ = base_ = 0;
}

void Stream::CannotWrite() { Error("Невозможно записать данные в поток."); }

void Stream::Truncate() {
  if (base_ + index_ > buf_size_) Error(kPositionOutOfData);
  length_ = index_;
}

void Stream::Seek(unsigned long pos) {
  const unsigned long r = buf_size_ == 0 ? pos : pos % buf_size_;
  if (pos - r == base_)
    index_ = static_cast<std::uint32_t>(r);  // within the buffer: not checked against length
  else
    Update(pos, utSeek);
}

int Stream::Update(unsigned long pos, UpdateType /*type*/) {
  if (pos > length_) Error(kPositionOutOfData);
  index_ = static_cast<std::uint32_t>(pos);
  return static_cast<int>(length_ - index_);
}

Stream& Stream::Read(void* dst, unsigned n) {
  char* out = static_cast<char*>(dst);
  for (;;) {
    // The view's own fields decide, not only Update's answer, so that an
    // Update that moves nothing cannot make this loop forever.
    if (index_ >= length_ && (Update(CurPos(), utRead) == 0 || index_ >= length_)) {
      if (n == 0) break;
      Error(kPositionOutOfData);
    }
    const unsigned k = std::min(n, length_ - index_);
    if (k != 0) std::memcpy(out, buffer_ + index_, k);
    index_ += k;
    out += k;
    n -= k;
    if (n == 0) break;
  }
  return *this;
}

template <class Copy>
Stream& Stream::WriteBytes(unsigned n, Copy copy) {
  for (;;) {
    if (buffer_ == nullptr || index_ >= buf_size_ || index_ > length_) Update(CurPos(), utWrite);
    const unsigned room = buf_size_ > index_ ? buf_size_ - index_ : 0;
    const unsigned k = std::min(n, room);
    if (k != 0) copy(buffer_ + index_, k);
    SetChanged();
    index_ += k;
    if (length_ < index_) length_ = index_;
    if (k == 0 && n != 0) CannotWrite();
    n -= k;
    if (n == 0) break;
  }
  return *this;
}

Stream& Stream::Write(const void* src, unsigned n) {
  const char* in = static_cast<const char*>(src);
  return WriteBytes(n, [&in](char* dst, unsigned k) {
    std::memmove(dst, in, k);  // a stream may copy onto itself
    in += k;
  });
}

Stream& Stream::Fill(unsigned char byte, unsigned count) {
  return WriteBytes(count, [byte](char* dst, unsigned k) { std::memset(dst, byte, k); });
}

int Stream::UpdateClear(unsigned long pos, char ch) {
  Update(pos, utWrite);
  const unsigned filled = buf_size_ > index_ ? buf_size_ - index_ : 0;
  if (filled != 0) std::memset(buffer_ + index_, ch, filled);
  SetChanged();
  length_ = buf_size_;
  return static_cast<int>(filled);
}

char Stream::GetChar() {
  Update(CurPos(), utRead);
  if (buffer_ == nullptr || index_ >= buf_size_) Error(kPositionOutOfData);
  return buffer_[index_++];
}

char Stream::PeekChar() {
  if (Update(CurPos(), utRead) == 0 || index_ >= length_) return 0;
  return buffer_[index_];
}

bool Stream::FindChar(char ch, unsigned count, bool equal) {
  while (count != 0) {
    if (index_ >= length_ && (Update(CurPos(), utRead) == 0 || index_ >= length_)) return false;
    const unsigned avail = std::min(count, length_ - index_);
    const char* p = buffer_ + index_;
    const char* found = nullptr;
    if (equal) {
      found = static_cast<const char*>(std::memchr(p, ch, avail));
    } else {
      found = std::find_if(p, p + avail, [ch](char c) { return c != ch; });
      if (found == p + avail) found = nullptr;
    }
    if (found != nullptr) {
      index_ += static_cast<std::uint32_t>(found - p);
      return true;
    }
    index_ += avail;
    count -= avail;
  }
  return false;
}

int Stream::TxtRead(char* dst, unsigned capacity) {
  if (capacity == 0) return 0;  // no room even for the terminator
  unsigned room = capacity - 1;
  unsigned len = 0;
  for (;;) {
    if (index_ >= length_ && (Update(CurPos(), utRead) == 0 || index_ >= length_)) break;
    const unsigned window = std::min(length_ - index_, room + 1);
    const char* p = buffer_ + index_;
    const char* end = static_cast<const char*>(std::memchr(p, '\n', window));
    if (end == nullptr) end = static_cast<const char*>(std::memchr(p, '\0', window));
    if (end != nullptr) {
      const unsigned k = static_cast<unsigned>(end - p);  // at most `room`
      std::memcpy(dst + len, p, k);
      len += k;
      index_ += k + 1;
      if (*end == '\n' && len != 0 && dst[len - 1] == '\r') --len;
      break;
    }
    const unsigned k = std::min(window, room);
    std::memcpy(dst + len, p, k);
    len += k;
    index_ += k;
    room -= k;
    if (room == 0) break;  // the rest of the line waits for the next call
  }
  dst[len] = '\0';
  return static_cast<int>(len);
}

Stream& Stream::TxtWrite(const char* s) {
  if (s != nullptr) Write(s, static_cast<unsigned>(std::strlen(s)));
  return Write("\r\n", 2);
}

void Stream::PrintLine(bool newLine, const char* format, va_list args) {
  char text[kPrintfBufferSize];
  text[0] = '\0';
  if (format != nullptr) {
    const int n = kelm::port::FormatBounded(text, kPrintfBufferSize - 1, format, args);
    if (n == -1 || n == static_cast<int>(kPrintfBufferSize - 1)) text[kPrintfBufferSize - 1] = '\0';
    Write(text, static_cast<unsigned>(std::strlen(text)));
  }
  if (newLine) Write("\r\n", 2);
}

Stream& Stream::Printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  PrintLine(false, format, args);
  va_end(args);
  return *this;
}

Stream& Stream::TxtPrintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  PrintLine(true, format, args);
  va_end(args);
  return *this;
}

int Stream::Compare(Stream& other) {
  const unsigned long size = Size();
  const int d = static_cast<int>(static_cast<std::uint32_t>(size - other.Size()));
  if (d != 0) return d;
  PosRestorer keepMine(*this);
  PosRestorer keepOthers(other);
  Seek(0);
  other.Seek(0);
  unsigned long offset = 0;
  do {
    Update(offset, utRead);
    other.Update(offset, utRead);
    const int n = std::min(GetBufLen(), other.GetBufLen());
    if (n <= 0) break;
    const int c = std::memcmp(GetBuf(), other.GetBuf(), static_cast<unsigned>(n));
    if (c != 0) return c < 0 ? -1 : 1;
    offset += static_cast<unsigned>(n);
  } while (offset < size);
  if (offset < size) Error("Ошибка при сравнении потоков.");
  return 0;
}

Stream& Stream::Write(Stream& src, int count) {
  while (count >= 1 && src.Size() > src.CurPos()) {
    src.Update(src.CurPos(), utRead);
    const int k = std::min(count, src.GetBufLen());
    if (k <= 0) break;  // the source has no bytes where its size says it has
    Write(src.GetBuf(), static_cast<unsigned>(k));
    src.Seek(src.CurPos() + static_cast<unsigned>(k));
    count -= k;
  }
  return *this;
}

Stream& Stream::operator=(Stream& src) {
  if (&src == this) return *this;  // truncating first would lose the content
  Seek(0);
  Truncate();
  src.Seek(0);
  return *this << src;
}

Stream& operator<<(Stream& dst, Stream& src) {
  unsigned long p = src.CurPos();
  while (src.Update(p, Stream::utCopy) != 0) {
    const int n = src.GetBufLen();
    if (n <= 0) break;
    dst.Write(src.GetBuf(), static_cast<unsigned>(n));
    p += static_cast<unsigned>(n);
  }
  return dst;
}

Stream& operator>>(Stream& src, Stream& dst) {
  dst << src;
  return src;
}

PosRestorer::PosRestorer(Stream& s) : stream_(s), pos_(s.CurPos()), uncaught_(std::uncaught_exceptions()) {}

PosRestorer::~PosRestorer() noexcept(false) {
  if (std::uncaught_exceptions() <= uncaught_) {
    stream_.Seek(pos_);
    return;
  }
  try {
    stream_.Seek(pos_);
  } catch (...) {  // the error that unwinds this scope is the one to report
  }
}

namespace {
constexpr std::size_t kMaxStreamText = 255;

// A value as the `Wire` type's raw bytes.
template <class Wire, class T>
Stream& Put(Stream& s, T v) {
  const Wire w = static_cast<Wire>(v);
  return s.Write(&w, sizeof w);
}
template <class Wire, class T>
Stream& Get(Stream& s, T& v) {
  Wire w;
  s.Read(&w, sizeof w);
  v = static_cast<T>(w);
  return s;
}

Stream& PutText(Stream& s, const char* text, std::size_t len) {
  const auto n = static_cast<unsigned char>(std::min(len, kMaxStreamText));
  s.Write(&n, 1);
  if (n != 0) s.Write(text, n);
  return s;
}
}  // namespace

Stream& operator<<(Stream& s, char v) { return Put<char>(s, v); }
Stream& operator<<(Stream& s, unsigned char v) { return Put<std::uint8_t>(s, v); }
Stream& operator<<(Stream& s, bool v) { return Put<std::uint8_t>(s, v); }
Stream& operator<<(Stream& s, short v) { return Put<std::int16_t>(s, v); }
Stream& operator<<(Stream& s, unsigned short v) { return Put<std::uint16_t>(s, v); }
Stream& operator<<(Stream& s, int v) { return Put<std::int32_t>(s, v); }
Stream& operator<<(Stream& s, unsigned int v) { return Put<std::uint32_t>(s, v); }
Stream& operator<<(Stream& s, long v) { return Put<std::int32_t>(s, v); }
Stream& operator<<(Stream& s, unsigned long v) { return Put<std::uint32_t>(s, v); }
Stream& operator<<(Stream& s, long long v) { return Put<std::int64_t>(s, v); }
Stream& operator<<(Stream& s, double v) { return Put<double>(s, v); }

Stream& operator>>(Stream& s, char& v) { return Get<char>(s, v); }
Stream& operator>>(Stream& s, unsigned char& v) { return Get<std::uint8_t>(s, v); }
Stream& operator>>(Stream& s, short& v) { return Get<std::int16_t>(s, v); }
Stream& operator>>(Stream& s, unsigned short& v) { return Get<std::uint16_t>(s, v); }
Stream& operator>>(Stream& s, int& v) { return Get<std::int32_t>(s, v); }
Stream& operator>>(Stream& s, unsigned int& v) { return Get<std::uint32_t>(s, v); }
Stream& operator>>(Stream& s, long& v) { return Get<std::int32_t>(s, v); }
Stream& operator>>(Stream& s, unsigned long& v) { return Get<std::uint32_t>(s, v); }
Stream& operator>>(Stream& s, long long& v) { return Get<std::int64_t>(s, v); }
Stream& operator>>(Stream& s, double& v) { return Get<double>(s, v); }

Stream& operator<<(Stream& s, const char* v) {
  return PutText(s, v, v == nullptr ? 0 : std::strlen(v));
}

Stream& operator<<(Stream& s, const std::string& v) { return PutText(s, v.data(), v.size()); }

Stream& operator>>(Stream& s, bool& v) {
  v = false;
  unsigned char byte = 0;
  s.Read(&byte, 1);
  v = byte != 0;
  return s;
}

Stream& operator>>(Stream& s, char* v) {
  unsigned char n = 0;
  s.Read(&n, 1);
  s.Read(v, n);
  v[n] = '\0';
  return s;
}

Stream& operator>>(Stream& s, std::string& v) {
  unsigned char n = 0;
  s.Read(&n, 1);
  v.resize(n);
  s.Read(v.data(), n);
  return s;
}
