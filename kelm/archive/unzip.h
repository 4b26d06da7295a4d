// UnZip reads a ZIP archive from a file, a standard input stream, a Stream or
// memory, lists its members and extracts them into a folder, a stream or a
// vector. Member names are Windows-1251 (see archive_file_stream.h).
//
//   UnZip unzip;
//   unzip.Init("C:\\in\\report.zip");          // throws ZipException on failure
//   for (const std::string& name : unzip.ItemList()) puts(name.c_str());
//   unzip.ExtractAll("C:\\out", false);
//
// Failures are raised as ZipException with a Russian text; the code is 1
// (no archive file; ExtractAll on a closed archive), 3 (the target file
// exists and overwriting is not allowed), 7 (reading from a closed archive),
// 2 (the archive library's error 2) or 12 (any other failure, refused names
// included). A failed Init keeps its code: afterwards Extract answers 0 at
// once without extracting anything, and the other members answer the code.
//
// Safety. Nothing is written outside the target folder of Extract and
// ExtractAll. Refused, with code 12 and "Недопустимое имя файла в архиве:
// <name>. Распаковка за пределы каталога <folder> запрещена!", are names
// (with "\" taken as "/") that
// - are empty, or hold a control byte (0x00..0x1F, 0x7F);
// - begin with "/" (absolute, and UNC "//server/share");
// - hold ":" (drive letters "C:", and alternate data streams "file:stream");
// - have a component made only of dots and blanks other than "." (so "..",
//   and "...", ". ." and ".. ", which Windows reads as ".." or ".");
// - have a component that Windows opens as a device in any folder: CON,
//   PRN, AUX, NUL, CONIN$, CONOUT$, COM1..COM9, LPT1..LPT9, with any
//   extension and in any case.
// A path that would pass through a symbolic link or junction already present
// below the target folder (or be one) is refused as well (code 12, "Путь
// <path> проходит через символическую ссылку. Распаковка за пределы каталога
// <folder> запрещена!"); links are never made. ExtractAll checks every
// member's name and path before it writes anything: an archive with one
// refused member extracts nothing, and the exception names the first one.
//
// Hostile archives cannot make a reader crash, hang or allocate without
// bound: a member's bytes never take more memory than its compressed bytes
// can produce (whatever size the archive records), fewer bytes than recorded
// or a wrong CRC are failures, and encrypted members are refused ("Файл
// <name> в архиве зашифрован: распаковка зашифрованных файлов не
// поддерживается!"). A failed extraction into a folder leaves no file.
//
// Copying an UnZip transfers its state: the source is left closed and empty.
#ifndef KELM_ARCHIVE_UNZIP_H_
#define KELM_ARCHIVE_UNZIP_H_

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "kelm/archive/zip.h"

class Stream;

class UnZip {
 public:
  UnZip();
  UnZip(UnZip& other);
  UnZip(UnZip&& other);
  UnZip& operator=(UnZip& other);
  UnZip& operator=(UnZip&& other);
  // Close; a failure there is not raised.
  virtual ~UnZip();

  // Each closes an open archive first. A missing file raises
  // ZipException(1, "Файл <name> не найден!"); an archive that cannot be
  // opened "Ошибка в архиве <name> !"; one whose member count or list
  // cannot be read "Ошибка получения количества файлов в архиве!" or "Не
  // удалось извлечь список файлов в архиве!". `mode` gives the sharing bits
  // of an OpenStreamFile mode (fmShareNone, fmDenyWrite, fmDenyRead,
  // fmDeleteOnClose) for reading the file; the other form shares reading
  // and writing.
  int Init(const char* name);
  int Init(const char* name, unsigned mode);
  // The bytes (all of them, or the rest of the std::istream) are copied:
  // into memory below the staging limit (90 % of the available physical
  // memory, at most 1 GiB), else into a temporary file "kla<hex>.tmp".
  int Init(std::istream& stream);
  int Init(Stream& stream);
  int Init(const std::vector<unsigned char>& data);

  // The member names in archive order.
  const std::vector<std::string>& ItemList() const;

  // Extracts member `name` into `dir` + separator + `name` ("/" and "\" in
  // the name become folders; a null or empty `dir` is the current folder),
  // making the folders needed; a folder member
  // ("…/") makes its folder. Raised: code 7 on a closed archive; "В архиве
  // файл <name> не найден!"; 3 "Файл <target> уже существует. Перезапись
  // запрещена!" for an existing file without `overwrite`; "Не удалось
  // перейти в директорию <target> уже существует. Перезапись запрещена!"
  // (the text joins two messages so) when the folders cannot be made; "Не
  // удалось распаковать файл <name>" when the member cannot be written out
  // (no file is left then). The file gets the member's recorded time.
  int Extract(const char* dir, const std::string& name, bool overwrite);
  // The member's bytes are verified before the target receives any: they
  // are unpacked in memory (ztMemory), through the object's temporary file
  // (ztTempFile), or by size (ztAuto: in memory below the staging limit).
  // A Stream's content is replaced; a std::ostream is written at its
  // position.
  int Extract(std::ostream& stream, const std::string& name, ZipTarget target = ztAuto);
  int Extract(Stream& stream, const std::string& name, ZipTarget target = ztAuto);
  // The vector is replaced by the member's bytes (emptied on failure).
  int Extract(std::vector<unsigned char>& data, const std::string& name);
  // Every member, in list order, as Extract(dir, name, overwrite) does,
  // after the check of all names and paths described above. On a closed
  // archive: ZipException(1, "Попытка извлечения данных в директорию <dir>
  // из закрытого архива!").
  int ExtractAll(const char* dir, bool overwrite);
  // The check ExtractAll makes first, for callers that extract member by
  // member: raises its ZipException for the first refused name or path.
  void CheckNames(const char* dir) const;

  // 0 when already closed; a failure of minizip to close raises "Ошибка
  // закрытия архива!". Temporary files go.
  int Close();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

// Whether the stream begins with "PK" (at least 2 bytes). The stream is left
// at 0.
bool IsZipStream(Stream& stream);

#endif  // KELM_ARCHIVE_UNZIP_H_
