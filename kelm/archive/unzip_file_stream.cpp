#include "kelm/archive/unzip_file_stream.h"

#include "kelm/archive/internal/zip_reader.h"
#include "kelm/port/file.h"
#include "kelm/streams/fstream.h"

using kelm::archive::internal::Channel;
using kelm::archive::internal::FileChannel;
using kelm::archive::internal::MemoryReader;
using kelm::archive::internal::Reader;

namespace {

constexpr std::size_t kPiece = 10240;
constexpr char kScratchName[] = "check.tmp";
constexpr unsigned kScratchMode = 163;  // read, write, open or create, create anew
constexpr char kNotFound[] = "Не удалось найти файл в архиве!";
constexpr char kNotOpen[] = "Ошибка при обработке архива!";

const char* StatusText(Reader::Status status) {
  switch (status) {
    case Reader::Status::kEncrypted:
      return "Файл в архиве зашифрован: распаковка зашифрованных файлов не поддерживается!";
    case Reader::Status::kUnsupported: return "Ошибка при открытии файла в архиве!";
    case Reader::Status::kOpen: return "Ошибка при открытии архивного файла!";
    case Reader::Status::kSize: return "Ошибка при распаковке архива!";
    case Reader::Status::kCrc: return "Ошибка контрольной суммы!";
    case Reader::Status::kNoMemory: return "Ошибка чтения буфера данных для распаковки!";
    default: return "Ошибка при чтении файла в архиве!";
  }
}

}  // namespace

UnZipFileStream::UnZipFileStream() : reader_(std::make_unique<Reader>()) {}

UnZipFileStream::~UnZipFileStream() { Close(true); }

bool UnZipFileStream::IsOpened() { return reader_->IsOpen(); }

bool UnZipFileStream::OpenChannel(std::unique_ptr<Channel> channel, const std::string& name) {
  switch (reader_->Open(std::move(channel))) {
    case Reader::Opened::kOk:
      CreateFilesList();
      return true;
    case Reader::Opened::kNoCount: SetError("Ошибка получения количества файлов в архиве!"); break;
    case Reader::Opened::kNoList: SetError("Не удалось извлечь список файлов в архиве!"); break;
    default: SetError("Ошибка в архиве " + name + " !"); break;
  }
  DoClose();
  return false;
}

bool UnZipFileStream::DoOpen(const char* name) {
  DoClose();
  const unsigned long attributes = kelm::port::PathAttributes(name);
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    SetError(std::string("Файл ") + name + " не найден!");
    return false;
  }
  auto channel = FileChannel::Open(name, FileChannel::kRead, OpenMode());
  if (channel == nullptr) {
    SetError(std::string("Ошибка в архиве ") + name + " !");
    return false;
  }
  return OpenChannel(std::move(channel), name);
}

bool UnZipFileStream::DoOpenMemory(std::vector<unsigned char>&& data) {
  DoClose();
  memory_ = std::move(data);
  return OpenChannel(std::make_unique<MemoryReader>(memory_.data(), memory_.size()), "");
}

void UnZipFileStream::DoClose() {
  reader_->Close();
  memory_.clear();
  files_.clear();
}

void UnZipFileStream::CreateFilesList() {
  files_.clear();
  files_.reserve(reader_->Members().size());
  for (const auto& member : reader_->Members()) files_.push_back(member.name);
}

bool UnZipFileStream::Extract(std::size_t index, Stream& stream) {
  const auto status = reader_->Unpack(reader_->Members()[index], kPiece, [&stream](const char* data, std::size_t n) {
    stream.Write(data, static_cast<unsigned>(n));
    return true;
  });
  if (status == Reader::Status::kOk) return true;
  SetError(StatusText(status));
  return false;
}

bool UnZipFileStream::ExtractFile(const char* name, Stream& stream) {
  stream.Clear();
  if (!IsOpened()) {
    SetError(kNotOpen);
    return false;
  }
  const auto* member = name != nullptr ? reader_->Find(name) : nullptr;
  if (member == nullptr) {
    SetError(kNotFound);
    return false;
  }
  return Extract(static_cast<std::size_t>(member - reader_->Members().data()), stream);
}

bool UnZipFileStream::ExtractFile(const char* name, std::vector<char>& data) {
  data.clear();
  if (!IsOpened()) {
    SetError(kNotOpen);
    return false;
  }
  const auto* member = name != nullptr ? reader_->Find(name) : nullptr;
  if (member == nullptr) {
    SetError(kNotFound);
    return false;
  }
  const auto status = reader_->UnpackToMemory(*member, [&data](std::size_t size) {
    data.resize(size);
    return data.data();
  });
  if (status == Reader::Status::kOk) return true;
  data.clear();
  SetError(StatusText(status));
  return false;
}

bool UnZipFileStream::CheckFile() {
  if (!IsOpened()) {
    SetError(kNotOpen);
    return false;
  }
  bool sound = true;
  {
    FStream scratch(kScratchName, kScratchMode);
    // By position, so that a second member of the same name is checked too.
    for (std::size_t i = 0; sound && i < reader_->Members().size(); ++i) {
      scratch.Clear();
      sound = Extract(i, scratch);
    }
  }
  if (CanOpen(kScratchName, fmRead)) kelm::port::RemoveFile(kScratchName);
  return sound;
}

bool UnZipFileStream::GetArcFileDateTime(const char*, FileDateTimeType, TimeStamp&) { return false; }

std::vector<ArchiveMember> UnZipFileStream::Members() const {
  std::vector<ArchiveMember> members;
  members.reserve(reader_->Members().size());
  for (const auto& m : reader_->Members()) {
    members.push_back({m.name, m.size, m.packed,
                       TimeStamp(static_cast<int>(m.time.tm_year), static_cast<int>(m.time.tm_mon) + 1,
                                 static_cast<int>(m.time.tm_mday), static_cast<int>(m.time.tm_hour),
                                 static_cast<int>(m.time.tm_min), static_cast<int>(m.time.tm_sec)),
                       m.crc, m.IsDirectory(), m.IsEncrypted()});
  }
  return members;
}
