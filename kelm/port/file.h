// Files and directories as the operating system offers them: file handles
// (open, read, write, position, end of file, flush, size, type, times,
// byte-range locks, attributes), names (attributes, delete, move, copy,
// directories, full paths, temporary names), directory listing, free space
// and drives.
//
//   HANDLE file = kelm::port::OpenFileHandle("data.bin", {.read = true});
//   unsigned long n = 0;
//   kelm::port::ReadFileData(file, buffer, sizeof buffer, &n);
//   kelm::port::CloseFileHandle(file);
//
// Handles are HANDLEs as on Windows: OpenFileHandle gives one, or
// INVALID_HANDLE_VALUE; CloseFileHandle (or CloseObject of sync.h) closes it.
// A handle is used by one thread at a time. Names are Windows-1251 texts.
// A call that fails answers false (or the documented failure value) and
// leaves its reason as the thread's last system error; LastFileError() reads
// it as a Win32 code on every platform (2 file not found, 3 path not found,
// 5 access denied, 6 invalid handle, 32 sharing violation, 33 lock violation,
// 80 file exists, 87 invalid parameter, 112 disk full, 145 directory not
// empty, 158 not locked, 183 already exists, 206 name too long).
//
// Windows: the wide (...W) functions, names converted between Windows-1251
// and UTF-16 here.
//
// Linux: a handle is a descriptor held by a handle object. Names are passed
// as bytes, each '\' taken as '/'. What Linux cannot express, and how it is
// approached:
// - Share modes bind only handles of this library (of any process): they are
//   open-file-description locks (F_OFD_SETLK) on marker bytes at the very end
//   of the offset space, so byte-range locks must stay below kLockLimit. Two
//   opens that race may both see a sharing violation; never both succeed
//   against each other's share mode. Other programs are not bound, nor is a
//   write-only handle on a file the process may not read (its descriptor
//   cannot hold the shared markers).
// - Byte-range locks are open-file-description locks too: they belong to
//   the handle and go with it, as on Windows, but they are advisory (reads
//   and writes through other handles are not refused), and a handle without
//   write access takes shared locks, which exclude writers' locks but not
//   other read-only handles' ones.
// - Read-only is the owner's write bit: setting it clears every write bit,
//   clearing it sets the owner's. It is enforced here as Windows does, also
//   for root: no write access, no truncation and no deleting while it is set.
// - Hidden means the name begins with "."; system, archive and the other
//   attributes cannot be set (SetPathAttributes ignores them). Listings report
//   files as archive, symbolic links with FILE_ATTRIBUTE_REPARSE_POINT
//   and, to spare a stat per entry, without the read-only bit.
// - There is no creation time: it reads as the birth time where the file
//   system keeps one and the last write time elsewhere, and cannot be set
//   (SetFileTimes ignores it; kCanSetCreationTime is false).
// - Delete-on-close removes the name when that handle closes (unless the name
//   meanwhile names another file); while it is open no other handle of this
//   library can open the file, as on Windows.
// - There are no drive letters: the drive mask is 0 and the drive strings
//   are the mount points.
#ifndef KELM_PORT_FILE_H_
#define KELM_PORT_FILE_H_

#include <memory>
#include <string>

#include "kelm/port/win_types.h"

namespace kelm::port {

enum class FileDisposition {
  kOpenExisting,  // the file must exist
  kOpenAlways,    // opened, or created when missing
  kCreateAlways,  // created, or truncated when it exists
  kCreateNew,     // created; 80 when it exists
};

struct FileOpenOptions {
  bool read = false;
  bool write = false;
  // What other handles may do with the file while this one is open.
  bool share_read = true;
  bool share_write = true;
  FileDisposition disposition = FileDisposition::kOpenExisting;
  // The file is deleted when this handle closes.
  bool delete_on_close = false;
  // A hint that the file is read at random places (no read-ahead).
  bool random_access = false;
};

// A missing or empty name fails with 87 or 3. A directory is not opened (5).
HANDLE OpenFileHandle(const char* name, const FileOpenOptions& options);
bool CloseFileHandle(HANDLE file);

// At the current position, which moves past the bytes transferred; `*done`
// (when given) receives their count, also on failure. Reading at the end of
// the file succeeds with 0 bytes. A handle opened without the access fails
// with 5, an invalid one with 6.
bool ReadFileData(HANDLE file, void* buffer, unsigned long size, unsigned long* done);
bool WriteFileData(HANDLE file, const void* data, unsigned long size, unsigned long* done);

enum class SeekFrom { kBegin, kCurrent, kEnd };
// Moves the position (64-bit; 32-bit callers widen their offsets) and stores
// the new one in `*position` when given. A position before the start fails.
bool SeekFile(HANDLE file, long long offset, SeekFrom from, unsigned long long* position);
// Cuts or extends the file at the current position.
bool SetFileEnd(HANDLE file);
// Writes the system's buffers of the file to the disk.
bool FlushFileData(HANDLE file);
bool FileSizeOf(HANDLE file, unsigned long long* size);

// GetFileType: 0 unknown (also an invalid handle), 1 disk file, 2 character
// device, 3 pipe or socket.
enum : unsigned long { kFileTypeUnknown = 0, kFileTypeDisk = 1, kFileTypeChar = 2, kFileTypePipe = 3 };
unsigned long FileTypeOf(HANDLE file);

// Null pointers are skipped.
bool GetFileTimes(HANDLE file, FILETIME* created, FILETIME* accessed, FILETIME* written);
bool SetFileTimes(HANDLE file, const FILETIME* created, const FILETIME* accessed, const FILETIME* written);
#ifdef _WIN32
inline constexpr bool kCanSetCreationTime = true;
#else
inline constexpr bool kCanSetCreationTime = false;
#endif

// Exclusive byte-range locks (LockFile / UnlockFile): a range that overlaps
// a range locked through another handle, or through this one, fails with 33;
// unlocking needs exactly a locked range (else 158). A zero length fails (87).
bool LockFileRange(HANDLE file, unsigned long long offset, unsigned long long length);
bool UnlockFileRange(HANDLE file, unsigned long long offset, unsigned long long length);
// Byte-range locks must end at or below this offset (Linux: the share-mode
// markers lie above it).
inline constexpr unsigned long long kLockLimit = 0x7FFFFFFFFFFFFF00ULL;

// FILE_ATTRIBUTE_* bits of the file behind a handle.
bool HandleAttributes(HANDLE file, unsigned long* attributes);

// --- Names -----------------------------------------------------------------

// FILE_ATTRIBUTE_* bits of a file or directory; INVALID_FILE_ATTRIBUTES when
// it cannot be found.
unsigned long PathAttributes(const char* name);
bool SetPathAttributes(const char* name, unsigned long attributes);
// DeleteFile: a read-only file (5) or one open through a handle (32) stays.
bool RemoveFile(const char* name);
// MoveFile: fails when `to` exists (183).
bool RenamePath(const char* from, const char* to);
// CopyFile: contents and last write time; the copy gets the source's
// read-only bit.
bool CopyFileTo(const char* from, const char* to, bool fail_if_exists);
// CreateDirectory: an existing name fails with 183.
bool MakeDirectory(const char* name);
// RemoveDirectory: only an empty directory (else 145).
bool RemoveEmptyDirectory(const char* name);
// GetFullPathName: absolute, "." and ".." resolved by text; empty on failure.
std::string FullPathOf(const char* name);
// The folder for temporary files, ending in a separator.
std::string TempFolder();
// GetTempFileName(folder, prefix, 0): creates an empty file "<folder><at most
// three characters of prefix><hex number>.tmp" that did not exist, and stores
// its name. Fails (false) when the folder cannot take one.
bool MakeTempFile(const char* folder, const char* prefix, std::string* name);

// --- Listing ---------------------------------------------------------------

struct DirectoryEntry {
  const char* name;  // valid until the next Next()
  unsigned long attributes;
};

// The entries of one directory in the order the system gives them; "." and
// ".." come first on Linux too (the root of a Windows drive has neither).
class DirectoryReader {
 public:
  // An empty or null `dir` is the current directory.
  explicit DirectoryReader(const char* dir);
  ~DirectoryReader();
  DirectoryReader(const DirectoryReader&) = delete;
  DirectoryReader& operator=(const DirectoryReader&) = delete;

  // False when the directory cannot be read (the last error says why).
  bool IsOpen() const;
  // False at the end.
  bool Next(DirectoryEntry* entry);

  class Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

// --- Volumes and drives ----------------------------------------------------

// Bytes free for the caller on the volume of `root` (GetDiskFreeSpaceEx).
bool FreeDiskSpace(const char* root, unsigned long long* available);
// GetLogicalDrives: bit 0 is A:.
unsigned long LogicalDriveMask();
// GetLogicalDriveStrings: every root followed by a zero, and one more zero;
// on Linux the mount points.
std::string LogicalDriveStrings();
// GetDriveType (DRIVE_UNKNOWN 0 ... DRIVE_RAMDISK 6) of a root; 1 when
// `root` is no root. On Linux from the mount's file-system type.
unsigned DriveTypeOf(const char* root);

// --- Errors ----------------------------------------------------------------

// The thread's last system error as a Win32 code.
unsigned long LastFileError();
// Sets the thread's last system error to the Win32 `code` (on Linux errno
// becomes the nearest value, and LastFileError() answers `code`).
void SetLastFileError(unsigned long code);

}  // namespace kelm::port

#endif  // KELM_PORT_FILE_H_
