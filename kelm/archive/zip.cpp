#include "kelm/archive/zip.h"

#include <climits>
#include <functional>
#include <utility>
#include <istream>
#include <ostream>
#include <unordered_set>

#include "kelm/archive/internal/support.h"
#include "kelm/archive/internal/zip_reader.h"
#include "kelm/archive/internal/zip_writer.h"
#include "kelm/archive/zip_file_stream.h"
#include "kelm/datetime/time_stamp.h"
#include "kelm/files/file_utils.h"
#include "kelm/frame/exceptions.h"
#include "kelm/port/file.h"
#include "kelm/streams/fstream.h"

namespace {

using namespace kelm::archive::internal;

constexpr unsigned kFilePage = 32768;
// A std::istream of unknown length is read into memory up to this much (or
// up to the room a memory target has left) before it goes to a temporary file.
constexpr std::size_t kIstreamBuffer = 64u << 20;

// What a member may take in the archive: its local header with the name and
// a ZIP64 field, and deflate's worst case (5 bytes for each stored block of
// 16 KiB, a few more at the end).
unsigned long long MemberRoom(unsigned long long size, const StoredName& name) {
  return size + size / 3000 + 30 + name.bytes.size() + 20 + 64;
}

// Its record in the central directory, with room for ZIP64 fields.
unsigned long long CentralRoom(const StoredName& name) {
  return 46 + name.bytes.size() + CentralExtra(name).size() + 32;
}

// The end records, ZIP64 ones included.
constexpr unsigned long long kEndRoom = 22 + 56 + 20;

// The part of `path` after its last "\" or "/".
std::string BareName(const char* path) {
  const std::string text(path);
  const std::size_t slash = text.find_last_of("\\/");
  return slash == std::string::npos ? text : text.substr(slash + 1);
}

}  // namespace

class Zip::Impl {
 public:
  ~Impl() { Close(); }

  int InitFile(const char* name, bool append, NameCoding coding);
  int InitMemory(Stream* stream, std::ostream* ostream, std::vector<unsigned char>* vector, NameCoding coding,
                 unsigned long limit);
  int AddFile(const char* file, const char* name_in_archive);
  int AddIstream(std::istream& stream, const std::string& name);
  int AddStream(Stream& stream, const std::string& name, ZipTarget target);
  int AddData(const std::vector<unsigned char>& data, const std::string& name);
  int AddEmptyDir(const std::string& name);
  int Close();

 private:
  // Where a member goes and how it is added there.
  using Adder = std::function<bool(ZipFileStream& out, const char* name)>;
  // Steps common to every Add: the kept error, a closed object, the name's
  // checks, the member's place (`size` bytes; `target` for memory targets),
  // then `add`.
  int AddMember(const std::string& name, unsigned long long size, ZipTarget target, const Adder& add);
  // The key of `name` in names_ for the writer in use.
  std::string Listed(const std::string& name) const {
    return ListedName(StoreName(name, FormOf(out_->Coding())));
  }
  bool Fits(unsigned long long size, const std::string& name) const;
  // Moves the staged archive to the temporary file; false when it cannot.
  bool Spill();
  void Repack(const std::string& name, unsigned long long size);
  void Restore(const std::string& name);
  bool Deliver();
  void Reset();

  std::unique_ptr<ZipFileStream> out_;
  ZipMemFileStream* staging_ = nullptr;  // out_, while the archive is in memory
  bool spilled_ = false;
  TempFile spill_;
  NameCoding coding_ = ncDefault;
  bool closed_ = true;
  int error_ = 0;
  std::unordered_set<std::string> names_;
  unsigned long long central_ = 0;  // room the central directory needs so far
  std::vector<unsigned char> old_archive_;
  TempFile old_copy_;
  // The target of a memory archive (none for a file).
  Stream* stream_ = nullptr;
  std::ostream* ostream_ = nullptr;
  std::vector<unsigned char>* vector_ = nullptr;
};

// --- Init -----------------------------------------------------------------------

int Zip::Impl::InitFile(const char* name, bool append, NameCoding coding) {
  Close();
  Reset();
  if (name == nullptr || *name == '\0') return 12;
  coding_ = coding;
  const bool exists = kelm::port::PathAttributes(name) != INVALID_FILE_ATTRIBUTES;
  if (exists && !append) return 3;
  const auto file_coding = coding == ncUtf8 ? ArchiveFileStream::fncUtf8 : ArchiveFileStream::fncAnsi;
  try {
    bool add = false;
    if (exists) {
      unsigned long long size = 0;
      {
        FastFStream archive(name, fmRead | fmWrite);
        kelm::port::FileSizeOf(archive.Handle(), &size);
      }
      if (size > 0) Repack(name, size);
      add = size > 0;
    }
    out_ = std::make_unique<ZipFileStream>(file_coding);
    if (!out_->Open(name, add)) ThrowZip(TableCode(static_cast<int>(kelm::port::LastFileError())),
                                         std::string("Ошибка инизиализации архива ") + name + " !");
  } catch (const ZipException& e) {
    Reset();
    return TableCode(e.Code());
  }
  closed_ = false;
  return 0;
}

int Zip::Impl::InitMemory(Stream* stream, std::ostream* ostream, std::vector<unsigned char>* vector,
                          NameCoding coding, unsigned long limit) {
  Close();
  Reset();
  stream_ = stream;
  ostream_ = ostream;
  vector_ = vector;
  coding_ = coding;
  const auto memory_coding = coding == ncUtf8   ? ArchiveFileStream::fncUtf8
                             : coding == ncAnsi ? ArchiveFileStream::fncAnsi
                                                : ArchiveFileStream::fncOem;
  auto staging = std::make_unique<ZipMemFileStream>(limit, memory_coding);
  staging_ = staging.get();
  out_ = std::move(staging);
  closed_ = false;
  return 0;
}

void Zip::Impl::Repack(const std::string& name, unsigned long long size) {
  const std::string broken = "Ошибка в архиве " + name + " !";
  std::unique_ptr<Channel> source;
  if (size >= StagingLimit()) {
    if (!kelm::port::CopyFileTo(name.c_str(), old_copy_.Name().c_str(), false)) {
      ThrowZip(TableCode(static_cast<int>(kelm::port::LastFileError())), broken);
    }
    source = FileChannel::Open(old_copy_.Name().c_str(), FileChannel::kRead);
  } else {
    auto file = FileChannel::Open(name.c_str(), FileChannel::kRead);
    old_archive_.resize(static_cast<std::size_t>(size));
    if (file == nullptr || file->Read(old_archive_.data(), static_cast<unsigned long>(size)) != size) {
      ThrowZip(TableCode(static_cast<int>(kelm::port::LastFileError())), broken);
    }
    source = std::make_unique<MemoryReader>(old_archive_.data(), old_archive_.size());
  }
  if (source == nullptr) ThrowZip(TableCode(static_cast<int>(kelm::port::LastFileError())), broken);
  Reader reader;
  if (reader.Open(std::move(source)) != Reader::Opened::kOk) ThrowZip(TableCode(reader.LastCode()), broken);

  Writer writer;
  auto target = FileChannel::Open(name.c_str(), FileChannel::kCreate);
  if (target == nullptr || !writer.Open(std::move(target), false)) {
    const int code = writer.GetChannel() != nullptr ? writer.LastCode()
                                                    : static_cast<int>(kelm::port::LastFileError());
    writer.Finish();
    Restore(name);
    ThrowZip(TableCode(code), "Ошибка инизиализации архива " + name + " !");
  }
  for (const Member& member : reader.Members()) {
    if (!writer.CopyRaw(reader, member)) {
      const int code = writer.LastCode();
      writer.Finish();
      Restore(name);
      ThrowZip(TableCode(code), broken);
    }
    names_.insert(member.name);
    central_ += 46 + member.stored_name.size() + member.central_extra.size() + member.comment.size() + 32;
  }
  if (!writer.Finish()) {
    const int code = writer.LastCode();
    Restore(name);
    ThrowZip(TableCode(code), broken);
  }
  old_archive_ = {};
  old_copy_.Remove();
}

// Writes the old archive back over a rebuild that failed.
void Zip::Impl::Restore(const std::string& name) {
  if (old_copy_.Exists()) {
    kelm::port::CopyFileTo(old_copy_.Name().c_str(), name.c_str(), false);
    return;
  }
  if (auto file = FileChannel::Open(name.c_str(), FileChannel::kCreate)) {
    file->Write(old_archive_.data(), static_cast<unsigned long>(old_archive_.size()));
  }
}

// --- Add ----------------------------------------------------------------------

bool Zip::Impl::Fits(unsigned long long size, const std::string& name) const {
  const StoredName stored = StoreName(name, FormOf(out_->Coding()));
  const unsigned long long need =
      staging_->Size() + MemberRoom(size, stored) + central_ + CentralRoom(stored) + kEndRoom;
  return need <= staging_->Limit();
}

bool Zip::Impl::Spill() {
  std::vector<unsigned char> bytes;
  if (!staging_->ToVector(bytes)) return false;
  {
    auto file = FileChannel::Open(spill_.Name().c_str(), FileChannel::kCreate);
    if (file == nullptr || file->Write(bytes.data(), static_cast<unsigned long>(bytes.size())) != bytes.size()) {
      return false;
    }
  }
  auto archive = std::make_unique<ZipFileStream>(coding_ == ncUtf8 ? ArchiveFileStream::fncUtf8
                                                                   : ArchiveFileStream::fncAnsi);
  if (!archive->Open(spill_.Name().c_str(), true)) return false;
  out_ = std::move(archive);
  staging_ = nullptr;
  spilled_ = true;
  return true;
}

int Zip::Impl::AddMember(const std::string& name, unsigned long long size, ZipTarget target, const Adder& add) {
  if (error_ != 0) return error_;
  if (closed_ || name.empty() || name.find('\0') != std::string::npos) return 3;
  if (names_.count(Listed(name)) != 0) return 3;
  if (staging_ != nullptr) {
    const bool fits = Fits(size, name);
    if (target == ztMemory && !fits) return 12;
    if (target == ztTempFile || (target == ztAuto && !fits)) {
      if (!Spill()) return error_ = 12;
      // Names are stored in another form from here on.
      if (names_.count(Listed(name)) != 0) return 3;
    }
  }
  const StoredName stored = StoreName(name, FormOf(out_->Coding()));
  if (!add(*out_, name.c_str())) return error_ = 12;
  names_.insert(ListedName(stored));
  central_ += CentralRoom(stored);
  return 0;
}

int Zip::Impl::AddFile(const char* file, const char* name_in_archive) {
  if (error_ != 0) return error_;
  if (file == nullptr) return 1;
  const std::string name = name_in_archive != nullptr ? name_in_archive : BareName(file);
  if (closed_) return 3;
  if (name.empty() || names_.count(Listed(name)) != 0) return 3;
  const unsigned long attributes = kelm::port::PathAttributes(file);
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return 1;
  if (!CanOpen(file, fmRead)) return 12;
  TimeStamp time;
  GetFileDateTime(file, fdtLastWrite, time, true);
  FastFStream source(kFilePage);
  source.Open(file, fmRead);
  return AddMember(name, source.Size(), ztAuto, [&](ZipFileStream& out, const char* stored) {
    return out.AddStream(source, stored, ArchiveFileStream::clDefault, time);
  });
}

int Zip::Impl::AddStream(Stream& stream, const std::string& name, ZipTarget target) {
  return AddMember(name, stream.Size(), target, [&stream](ZipFileStream& out, const char* stored) {
    return out.AddStream(stream, stored, ArchiveFileStream::clDefault);
  });
}

int Zip::Impl::AddData(const std::vector<unsigned char>& data, const std::string& name) {
  if (data.size() > UINT_MAX) return error_ != 0 ? error_ : 12;
  return AddMember(name, data.size(), ztAuto, [&data](ZipFileStream& out, const char* stored) {
    return out.AddFile(reinterpret_cast<const char*>(data.data()), static_cast<unsigned>(data.size()), stored,
                       ArchiveFileStream::clDefault);
  });
}

int Zip::Impl::AddIstream(std::istream& stream, const std::string& name) {
  if (error_ != 0) return error_;
  if (closed_) return 3;
  std::size_t room = kIstreamBuffer;
  if (staging_ != nullptr && staging_->Limit() > staging_->Size()) {
    room = static_cast<std::size_t>(std::min<unsigned long long>(room, staging_->Limit() - staging_->Size()));
  }
  // Up to `room` bytes in memory; a longer stream goes on into a temporary file.
  std::vector<char> head;
  std::vector<char> piece(64 * 1024);
  while (head.size() <= room && stream.read(piece.data(), static_cast<std::streamsize>(piece.size())).gcount() > 0) {
    head.insert(head.end(), piece.data(), piece.data() + stream.gcount());
  }
  if (head.size() <= room) {
    return AddMember(name, head.size(), ztAuto, [&head](ZipFileStream& out, const char* stored) {
      return out.AddFile(head, stored, ArchiveFileStream::clDefault);
    });
  }
  FastFStream rest(kFilePage);
  unsigned long long total = head.size();
  rest.Write(head.data(), static_cast<unsigned>(head.size()));
  while (stream.read(piece.data(), static_cast<std::streamsize>(piece.size())).gcount() > 0) {
    total += static_cast<unsigned long long>(stream.gcount());
    if (total > 0xFFFFFFFEull) return 12;  // beyond what an FStream holds
    rest.Write(piece.data(), static_cast<unsigned>(stream.gcount()));
  }
  return AddMember(name, total, ztAuto, [&rest](ZipFileStream& out, const char* stored) {
    return out.AddStream(rest, stored, ArchiveFileStream::clDefault);
  });
}

int Zip::Impl::AddEmptyDir(const std::string& name) {
  if (error_ != 0) return 12;
  if (closed_) return 3;
  std::string folder = name;
  if (!folder.empty() && folder.back() != '/' && folder.back() != '\\') folder += '/';
  if (staging_ != nullptr && !Spill()) return error_ = 12;
  return AddMember(folder, 0, ztAuto, [](ZipFileStream& out, const char* stored) { return out.AddDir(stored); });
}

// --- Close ----------------------------------------------------------------------

bool Zip::Impl::Deliver() {
  if (staging_ != nullptr) {
    if (vector_ != nullptr) return staging_->ToVector(*vector_);
    if (ostream_ != nullptr) return staging_->GetStream(*ostream_);
    return staging_->GetStream(*stream_);
  }
  if (!out_->Finish()) return false;
  if (vector_ != nullptr) vector_->clear();
  if (stream_ != nullptr) {
    stream_->Seek(0);
    stream_->Truncate();
  }
  return ReadFileInPieces(spill_.Name(), [this](const char* data, std::size_t n) {
    if (vector_ != nullptr) vector_->insert(vector_->end(), data, data + n);
    if (stream_ != nullptr) stream_->Write(data, static_cast<unsigned>(n));
    if (ostream_ != nullptr) ostream_->write(data, static_cast<std::streamsize>(n));
    return ostream_ == nullptr || static_cast<bool>(*ostream_);
  });
}

int Zip::Impl::Close() {
  if (closed_) return 0;
  closed_ = true;
  int result = error_;
  const bool memory_target = stream_ != nullptr || ostream_ != nullptr || vector_ != nullptr;
  if (result == 0 && !(memory_target ? Deliver() : out_->Finish())) result = 12;
  if (!memory_target) out_->Close(false);
  Reset();
  error_ = result;
  return result;
}

void Zip::Impl::Reset() {
  out_.reset();
  staging_ = nullptr;
  spilled_ = false;
  spill_.Remove();
  old_copy_.Remove();
  old_archive_ = {};
  names_.clear();
  central_ = 0;
  error_ = 0;
  closed_ = true;
  stream_ = nullptr;
  ostream_ = nullptr;
  vector_ = nullptr;
}

// --- Zip ------------------------------------------------------------------------

Zip::Zip() : impl_(std::make_unique<Impl>()) {}
Zip::Zip(Zip& other) : impl_(std::exchange(other.impl_, std::make_unique<Impl>())) {}
Zip::Zip(Zip&& other) : impl_(std::exchange(other.impl_, std::make_unique<Impl>())) {}
Zip::~Zip() = default;

Zip& Zip::operator=(Zip& other) {
  if (this != &other) impl_ = std::exchange(other.impl_, std::make_unique<Impl>());
  return *this;
}

Zip& Zip::operator=(Zip&& other) { return *this = other; }

int Zip::Init(const char* name, bool append, NameCoding coding) {
  return impl_->InitFile(name, append, coding);
}

int Zip::Init(Stream& stream, NameCoding coding, unsigned long limit) {
  return impl_->InitMemory(&stream, nullptr, nullptr, coding, limit);
}

int Zip::Init(std::ostream& stream, NameCoding coding, unsigned long limit) {
  return impl_->InitMemory(nullptr, &stream, nullptr, coding, limit);
}

int Zip::Init(std::vector<unsigned char>& data, NameCoding coding, unsigned long limit) {
  return impl_->InitMemory(nullptr, nullptr, &data, coding, limit);
}

int Zip::Add(const char* file, const char* nameInArchive) { return impl_->AddFile(file, nameInArchive); }

int Zip::Add(std::istream& stream, const std::string& name) { return impl_->AddIstream(stream, name); }

int Zip::Add(Stream& stream, const std::string& name, ZipTarget target) {
  return impl_->AddStream(stream, name, target);
}

int Zip::Add(const std::vector<unsigned char>& data, const std::string& name) { return impl_->AddData(data, name); }

int Zip::AddEmptyDir(const std::string& name) { return impl_->AddEmptyDir(name); }

int Zip::Close() { return impl_->Close(); }
