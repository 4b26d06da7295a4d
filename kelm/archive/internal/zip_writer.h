// The writing side shared by Zip and ZipFileStream: an archive made through a
// Channel, one member at a time.
#ifndef KELM_ARCHIVE_INTERNAL_ZIP_WRITER_H_
#define KELM_ARCHIVE_INTERNAL_ZIP_WRITER_H_

#include <minizip/zip.h>

#include <cstddef>
#include <memory>

#include "kelm/archive/internal/io_channel.h"
#include "kelm/archive/internal/member_name.h"

class TimeStamp;

namespace kelm::archive::internal {

class Reader;
struct Member;

class Writer {
 public:
  Writer() = default;
  // Finishes an archive that is still open.
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // A new archive over `channel`, or with `add_in_zip` members added to the
  // archive the channel already holds. The channel is kept either way.
  bool Open(std::unique_ptr<Channel> channel, bool add_in_zip);
  bool IsOpen() const { return zip_ != nullptr; }

  // Starts a member: deflated at `zlib_level` (-1 for zlib's default), or
  // for a folder stored with no data; `time` is local time (clamped to the
  // years 1980..2107 that the format holds). `zip64` reserves ZIP64 fields,
  // needed when the member may reach 4 GiB. A name with a NUL byte is refused.
  bool Begin(const StoredName& name, const TimeStamp& time, int zlib_level, bool directory, bool zip64);
  bool Write(const void* data, std::size_t n);
  bool End();

  // Copies a member of another archive as it is: its compressed bytes, name
  // field, time, attributes, flags and central extra field.
  bool CopyRaw(Reader& reader, const Member& member);

  // Writes the central directory; the channel stays, to be read back. When
  // no archive is being written: whether the last one was finished.
  bool Finish();
  Channel* GetChannel() const { return channel_.get(); }
  std::unique_ptr<Channel> TakeChannel();

  // The library's code of the last failure: the system error of a failed
  // write when there was one, otherwise minizip's code.
  int LastCode() const;

 private:
  bool Check(int result);

  zipFile zip_ = nullptr;
  std::unique_ptr<Channel> channel_;
  int last_code_ = 0;
  bool finished_ = true;
};

}  // namespace kelm::archive::internal

#endif  // KELM_ARCHIVE_INTERNAL_ZIP_WRITER_H_
