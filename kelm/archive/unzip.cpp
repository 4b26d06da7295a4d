#include "kelm/archive/unzip.h"

#include <istream>
#include <ostream>
#include <utility>

#include "kelm/archive/internal/member_name.h"
#include "kelm/archive/internal/support.h"
#include "kelm/archive/internal/zip_reader.h"
#include "kelm/datetime/time_stamp.h"
#include "kelm/files/file_utils.h"
#include "kelm/frame/exceptions.h"
#include "kelm/port/file.h"
#include "kelm/port/path.h"
#include "kelm/streams/stream.h"

namespace {

using namespace kelm::archive::internal;

constexpr std::size_t kFilePiece = 256 * 1024;

using Sink = std::function<bool(const char*, std::size_t)>;
// Hands bytes to a sink; false when the sink refused some.
using Producer = std::function<bool(const Sink&)>;

bool IsLink(const std::string& path) {
  const unsigned long attributes = kelm::port::PathAttributes(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool IsDirectory(const std::string& path) {
  const unsigned long attributes = kelm::port::PathAttributes(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// `name` with "/" and "\" as the platform's separator.
std::string NativeName(const std::string& name) {
  std::string native = name;
  for (char& c : native) {
    if (kelm::port::IsPathSeparator(c)) c = kelm::port::kPathSeparator;
  }
  return native;
}

}  // namespace

class UnZip::Impl {
 public:
  ~Impl() { Release(); }

  void Open(std::unique_ptr<Channel> channel, const std::string& name);
  void Opened(std::vector<unsigned char>&& bytes, const std::string& name);
  void Stage(const Producer& produce, const std::string& name);
  // Throws code 7 when closed; the member, or "... не найден!".
  const Member& Locate(const std::string& name) const;
  void CheckPath(const char* dir, const std::string& name) const;
  void ExtractToFolder(const char* dir, const std::string& name, bool overwrite);
  // Unpacks the member where `target` says, then `deliver` passes the
  // bytes on; false from it is a failure of the extraction.
  void ExtractStaged(const std::string& name, ZipTarget target, const std::function<bool(const Producer&)>& deliver);
  void ExtractToMemory(std::vector<unsigned char>& data, const std::string& name);
  // Raises the failure of extracting `name` with `status`.
  [[noreturn]] void Unpacked(Reader::Status status, const std::string& name) const;
  int Close();
  void Release();

  mutable Reader reader_;
  std::vector<std::string> names_;
  bool closed_ = true;
  int error_ = 0;
  std::vector<unsigned char> memory_;  // the archive, when it is read from memory
  TempFile archive_copy_;             // the archive, when it is staged in a file
  TempFile staging_;                  // a member on its way to a stream
};

// --- Init -------------------------------------------------------------------------

void UnZip::Impl::Open(std::unique_ptr<Channel> channel, const std::string& name) {
  switch (reader_.Open(std::move(channel))) {
    case Reader::Opened::kOk: break;
    case Reader::Opened::kNoCount:
      ThrowZip(TableCode(reader_.LastCode()), "Ошибка получения количества файлов в архиве!");
    case Reader::Opened::kNoList:
      ThrowZip(TableCode(reader_.LastCode()), "Не удалось извлечь список файлов в архиве!");
    default: ThrowZip(TableCode(reader_.LastCode()), "Ошибка в архиве " + name + " !");
  }
  names_.clear();
  for (const Member& member : reader_.Members()) names_.push_back(member.name);
  closed_ = false;
}

void UnZip::Impl::Opened(std::vector<unsigned char>&& bytes, const std::string& name) {
  memory_ = std::move(bytes);
  Open(std::make_unique<MemoryReader>(memory_.data(), memory_.size()), name);
}

// Copies what `produce` hands over into memory, or into a temporary file
// once it passes the staging limit, and opens the archive there.
void UnZip::Impl::Stage(const Producer& produce, const std::string& name) {
  const unsigned long long limit = StagingLimit();
  std::vector<unsigned char> bytes;
  std::unique_ptr<FileChannel> file;
  const bool copied = produce([&](const char* data, std::size_t n) {
    if (file == nullptr && bytes.size() + n > limit) {
      file = FileChannel::Open(archive_copy_.Name().c_str(), FileChannel::kCreate);
      if (file == nullptr || file->Write(bytes.data(), static_cast<unsigned long>(bytes.size())) != bytes.size()) {
        return false;
      }
      bytes = {};
    }
    if (file != nullptr) return file->Write(data, static_cast<unsigned long>(n)) == n;
    bytes.insert(bytes.end(), data, data + n);
    return true;
  });
  if (!copied) ThrowZip(12, "Ошибка в архиве " + name + " !");
  if (file == nullptr) return Opened(std::move(bytes), name);
  file->Seek(0);
  Open(std::move(file), name);
}

// --- Extract ----------------------------------------------------------------------

const Member& UnZip::Impl::Locate(const std::string& name) const {
  if (closed_) ThrowZip(7, "Попытка чтения файла " + name + " из закрытого архива!");
  const Member* member = reader_.Find(name);
  if (member == nullptr) ThrowZip(TableCode(UNZ_END_OF_LIST_OF_FILE), "В архиве файл " + name + " не найден!");
  return *member;
}

void UnZip::Impl::Unpacked(Reader::Status status, const std::string& name) const {
  if (status == Reader::Status::kEncrypted) {
    ThrowZip(12, "Файл " + name + " в архиве зашифрован: распаковка зашифрованных файлов не поддерживается!");
  }
  ThrowZip(TableCode(reader_.LastCode()), "Не удалось распаковать файл " + name);
}

// Refuses a name that would leave `dir`, and a path that passes through a
// link below it.
void UnZip::Impl::CheckPath(const char* dir, const std::string& name) const {
  if (!IsSafeName(name)) {
    ThrowZip(12, "Недопустимое имя файла в архиве: " + ShownName(name) + ". Распаковка за пределы каталога " +
                     dir + " запрещена!");
  }
  std::string path = dir;
  const std::string native = NativeName(name);
  std::size_t start = 0;
  while (start < native.size()) {
    std::size_t end = native.find(kelm::port::kPathSeparator, start);
    if (end == std::string::npos) end = native.size();
    path += kelm::port::kPathSeparator + native.substr(start, end - start);
    if (IsLink(path)) {
      ThrowZip(12, "Путь " + path + " проходит через символическую ссылку. Распаковка за пределы каталога " + dir +
                       " запрещена!");
    }
    start = end + 1;
  }
}

void UnZip::Impl::ExtractToFolder(const char* dir, const std::string& name, bool overwrite) {
  const Member& member = Locate(name);
  CheckPath(dir, name);
  const std::string target = std::string(dir) + kelm::port::kPathSeparator + NativeName(name);
  try {
    MakePath((std::string(dir) + kelm::port::kPathSeparator).c_str());
    if (member.IsDirectory()) {
      MakePath(target.c_str());
      return;
    }
  } catch (const ZipException&) {
    throw;
  } catch (const AException&) {
    ThrowZip(12, "Не удалось перейти в директорию " + target + " уже существует. Перезапись запрещена!");
  }
  if (kelm::port::PathAttributes(target.c_str()) != INVALID_FILE_ATTRIBUTES && !overwrite) {
    ThrowZip(3, "Файл " + target + " уже существует. Перезапись запрещена!");
  }
  try {
    MakePath(target.c_str());
  } catch (const AException&) {
    ThrowZip(12, "Не удалось перейти в директорию " + target + " уже существует. Перезапись запрещена!");
  }
  if (IsDirectory(target)) ThrowZip(12, "Не удалось распаковать файл " + name);
  auto file = FileChannel::Open(target.c_str(), FileChannel::kCreate);
  if (file == nullptr) ThrowZip(TableCode(static_cast<int>(kelm::port::LastFileError())), "Не удалось распаковать файл " + name);
  const Reader::Status status = reader_.Unpack(member, kFilePiece, [&file](const char* data, std::size_t n) {
    return file->Write(data, static_cast<unsigned long>(n)) == n;
  });
  const bool closed = file->Close();
  if (status != Reader::Status::kOk || !closed) {
    kelm::port::RemoveFile(target.c_str());
    if (status == Reader::Status::kWrite || status == Reader::Status::kOk) {
      ThrowZip(TableCode(static_cast<int>(file->SystemError())), "Не удалось распаковать файл " + name);
    }
    Unpacked(status, name);
  }
  TimeStamp time(static_cast<int>(member.time.tm_year), static_cast<int>(member.time.tm_mon) + 1,
                 static_cast<int>(member.time.tm_mday), static_cast<int>(member.time.tm_hour),
                 static_cast<int>(member.time.tm_min), static_cast<int>(member.time.tm_sec));
  SetFileDateTime(target.c_str(), fdtLastWrite, time, true);
}

void UnZip::Impl::ExtractStaged(const std::string& name, ZipTarget target,
                                const std::function<bool(const Producer&)>& deliver) {
  const Member& member = Locate(name);
  const bool in_memory = target == ztMemory || (target == ztAuto && member.size < StagingLimit());
  if (in_memory) {
    std::vector<char> bytes;
    const Reader::Status status = reader_.UnpackToMemory(member, [&bytes](std::size_t size) {
      bytes.resize(size);
      return bytes.data();
    });
    if (status != Reader::Status::kOk) Unpacked(status, name);
    if (!deliver([&bytes](const Sink& sink) { return bytes.empty() || sink(bytes.data(), bytes.size()); })) {
      Unpacked(Reader::Status::kWrite, name);
    }
    return;
  }
  {
    auto file = FileChannel::Open(staging_.Name().c_str(), FileChannel::kCreate);
    if (file == nullptr) Unpacked(Reader::Status::kWrite, name);
    const Reader::Status status = reader_.Unpack(member, kFilePiece, [&file](const char* data, std::size_t n) {
      return file->Write(data, static_cast<unsigned long>(n)) == n;
    });
    if (status != Reader::Status::kOk) {
      file.reset();
      staging_.Remove();
      Unpacked(status, name);
    }
  }
  const bool delivered = deliver([this](const Sink& sink) { return ReadFileInPieces(staging_.Name(), sink); });
  staging_.Remove();
  if (!delivered) Unpacked(Reader::Status::kWrite, name);
}

void UnZip::Impl::ExtractToMemory(std::vector<unsigned char>& data, const std::string& name) {
  data.clear();
  const Member& member = Locate(name);
  const Reader::Status status = reader_.UnpackToMemory(member, [&data](std::size_t size) {
    data.resize(size);
    return reinterpret_cast<char*>(data.data());
  });
  if (status != Reader::Status::kOk) {
    data.clear();
    Unpacked(status, name);
  }
}

// --- Close ------------------------------------------------------------------------

int UnZip::Impl::Close() {
  if (closed_) return 0;
  closed_ = true;
  const bool closed = reader_.Close();
  Release();
  if (!closed) ThrowZip(12, "Ошибка закрытия архива!");
  return 0;
}

void UnZip::Impl::Release() {
  reader_.Close();
  closed_ = true;
  names_.clear();
  memory_ = {};
  archive_copy_.Remove();
  staging_.Remove();
}

// --- UnZip ------------------------------------------------------------------------

UnZip::UnZip() : impl_(std::make_unique<Impl>()) {}
UnZip::UnZip(UnZip& other) : impl_(std::exchange(other.impl_, std::make_unique<Impl>())) {}
UnZip::UnZip(UnZip&& other) : impl_(std::exchange(other.impl_, std::make_unique<Impl>())) {}
UnZip::~UnZip() = default;

UnZip& UnZip::operator=(UnZip& other) {
  if (this != &other) impl_ = std::exchange(other.impl_, std::make_unique<Impl>());
  return *this;
}

UnZip& UnZip::operator=(UnZip&& other) { return *this = other; }

namespace {

// Runs one Init: the previous archive goes first, a failure is kept.
template <class F>
int Initialize(UnZip& unzip, int& error, F&& open) {
  unzip.Close();
  error = 0;
  try {
    open();
  } catch (const ZipException& e) {
    error = e.Code();
    throw;
  }
  return 0;
}

}  // namespace

int UnZip::Init(const char* name) { return Init(name, 0); }

int UnZip::Init(const char* name, unsigned mode) {
  return Initialize(*this, impl_->error_, [&] {
    const std::string text = name != nullptr ? name : "";
    const unsigned long attributes = kelm::port::PathAttributes(text.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      ThrowZip(1, "Файл " + text + " не найден!");
    }
    auto file = FileChannel::Open(text.c_str(), FileChannel::kRead, mode);
    if (file == nullptr) ThrowZip(TableCode(static_cast<int>(kelm::port::LastFileError())), "Ошибка в архиве " + text + " !");
    impl_->Open(std::move(file), text);
  });
}

int UnZip::Init(std::istream& stream) {
  return Initialize(*this, impl_->error_, [&] {
    impl_->Stage(
        [&stream](const Sink& sink) {
          std::vector<char> piece(64 * 1024);
          while (stream.read(piece.data(), static_cast<std::streamsize>(piece.size())).gcount() > 0) {
            if (!sink(piece.data(), static_cast<std::size_t>(stream.gcount()))) return false;
          }
          return true;
        },
        "");
  });
}

int UnZip::Init(Stream& stream) {
  return Initialize(*this, impl_->error_,
                    [&] { impl_->Stage([&stream](const Sink& sink) { return ForEachPiece(stream, sink); }, ""); });
}

int UnZip::Init(const std::vector<unsigned char>& data) {
  return Initialize(*this, impl_->error_, [&] { impl_->Opened(std::vector<unsigned char>(data), ""); });
}

const std::vector<std::string>& UnZip::ItemList() const { return impl_->names_; }

int UnZip::Extract(const char* dir, const std::string& name, bool overwrite) {
  if (impl_->error_ != 0) return 0;
  impl_->ExtractToFolder(dir != nullptr && *dir != '\0' ? dir : ".", name, overwrite);
  return 0;
}

int UnZip::Extract(std::ostream& stream, const std::string& name, ZipTarget target) {
  if (impl_->error_ != 0) return impl_->error_;
  impl_->ExtractStaged(name, target, [&stream](const Producer& produce) {
    return produce([&stream](const char* data, std::size_t n) {
      stream.write(data, static_cast<std::streamsize>(n));
      return static_cast<bool>(stream);
    });
  });
  return 0;
}

int UnZip::Extract(Stream& stream, const std::string& name, ZipTarget target) {
  if (impl_->error_ != 0) return impl_->error_;
  impl_->ExtractStaged(name, target, [&stream](const Producer& produce) {
    stream.Seek(0);
    stream.Truncate();
    return produce([&stream](const char* data, std::size_t n) {
      stream.Write(data, static_cast<unsigned>(n));
      return true;
    });
  });
  return 0;
}

int UnZip::Extract(std::vector<unsigned char>& data, const std::string& name) {
  if (impl_->error_ != 0) return impl_->error_;
  impl_->ExtractToMemory(data, name);
  return 0;
}

int UnZip::ExtractAll(const char* dir, bool overwrite) {
  if (impl_->error_ != 0) return impl_->error_;
  const std::string given = dir != nullptr ? dir : "";
  const std::string folder = given.empty() ? "." : given;
  if (impl_->closed_) ThrowZip(1, "Попытка извлечения данных в директорию " + given + " из закрытого архива!");
  CheckNames(folder.c_str());
  for (const std::string& name : impl_->names_) Extract(folder.c_str(), name, overwrite);
  return 0;
}

void UnZip::CheckNames(const char* dir) const {
  const std::string folder = dir != nullptr && *dir != '\0' ? dir : ".";
  for (const std::string& name : impl_->names_) impl_->CheckPath(folder.c_str(), name);
}

int UnZip::Close() { return impl_->Close(); }

bool IsZipStream(Stream& stream) {
  stream.Seek(0);
  if (stream.Size() < 2) return false;
  char magic[2];
  stream.Read(magic, 2);
  stream.Seek(0);
  return magic[0] == 'P' && magic[1] == 'K';
}
