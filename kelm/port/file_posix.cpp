#include <dirent.h>
#include <fcntl.h>
#include <mntent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "kelm/port/file.h"
#include "kelm/port/handle_posix.h"
#include "kelm/port/testing/file_faults.h"

namespace kelm::port {
namespace {

using testing::FileCall;

// Win32 codes used below.
enum : unsigned long {
  kFileNotFound = 2,
  kPathNotFound = 3,
  kTooManyOpenFiles = 4,
  kAccessDenied = 5,
  kInvalidHandle = 6,
  kNotEnoughMemory = 8,
  kWriteProtect = 19,
  kNotSameDevice = 17,
  kGenFailure = 31,
  kSharingViolation = 32,
  kLockViolation = 33,
  kNotSupported = 50,
  kFileExists = 80,
  kInvalidParameter = 87,
  kDiskFull = 112,
  kNegativeSeek = 131,
  kDirNotEmpty = 145,
  kNotLocked = 158,
  kAlreadyExists = 183,
  kNameTooLong = 206,
  kFileTooLarge = 223,
  kDirectoryInvalid = 267,
  kIoDevice = 1117,
  kCantResolveName = 1921,
};

struct ErrnoCode {
  int err;
  unsigned long code;
};

// errno -> Win32, first match wins; the reverse direction takes the first
// entry with the code.
constexpr ErrnoCode kErrnoCodes[] = {
    {ENOENT, kFileNotFound},     {ENOENT, kPathNotFound},
    {ENOTDIR, kPathNotFound},    {EACCES, kAccessDenied},
    {EPERM, kAccessDenied},      {EISDIR, kAccessDenied},
    {EBADF, kInvalidHandle},     {ENOMEM, kNotEnoughMemory},
    {EROFS, kWriteProtect},      {EXDEV, kNotSameDevice},
    {EBUSY, kSharingViolation},  {ETXTBSY, kSharingViolation},
    {EAGAIN, kLockViolation},    {EOPNOTSUPP, kNotSupported},
    {ENOSYS, kNotSupported},     {EEXIST, kFileExists},
    {EEXIST, kAlreadyExists},    {EINVAL, kInvalidParameter},
    {ESPIPE, kInvalidParameter}, {ENOSPC, kDiskFull},
    {EDQUOT, kDiskFull},         {ENOTEMPTY, kDirNotEmpty},
    {ENOLCK, kNotLocked},        {ENAMETOOLONG, kNameTooLong},
    {EFBIG, kFileTooLarge},      {EMFILE, kTooManyOpenFiles},
    {ENFILE, kTooManyOpenFiles}, {EIO, kIoDevice},
    {ELOOP, kCantResolveName},
};

unsigned long CodeOf(int err) {
  if (err == 0) return 0;
  for (const ErrnoCode& e : kErrnoCodes) {
    if (e.err == err) return e.code;
  }
  return kGenFailure;
}

int ErrnoOf(unsigned long code) {
  if (code == 0) return 0;
  for (const ErrnoCode& e : kErrnoCodes) {
    if (e.code == code) return e.err;
  }
  return EIO;
}

// The Win32 code of the last failure here, valid while errno still holds the
// value that went with it (errno alone cannot tell 2 from 3 or 80 from 183).
struct LastError {
  int err;
  unsigned long code;
};
thread_local LastError last_error{0, 0};

bool FailWith(int err, unsigned long code) {
  last_error = LastError{err, code};
  errno = err;
  return false;
}

bool Fail(unsigned long code) { return FailWith(ErrnoOf(code), code); }

bool FailErrno() {
  const int err = errno;
  return FailWith(err, CodeOf(err));
}

// '\' separates as '/' does.
std::string Native(const char* name) {
  std::string path(name);
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  return path;
}

// The part of `path` before its last component ("." for a bare name).
std::string ParentOf(const std::string& path) {
  std::size_t end = path.size();
  while (end > 1 && path[end - 1] == '/') --end;
  const std::size_t slash = path.rfind('/', end - 1);
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string_view BaseNameOf(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// A failure of an operation on `path`: a missing name whose folder is missing
// too is "path not found", as Windows says.
bool FailPath(const std::string& path) {
  const int err = errno;
  if (err == ENOENT) {
    return FailWith(err, IsDirectory(ParentOf(path)) ? kFileNotFound : kPathNotFound);
  }
  return FailWith(err, CodeOf(err));
}

bool IsHiddenName(std::string_view name) { return name.size() > 1 && name[0] == '.' && name != ".."; }

bool IsReadOnlyMode(mode_t mode) { return (mode & S_IWUSR) == 0; }

unsigned long AttributesOf(const struct stat& st, std::string_view path) {
  unsigned long attributes = S_ISDIR(st.st_mode)   ? FILE_ATTRIBUTE_DIRECTORY
                             : S_ISREG(st.st_mode) ? FILE_ATTRIBUTE_ARCHIVE
                                                   : FILE_ATTRIBUTE_NORMAL;
  if (IsReadOnlyMode(st.st_mode)) attributes |= FILE_ATTRIBUTE_READONLY;
  if (IsHiddenName(BaseNameOf(path))) attributes |= FILE_ATTRIBUTE_HIDDEN;
  return attributes;
}

// --- Share modes: markers above kLockLimit ----------------------------------

enum Marker : off_t {
  kMarkAny,        // every handle of a regular file
  kMarkRead,       // handles with read access
  kMarkWrite,      // handles with write access
  kMarkDenyRead,   // handles that do not share reading
  kMarkDenyWrite,  // handles that do not share writing
  kMarkDelete,     // delete-on-close handles
};

struct flock RangeLock(short type, unsigned long long offset, unsigned long long length) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(offset);
  lock.l_len = static_cast<off_t>(length);
  return lock;
}

bool TakeMarker(int fd, Marker marker) {
  struct flock lock = RangeLock(F_RDLCK, kLockLimit + marker, 1);
  return ::fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

// Whether an open file description other than fd's holds the marker.
bool OthersHold(int fd, Marker marker) {
  struct flock lock = RangeLock(F_WRLCK, kLockLimit + marker, 1);
  return ::fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// Each side takes its own markers before it looks for the other's, so two
// conflicting opens never both succeed.
bool ClaimShareMode(int fd, const FileOpenOptions& o, bool readable) {
  if (!readable) return true;  // F_RDLCK needs a readable descriptor
  bool taken = TakeMarker(fd, kMarkAny);
  if (o.read) taken = taken && TakeMarker(fd, kMarkRead);
  if (o.write) taken = taken && TakeMarker(fd, kMarkWrite);
  if (!o.share_read) taken = taken && TakeMarker(fd, kMarkDenyRead);
  if (!o.share_write) taken = taken && TakeMarker(fd, kMarkDenyWrite);
  if (o.delete_on_close) taken = taken && TakeMarker(fd, kMarkDelete);
  if (!taken) return true;  // a file system without locks: nothing to honour
  return !((o.read && OthersHold(fd, kMarkDenyRead)) || (o.write && OthersHold(fd, kMarkDenyWrite)) ||
           (!o.share_read && OthersHold(fd, kMarkRead)) || (!o.share_write && OthersHold(fd, kMarkWrite)) ||
           (o.delete_on_close && OthersHold(fd, kMarkAny)) || OthersHold(fd, kMarkDelete));
}

// Whether a handle of this library has the regular file `path` open.
bool IsOpenByHandle(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW);
  if (fd < 0) return false;
  struct stat st;
  const bool held = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && OthersHold(fd, kMarkAny);
  ::close(fd);
  return held;
}

// --- Handles ------------------------------------------------------------------

class FileObject final : public HandleObject {
 public:
  FileObject(int fd, std::string path, bool read, bool write, bool readable)
      : fd_(fd), path_(std::move(path)), read_(read), write_(write), readable_(readable) {}
  ~FileObject() override {
    if (delete_on_close_) {
      struct stat now;
      if (::stat(path_.c_str(), &now) == 0 && now.st_dev == device_ && now.st_ino == inode_) {
        ::unlink(path_.c_str());
      }
    }
    ::close(fd_);
  }

  void DeleteOnClose(const struct stat& st) {
    delete_on_close_ = true;
    device_ = st.st_dev;
    inode_ = st.st_ino;
  }

  int fd() const { return fd_; }
  const std::string& path() const { return path_; }
  bool read() const { return read_; }
  bool write() const { return write_; }
  bool readable() const { return readable_; }
  std::vector<std::pair<unsigned long long, unsigned long long>>& locks() { return locks_; }

 private:
  const int fd_;
  const std::string path_;
  const bool read_;
  const bool write_;
  const bool readable_;  // the descriptor can read (markers and shared locks)
  bool delete_on_close_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::vector<std::pair<unsigned long long, unsigned long long>> locks_;  // offset, length
};

FileObject* FileOf(HANDLE handle) {
  auto* file = dynamic_cast<FileObject*>(ToObject(handle));
  if (file == nullptr) Fail(kInvalidHandle);
  return file;
}

// A counted call: the fault the test seam asks for, if any.
bool Faulted(FileCall kind, unsigned long* done) {
  if (done != nullptr) *done = 0;
  const unsigned long error = testing::internal::TakeFileFault(kind);
  if (error == 0) return false;
  Fail(error);
  return true;
}

int OpenFlags(const FileOpenOptions& o) { return (o.write ? O_RDWR : O_RDONLY) | O_CLOEXEC; }

// Opens with the disposition; `*created` tells whether the file is new.
int OpenDisposed(const std::string& path, const FileOpenOptions& o, bool* created) {
  const int flags = OpenFlags(o);
  *created = false;
  if (o.disposition == FileDisposition::kCreateNew) {
    *created = true;
    return ::open(path.c_str(), flags | O_CREAT | O_EXCL, 0666);
  }
  for (;;) {
    int fd = ::open(path.c_str(), flags);
    if (fd < 0 && errno == EACCES && o.write && !o.read) fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd >= 0 || errno != ENOENT || o.disposition == FileDisposition::kOpenExisting) return fd;
    fd = ::open(path.c_str(), flags | O_CREAT | O_EXCL, 0666);
    if (fd >= 0 || errno != EEXIST) {
      *created = fd >= 0;
      return fd;
    }
  }
}

}  // namespace

HANDLE OpenFileHandle(const char* name, const FileOpenOptions& options) {
  if (name == nullptr) return Fail(kInvalidParameter), INVALID_HANDLE_VALUE;
  if (*name == '\0') return Fail(kPathNotFound), INVALID_HANDLE_VALUE;
  const std::string path = Native(name);
  bool created = false;
  int fd = OpenDisposed(path, options, &created);
  if (fd < 0 && errno == EACCES && !options.read && !options.write) {
    fd = ::open(path.c_str(), O_PATH | O_CLOEXEC);
  }
  if (fd < 0) return FailPath(path), INVALID_HANDLE_VALUE;
  const int mode = ::fcntl(fd, F_GETFL);
  const bool readable = (mode & O_PATH) == 0 && (mode & O_ACCMODE) != O_WRONLY;
  auto file = std::make_unique<FileObject>(fd, path, options.read, options.write, readable);
  struct stat st;
  if (::fstat(fd, &st) != 0) return FailErrno(), INVALID_HANDLE_VALUE;
  if (S_ISDIR(st.st_mode)) return Fail(kAccessDenied), INVALID_HANDLE_VALUE;
  if (S_ISREG(st.st_mode)) {
    const bool truncates = options.disposition == FileDisposition::kCreateAlways && !created;
    if (!created && IsReadOnlyMode(st.st_mode) && (options.write || truncates || options.delete_on_close)) {
      return Fail(kAccessDenied), INVALID_HANDLE_VALUE;
    }
    if (!ClaimShareMode(fd, options, readable)) return Fail(kSharingViolation), INVALID_HANDLE_VALUE;
    if (truncates && ::ftruncate(fd, 0) != 0) return FailErrno(), INVALID_HANDLE_VALUE;
    if (options.random_access) ::posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
    if (options.delete_on_close) file->DeleteOnClose(st);
  }
  return static_cast<HandleObject*>(file.release());  // HANDLE holds the base pointer
}

bool CloseFileHandle(HANDLE file) {
  FileObject* object = FileOf(file);
  if (object == nullptr) return false;
  delete object;
  return true;
}

bool ReadFileData(HANDLE file, void* buffer, unsigned long size, unsigned long* done) {
  if (done != nullptr) *done = 0;
  FileObject* f = FileOf(file);
  if (f == nullptr || Faulted(FileCall::kRead, done)) return false;
  if (!f->read()) return Fail(kAccessDenied);
  auto* out = static_cast<char*>(buffer);
  unsigned long total = 0;
  while (total < size) {
    const ssize_t n = ::read(f->fd(), out + total, size - total);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return FailErrno();
    if (n == 0) break;
    total += static_cast<unsigned long>(n);
    if (done != nullptr) *done = total;
  }
  return true;
}

bool WriteFileData(HANDLE file, const void* data, unsigned long size, unsigned long* done) {
  if (done != nullptr) *done = 0;
  FileObject* f = FileOf(file);
  if (f == nullptr || Faulted(FileCall::kWrite, done)) return false;
  if (!f->write()) return Fail(kAccessDenied);
  const auto* in = static_cast<const char*>(data);
  unsigned long total = 0;
  while (total < size) {
    const ssize_t n = ::write(f->fd(), in + total, size - total);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return FailErrno();
    if (n == 0) return Fail(kDiskFull);
    total += static_cast<unsigned long>(n);
    if (done != nullptr) *done = total;
  }
  return true;
}

bool SeekFile(HANDLE file, long long offset, SeekFrom from, unsigned long long* position) {
  FileObject* f = FileOf(file);
  if (f == nullptr || Faulted(FileCall::kSeek, nullptr)) return false;
  const int whence = from == SeekFrom::kBegin ? SEEK_SET : from == SeekFrom::kCurrent ? SEEK_CUR : SEEK_END;
  const off_t at = ::lseek(f->fd(), static_cast<off_t>(offset), whence);
  if (at < 0) return errno == EINVAL ? FailWith(EINVAL, kNegativeSeek) : FailErrno();
  if (position != nullptr) *position = static_cast<unsigned long long>(at);
  return true;
}

bool SetFileEnd(HANDLE file) {
  FileObject* f = FileOf(file);
  if (f == nullptr || Faulted(FileCall::kSetEnd, nullptr)) return false;
  if (!f->write()) return Fail(kAccessDenied);
  const off_t at = ::lseek(f->fd(), 0, SEEK_CUR);
  if (at < 0 || ::ftruncate(f->fd(), at) != 0) return FailErrno();
  return true;
}

bool FlushFileData(HANDLE file) {
  FileObject* f = FileOf(file);
  if (f == nullptr || Faulted(FileCall::kFlush, nullptr)) return false;
  if (!f->write()) return Fail(kAccessDenied);
  if (::fsync(f->fd()) == 0) return true;
  // Devices and pipes have nothing of their own to flush.
  if (errno == EINVAL || errno == EROFS) return true;
  return FailErrno();
}

bool FileSizeOf(HANDLE file, unsigned long long* size) {
  FileObject* f = FileOf(file);
  if (f == nullptr) return false;
  struct stat st;
  if (::fstat(f->fd(), &st) != 0) return FailErrno();
  *size = static_cast<unsigned long long>(st.st_size);
  return true;
}

unsigned long FileTypeOf(HANDLE file) {
  FileObject* f = FileOf(file);
  struct stat st;
  if (f == nullptr || ::fstat(f->fd(), &st) != 0) return kFileTypeUnknown;
  if (S_ISREG(st.st_mode) || S_ISDIR(st.st_mode) || S_ISBLK(st.st_mode)) return kFileTypeDisk;
  if (S_ISCHR(st.st_mode)) return kFileTypeChar;
  if (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode)) return kFileTypePipe;
  return kFileTypeUnknown;
}

namespace {

// FILETIME counts 100 ns from 1601; Unix time from 1970.
constexpr long long kUnitsFrom1601To1970 = 116444736000000000LL;

FILETIME ToFileTime(long long seconds, long long nanoseconds) {
  const auto units =
      static_cast<unsigned long long>(seconds * 10000000 + nanoseconds / 100 + kUnitsFrom1601To1970);
  return FILETIME{static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

struct timespec ToTimespec(const FILETIME* time) {
  if (time == nullptr) return timespec{0, UTIME_OMIT};
  const long long units =
      static_cast<long long>((std::uint64_t{time->dwHighDateTime} << 32) | time->dwLowDateTime) -
      kUnitsFrom1601To1970;
  long long seconds = units / 10000000;
  long long rest = units % 10000000;
  if (rest < 0) {
    rest += 10000000;
    --seconds;
  }
  return timespec{static_cast<time_t>(seconds), static_cast<long>(rest * 100)};
}

}  // namespace

bool GetFileTimes(HANDLE file, FILETIME* created, FILETIME* accessed, FILETIME* written) {
  FileObject* f = FileOf(file);
  if (f == nullptr) return false;
  struct statx sx;
  if (::statx(f->fd(), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0) return FailErrno();
  const FILETIME write_time = ToFileTime(sx.stx_mtime.tv_sec, sx.stx_mtime.tv_nsec);
  if (created != nullptr) {
    *created =
        (sx.stx_mask & STATX_BTIME) != 0 ? ToFileTime(sx.stx_btime.tv_sec, sx.stx_btime.tv_nsec) : write_time;
  }
  if (accessed != nullptr) *accessed = ToFileTime(sx.stx_atime.tv_sec, sx.stx_atime.tv_nsec);
  if (written != nullptr) *written = write_time;
  return true;
}

bool SetFileTimes(HANDLE file, const FILETIME*, const FILETIME* accessed, const FILETIME* written) {
  FileObject* f = FileOf(file);
  if (f == nullptr) return false;
  if (!f->write()) return Fail(kAccessDenied);
  const struct timespec times[2] = {ToTimespec(accessed), ToTimespec(written)};
  if (::futimens(f->fd(), times) != 0) return FailErrno();
  return true;
}

bool LockFileRange(HANDLE file, unsigned long long offset, unsigned long long length) {
  FileObject* f = FileOf(file);
  if (f == nullptr) return false;
  if (length == 0 || offset > kLockLimit || length > kLockLimit - offset) return Fail(kInvalidParameter);
  for (const auto& [at, size] : f->locks()) {
    if (offset < at + size && at < offset + length) return Fail(kLockViolation);
  }
  if (!f->readable() && !f->write()) return Fail(kAccessDenied);
  struct flock lock = RangeLock(f->write() ? F_WRLCK : F_RDLCK, offset, length);
  if (::fcntl(f->fd(), F_OFD_SETLK, &lock) != 0) {
    return errno == EAGAIN || errno == EACCES ? FailWith(errno, kLockViolation) : FailErrno();
  }
  f->locks().emplace_back(offset, length);
  return true;
}

bool UnlockFileRange(HANDLE file, unsigned long long offset, unsigned long long length) {
  FileObject* f = FileOf(file);
  if (f == nullptr) return false;
  auto& locks = f->locks();
  for (auto it = locks.begin(); it != locks.end(); ++it) {
    if (it->first != offset || it->second != length) continue;
    struct flock lock = RangeLock(F_UNLCK, offset, length);
    if (::fcntl(f->fd(), F_OFD_SETLK, &lock) != 0) return FailErrno();
    locks.erase(it);
    return true;
  }
  return Fail(kNotLocked);
}

bool HandleAttributes(HANDLE file, unsigned long* attributes) {
  FileObject* f = FileOf(file);
  if (f == nullptr) return false;
  struct stat st;
  if (::fstat(f->fd(), &st) != 0) return FailErrno();
  *attributes = AttributesOf(st, f->path());
  return true;
}

// --- Names ----------------------------------------------------------------------

unsigned long PathAttributes(const char* name) {
  if (name == nullptr || *name == '\0') return Fail(kPathNotFound), INVALID_FILE_ATTRIBUTES;
  const std::string path = Native(name);
  struct stat link;
  struct stat st;
  if (::lstat(path.c_str(), &link) != 0) return FailPath(path), INVALID_FILE_ATTRIBUTES;
  if (!S_ISLNK(link.st_mode)) return AttributesOf(link, path);
  // A link reports its target's kind, or a file when it leads nowhere.
  const bool resolved = ::stat(path.c_str(), &st) == 0;
  unsigned long attributes = resolved ? AttributesOf(st, path) : AttributesOf(link, path);
  if (!resolved) attributes = (attributes & ~FILE_ATTRIBUTE_NORMAL) | FILE_ATTRIBUTE_ARCHIVE;
  return attributes | FILE_ATTRIBUTE_REPARSE_POINT;
}

bool SetPathAttributes(const char* name, unsigned long attributes) {
  if (name == nullptr || *name == '\0') return Fail(kPathNotFound);
  const std::string path = Native(name);
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return FailPath(path);
  const mode_t mode =
      (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? (st.st_mode & ~mode_t{0222}) : (st.st_mode | S_IWUSR);
  if ((mode & 07777) != (st.st_mode & 07777) && ::chmod(path.c_str(), mode & 07777) != 0) return FailErrno();
  return true;
}

bool RemoveFile(const char* name) {
  if (name == nullptr || *name == '\0') return Fail(kPathNotFound);
  const std::string path = Native(name);
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) return FailPath(path);
  if (S_ISDIR(st.st_mode)) return Fail(kAccessDenied);
  if (S_ISREG(st.st_mode) && IsReadOnlyMode(st.st_mode)) return Fail(kAccessDenied);
  if (S_ISREG(st.st_mode) && IsOpenByHandle(path)) return Fail(kSharingViolation);
  if (::unlink(path.c_str()) != 0) return FailPath(path);
  return true;
}

namespace {

// Copies the contents, the last write time and the permission bits of `from`
// to `to`; a copy that fails half way is removed.
bool CopyContents(const std::string& from, const std::string& to, bool fail_if_exists) {
  const FileOpenOptions source_options{.read = true};
  HANDLE source = OpenFileHandle(from.c_str(), source_options);
  if (source == INVALID_HANDLE_VALUE) return false;
  std::unique_ptr<FileObject> in(FileOf(source));
  struct stat st;
  if (::fstat(in->fd(), &st) != 0) return FailErrno();
  const FileOpenOptions target_options{
      .write = true,
      .share_read = false,
      .share_write = false,
      .disposition = fail_if_exists ? FileDisposition::kCreateNew : FileDisposition::kCreateAlways};
  HANDLE target = OpenFileHandle(to.c_str(), target_options);
  if (target == INVALID_HANDLE_VALUE) {
    return LastFileError() == kFileExists ? Fail(kFileExists) : false;
  }
  std::unique_ptr<FileObject> out(FileOf(target));
  std::vector<char> buffer(1 << 16);
  for (;;) {
    const ssize_t n = ::read(in->fd(), buffer.data(), buffer.size());
    if (n < 0 && errno == EINTR) continue;
    bool ok = n >= 0;
    for (ssize_t put = 0; ok && put < n;) {
      const ssize_t w = ::write(out->fd(), buffer.data() + put, static_cast<size_t>(n - put));
      if (w < 0 && errno == EINTR) continue;
      ok = w > 0;
      if (ok) put += w;
      if (w == 0) errno = ENOSPC;
    }
    if (!ok) {
      const int err = errno;
      out.reset();
      ::unlink(to.c_str());
      return FailWith(err, CodeOf(err));
    }
    if (n == 0) break;
  }
  const struct timespec times[2] = {st.st_atim, st.st_mtim};
  ::futimens(out->fd(), times);
  ::fchmod(out->fd(), st.st_mode & 07777);
  return true;
}

}  // namespace

bool RenamePath(const char* from, const char* to) {
  if (from == nullptr || to == nullptr || *from == '\0' || *to == '\0') return Fail(kPathNotFound);
  const std::string source = Native(from);
  const std::string target = Native(to);
  struct stat st;
  if (::lstat(source.c_str(), &st) != 0) return FailPath(source);
  if (S_ISREG(st.st_mode) && IsOpenByHandle(source)) return Fail(kSharingViolation);
  if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno == EEXIST) return FailWith(EEXIST, kAlreadyExists);
  if (errno == EINVAL || errno == ENOSYS) {  // a file system without no-replace renames
    struct stat existing;
    if (::lstat(target.c_str(), &existing) == 0) return FailWith(EEXIST, kAlreadyExists);
    if (::rename(source.c_str(), target.c_str()) == 0) return true;
  }
  // A file moves to another volume as a copy; a directory does not.
  if (errno == EXDEV && S_ISREG(st.st_mode)) {
    return CopyContents(source, target, true) && RemoveFile(from);
  }
  return FailPath(target);
}

bool CopyFileTo(const char* from, const char* to, bool fail_if_exists) {
  if (from == nullptr || to == nullptr || *from == '\0' || *to == '\0') return Fail(kPathNotFound);
  return CopyContents(Native(from), Native(to), fail_if_exists);
}

bool MakeDirectory(const char* name) {
  if (name == nullptr || *name == '\0') return Fail(kPathNotFound);
  const std::string path = Native(name);
  if (::mkdir(path.c_str(), 0777) == 0) return true;
  if (errno == EEXIST) return FailWith(EEXIST, kAlreadyExists);
  return errno == ENOENT ? FailWith(ENOENT, kPathNotFound) : FailErrno();
}

bool RemoveEmptyDirectory(const char* name) {
  if (name == nullptr || *name == '\0') return Fail(kPathNotFound);
  const std::string path = Native(name);
  if (::rmdir(path.c_str()) == 0) return true;
  if (errno == ENOTDIR) return FailWith(ENOTDIR, kDirectoryInvalid);
  return FailPath(path);
}

std::string FullPathOf(const char* name) {
  if (name == nullptr || *name == '\0') return Fail(kInvalidParameter), std::string();
  std::string path = Native(name);
  if (path[0] != '/') {
    std::vector<char> cwd(4096);
    while (::getcwd(cwd.data(), cwd.size()) == nullptr) {
      if (errno != ERANGE) return FailErrno(), std::string();
      cwd.resize(cwd.size() * 2);
    }
    path = std::string(cwd.data()) + "/" + path;
  }
  const bool trailing = path.back() == '/';
  std::vector<std::string_view> parts;
  std::string_view rest(path);
  while (!rest.empty()) {
    const std::size_t slash = rest.find('/');
    const std::string_view part = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    if (part.empty() || part == ".") continue;
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
      continue;
    }
    parts.push_back(part);
  }
  std::string full;
  for (const std::string_view part : parts) {
    full += '/';
    full += part;
  }
  if (full.empty() || trailing) full += '/';
  return full;
}

std::string TempFolder() {
  const char* tmp = std::getenv("TMPDIR");
  std::string folder = tmp != nullptr && *tmp != '\0' ? tmp : "/tmp";
  if (folder.back() != '/') folder += '/';
  return folder;
}

bool MakeTempFile(const char* folder, const char* prefix, std::string* name) {
  if (folder == nullptr) return Fail(kInvalidParameter);
  std::string base = Native(folder);
  if (!base.empty() && base.back() != '/') base += '/';
  if (prefix != nullptr) base.append(prefix, strnlen(prefix, 3));
  // A start that differs between processes and calls, as Windows' tick count does.
  static thread_local unsigned counter = 0;
  const auto ticks =
      static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count() / 1000);
  const unsigned start = (ticks ^ static_cast<unsigned>(::getpid()) * 2654435761u) + counter++;
  for (unsigned i = 0; i < 0xFFFF; ++i) {
    const unsigned unique = (start + i) % 0xFFFF + 1;
    char tail[16];
    std::snprintf(tail, sizeof tail, "%X.tmp", unique);
    std::string candidate = base + tail;
    const int fd = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0) {
      ::close(fd);
      *name = std::move(candidate);
      return true;
    }
    if (errno != EEXIST) return errno == ENOENT ? FailWith(ENOENT, kDirectoryInvalid) : FailErrno();
  }
  return FailWith(EEXIST, kFileExists);
}

// --- Listing ----------------------------------------------------------------------

class DirectoryReader::Impl {
 public:
  explicit Impl(const char* dir)
      : dir_(::opendir(dir == nullptr || *dir == '\0' ? "." : Native(dir).c_str())) {
    if (dir_ == nullptr) {
      const int err = errno;
      FailWith(err, err == ENOENT || err == ENOTDIR ? kPathNotFound : CodeOf(err));
    }
  }
  ~Impl() {
    if (dir_ != nullptr) ::closedir(dir_);
  }

  bool IsOpen() const { return dir_ != nullptr; }

  bool Next(DirectoryEntry* entry) {
    if (dir_ == nullptr) return false;
    if (dots_ < 2) {  // "." and ".." first, as NTFS gives them
      entry->name = dots_ == 0 ? "." : "..";
      entry->attributes = FILE_ATTRIBUTE_DIRECTORY;
      ++dots_;
      return true;
    }
    for (;;) {
      const dirent* d = ::readdir(dir_);
      if (d == nullptr) return false;
      const char* name = d->d_name;
      if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
      entry->name = name;
      entry->attributes = Attributes(*d);
      return true;
    }
  }

 private:
  unsigned long Attributes(const dirent& d) const {
    unsigned long attributes = IsHiddenName(d.d_name) ? FILE_ATTRIBUTE_HIDDEN : 0;
    unsigned char type = d.d_type;
    if (type == DT_UNKNOWN || type == DT_LNK) {
      struct stat st;
      if (::fstatat(::dirfd(dir_), d.d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(st.st_mode)) {
        attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
        if (::fstatat(::dirfd(dir_), d.d_name, &st, 0) != 0) st.st_mode = S_IFREG;
      }
      type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISREG(st.st_mode) ? DT_REG : DT_UNKNOWN;
    }
    return attributes | (type == DT_DIR   ? FILE_ATTRIBUTE_DIRECTORY
                         : type == DT_REG ? FILE_ATTRIBUTE_ARCHIVE
                                          : FILE_ATTRIBUTE_NORMAL);
  }

  DIR* dir_;
  int dots_ = 0;
};

DirectoryReader::DirectoryReader(const char* dir) : impl_(std::make_unique<Impl>(dir)) {}
DirectoryReader::~DirectoryReader() = default;
bool DirectoryReader::IsOpen() const { return impl_->IsOpen(); }
bool DirectoryReader::Next(DirectoryEntry* entry) { return impl_->Next(entry); }

// --- Volumes and drives -------------------------------------------------------------

bool FreeDiskSpace(const char* root, unsigned long long* available) {
  if (root == nullptr || *root == '\0') return Fail(kPathNotFound);
  const std::string path = Native(root);
  struct statvfs vfs;
  if (::statvfs(path.c_str(), &vfs) != 0)
    return errno == ENOENT ? FailWith(ENOENT, kPathNotFound) : FailErrno();
  *available = static_cast<unsigned long long>(vfs.f_bavail) * vfs.f_frsize;
  return true;
}

unsigned long LogicalDriveMask() { return 0; }

namespace {

struct Mount {
  std::string dir;  // ends in '/'
  std::string type;
};

std::vector<Mount> Mounts() {
  std::vector<Mount> mounts;
  FILE* table = ::setmntent("/proc/self/mounts", "r");
  if (table == nullptr) return mounts;
  mntent entry;
  char buffer[4096];
  while (::getmntent_r(table, &entry, buffer, sizeof buffer) != nullptr) {
    std::string dir = entry.mnt_dir;
    if (dir.back() != '/') dir += '/';
    bool seen = false;
    for (Mount& m : mounts) {
      if (m.dir == dir) {
        m.type = entry.mnt_type;  // the later mount hides the earlier
        seen = true;
      }
    }
    if (!seen) mounts.push_back(Mount{dir, entry.mnt_type});
  }
  ::endmntent(table);
  return mounts;
}

unsigned DriveTypeOfFileSystem(std::string_view type) {
  static constexpr std::string_view kRemote[] = {"nfs",        "nfs4", "cifs", "smb3",      "smbfs",
                                                 "fuse.sshfs", "9p",   "ceph", "glusterfs", "afs"};
  static constexpr std::string_view kPseudo[] = {
      "proc",       "sysfs",       "devpts",   "cgroup",  "cgroup2",    "mqueue",    "debugfs",
      "securityfs", "pstore",      "bpf",      "tracefs", "configfs",   "fusectl",   "hugetlbfs",
      "autofs",     "binfmt_misc", "devtmpfs", "nsfs",    "rpc_pipefs", "selinuxfs", "efivarfs"};
  for (std::string_view t : kRemote) {
    if (type == t) return DRIVE_REMOTE;
  }
  for (std::string_view t : kPseudo) {
    if (type == t) return DRIVE_UNKNOWN;
  }
  if (type == "tmpfs" || type == "ramfs") return DRIVE_RAMDISK;
  if (type == "iso9660" || type == "udf") return DRIVE_CDROM;
  return DRIVE_FIXED;
}

}  // namespace

std::string LogicalDriveStrings() {
  std::string strings;
  for (const Mount& m : Mounts()) {
    strings += m.dir;
    strings += '\0';
  }
  strings += '\0';
  return strings;
}

unsigned DriveTypeOf(const char* root) {
  std::string path;
  if (root == nullptr) {
    path = FullPathOf(".");
  } else {
    path = Native(root);
  }
  if (path.empty() || path.back() != '/') path += '/';
  const std::vector<Mount> mounts = Mounts();
  const Mount* best = nullptr;
  for (const Mount& m : mounts) {
    const bool exact = m.dir == path;
    const bool contains = root == nullptr && path.compare(0, m.dir.size(), m.dir) == 0;
    if ((exact || contains) && (best == nullptr || m.dir.size() > best->dir.size())) best = &m;
  }
  return best == nullptr ? DRIVE_NO_ROOT_DIR : DriveTypeOfFileSystem(best->type);
}

// --- Errors ------------------------------------------------------------------------

unsigned long LastFileError() {
  const int err = errno;
  if (err == 0) return 0;
  return err == last_error.err ? last_error.code : CodeOf(err);
}

void SetLastFileError(unsigned long code) { FailWith(ErrnoOf(code), code); }

}  // namespace kelm::port
