#include "kelm/archive/internal/support.h"

#include <algorithm>
#include <vector>

#include "kelm/archive/internal/io_channel.h"
#include "kelm/frame/exceptions.h"
#include "kelm/port/file.h"
#include "kelm/port/memory.h"
#include "kelm/streams/stream.h"

namespace kelm::archive::internal {

unsigned long long StagingLimit() {
  constexpr unsigned long long kCap = 0x40000000;
  unsigned long long available = 0;
  if (!kelm::port::AvailablePhysicalMemory(&available)) return kCap;
  return std::min(available / 10 * 9, kCap);
}

void ThrowZip(int code, const std::string& text) {
  // ZipException formats its text with the code alone: '%' must stay a '%'.
  std::string format;
  for (const char c : text) {
    format += c;
    if (c == '%') format += '%';
  }
  throw ZipException(code, format.c_str());
}

int TableCode(int library_code) { return library_code == 2 ? 2 : 12; }

bool ForEachPiece(Stream& stream, const std::function<bool(const char*, std::size_t)>& sink) {
  const unsigned long size = stream.Size();
  const unsigned long keep = stream.CurPos();
  unsigned long offset = 0;
  bool complete = true;
  while (offset < size) {
    if (stream.Update(offset, Stream::utCopy) <= 0) {
      complete = false;
      break;
    }
    const unsigned long k = std::min<unsigned long>(static_cast<unsigned long>(stream.GetBufLen()), size - offset);
    if (!sink(stream.GetBuf(), k)) {
      complete = false;
      break;
    }
    offset += k;
  }
  stream.Seek(keep);
  return complete;
}

bool ReadFileInPieces(const std::string& name, const std::function<bool(const char*, std::size_t)>& sink) {
  auto file = FileChannel::Open(name.c_str(), FileChannel::kRead);
  if (file == nullptr) return false;
  std::vector<char> buffer(256 * 1024);
  for (;;) {
    const unsigned long n = file->Read(buffer.data(), static_cast<unsigned long>(buffer.size()));
    if (n > 0 && !sink(buffer.data(), n)) return false;
    if (n < buffer.size()) return !file->Failed();
  }
}

const std::string& TempFile::Name() {
  if (name_.empty()) {
    const std::string folder = kelm::port::TempFolder();
    if (!kelm::port::MakeTempFile(folder.c_str(), "kla", &name_)) {
      name_.clear();
      ThrowZip(1, "Не удалось создать временный файл в папке " + folder +
                      " \nВозможно нужно почистить эту папку, удалив ненужные файлы.");
    }
  }
  return name_;
}

void TempFile::Remove() {
  if (name_.empty()) return;
  kelm::port::RemoveFile(name_.c_str());
  name_.clear();
}

}  // namespace kelm::archive::internal
