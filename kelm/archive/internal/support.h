// What the archive classes share besides minizip: the staging limit, their
// temporary files and the way they raise ZipException.
#ifndef KELM_ARCHIVE_INTERNAL_SUPPORT_H_
#define KELM_ARCHIVE_INTERNAL_SUPPORT_H_

#include <cstddef>
#include <functional>
#include <string>

class Stream;

namespace kelm::archive::internal {

// The most bytes staged in memory: 90 % of the physical memory the system
// has available now, at most 1 GiB (1 GiB when the system does not tell).
unsigned long long StagingLimit();

// Raises ZipException(code) with `text` as it is (no printf conversions).
[[noreturn]] void ThrowZip(int code, const std::string& text);

// The return code for a failure that the archive library reports with
// `library_code`: 2 for its error 2, 12 for any other.
int TableCode(int library_code);

// Hands the stream's bytes from offset 0, Size() of them, to `sink` buffer by
// buffer (Update with utCopy); false when `sink` refuses a piece or the
// stream ends early. The stream's position is kept.
bool ForEachPiece(Stream& stream, const std::function<bool(const char*, std::size_t)>& sink);

// Hands the bytes of file `name` to `sink` piece by piece; false when the
// file cannot be read or `sink` refuses a piece.
bool ReadFileInPieces(const std::string& name, const std::function<bool(const char*, std::size_t)>& sink);

// A temporary file "kla<hex>.tmp" in the system's temporary folder, made on
// first use and removed when the object goes (or by Remove).
class TempFile {
 public:
  TempFile() = default;
  ~TempFile() { Remove(); }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  // The file's name; the file is made when there is none yet. When none can
  // be made: ZipException(1, "Не удалось создать временный файл в папке ...").
  const std::string& Name();
  bool Exists() const { return !name_.empty(); }
  void Remove();

 private:
  std::string name_;
};

}  // namespace kelm::archive::internal

#endif  // KELM_ARCHIVE_INTERNAL_SUPPORT_H_
