#include "kelm/archive/archive_file_stream.h"

#include "kelm/archive/internal/support.h"
#include "kelm/frame/errors.h"
#include "kelm/port/file.h"
#include "kelm/streams/fstream.h"

namespace {

constexpr unsigned kShareBits = fmShareNone | fmDenyWrite | fmDenyRead | fmDeleteOnClose;

// A new temporary file "kla<hex>.tmp"; none to be had is raised.
std::string MakeTempName() {
  const std::string folder = kelm::port::TempFolder();
  std::string name;
  if (!kelm::port::MakeTempFile(folder.c_str(), "kla", &name)) {
    Error("Не удалось создать временный файл в папке %s.\nВозможно нужно почистить эту папку, удалив ненужные файлы.",
          folder.c_str());
  }
  return name;
}

}  // namespace

// --- ArchiveFileStream --------------------------------------------------------

bool ArchiveFileStream::Open(const char* name, bool append) {
  // Closed here rather than in DoOpen, before the new name is made: closing
  // deletes a temporary file and clears the name.
  if (IsOpened() || !name_.empty()) Close(true);
  if (name == nullptr || *name == '\0') {
    name_ = MakeTempName();
    temp_ = true;
  } else {
    name_ = name;
  }
  if (DoOpen(name_.c_str(), append)) return true;
  if (temp_) kelm::port::RemoveFile(name_.c_str());
  name_.clear();
  temp_ = false;
  return false;
}

void ArchiveFileStream::Close(bool remove) {
  DoClose();
  if (remove && temp_) kelm::port::RemoveFile(name_.c_str());
  name_.clear();
  temp_ = false;
}

bool ArchiveFileStream::AddFile(const char* file, const char* name, CompressionLevel level) {
  FStream stream(file, fmRead | fmWrite);
  return AddStream(stream, name, level);
}

int ArchiveFileStream::ZlibLevel(CompressionLevel level) {
  switch (level) {
    case clStored: return 0;
    case clFastest: return 1;
    case clBest: return 9;
    default: return -1;
  }
}

// --- DeArchiveFile -------------------------------------------------------------

void DeArchiveFile::Close(bool remove) {
  DoClose();
  if (remove && temp_) kelm::port::RemoveFile(name_.c_str());
  name_.clear();
  temp_ = false;
}

bool DeArchiveFile::Open(const char* name) { return Open(name, 0); }

bool DeArchiveFile::Open(const char* name, unsigned mode) {
  Close(true);
  error_.clear();
  name_ = name != nullptr ? name : "";
  mode_ = mode & kShareBits;
  return DoOpen(name_.c_str());
}

bool DeArchiveFile::Open(Stream& stream) {
  Close(true);
  error_.clear();
  mode_ = 0;
  name_ = MakeTempName();
  temp_ = true;
  HANDLE file = kelm::port::OpenFileHandle(
      name_.c_str(), {.read = true, .write = true, .disposition = kelm::port::FileDisposition::kCreateAlways});
  bool copied = file != INVALID_HANDLE_VALUE && kelm::archive::internal::ForEachPiece(stream, [file](const char* data, std::size_t n) {
    unsigned long done = 0;
    return kelm::port::WriteFileData(file, data, static_cast<unsigned long>(n), &done) && done == n;
  });
  if (file != INVALID_HANDLE_VALUE) copied = kelm::port::CloseFileHandle(file) && copied;
  if (!copied) {
    error_ = "Не удалось создать временный файл в папке " + kelm::port::TempFolder() +
             ".\nВозможно нужно почистить эту папку, удалив ненужные файлы.";
  } else if (DoOpen(name_.c_str())) {
    return true;
  }
  Close(true);
  return false;
}

bool DeArchiveFile::Open(const std::vector<char>& data) {
  Close(true);
  error_.clear();
  mode_ = 0;
  return DoOpenMemory(std::vector<unsigned char>(data.begin(), data.end()));
}
