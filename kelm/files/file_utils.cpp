#include "kelm/files/file_utils.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "kelm/datetime/time_stamp.h"
#include "kelm/files/file_system_factory.h"
#include "kelm/frame/errors.h"
#include "kelm/frame/global_vars.h"
#include "kelm/port/clock.h"
#include "kelm/port/file.h"
#include "kelm/port/path.h"

namespace {

GVars::GlobalVarRegistrator<std::string> addonPathRegistrator;

std::mutex statLock;
int openCount = 0;

constexpr unsigned long kFileNotFound = 2;
constexpr unsigned long kPathNotFound = 3;

kelm::port::FileOpenOptions OptionsOf(unsigned int mode) {
  kelm::port::FileOpenOptions options;
  options.read = (mode & fmRead) != 0;
  options.write = (mode & fmWrite) != 0;
  options.share_read = (mode & (fmShareNone | fmDenyRead)) == 0;
  options.share_write = (mode & (fmShareNone | fmDenyWrite)) == 0;
  options.disposition = (mode & fmCreate) != 0       ? kelm::port::FileDisposition::kCreateAlways
                        : (mode & fmOpenAlways) != 0 ? kelm::port::FileDisposition::kOpenAlways
                                                     : kelm::port::FileDisposition::kOpenExisting;
  options.delete_on_close = (mode & fmDeleteOnClose) != 0;
  options.random_access = true;
  return options;
}

}  // namespace

std::string& ThreadAddonPath() { return *addonPathRegistrator.Get(); }

void GrsFileStat::Clear() {
  std::lock_guard<std::mutex> lock(statLock);
  openCount = 0;
}

int GrsFileStat::OpenCount() {
  std::lock_guard<std::mutex> lock(statLock);
  return openCount;
}

void GrsFileStat::IncOpen() {
  std::lock_guard<std::mutex> lock(statLock);
  ++openCount;
}

void* OpenStreamFile(const char* name, unsigned int mode) {
  GrsFileStat::IncOpen();
  const kelm::port::FileOpenOptions options = OptionsOf(mode);
  HANDLE file = kelm::port::OpenFileHandle(name, options);
  if (file != INVALID_HANDLE_VALUE) return file;
  const unsigned long error = kelm::port::LastFileError();
  // Reaching the thread's variables may reset the system's last error.
  const std::string& addon = ThreadAddonPath();
  if ((error == kFileNotFound || error == kPathNotFound) && !addon.empty()) {
    file = kelm::port::OpenFileHandle((addon + name).c_str(), options);
  }
  if (file == INVALID_HANDLE_VALUE) kelm::port::SetLastFileError(error);
  return file;
}

// ---------------------------------------------------------------------------

namespace {

using kelm::port::IsPathSeparator;

constexpr unsigned long kAlreadyExists = 183;
constexpr unsigned long kInvalidParameter = 87;
constexpr unsigned long kNotSupported = 50;
constexpr unsigned long kNameTooLong = 206;
// _fullpath's buffer: a full path must be shorter.
constexpr std::size_t kFullPathBuffer = 260;

constexpr char kMakeDirText[] = "Ошибка при создании каталога \"%s\".";
constexpr char kMakePathText[] =
    "Ошибка при создании пути к файлу: \"%s\"\nВозможно слишком длинное имя файла, попробуйте "
    "переустановить программу в папку с более коротким именем и путем к ней.";
constexpr char kBadNameText[] = "Неверное имя файла/каталога \"%s\"!\n";
constexpr char kRenameText[] = "Ошибка при переименовании файла \"%s\" в \"%s\".";
constexpr char kCopyText[] = "Ошибка при копировании файла \"%s\" в \"%s\".";
constexpr char kAttributesText[] = "Ошибка при установке атрибутов файла \"%s\".";
constexpr char kFreeSpaceText[] = "Произошла ошибка при определении свободного места в каталоге \"%s\"!";

const char* Shown(const char* text) { return text != nullptr ? text : ""; }

bool IsAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// The length of the root of a full path: "X:\" (or "X:"), "\\server\share\"
// (the whole text when the share ends it), "/"; npos for a network path
// without its server or share.
std::size_t RootLength(const std::string& path) {
  if (path.size() >= 2 && path[1] == ':') return path.size() > 2 && IsPathSeparator(path[2]) ? 3 : 2;
  if (path.size() >= 2 && IsPathSeparator(path[0]) && IsPathSeparator(path[1])) {
    const std::size_t server_end = path.find_first_of("\\/", 2);
    if (server_end == std::string::npos || server_end == 2) return std::string::npos;
    const std::size_t share_end = path.find_first_of("\\/", server_end + 1);
    if (share_end == server_end + 1 || server_end + 1 == path.size()) return std::string::npos;
    return share_end == std::string::npos ? path.size() : share_end + 1;
  }
  return !path.empty() && IsPathSeparator(path[0]) ? 1 : 0;
}

// Runs `call` (a time reading or writing on an open handle) on `name` opened
// with `mode`; answers what the call answered.
template <class Call>
bool WithFile(const char* name, unsigned mode, Call call) {
  HANDLE file = OpenStreamFile(name, mode);
  if (file == INVALID_HANDLE_VALUE) return false;
  const bool ok = call(file);
  const unsigned long error = kelm::port::LastFileError();
  kelm::port::CloseFileHandle(file);
  kelm::port::SetLastFileError(error);
  return ok;
}

bool ValidKind(FileDateTimeType kind) { return kind >= fdtCreation && kind <= fdtLastWrite; }

FILETIME* Slot(FileDateTimeType kind, FileDateTimeType wanted, FILETIME* time) {
  return kind == wanted ? time : nullptr;
}

}  // namespace

void MakeDir(const char* dir) {
  if (!kelm::port::MakeDirectory(dir) && kelm::port::LastFileError() != kAlreadyExists) {
    SysError(kMakeDirText, Shown(dir));
  }
}

void MakePath(const char* filePath) {
  const std::string full = filePath != nullptr && *filePath != '\0' ? kelm::port::FullPathOf(filePath) : "";
  if (full.size() >= kFullPathBuffer) kelm::port::SetLastFileError(kNameTooLong);
  if (full.empty() || full.size() >= kFullPathBuffer) SysError(kMakePathText, Shown(filePath));
  std::string dir = full;
  if (!IsPathSeparator(dir.back())) dir.erase(dir.find_last_of("\\/") + 1);
  const std::size_t root = RootLength(dir);
  if (root == std::string::npos) Error(kBadNameText, full.c_str());
  std::string whole = dir;
  if (whole.size() > root && IsPathSeparator(whole.back())) whole.pop_back();
  for (std::size_t i = root; i < dir.size(); ++i) {
    if (!IsPathSeparator(dir[i])) continue;
    const std::string prefix = dir.substr(0, i);
    if (FindFile(prefix.c_str(), true)) continue;
    if (!kelm::port::MakeDirectory(prefix.c_str()) && kelm::port::LastFileError() != kAlreadyExists) {
      SysError(kMakeDirText, whole.c_str());
    }
  }
  if (!FindFile(whole.c_str(), true)) MakeDir(whole.c_str());
}

void Rename(const char* from, const char* to) {
  if (!kelm::port::RenamePath(from, to)) SysError(kRenameText, Shown(from), Shown(to));
}

void Copy(const char* from, const char* to, bool failIfExists) {
  if (!kelm::port::CopyFileTo(from, to, failIfExists)) SysError(kCopyText, Shown(from), Shown(to));
}

void SetFileAttribs(const char* name, unsigned int attributes) {
  if (!kelm::port::SetPathAttributes(name, attributes)) SysError(kAttributesText, Shown(name));
}

bool GetFileDateTime(const char* name, FileDateTimeType kind, TimeStamp& out, bool local) {
  out = TimeStamp();
  if (!ValidKind(kind)) return kelm::port::SetLastFileError(kInvalidParameter), false;
  return WithFile(name, fmRead, [&](HANDLE file) {
    FILETIME time{};
    if (!kelm::port::GetFileTimes(file, Slot(kind, fdtCreation, &time), Slot(kind, fdtLastAccess, &time),
                                  Slot(kind, fdtLastWrite, &time))) {
      return false;
    }
    FILETIME shifted;
    if (local && kelm::port::FileTimeToLocalFileTime(&time, &shifted)) time = shifted;
    out = TimeStamp(time);
    return true;
  });
}

bool SetFileDateTime(const char* name, FileDateTimeType kind, TimeStamp& value, bool local) {
  if (!ValidKind(kind)) return kelm::port::SetLastFileError(kInvalidParameter), false;
  if (kind == fdtCreation && !kelm::port::kCanSetCreationTime) {
    return kelm::port::SetLastFileError(kNotSupported), false;
  }
  FILETIME time = value.FileTime();
  FILETIME shifted;
  if (local && kelm::port::LocalFileTimeToFileTime(&time, &shifted)) time = shifted;
  return WithFile(name, fmWrite, [&](HANDLE file) {
    return kelm::port::SetFileTimes(file, Slot(kind, fdtCreation, &time), Slot(kind, fdtLastAccess, &time),
                                    Slot(kind, fdtLastWrite, &time));
  });
}

void ConvertStrToValidFilenamePart(char* out, const char* in) {
  if (in == nullptr || out == nullptr) return;
  for (; *in != '\0'; ++in, ++out) {
    const char c = *in;
    *out = c == '*' || c == '/' || c == '?' || c == '\\' ? '_' : c;
  }
  *out = '\0';
}

long long DiskFreeSpace(const char* path) {
  const std::string given = Shown(path);
  std::string root = given;
  if (given.size() >= 2 && given[1] == ':') {
    root = given.substr(0, 2) + "\\";
  } else if (given.size() >= 2 && given[0] == '\\' && given[1] == '\\') {
    const std::size_t server_end = given.find('\\', 2);
    const std::size_t share_end =
        server_end == std::string::npos ? server_end : given.find('\\', server_end + 1);
    root = given.substr(0, std::min(share_end, kFullPathBuffer)) + "\\";
  }
  unsigned long long available = 0;
  if (!kelm::port::FreeDiskSpace(root.c_str(), &available)) SysError(kFreeSpaceText, given.c_str());
  return static_cast<long long>(available);
}

bool ValidDisk(char letter) {
  if (!IsAsciiLetter(letter)) return false;
  const int drive = (letter & ~0x20) - 'A';
  return ((kelm::port::LogicalDriveMask() >> drive) & 1) != 0;
}

bool FindKFSFile(const char* path) {
  return std::unique_ptr<IFileUtils>(FileSystemFactory::Instance().Get(path, false)) != nullptr;
}

bool IsFullPath(const char* path) {
  if (path == nullptr) return false;
  if (IsAsciiLetter(path[0]) && path[1] == ':') return true;
  if (path[0] == '\\' && path[1] == '\\') return true;
#ifndef _WIN32
  // Departure on Linux: its full paths begin with "/", and callers that test
  // a path before they prefix a folder to it must see them as full.
  if (path[0] == '/') return true;
#endif
  return false;
}

bool CanOpen(const char* name, unsigned short mode) {
  HANDLE file = OpenStreamFile(name, mode);
  if (file != INVALID_HANDLE_VALUE) {
    kelm::port::CloseFileHandle(file);
    return true;
  }
  if ((mode & fmWrite) != 0) return false;
  return (mode & fmRead) != 0 ? FindKFSFile(name) : true;
}

bool ClearROAttrib(const char* name, bool remove) {
  HANDLE file = OpenStreamFile(name, fmRead);
  if (file != INVALID_HANDLE_VALUE) {
    kelm::port::CloseFileHandle(file);
  } else if (!FindKFSFile(name)) {
    return false;
  }
  const unsigned long attributes = kelm::port::PathAttributes(name);
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    kelm::port::SetPathAttributes(name, attributes & ~static_cast<unsigned long>(FILE_ATTRIBUTE_READONLY));
  }
  if (remove) Unlink(name, true);
  return true;
}
