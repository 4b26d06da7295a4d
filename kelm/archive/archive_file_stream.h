// Archive file streams: ArchiveFileStream, an archive being written, and
// DeArchiveFile, an archive being read. Their ZIP forms are ZipFileStream,
// ZipMemFileStream (zip_file_stream.h) and UnZipFileStream
// (unzip_file_stream.h).
//
//   ZipFileStream zip;                                 // names in code page 866
//   zip.Open("out.zip", false);
//   zip.AddFile("C:\\data\\report.txt", "отчёт.txt", ArchiveFileStream::clDefault);
//   zip.Close(false);
//
//   UnZipFileStream unzip;
//   unzip.Open("out.zip");
//   std::vector<char> bytes;
//   if (!unzip.ExtractFile("отчёт.txt", bytes)) puts(unzip.Error());
//
// Member names
//
// Every interface takes and gives names as Windows-1251 texts. Writers store
// them in one of three forms (ArchiveFileStream::FileNameCoding):
// - fncOem (0, the default): converted to code page 866 as CharToOemBuffA
//   does, and marked as made on MS-DOS ("version made by" host 0), the
//   convention of MS-DOS and Windows archivers;
// - fncAnsi: the Windows-1251 bytes as given, marked as made on UNIX (host 3,
//   whose archivers store names as they are); a name that is not ASCII also
//   gets Info-ZIP's Unicode path field (0x7075) in its headers, holding it
//   in UTF-8 for other programs;
// - fncUtf8: UTF-8, with general purpose flag bit 11, marked as made on UNIX
//   (Info-ZIP's UnZip reads the names of MS-DOS hosts through code page 437
//   even when they are flagged as UTF-8).
// Zip (zip.h) stores names in the first form while it stages its archive in
// memory with coding 0, and in the second otherwise.
//
// Readers turn every stored name into Windows-1251 by the first rule that
// applies to its central directory record:
// 1. flag bit 11 set: the name is UTF-8;
// 2. a Unicode path field whose CRC is that of the stored name: its UTF-8;
// 3. "version made by" host 0 (MS-DOS), 6 (HPFS), 11 (NTFS) or 14 (VFAT):
//    code page 866;
// 4. any other host: UTF-8 when the name is valid UTF-8 (what Info-ZIP's Zip
//    writes on a UTF-8 system), else the bytes as they are.
// Characters that Windows-1251 lacks read as '?'. A name that this library
// wrote, in a file or in memory, therefore lists and is found as the text it
// was given (code page 866 lacks a few typographic signs: under fncOem quotes
// and dashes come back in their plain forms). Names are found exactly, and
// failing that without regard to the case of ASCII letters.
//
// Objects are not safe for concurrent use; one thread uses one at a time.
#ifndef KELM_ARCHIVE_ARCHIVE_FILE_STREAM_H_
#define KELM_ARCHIVE_ARCHIVE_FILE_STREAM_H_

#include <cstddef>
#include <string>
#include <vector>

#include "kelm/files/file_utils.h"

class FStream;
class Stream;
class TimeStamp;

// An archive being written.
class ArchiveFileStream {
 public:
  // zlib levels 0 (stored in deflate blocks), 1, the default (-1) and 9;
  // members are always written with the deflate method.
  enum CompressionLevel { clStored = 0, clFastest = 1, clDefault = 2, clBest = 3 };
  // How member names are stored (see above).
  enum FileNameCoding { fncOem = 0, fncAnsi = 1, fncUtf8 = 2 };

  ArchiveFileStream() = default;
  ArchiveFileStream(const ArchiveFileStream&) = delete;
  ArchiveFileStream& operator=(const ArchiveFileStream&) = delete;
  virtual ~ArchiveFileStream() = default;

  // Opens the archive `name`; a null or empty name makes a temporary file
  // "kla<hex>.tmp" in the temporary folder (IsTempFile; none to be had raises
  // "Не удалось создать временный файл в папке %s...", which throws). On
  // failure a temporary file is removed and the name cleared. Returns the
  // result of DoOpen.
  bool Open(const char* name, bool append);
  // DoClose; with `remove` a temporary archive file is deleted. The name is
  // cleared either way.
  virtual void Close(bool remove);
  virtual bool IsOpened() = 0;
  // Adds the stream's bytes (from offset 0, Size() of them) as member `name`.
  virtual bool AddStream(Stream& stream, const char* name, CompressionLevel level) = 0;
  // Opens `file` as an FStream (mode 3: reading and writing, so a read-only
  // file fails) and adds it through AddStream.
  virtual bool AddFile(const char* file, const char* name, CompressionLevel level);
  virtual bool GetStream(FStream& stream) = 0;

  const char* GetFileName() const { return name_.c_str(); }
  bool IsTempFile() const { return temp_; }

 protected:
  virtual bool DoOpen(const char* name, bool append) = 0;
  virtual void DoClose() = 0;

  static int ZlibLevel(CompressionLevel level);

 private:
  std::string name_;
  bool temp_ = false;
};

// An archive being read.
class DeArchiveFile {
 public:
  DeArchiveFile() = default;
  DeArchiveFile(const DeArchiveFile&) = delete;
  DeArchiveFile& operator=(const DeArchiveFile&) = delete;
  virtual ~DeArchiveFile() = default;

  // DoClose; with `remove` a temporary archive file (one made by
  // Open(Stream&)) is deleted. The name is cleared either way.
  virtual void Close(bool remove);
  // The member names in archive order.
  virtual const std::vector<std::string>& Files() const = 0;
  virtual bool ExtractFile(const char* name, Stream& stream) = 0;
  virtual bool IsOpened() = 0;
  virtual bool CheckFile() = 0;
  virtual bool GetArcFileDateTime(const char* name, FileDateTimeType type, TimeStamp& stamp) = 0;

 protected:
  virtual bool DoOpen(const char* name) = 0;
  virtual void DoClose() = 0;

 public:
  virtual bool ExtractFile(const char* name, std::vector<char>& data) = 0;

  // Each closes an open archive first (Close(true)). The archive file is
  // read with OpenStreamFile's sharing bits of `mode` (fmShareNone,
  // fmDenyWrite, fmDenyRead, fmDeleteOnClose; reading is implied, other bits
  // are ignored); the one-argument form shares reading and writing.
  bool Open(const char* name);
  bool Open(const char* name, unsigned mode);
  // The stream's bytes are copied into a temporary file (IsTempFile), which
  // is read instead: the stream may change or go afterwards.
  bool Open(Stream& stream);
  // The bytes are copied; the archive has no file name.
  bool Open(const std::vector<char>& data);

  // The text of the last failure ("" when none).
  const char* Error() const { return error_.c_str(); }
  const char* GetFileName() const { return name_.c_str(); }
  bool IsTempFile() const { return temp_; }

 protected:
  // Opens the archive over the bytes at `data`, which the object keeps.
  virtual bool DoOpenMemory(std::vector<unsigned char>&& data) = 0;

  void SetError(const std::string& text) { error_ = text; }
  unsigned OpenMode() const { return mode_; }

 private:
  std::string name_;
  std::string error_;
  unsigned mode_ = 0;
  bool temp_ = false;
};

#endif  // KELM_ARCHIVE_ARCHIVE_FILE_STREAM_H_
