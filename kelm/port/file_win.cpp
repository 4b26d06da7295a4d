#include <string_view>
#include <vector>

#include "kelm/port/codepage.h"
#include "kelm/port/file.h"
#include "kelm/port/testing/file_faults.h"

namespace kelm::port {
namespace {

using testing::FileCall;

std::wstring Wide(const char* name) {
  const std::u16string wide = Cp1251ToUtf16(name);
  return std::wstring(wide.begin(), wide.end());
}

std::string Narrow(const wchar_t* text, std::size_t length) {
  return Utf16ToCp1251(std::u16string_view(reinterpret_cast<const char16_t*>(text), length));
}

std::string Narrow(const wchar_t* text) { return Narrow(text, wcslen(text)); }

bool Fail(DWORD code) {
  ::SetLastError(code);
  return false;
}

// A null name is a bad parameter, an empty one a missing path, as the
// system's own answers for them differ between versions.
bool BadName(const char* name) {
  if (name == nullptr) return Fail(ERROR_INVALID_PARAMETER), true;
  if (*name == '\0') return Fail(ERROR_PATH_NOT_FOUND), true;
  return false;
}

bool BadHandle(HANDLE file) {
  if (file == nullptr || file == INVALID_HANDLE_VALUE) return Fail(ERROR_INVALID_HANDLE), true;
  return false;
}

// A counted call: the fault the test seam asks for, if any.
bool Faulted(FileCall kind) {
  const unsigned long error = testing::internal::TakeFileFault(kind);
  if (error == 0) return false;
  ::SetLastError(static_cast<DWORD>(error));
  return true;
}

}  // namespace

HANDLE OpenFileHandle(const char* name, const FileOpenOptions& o) {
  if (BadName(name)) return INVALID_HANDLE_VALUE;
  const DWORD access = (o.read ? GENERIC_READ : 0) | (o.write ? GENERIC_WRITE : 0);
  const DWORD share = (o.share_read ? FILE_SHARE_READ : 0) | (o.share_write ? FILE_SHARE_WRITE : 0);
  DWORD disposition = OPEN_EXISTING;
  switch (o.disposition) {
    case FileDisposition::kOpenExisting: disposition = OPEN_EXISTING; break;
    case FileDisposition::kOpenAlways: disposition = OPEN_ALWAYS; break;
    case FileDisposition::kCreateAlways: disposition = CREATE_ALWAYS; break;
    case FileDisposition::kCreateNew: disposition = CREATE_NEW; break;
  }
  const DWORD flags = FILE_ATTRIBUTE_NORMAL | (o.random_access ? FILE_FLAG_RANDOM_ACCESS : 0) |
                      (o.delete_on_close ? FILE_FLAG_DELETE_ON_CLOSE : 0);
  return ::CreateFileW(Wide(name).c_str(), access, share, nullptr, disposition, flags, nullptr);
}

bool CloseFileHandle(HANDLE file) { return !BadHandle(file) && ::CloseHandle(file) != FALSE; }

bool ReadFileData(HANDLE file, void* buffer, unsigned long size, unsigned long* done) {
  if (done != nullptr) *done = 0;
  if (BadHandle(file) || Faulted(FileCall::kRead)) return false;
  DWORD n = 0;
  const bool ok = ::ReadFile(file, buffer, size, &n, nullptr) != FALSE;
  if (done != nullptr) *done = n;
  return ok;
}

bool WriteFileData(HANDLE file, const void* data, unsigned long size, unsigned long* done) {
  if (done != nullptr) *done = 0;
  if (BadHandle(file) || Faulted(FileCall::kWrite)) return false;
  DWORD n = 0;
  const bool ok = ::WriteFile(file, data, size, &n, nullptr) != FALSE;
  if (done != nullptr) *done = n;
  return ok;
}

bool SeekFile(HANDLE file, long long offset, SeekFrom from, unsigned long long* position) {
  if (BadHandle(file) || Faulted(FileCall::kSeek)) return false;
  const DWORD method = from == SeekFrom::kBegin     ? FILE_BEGIN
                       : from == SeekFrom::kCurrent ? FILE_CURRENT
                                                    : FILE_END;
  LARGE_INTEGER distance;
  distance.QuadPart = offset;
  LARGE_INTEGER at;
  if (::SetFilePointerEx(file, distance, &at, method) == FALSE) return false;
  if (position != nullptr) *position = static_cast<unsigned long long>(at.QuadPart);
  return true;
}

bool SetFileEnd(HANDLE file) {
  if (BadHandle(file) || Faulted(FileCall::kSetEnd)) return false;
  return ::SetEndOfFile(file) != FALSE;
}

bool FlushFileData(HANDLE file) {
  if (BadHandle(file) || Faulted(FileCall::kFlush)) return false;
  return ::FlushFileBuffers(file) != FALSE;
}

bool FileSizeOf(HANDLE file, unsigned long long* size) {
  LARGE_INTEGER n;
  if (BadHandle(file) || ::GetFileSizeEx(file, &n) == FALSE) return false;
  *size = static_cast<unsigned long long>(n.QuadPart);
  return true;
}

unsigned long FileTypeOf(HANDLE file) {
  if (BadHandle(file)) return kFileTypeUnknown;
  return ::GetFileType(file) & ~FILE_TYPE_REMOTE;
}

bool GetFileTimes(HANDLE file, FILETIME* created, FILETIME* accessed, FILETIME* written) {
  return !BadHandle(file) && ::GetFileTime(file, created, accessed, written) != FALSE;
}

bool SetFileTimes(HANDLE file, const FILETIME* created, const FILETIME* accessed, const FILETIME* written) {
  return !BadHandle(file) && ::SetFileTime(file, created, accessed, written) != FALSE;
}

bool LockFileRange(HANDLE file, unsigned long long offset, unsigned long long length) {
  if (BadHandle(file)) return false;
  if (length == 0 || offset > kLockLimit || length > kLockLimit - offset)
    return Fail(ERROR_INVALID_PARAMETER);
  return ::LockFile(file, static_cast<DWORD>(offset), static_cast<DWORD>(offset >> 32),
                    static_cast<DWORD>(length), static_cast<DWORD>(length >> 32)) != FALSE;
}

bool UnlockFileRange(HANDLE file, unsigned long long offset, unsigned long long length) {
  if (BadHandle(file)) return false;
  return ::UnlockFile(file, static_cast<DWORD>(offset), static_cast<DWORD>(offset >> 32),
                      static_cast<DWORD>(length), static_cast<DWORD>(length >> 32)) != FALSE;
}

bool HandleAttributes(HANDLE file, unsigned long* attributes) {
  BY_HANDLE_FILE_INFORMATION info;
  if (BadHandle(file) || ::GetFileInformationByHandle(file, &info) == FALSE) return false;
  *attributes = info.dwFileAttributes;
  return true;
}

unsigned long PathAttributes(const char* name) {
  if (BadName(name)) return INVALID_FILE_ATTRIBUTES;
  return ::GetFileAttributesW(Wide(name).c_str());
}

bool SetPathAttributes(const char* name, unsigned long attributes) {
  return !BadName(name) && ::SetFileAttributesW(Wide(name).c_str(), attributes) != FALSE;
}

bool RemoveFile(const char* name) { return !BadName(name) && ::DeleteFileW(Wide(name).c_str()) != FALSE; }

bool RenamePath(const char* from, const char* to) {
  return !BadName(from) && !BadName(to) && ::MoveFileW(Wide(from).c_str(), Wide(to).c_str()) != FALSE;
}

bool CopyFileTo(const char* from, const char* to, bool fail_if_exists) {
  return !BadName(from) && !BadName(to) &&
         ::CopyFileW(Wide(from).c_str(), Wide(to).c_str(), fail_if_exists ? TRUE : FALSE) != FALSE;
}

bool MakeDirectory(const char* name) {
  return !BadName(name) && ::CreateDirectoryW(Wide(name).c_str(), nullptr) != FALSE;
}

bool RemoveEmptyDirectory(const char* name) {
  return !BadName(name) && ::RemoveDirectoryW(Wide(name).c_str()) != FALSE;
}

std::string FullPathOf(const char* name) {
  if (name == nullptr || *name == '\0') return Fail(ERROR_INVALID_PARAMETER), std::string();
  const std::wstring wide = Wide(name);
  std::vector<wchar_t> buffer(MAX_PATH + 1);
  for (;;) {
    const DWORD n =
        ::GetFullPathNameW(wide.c_str(), static_cast<DWORD>(buffer.size()), buffer.data(), nullptr);
    if (n == 0) return std::string();
    if (n < buffer.size()) return Narrow(buffer.data(), n);
    buffer.resize(n + 1);
  }
}

std::string TempFolder() {
  wchar_t buffer[MAX_PATH + 2];
  const DWORD n = ::GetTempPathW(MAX_PATH + 1, buffer);
  return n == 0 || n > MAX_PATH + 1 ? std::string() : Narrow(buffer, n);
}

bool MakeTempFile(const char* folder, const char* prefix, std::string* name) {
  if (folder == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  wchar_t buffer[MAX_PATH + 1];
  if (::GetTempFileNameW(Wide(folder).c_str(), Wide(prefix == nullptr ? "" : prefix).c_str(), 0, buffer) ==
      0) {
    return false;
  }
  *name = Narrow(buffer);
  return true;
}

class DirectoryReader::Impl {
 public:
  explicit Impl(const char* dir) {
    std::string pattern = dir == nullptr ? "" : dir;
    if (!pattern.empty() && pattern.back() != '\\' && pattern.back() != '/') pattern += '\\';
    pattern += '*';
    const std::wstring wide = Wide(pattern.c_str());
    find_ = ::FindFirstFileExW(wide.c_str(), FindExInfoBasic, &data_, FindExSearchNameMatch, nullptr,
                               FIND_FIRST_EX_LARGE_FETCH);
    if (find_ == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_INVALID_PARAMETER) {
      find_ = ::FindFirstFileExW(wide.c_str(), FindExInfoStandard, &data_, FindExSearchNameMatch, nullptr, 0);
    }
    // The root of an empty drive has no entry at all.
    empty_ = find_ == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_FILE_NOT_FOUND;
    pending_ = find_ != INVALID_HANDLE_VALUE;
  }
  ~Impl() {
    if (find_ != INVALID_HANDLE_VALUE) ::FindClose(find_);
  }

  bool IsOpen() const { return find_ != INVALID_HANDLE_VALUE || empty_; }

  bool Next(DirectoryEntry* entry) {
    if (find_ == INVALID_HANDLE_VALUE) return false;
    if (!pending_ && ::FindNextFileW(find_, &data_) == FALSE) return false;
    pending_ = false;
    name_ = Narrow(data_.cFileName);
    entry->name = name_.c_str();
    entry->attributes = data_.dwFileAttributes;
    return true;
  }

 private:
  HANDLE find_ = INVALID_HANDLE_VALUE;
  WIN32_FIND_DATAW data_{};
  bool pending_ = false;  // data_ holds an entry not given out yet
  bool empty_ = false;
  std::string name_;
};

DirectoryReader::DirectoryReader(const char* dir) : impl_(std::make_unique<Impl>(dir)) {}
DirectoryReader::~DirectoryReader() = default;
bool DirectoryReader::IsOpen() const { return impl_->IsOpen(); }
bool DirectoryReader::Next(DirectoryEntry* entry) { return impl_->Next(entry); }

bool FreeDiskSpace(const char* root, unsigned long long* available) {
  if (BadName(root)) return false;
  ULARGE_INTEGER free_to_caller;
  if (::GetDiskFreeSpaceExW(Wide(root).c_str(), &free_to_caller, nullptr, nullptr) == FALSE) return false;
  *available = free_to_caller.QuadPart;
  return true;
}

unsigned long LogicalDriveMask() { return ::GetLogicalDrives(); }

std::string LogicalDriveStrings() {
  wchar_t buffer[512];
  const DWORD n = ::GetLogicalDriveStringsW(511, buffer);
  if (n == 0 || n > 511) return std::string(1, '\0');
  std::string strings = Narrow(buffer, n);
  strings += '\0';
  return strings;
}

unsigned DriveTypeOf(const char* root) {
  if (root == nullptr) return ::GetDriveTypeW(nullptr);
  return ::GetDriveTypeW(Wide(root).c_str());
}

unsigned long LastFileError() { return ::GetLastError(); }

void SetLastFileError(unsigned long code) { ::SetLastError(static_cast<DWORD>(code)); }

}  // namespace kelm::port
