#include "kelm/archive/internal/zip_writer.h"

#include <algorithm>
#include <vector>

#include "kelm/archive/internal/zip_reader.h"
#include "kelm/datetime/time_stamp.h"

namespace kelm::archive::internal {
namespace {

constexpr unsigned long kDataDescriptorFlag = 0x8;
constexpr unsigned long kLevelFlags = 0x6;
constexpr std::size_t kMaxWriteCall = 1u << 30;

tm_zip DosTime(const TimeStamp& time) {
  tm_zip t{};
  if (time.Year() < 1980) {
    t.tm_year = 1980;
    t.tm_mday = 1;
  } else if (time.Year() > 2107) {
    t = {58, 59, 23, 31, 11, 2107};
  } else {
    t.tm_sec = static_cast<uInt>(time.Second());
    t.tm_min = static_cast<uInt>(time.Minute());
    t.tm_hour = static_cast<uInt>(time.Hour());
    t.tm_mday = static_cast<uInt>(time.Day());
    t.tm_mon = static_cast<uInt>(time.Month() - 1);
    t.tm_year = static_cast<uInt>(time.Year());
  }
  return t;
}

}  // namespace

Writer::~Writer() { Finish(); }

bool Writer::Check(int result) {
  last_code_ = result;
  return result == ZIP_OK;
}

bool Writer::Open(std::unique_ptr<Channel> channel, bool add_in_zip) {
  Finish();
  finished_ = true;
  channel_ = std::move(channel);
  zlib_filefunc64_def functions = channel_->Functions();
  zip_ = zipOpen2_64("", add_in_zip ? APPEND_STATUS_ADDINZIP : APPEND_STATUS_CREATE, nullptr, &functions);
  last_code_ = zip_ != nullptr ? ZIP_OK : ZIP_ERRNO;
  return zip_ != nullptr;
}

bool Writer::Begin(const StoredName& name, const TimeStamp& time, int zlib_level, bool directory, bool zip64) {
  if (zip_ == nullptr || name.bytes.find('\0') != std::string::npos) return Check(ZIP_PARAMERROR);
  zip_fileinfo info{};
  info.tmz_date = DosTime(time);
  info.external_fa = ExternalAttributes(name.form, directory);
  // The Unicode path field goes into both headers, as Info-ZIP writes it:
  // its UnZip checks the local name against the central one.
  const std::string extra = CentralExtra(name);
  return Check(zipOpenNewFileInZip4_64(zip_, name.bytes.c_str(), &info, extra.data(),
                                       static_cast<uInt>(extra.size()), extra.data(),
                                       static_cast<uInt>(extra.size()), nullptr, directory ? 0 : Z_DEFLATED,
                                       zlib_level, 0, -MAX_WBITS, DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY, nullptr, 0,
                                       VersionMadeBy(name.form), NameFlags(name.form), zip64 ? 1 : 0));
}

bool Writer::Write(const void* data, std::size_t n) {
  const auto* bytes = static_cast<const char*>(data);
  while (n > 0) {
    const std::size_t part = std::min(n, kMaxWriteCall);
    if (!Check(zipWriteInFileInZip(zip_, bytes, static_cast<unsigned>(part)))) return false;
    bytes += part;
    n -= part;
  }
  return true;
}

bool Writer::End() { return Check(zipCloseFileInZip(zip_)); }

bool Writer::CopyRaw(Reader& reader, const Member& member) {
  // An encrypted member's password check byte depends on whether it has a
  // data descriptor, which the copy does not keep.
  if (zip_ == nullptr || member.stored_name.find('\0') != std::string::npos ||
      (member.IsEncrypted() && (member.flags & kDataDescriptorFlag) != 0)) {
    return Check(ZIP_PARAMERROR);
  }
  zip_fileinfo info{};
  info.dosDate = member.dos_date;
  info.internal_fa = member.internal_attributes;
  info.external_fa = member.external_attributes;
  // minizip writes ZIP64 fields of its own when the copy needs them.
  std::vector<char> extra(member.central_extra.begin(), member.central_extra.end());
  int extra_size = static_cast<int>(extra.size());
  if (extra_size > 0) zipRemoveExtraInfoBlock(extra.data(), &extra_size, 0x0001);
  int level = Z_DEFAULT_COMPRESSION;
  switch (member.flags & kLevelFlags) {
    case 6: level = 1; break;
    case 4: level = 2; break;
    case 2: level = 9; break;
    default: break;
  }
  const bool zip64 = member.size >= 0xFFFFFFFFull || member.packed >= 0xFFFFFFFFull;
  if (!Check(zipOpenNewFileInZip4_64(
          zip_, member.stored_name.c_str(), &info, nullptr, 0, extra.data(), static_cast<uInt>(extra_size),
          member.comment.empty() ? nullptr : member.comment.c_str(), static_cast<int>(member.method), level, 1,
          -MAX_WBITS, DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY, nullptr, 0, member.version_made_by,
          member.flags & ~(kDataDescriptorFlag | kLevelFlags), zip64 ? 1 : 0))) {
    return false;
  }
  const auto copied = reader.CopyRaw(member, [this](const char* data, std::size_t n) { return Write(data, n); });
  const bool closed = zipCloseFileInZipRaw64(zip_, member.size, member.crc) == ZIP_OK;
  if (copied != Reader::Status::kOk) {
    last_code_ = reader.LastCode();
    return false;
  }
  return closed || Check(ZIP_ERRNO);
}

bool Writer::Finish() {
  if (zip_ == nullptr) return finished_;
  finished_ = Check(zipClose(zip_, nullptr));
  zip_ = nullptr;
  return finished_;
}

std::unique_ptr<Channel> Writer::TakeChannel() {
  Finish();
  return std::move(channel_);
}

int Writer::LastCode() const {
  if (channel_ != nullptr && channel_->SystemError() != 0) return static_cast<int>(channel_->SystemError());
  return last_code_;
}

}  // namespace kelm::archive::internal
