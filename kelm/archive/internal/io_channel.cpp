#include "kelm/archive/internal/io_channel.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "kelm/files/file_utils.h"
#include "kelm/port/file.h"

namespace kelm::archive::internal {
namespace {

Channel* Of(voidpf stream) { return static_cast<Channel*>(stream); }

voidpf ZCALLBACK OpenChannel(voidpf opaque, const void*, int) { return opaque; }

uLong ZCALLBACK ReadChannel(voidpf, voidpf stream, void* buf, uLong size) { return Of(stream)->Read(buf, size); }

uLong ZCALLBACK WriteChannel(voidpf, voidpf stream, const void* buf, uLong size) {
  return Of(stream)->Write(buf, size);
}

ZPOS64_T ZCALLBACK TellChannel(voidpf, voidpf stream) { return Of(stream)->Tell(); }

long ZCALLBACK SeekChannel(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
  Channel* channel = Of(stream);
  unsigned long long base = 0;
  if (origin == ZLIB_FILEFUNC_SEEK_CUR) {
    base = channel->Tell();
  } else if (origin == ZLIB_FILEFUNC_SEEK_END) {
    base = channel->Size();
  } else if (origin != ZLIB_FILEFUNC_SEEK_SET) {
    return -1;
  }
  // minizip moves back by passing a negative offset in the unsigned type:
  // the sum wraps to the right place; a place before the start fails.
  const unsigned long long pos = base + offset;
  if (pos > static_cast<unsigned long long>(std::numeric_limits<long long>::max())) return -1;
  return channel->Seek(pos) ? 0 : -1;
}

int ZCALLBACK CloseChannel(voidpf, voidpf stream) { return Of(stream)->Close() ? 0 : -1; }

int ZCALLBACK ChannelError(voidpf, voidpf stream) { return Of(stream)->Failed() ? 1 : 0; }

// Positions that a 64-bit offset and the platform's size type can both hold.
constexpr unsigned long long kMaxMemoryPos = std::numeric_limits<std::size_t>::max() / 2;

}  // namespace

zlib_filefunc64_def Channel::Functions() {
  zlib_filefunc64_def functions{};
  functions.zopen64_file = OpenChannel;
  functions.zread_file = ReadChannel;
  functions.zwrite_file = WriteChannel;
  functions.ztell64_file = TellChannel;
  functions.zseek64_file = SeekChannel;
  functions.zclose_file = CloseChannel;
  functions.zerror_file = ChannelError;
  functions.opaque = this;
  return functions;
}

// --- FileChannel -------------------------------------------------------------

std::unique_ptr<FileChannel> FileChannel::Open(const char* name, Kind kind, unsigned share) {
  port::FileOpenOptions options;
  options.read = true;
  options.write = kind != kRead;
  options.disposition = kind == kCreate ? port::FileDisposition::kCreateAlways : port::FileDisposition::kOpenExisting;
  options.share_read = (share & (fmShareNone | fmDenyRead)) == 0;
  options.share_write = (share & (fmShareNone | fmDenyWrite)) == 0;
  options.delete_on_close = (share & fmDeleteOnClose) != 0;
  HANDLE file = port::OpenFileHandle(name, options);
  if (file == INVALID_HANDLE_VALUE) return nullptr;
  return std::unique_ptr<FileChannel>(new FileChannel(file));
}

FileChannel::~FileChannel() { Close(); }

bool FileChannel::Sync() {
  if (file_pos_ == pos_) return true;
  if (!port::SeekFile(file_, static_cast<long long>(pos_), port::SeekFrom::kBegin, &file_pos_)) {
    Fail(port::LastFileError());
    return false;
  }
  return true;
}

unsigned long FileChannel::Read(void* dst, unsigned long n) {
  if (file_ == INVALID_HANDLE_VALUE || !Sync()) return 0;
  unsigned long done = 0;
  auto* bytes = static_cast<char*>(dst);
  // The system may answer a large read in parts.
  while (done < n) {
    unsigned long part = 0;
    if (!port::ReadFileData(file_, bytes + done, n - done, &part)) {
      Fail(port::LastFileError());
      break;
    }
    if (part == 0) break;
    done += part;
  }
  pos_ += done;
  file_pos_ = pos_;
  return done;
}

unsigned long FileChannel::Write(const void* src, unsigned long n) {
  if (file_ == INVALID_HANDLE_VALUE || !Sync()) return 0;
  unsigned long done = 0;
  if (!port::WriteFileData(file_, src, n, &done) || done != n) Fail(port::LastFileError());
  pos_ += done;
  file_pos_ = pos_;
  return done;
}

bool FileChannel::Seek(unsigned long long pos) {
  if (pos > static_cast<unsigned long long>(std::numeric_limits<long long>::max())) return false;
  pos_ = pos;
  return true;
}

unsigned long long FileChannel::Size() {
  unsigned long long size = 0;
  if (file_ == INVALID_HANDLE_VALUE || !port::FileSizeOf(file_, &size)) return 0;
  return size;
}

bool FileChannel::Close() {
  if (file_ == INVALID_HANDLE_VALUE) return true;
  const bool closed = port::CloseFileHandle(file_);
  file_ = INVALID_HANDLE_VALUE;
  return closed;
}

// --- MemoryReader ------------------------------------------------------------

unsigned long MemoryReader::Read(void* dst, unsigned long n) {
  if (pos_ >= size_) return 0;
  const auto k = static_cast<unsigned long>(std::min<unsigned long long>(n, size_ - pos_));
  std::memcpy(dst, data_ + pos_, k);
  pos_ += k;
  return k;
}

unsigned long MemoryReader::Write(const void*, unsigned long) {
  Fail(0);
  return 0;
}

bool MemoryReader::Seek(unsigned long long pos) {
  pos_ = pos;
  return true;
}

// --- MemoryWriter ------------------------------------------------------------

unsigned long MemoryWriter::Read(void* dst, unsigned long n) {
  if (pos_ >= bytes_.size()) return 0;
  const auto k = static_cast<unsigned long>(std::min<unsigned long long>(n, bytes_.size() - pos_));
  std::memcpy(dst, bytes_.data() + pos_, k);
  pos_ += k;
  return k;
}

unsigned long MemoryWriter::Write(const void* src, unsigned long n) {
  if (n == 0) return 0;
  if (pos_ > limit_ || n > limit_ - pos_ || pos_ + n > kMaxMemoryPos) {
    did_not_fit_ = true;
    Fail(0);
    return 0;
  }
  const auto end = static_cast<std::size_t>(pos_ + n);
  try {
    if (end > bytes_.size()) {
      // Doubling keeps appending linear; the limit caps the block.
      if (end > bytes_.capacity()) {
        const unsigned long long doubled = std::max<unsigned long long>(2ull * bytes_.capacity(), 64 * 1024);
        bytes_.reserve(static_cast<std::size_t>(std::min<unsigned long long>(std::max<unsigned long long>(doubled, end),
                                                                            limit_)));
      }
      bytes_.resize(end);
    }
  } catch (const std::bad_alloc&) {
    did_not_fit_ = true;
    Fail(0);
    return 0;
  }
  std::memcpy(bytes_.data() + pos_, src, n);
  pos_ = end;
  return n;
}

bool MemoryWriter::Seek(unsigned long long pos) {
  pos_ = pos;
  return true;
}

}  // namespace kelm::archive::internal
