// The bytes of one archive as minizip sees them: minizip reads and writes
// through a table of functions (zlib_filefunc64_def) whose calls land on a
// Channel. Files go through the platform layer (Windows-1251 names on every
// platform); archives in memory never touch a file.
//
//   auto channel = FileChannel::Open(name, FileChannel::kRead, fmRead);
//   zlib_filefunc64_def functions = channel->Functions();
//   unzFile archive = unzOpen2_64("", &functions);
//
// minizip "opens" the channel it is handed (the name it passes is ignored)
// and closes it when it is done; the channel's owner destroys it afterwards.
#ifndef KELM_ARCHIVE_INTERNAL_IO_CHANNEL_H_
#define KELM_ARCHIVE_INTERNAL_IO_CHANNEL_H_

#include <minizip/ioapi.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "kelm/port/win_types.h"

namespace kelm::archive::internal {

class Channel {
 public:
  virtual ~Channel() = default;
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  // Both answer the bytes moved; a short count is a failure (Failed()).
  virtual unsigned long Read(void* dst, unsigned long n) = 0;
  virtual unsigned long Write(const void* src, unsigned long n) = 0;
  virtual unsigned long long Tell() const = 0;
  // A position past the end is allowed (reads there give nothing).
  virtual bool Seek(unsigned long long pos) = 0;
  virtual unsigned long long Size() = 0;
  virtual bool Close() { return true; }

  // Whether an operation failed since the channel was made, and the system
  // error (a Win32 code, 0 for none) of the last one that did.
  bool Failed() const { return failed_; }
  unsigned long SystemError() const { return system_error_; }

  // The table minizip is given; it refers to this channel.
  zlib_filefunc64_def Functions();

 protected:
  Channel() = default;
  void Fail(unsigned long system_error) {
    failed_ = true;
    system_error_ = system_error;
  }

 private:
  bool failed_ = false;
  unsigned long system_error_ = 0;
};

// A file through the platform layer.
class FileChannel final : public Channel {
 public:
  enum Kind {
    kRead,    // an existing file, read only
    kCreate,  // a new file (an existing one is cut to nothing), read and write
    kUpdate,  // an existing file, read and write
  };
  // Null when the file cannot be opened; the thread's last file error says
  // why. `share` takes the sharing bits of an OpenStreamFile mode (fmShareNone,
  // fmDenyWrite, fmDenyRead) and fmDeleteOnClose.
  static std::unique_ptr<FileChannel> Open(const char* name, Kind kind, unsigned share = 0);
  ~FileChannel() override;

  unsigned long Read(void* dst, unsigned long n) override;
  unsigned long Write(const void* src, unsigned long n) override;
  unsigned long long Tell() const override { return pos_; }
  bool Seek(unsigned long long pos) override;
  unsigned long long Size() override;
  bool Close() override;

 private:
  explicit FileChannel(HANDLE file) : file_(file) {}
  // Moves the system's position to pos_ when it stands elsewhere.
  bool Sync();

  HANDLE file_;
  unsigned long long pos_ = 0;
  unsigned long long file_pos_ = 0;  // where the system's position stands
};

// Bytes in memory that the channel reads and does not own.
class MemoryReader final : public Channel {
 public:
  MemoryReader(const unsigned char* data, std::size_t size) : data_(data), size_(size) {}

  unsigned long Read(void* dst, unsigned long n) override;
  unsigned long Write(const void* src, unsigned long n) override;
  unsigned long long Tell() const override { return pos_; }
  bool Seek(unsigned long long pos) override;
  unsigned long long Size() override { return size_; }

 private:
  const unsigned char* data_;
  std::size_t size_;
  unsigned long long pos_ = 0;
};

// A growable block in memory that holds at most `limit` bytes. A write that
// would pass the limit, or that finds no memory, writes nothing and marks
// the channel: the data did not fit.
class MemoryWriter final : public Channel {
 public:
  explicit MemoryWriter(unsigned long long limit) : limit_(limit) {}

  unsigned long Read(void* dst, unsigned long n) override;
  unsigned long Write(const void* src, unsigned long n) override;
  unsigned long long Tell() const override { return pos_; }
  bool Seek(unsigned long long pos) override;
  unsigned long long Size() override { return bytes_.size(); }

  const std::vector<unsigned char>& Bytes() const { return bytes_; }
  unsigned long long Limit() const { return limit_; }
  bool DidNotFit() const { return did_not_fit_; }
  void ClearDidNotFit() { did_not_fit_ = false; }

 private:
  std::vector<unsigned char> bytes_;
  unsigned long long limit_;
  unsigned long long pos_ = 0;
  bool did_not_fit_ = false;
};

}  // namespace kelm::archive::internal

#endif  // KELM_ARCHIVE_INTERNAL_IO_CHANNEL_H_
