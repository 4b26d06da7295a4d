// ZipFileStream writes a ZIP archive into a file; ZipMemFileStream builds one
// in memory. Member names follow the rule in archive_file_stream.h.
//
//   ZipMemFileStream zip;                              // opens on first use
//   zip.AddFileInArchive(text.data(), text.size(), "readme.txt", ArchiveFileStream::clBest);
//   std::vector<unsigned char> archive;
//   zip.ToVector(archive);                             // finishes the archive
//
// Members are dated with the local time at which they are added (AddStream
// with a TimeStamp sets another), have no extra fields save the Unicode path
// field of fncAnsi, and no comment. A member that may reach 4 GiB gets ZIP64
// fields; archives past 4 GiB get ZIP64 records.
#ifndef KELM_ARCHIVE_ZIP_FILE_STREAM_H_
#define KELM_ARCHIVE_ZIP_FILE_STREAM_H_

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <vector>

#include "kelm/archive/archive_file_stream.h"

namespace kelm::archive::internal {
class Writer;
}  // namespace kelm::archive::internal

class ZipFileStream : public ArchiveFileStream {
 public:
  explicit ZipFileStream(FileNameCoding coding = fncOem);
  // Close(true): a named archive is finished and kept, a temporary one deleted.
  ~ZipFileStream() override;

  bool IsOpened() override;
  // False for a null name or when the member cannot be started; otherwise
  // the stream is copied in and the result is whether every write succeeded
  // (an empty stream gives an empty member).
  bool AddStream(Stream& stream, const char* name, CompressionLevel level) override;
  using ArchiveFileStream::AddFile;
  // Finishes the archive (no member can be added afterwards) and opens
  // `stream` on its file for reading; false when there is none.
  bool GetStream(FStream& stream) override;

  virtual bool AddFile(const char* data, unsigned size, const char* name, CompressionLevel level);
  virtual bool AddFile(const std::vector<char>& data, const char* name, CompressionLevel level);
  virtual bool AddFile(Stream& stream, const char* name, CompressionLevel level);
  // Finish the archive and replace the content of `stream` (`data`) with
  // its bytes; false when the archive cannot be finished or read.
  virtual bool ToStream(FStream& stream);
  virtual bool ToVector(std::vector<char>& data);

  // AddStream with the member's time given (local time).
  bool AddStream(Stream& stream, const char* name, CompressionLevel level, const TimeStamp& time);
  // A folder member: `name` with a "/" appended when it ends in neither
  // "/" nor "\", dated now, no data.
  bool AddDir(const char* name);
  // Writes the central directory: no member can be added afterwards, the
  // archive (and its name) stays for ToStream, ToVector and GetStream. True
  // at once when no archive is being written.
  bool Finish();
  FileNameCoding Coding() const { return coding_; }

 protected:
  // Finishes the archive being written, if any, and opens the writer on
  // `name`: a new archive, or with `append` members added to the archive
  // the file holds. True when the writer is open.
  bool DoOpen(const char* name, bool append) override;
  // Finishes the archive (writes its central directory) when one is open.
  void DoClose() override;

  // Starts member `name` (converted as the coding says); false for a null
  // or empty name.
  bool CreateFileForWriting(const char* name, CompressionLevel level, const TimeStamp& time, bool zip64);
  // Whether a member can be added now (ZipMemFileStream opens its memory
  // on first use here).
  virtual bool ReadyForMember();
  // Finishes the archive and hands its bytes to `sink` piece by piece;
  // false when there is no archive or it cannot be read.
  virtual bool ReadArchive(const std::function<bool(const char*, std::size_t)>& sink);

  std::unique_ptr<kelm::archive::internal::Writer> writer_;
  FileNameCoding coding_;
};

// A ZIP archive built in memory, at most `limit` bytes of it; 0 means the
// staging limit (90 % of the physical memory available when the object is
// made, at most 1 GiB). The archive opens by itself when the first member is
// added (Open is not needed; a name given to it is ignored). Delivering it
// (ToVector, GetStream) finishes it; the bytes stay until the next Open or
// the object goes.
class ZipMemFileStream : public ZipFileStream {
 public:
  enum AddResult {
    arAdded = 0,
    arFailed = 1,
    arNoRoom = 2,  // the memory output could not take the data
  };

  explicit ZipMemFileStream(unsigned long limit = 0, FileNameCoding coding = fncOem);
  ~ZipMemFileStream() override;

  // The archive's bytes replace the content of `stream` / `data`; false when
  // nothing was written or the archive did not fit.
  using ZipFileStream::ToVector;
  bool GetStream(FStream& stream) override;
  virtual bool GetStream(Stream& stream);
  // Written at the stream's position.
  bool GetStream(std::ostream& stream);
  bool ToVector(std::vector<unsigned char>& data);

  // The Add forms as results: when the member failed because the data did
  // not fit, arNoRoom (the archive is then incomplete: a member was cut).
  AddResult AddFileInArchive(const char* file, const char* name, CompressionLevel level);
  AddResult AddFileInArchive(const char* data, unsigned size, const char* name, CompressionLevel level);
  AddResult AddFileInArchive(const std::vector<char>& data, const char* name, CompressionLevel level);
  AddResult AddStreamInArchive(Stream& stream, const char* name, CompressionLevel level);

  // Bytes written so far; the most the output takes.
  unsigned long long Size() const;
  unsigned long long Limit() const { return limit_; }

 protected:
  // Frees the previous archive (unless nothing was open yet) and opens the
  // writer on a new, empty memory output.
  bool DoOpen(const char* name, bool append) override;
  void DoClose() override;
  bool ReadyForMember() override;
  bool ReadArchive(const std::function<bool(const char*, std::size_t)>& sink) override;

 private:
  AddResult Result(bool added);

  unsigned long long limit_;
  bool nothing_open_ = true;
};

#endif  // KELM_ARCHIVE_ZIP_FILE_STREAM_H_
