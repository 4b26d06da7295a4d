#include "kelm/archive/internal/zip_reader.h"

#include <algorithm>
#include <limits>
#include <new>

#include "kelm/archive/internal/member_name.h"
#include "kelm/archive/internal/zip64_view.h"

namespace kelm::archive::internal {
namespace {

// Deflate turns at most this many bytes out of one byte of input (a match
// of 258 bytes in two bits, and a little more for safety).
constexpr unsigned long long kMaxInflateRatio = 1040;
constexpr unsigned long long kInflateSlack = 4096;
// minizip reads at most this much in one call (its result is an int).
constexpr std::size_t kMaxReadCall = 1u << 30;
// A name or extra field is at most 65535 bytes.
constexpr std::size_t kFieldBuffer = 65536;

std::string FoldAscii(std::string_view name) {
  std::string folded(name);
  for (char& c : folded) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return folded;
}

}  // namespace

bool Member::IsDirectory() const {
  return !stored_name.empty() && (stored_name.back() == '/' || stored_name.back() == '\\');
}

Reader::~Reader() { Close(); }

Reader::Opened Reader::Open(std::unique_ptr<Channel> channel) {
  Close();
  channel_ = kMinizipMissesZip64 ? Zip64View::Over(std::move(channel)) : std::move(channel);
  zlib_filefunc64_def functions = channel_->Functions();
  archive_ = unzOpen2_64("", &functions);
  if (archive_ == nullptr) {
    last_code_ = UNZ_BADZIPFILE;
    return Opened::kRefused;
  }
  unz_global_info64 global{};
  last_code_ = unzGetGlobalInfo64(archive_, &global);
  if (last_code_ != UNZ_OK) return Opened::kNoCount;
  if (global.number_entry == 0) return Opened::kOk;

  std::vector<char> name(kFieldBuffer), extra(kFieldBuffer), comment(kFieldBuffer);
  int err = unzGoToFirstFile(archive_);
  while (err == UNZ_OK) {
    Member m{};
    unz_file_info64 info{};
    err = unzGetCurrentFileInfo64(archive_, &info, name.data(), kFieldBuffer, extra.data(), kFieldBuffer,
                                  comment.data(), kFieldBuffer);
    if (err == UNZ_OK) err = unzGetFilePos64(archive_, &m.pos);
    if (err != UNZ_OK) break;
    m.stored_name.assign(name.data(), std::min<std::size_t>(info.size_filename, kFieldBuffer - 1));
    m.central_extra.assign(extra.data(), std::min<std::size_t>(info.size_file_extra, kFieldBuffer));
    m.comment.assign(comment.data(), std::min<std::size_t>(info.size_file_comment, kFieldBuffer - 1));
    m.name = ReadName(m.stored_name, info.version, info.flag, m.central_extra);
    m.size = info.uncompressed_size;
    m.packed = info.compressed_size;
    m.crc = info.crc;
    m.flags = info.flag;
    m.method = info.compression_method;
    m.version_made_by = info.version;
    m.dos_date = info.dosDate;
    m.internal_attributes = info.internal_fa;
    m.external_attributes = info.external_fa;
    m.time = info.tmu_date;
    exact_.emplace(m.name, members_.size());
    folded_.emplace(FoldAscii(m.name), members_.size());
    members_.push_back(std::move(m));
    err = unzGoToNextFile(archive_);
  }
  // A count of 65535 in the end record is minizip's sign that there may be
  // more (an archive without ZIP64 records cannot count further): the list
  // then ends where the central directory does, at the first record that
  // is not a member's.
  const bool count_overflow = global.number_entry == 0xFFFF && members_.size() >= 0xFFFF;
  if (err != UNZ_END_OF_LIST_OF_FILE && !count_overflow) {
    last_code_ = err;
    return Opened::kNoList;
  }
  last_code_ = UNZ_OK;
  return Opened::kOk;
}

bool Reader::Close() {
  bool closed = true;
  if (archive_ != nullptr) closed = unzClose(archive_) == UNZ_OK;
  archive_ = nullptr;
  channel_.reset();
  members_.clear();
  exact_.clear();
  folded_.clear();
  return closed;
}

const Member* Reader::Find(std::string_view name) {
  if (const auto exact = exact_.find(std::string(name)); exact != exact_.end()) return &members_[exact->second];
  if (const auto folded = folded_.find(FoldAscii(name)); folded != folded_.end()) return &members_[folded->second];
  return nullptr;
}

int Reader::LastCode() const {
  if (channel_ != nullptr && channel_->SystemError() != 0) return static_cast<int>(channel_->SystemError());
  return last_code_;
}

Reader::Status Reader::OpenMember(const Member& member, bool raw) {
  if (!raw && member.IsEncrypted()) return Status::kEncrypted;
  // minizip opens other methods as if it could read them and then inflates
  // with a stream it never set up.
  if (!raw && member.method != 0 && member.method != Z_DEFLATED) return Status::kUnsupported;
  unz64_file_pos pos = member.pos;
  last_code_ = unzGoToFilePos64(archive_, &pos);
  if (last_code_ == UNZ_OK) {
    int method = 0, level = 0;
    last_code_ = unzOpenCurrentFile2(archive_, &method, &level, raw ? 1 : 0);
  }
  return last_code_ == UNZ_OK ? Status::kOk : Status::kOpen;
}

Reader::Status Reader::CloseMember(unsigned long long unpacked, const Member& member) {
  // minizip checks the CRC only when exactly the recorded size came out.
  const int closed = unzCloseCurrentFile(archive_);
  if (unpacked != member.size) return Status::kSize;
  if (closed == UNZ_CRCERROR) {
    last_code_ = closed;
    return Status::kCrc;
  }
  if (closed != UNZ_OK) {
    last_code_ = closed;
    return Status::kRead;
  }
  return Status::kOk;
}

Reader::Status Reader::Unpack(const Member& member, std::size_t piece,
                              const std::function<bool(const char*, std::size_t)>& sink) {
  std::vector<char> buffer;
  try {
    buffer.resize(piece);
  } catch (const std::bad_alloc&) {
    return Status::kNoMemory;
  }
  if (const Status opened = OpenMember(member, false); opened != Status::kOk) return opened;
  unsigned long long unpacked = 0;
  for (;;) {
    const int n = unzReadCurrentFile(archive_, buffer.data(), static_cast<unsigned>(piece));
    if (n < 0) {
      last_code_ = n;
      unzCloseCurrentFile(archive_);
      return Status::kRead;
    }
    unpacked += static_cast<unsigned>(n);
    bool taken = false;
    try {
      taken = sink(buffer.data(), static_cast<std::size_t>(n));
    } catch (...) {
      unzCloseCurrentFile(archive_);
      throw;
    }
    if (!taken) {
      unzCloseCurrentFile(archive_);
      return Status::kWrite;
    }
    if (static_cast<std::size_t>(n) < piece) break;
  }
  return CloseMember(unpacked, member);
}

Reader::Status Reader::UnpackToMemory(const Member& member, const std::function<char*(std::size_t)>& resize) {
  const unsigned long long input = std::min(member.packed, channel_->Size());
  unsigned long long room = member.method == 0 ? input : input * kMaxInflateRatio + kInflateSlack;
  room = std::min({room, member.size, static_cast<unsigned long long>(std::numeric_limits<std::size_t>::max() / 2)});
  // Opened first: a member whose headers do not hold together costs no memory.
  if (const Status opened = OpenMember(member, false); opened != Status::kOk) return opened;
  char* data = nullptr;
  try {
    data = resize(static_cast<std::size_t>(room));
  } catch (const std::bad_alloc&) {
    unzCloseCurrentFile(archive_);
    return Status::kNoMemory;
  } catch (const std::length_error&) {
    unzCloseCurrentFile(archive_);
    return Status::kNoMemory;
  }
  unsigned long long unpacked = 0;
  while (unpacked < room) {
    const auto ask = static_cast<unsigned>(std::min<unsigned long long>(room - unpacked, kMaxReadCall));
    const int n = unzReadCurrentFile(archive_, data + unpacked, ask);
    if (n < 0) {
      last_code_ = n;
      unzCloseCurrentFile(archive_);
      return Status::kRead;
    }
    unpacked += static_cast<unsigned>(n);
    if (static_cast<unsigned>(n) < ask) break;
  }
  resize(static_cast<std::size_t>(unpacked));
  return CloseMember(unpacked, member);
}

Reader::Status Reader::CopyRaw(const Member& member, const std::function<bool(const char*, std::size_t)>& sink) {
  constexpr std::size_t kPiece = 256 * 1024;
  std::vector<char> buffer(kPiece);
  if (const Status opened = OpenMember(member, true); opened != Status::kOk) return opened;
  unsigned long long copied = 0;
  for (;;) {
    const int n = unzReadCurrentFile(archive_, buffer.data(), kPiece);
    if (n < 0) {
      last_code_ = n;
      unzCloseCurrentFile(archive_);
      return Status::kRead;
    }
    if (n == 0) break;
    copied += static_cast<unsigned>(n);
    if (!sink(buffer.data(), static_cast<std::size_t>(n))) {
      unzCloseCurrentFile(archive_);
      return Status::kWrite;
    }
  }
  unzCloseCurrentFile(archive_);
  return copied == member.packed ? Status::kOk : Status::kSize;
}

}  // namespace kelm::archive::internal
