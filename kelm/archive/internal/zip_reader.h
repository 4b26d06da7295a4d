// The reading side shared by UnZip and UnZipFileStream: an archive opened
// through a Channel, its member list in Windows-1251 names, and unpacking
// one member at a time with the checks a hostile archive needs.
#ifndef KELM_ARCHIVE_INTERNAL_ZIP_READER_H_
#define KELM_ARCHIVE_INTERNAL_ZIP_READER_H_

#include <minizip/unzip.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kelm/archive/internal/io_channel.h"

namespace kelm::archive::internal {

struct Member {
  std::string name;         // Windows-1251
  std::string stored_name;  // the name field as it is in the archive
  std::string central_extra;
  std::string comment;
  unz64_file_pos pos;
  unsigned long long size;    // uncompressed, as recorded
  unsigned long long packed;  // compressed, as recorded
  unsigned long crc;
  unsigned long flags;
  unsigned long method;
  unsigned long version_made_by;
  unsigned long dos_date;
  unsigned long internal_attributes;
  unsigned long external_attributes;
  tm_unz time;

  bool IsDirectory() const;
  bool IsEncrypted() const { return (flags & 1) != 0; }
};

class Reader {
 public:
  enum class Opened { kOk, kRefused, kNoCount, kNoList };
  enum class Status {
    kOk,
    kEncrypted,    // refused: the member is encrypted
    kUnsupported,  // refused: neither stored nor deflated
    kOpen,         // the member's data cannot be opened
    kRead,         // the data cannot be read or inflated
    kSize,         // fewer bytes than the recorded size
    kCrc,          // the checksum does not match
    kNoMemory,     // no memory for the bytes
    kWrite,        // the receiver refused a piece
  };

  Reader() = default;
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // Opens the archive and reads its member list. kRefused: minizip takes it
  // for no archive; kNoCount / kNoList: the member count or the central
  // directory cannot be read. The channel is kept either way until Close.
  Opened Open(std::unique_ptr<Channel> channel);
  // False when minizip reports a failure while closing.
  bool Close();
  bool IsOpen() const { return archive_ != nullptr; }

  const std::vector<Member>& Members() const { return members_; }
  // The first member of that name; failing that, the first whose name
  // differs only in the case of ASCII letters (as minizip compares by
  // default on Windows). Null when there is none.
  const Member* Find(std::string_view name);

  // Unpacks `member` in pieces of at most `piece` bytes, each handed to
  // `sink` as it comes, until a piece shorter than `piece` (possibly empty)
  // has been handed over.
  Status Unpack(const Member& member, std::size_t piece, const std::function<bool(const char*, std::size_t)>& sink);
  // Unpacks `member` into memory that `resize` provides: it is asked for
  // room of the given size (the bytes so far kept) and answers its start.
  // Room is asked for in steps that a bogus recorded size cannot inflate
  // beyond what the archive's bytes can hold; the final call has the size.
  Status UnpackToMemory(const Member& member, const std::function<char*(std::size_t)>& resize);

  // The compressed bytes of `member` as they are (for copying it into
  // another archive), in pieces handed to `sink`.
  Status CopyRaw(const Member& member, const std::function<bool(const char*, std::size_t)>& sink);

  // The library's code of the last failure: the system error of a failed
  // read when there was one, otherwise minizip's code.
  int LastCode() const;

 private:
  Status OpenMember(const Member& member, bool raw);
  Status CloseMember(unsigned long long unpacked, const Member& member);

  unzFile archive_ = nullptr;
  std::unique_ptr<Channel> channel_;
  std::vector<Member> members_;
  std::unordered_map<std::string, std::size_t> exact_;
  std::unordered_map<std::string, std::size_t> folded_;
  int last_code_ = 0;
};

}  // namespace kelm::archive::internal

#endif  // KELM_ARCHIVE_INTERNAL_ZIP_READER_H_
