// Zip writes a ZIP archive into a file, a Stream, a standard output stream or
// a vector, with the library's policy around minizip: member names (see
// archive_file_stream.h), appending to an existing archive, staging large
// archives in a temporary file, return codes and Russian texts.
//
//   Zip zip;
//   if (zip.Init("C:\\out\\report.zip", false) == 0) {
//     zip.Add("C:\\data\\отчёт.txt", nullptr);   // stored as "отчёт.txt"
//     zip.AddEmptyDir("архив/");
//     zip.Close();
//   }
//
// The int members answer 0 when done and otherwise:
//   1   the file to add does not exist or is a directory
//   2   the archive library reported its error 2 (a file was not found)
//   3   the name is refused (empty, holding a NUL byte, or already in the
//       archive), the object is closed, or Init found the archive file
//       existing without `append`
//   12  any other failure (ZipException codes other than 2 become 12).
// A failure of the archive library while writing is kept: later members
// answer it at once (AddEmptyDir answers 12), Close answers it too.
// Failures that are not the archive's (a file that cannot be opened through
// FStream, say) are raised as the library raises them.
//
// Member names. "A name already in the archive" means one that the archive
// would list the same (archive_file_stream.h). With NameCoding ncDefault a
// name is stored in code page 866 while the archive is staged in memory,
// and as the Windows-1251 given otherwise (a file target, or after the
// staged archive moved to a temporary file); ncAnsi always stores it as
// given, ncUtf8 in UTF-8.
//
// Memory targets (Stream, std::ostream, vector) stage the archive in memory
// (ZipMemFileStream) up to the trailing `limit` argument of Init (0: 90 % of
// the available physical memory, at most 1 GiB). A member that would not
// fit moves the archive to a temporary file "kla<hex>.tmp" first, and so
// does AddEmptyDir; Close delivers the archive to the target: it replaces
// the content of a Stream or vector and is written at the position of a
// std::ostream.
//
// Copying a Zip transfers its state: the source is left closed and empty.
#ifndef KELM_ARCHIVE_ZIP_H_
#define KELM_ARCHIVE_ZIP_H_

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

class Stream;

// Where a member's bytes pass on their way: 0 decides by size, 1 through a
// temporary file, 2 in memory (see Zip::Add and UnZip::Extract).
enum ZipTarget { ztAuto = 0, ztTempFile = 1, ztMemory = 2 };

class Zip {
 public:
  enum NameCoding { ncDefault = 0, ncAnsi = 1, ncUtf8 = 2 };

  Zip();
  Zip(Zip& other);
  Zip(Zip&& other);
  Zip& operator=(Zip& other);
  Zip& operator=(Zip&& other);
  // Close.
  virtual ~Zip();

  // An archive file. An existing file is never replaced: without `append`
  // the answer is 3 and the file is left as it is. With `append` an empty
  // file starts a new archive and a non-empty one is rebuilt: it is staged
  // (in memory below the staging limit, else in a temporary copy), the file
  // is made anew and the old members are copied into it as they are (their
  // compressed bytes, names, times and attributes), after which new members
  // follow. Should the copy fail, the old archive is written back.
  int Init(const char* name, bool append = false, NameCoding coding = ncDefault);
  int Init(Stream& stream, NameCoding coding = ncDefault, unsigned long limit = 0);
  int Init(std::ostream& stream, NameCoding coding = ncDefault, unsigned long limit = 0);
  int Init(std::vector<unsigned char>& data, NameCoding coding = ncDefault, unsigned long limit = 0);

  // Adds a file as `nameInArchive`, or when that is null under its own name
  // (the part after the last "\" or "/"), dated with the file's last write
  // time. The file must exist and not be a directory (1); one that cannot be
  // read gives 12.
  int Add(const char* file, const char* nameInArchive = nullptr);
  // The rest of the stream, dated now.
  int Add(std::istream& stream, const std::string& name);
  // The Stream's bytes from offset 0, dated now. For a memory target
  // `target` places the member: ztMemory keeps the archive in memory (12,
  // with nothing written, when the member would not fit), ztTempFile moves
  // the archive to its temporary file first, ztAuto moves it only when the
  // member would not fit. A file target ignores `target`.
  int Add(Stream& stream, const std::string& name, ZipTarget target = ztAuto);
  int Add(const std::vector<unsigned char>& data, const std::string& name);
  // A folder member ("/" is appended to a name that ends in neither "/" nor
  // "\"). A memory target's archive moves to its temporary file first.
  int AddEmptyDir(const std::string& name);

  // Finishes the archive and delivers it to its target: 0 at once when
  // closed; a kept failure is answered (and a memory target gets nothing).
  int Close();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

#endif  // KELM_ARCHIVE_ZIP_H_
