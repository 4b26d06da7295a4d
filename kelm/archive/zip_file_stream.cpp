#include "kelm/archive/zip_file_stream.h"

#include <algorithm>
#include <ostream>

#include "kelm/archive/internal/support.h"
#include "kelm/archive/internal/zip_writer.h"
#include "kelm/datetime/time_stamp.h"
#include "kelm/port/file.h"
#include "kelm/streams/fstream.h"

using kelm::archive::internal::FileChannel;
using kelm::archive::internal::ForEachPiece;
using kelm::archive::internal::FormOf;
using kelm::archive::internal::MemoryWriter;
using kelm::archive::internal::StoreName;
using kelm::archive::internal::Writer;

namespace {

// Members this large may pass 4 GiB once deflated: they get ZIP64 fields.
constexpr unsigned long long kZip64Size = 0xFFFF0000ull;

// Replaces the content of `stream` with what `fill` writes into it.
bool Replace(Stream& stream, const std::function<bool(const std::function<bool(const char*, std::size_t)>&)>& fill) {
  stream.Seek(0);
  stream.Truncate();
  return fill([&stream](const char* data, std::size_t n) {
    constexpr std::size_t kMaxWrite = 1u << 30;
    for (std::size_t done = 0; done < n; done += kMaxWrite) {
      stream.Write(data + done, static_cast<unsigned>(std::min(n - done, kMaxWrite)));
    }
    return true;
  });
}

}  // namespace

// --- ZipFileStream -------------------------------------------------------------

ZipFileStream::ZipFileStream(FileNameCoding coding) : writer_(std::make_unique<Writer>()), coding_(coding) {}

ZipFileStream::~ZipFileStream() { Close(true); }

bool ZipFileStream::IsOpened() { return writer_->IsOpen(); }

bool ZipFileStream::DoOpen(const char* name, bool append) {
  DoClose();
  auto channel = FileChannel::Open(name, append ? FileChannel::kUpdate : FileChannel::kCreate);
  if (channel == nullptr) return false;
  // An empty file has no archive to add to yet.
  const bool add_in_zip = append && channel->Size() > 0;
  return writer_->Open(std::move(channel), add_in_zip);
}

void ZipFileStream::DoClose() { Finish(); }

bool ZipFileStream::Finish() { return writer_->Finish(); }

bool ZipFileStream::ReadyForMember() { return IsOpened(); }

bool ZipFileStream::CreateFileForWriting(const char* name, CompressionLevel level, const TimeStamp& time,
                                         bool zip64) {
  if (name == nullptr || *name == '\0' || !ReadyForMember()) return false;
  return writer_->Begin(StoreName(name, FormOf(coding_)), time, ZlibLevel(level), false, zip64);
}

bool ZipFileStream::AddStream(Stream& stream, const char* name, CompressionLevel level) {
  return AddStream(stream, name, level, TimeStamp());
}

bool ZipFileStream::AddStream(Stream& stream, const char* name, CompressionLevel level, const TimeStamp& time) {
  if (!CreateFileForWriting(name, level, time, stream.Size() >= kZip64Size)) return false;
  const bool written = ForEachPiece(stream, [this](const char* data, std::size_t n) { return writer_->Write(data, n); });
  return writer_->End() && written;
}

bool ZipFileStream::AddFile(const char* data, unsigned size, const char* name, CompressionLevel level) {
  if (!CreateFileForWriting(name, level, TimeStamp(), size >= kZip64Size)) return false;
  const bool written = writer_->Write(data, size);
  return writer_->End() && written;
}

bool ZipFileStream::AddFile(const std::vector<char>& data, const char* name, CompressionLevel level) {
  if (!CreateFileForWriting(name, level, TimeStamp(), data.size() >= kZip64Size)) return false;
  const bool written = writer_->Write(data.data(), data.size());
  return writer_->End() && written;
}

bool ZipFileStream::AddFile(Stream& stream, const char* name, CompressionLevel level) {
  return AddStream(stream, name, level);
}

bool ZipFileStream::AddDir(const char* name) {
  if (name == nullptr || *name == '\0' || !ReadyForMember()) return false;
  std::string folder(name);
  if (folder.back() != '/' && folder.back() != '\\') folder += '/';
  return writer_->Begin(StoreName(folder, FormOf(coding_)), TimeStamp(), 0, true, false) && writer_->End();
}

bool ZipFileStream::ReadArchive(const std::function<bool(const char*, std::size_t)>& sink) {
  return Finish() && *GetFileName() != '\0' && kelm::archive::internal::ReadFileInPieces(GetFileName(), sink);
}

bool ZipFileStream::GetStream(FStream& stream) {
  if (!Finish() || *GetFileName() == '\0') return false;
  stream.Close();
  return stream.Open(GetFileName(), fmRead);
}

bool ZipFileStream::ToStream(FStream& stream) {
  return Replace(stream, [this](const auto& sink) { return ReadArchive(sink); });
}

bool ZipFileStream::ToVector(std::vector<char>& data) {
  data.clear();
  return ReadArchive([&data](const char* bytes, std::size_t n) {
    data.insert(data.end(), bytes, bytes + n);
    return true;
  });
}

// --- ZipMemFileStream ----------------------------------------------------------

ZipMemFileStream::ZipMemFileStream(unsigned long limit, FileNameCoding coding)
    : ZipFileStream(coding), limit_(limit != 0 ? limit : kelm::archive::internal::StagingLimit()) {}

ZipMemFileStream::~ZipMemFileStream() { Close(true); }

bool ZipMemFileStream::DoOpen(const char*, bool) {
  writer_ = std::make_unique<Writer>();
  nothing_open_ = false;
  return writer_->Open(std::make_unique<MemoryWriter>(limit_), false);
}

void ZipMemFileStream::DoClose() { Finish(); }

bool ZipMemFileStream::ReadyForMember() { return nothing_open_ ? DoOpen(nullptr, false) : IsOpened(); }

bool ZipMemFileStream::ReadArchive(const std::function<bool(const char*, std::size_t)>& sink) {
  // An archive that never got a member is an empty one.
  if (nothing_open_ && !DoOpen(nullptr, false)) return false;
  const auto* output = static_cast<MemoryWriter*>(writer_->GetChannel());
  if (output == nullptr || !Finish() || output->Failed()) return false;
  const auto& bytes = output->Bytes();
  return bytes.empty() || sink(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

unsigned long long ZipMemFileStream::Size() const {
  const auto* channel = writer_->GetChannel();
  return channel != nullptr ? static_cast<const MemoryWriter*>(channel)->Bytes().size() : 0;
}

bool ZipMemFileStream::ToVector(std::vector<unsigned char>& data) {
  data.clear();
  return ReadArchive([&data](const char* bytes, std::size_t n) {
    data.insert(data.end(), reinterpret_cast<const unsigned char*>(bytes),
                reinterpret_cast<const unsigned char*>(bytes) + n);
    return true;
  });
}

bool ZipMemFileStream::GetStream(FStream& stream) { return GetStream(static_cast<Stream&>(stream)); }

bool ZipMemFileStream::GetStream(Stream& stream) {
  return Replace(stream, [this](const auto& sink) { return ReadArchive(sink); });
}

bool ZipMemFileStream::GetStream(std::ostream& stream) {
  return ReadArchive([&stream](const char* bytes, std::size_t n) {
    stream.write(bytes, static_cast<std::streamsize>(n));
    return static_cast<bool>(stream);
  });
}

ZipMemFileStream::AddResult ZipMemFileStream::Result(bool added) {
  if (added) return arAdded;
  auto* output = static_cast<MemoryWriter*>(writer_->GetChannel());
  if (output == nullptr || !output->DidNotFit()) return arFailed;
  output->ClearDidNotFit();
  return arNoRoom;
}

ZipMemFileStream::AddResult ZipMemFileStream::AddFileInArchive(const char* file, const char* name,
                                                               CompressionLevel level) {
  return Result(AddFile(file, name, level));
}

ZipMemFileStream::AddResult ZipMemFileStream::AddFileInArchive(const char* data, unsigned size, const char* name,
                                                               CompressionLevel level) {
  return Result(AddFile(data, size, name, level));
}

ZipMemFileStream::AddResult ZipMemFileStream::AddFileInArchive(const std::vector<char>& data, const char* name,
                                                               CompressionLevel level) {
  return Result(AddFile(data, name, level));
}

ZipMemFileStream::AddResult ZipMemFileStream::AddStreamInArchive(Stream& stream, const char* name,
                                                                 CompressionLevel level) {
  return Result(AddStream(stream, name, level));
}
