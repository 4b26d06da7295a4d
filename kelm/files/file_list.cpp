// Listing, finding and deleting by name and mask.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kelm/containers/collection.h"
#include "kelm/files/file_system_factory.h"
#include "kelm/files/file_utils.h"
#include "kelm/frame/errors.h"
#include "kelm/port/file.h"
#include "kelm/port/path.h"
#include "kelm/text/char_classes.h"
#include "kelm/text/string.h"

namespace {

using kelm::port::IsPathSeparator;
using kelm::port::kPathSeparator;

// The longest full path a listing stores without a report.
constexpr int kMaxPath = 259;

constexpr char kLongPathText[] =
    "Длина имени файла превышает %d символов.                             Для корректной работы переместите программу в папку с                             более коротким путем.\n                            Файл: \"%s\".";
constexpr char kDeleteText[] = "Ошибка при удалении файла или каталога \"%s\".";

bool IsDots(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

bool HasWildcard(const char* text) { return std::strpbrk(text, "*?") != nullptr; }

// A listing mask: "*" and "?" over Windows-1251 text upper-cased; a name
// without "." gets one appended when the mask holds one.
class NameMask {
 public:
  explicit NameMask(const char* mask) : mask_(Upper(mask)), dot_(mask_.find('.') != std::string::npos) {}

  bool Matches(const char* name) {
    name_.assign(name);
    for (char& c : name_) c = static_cast<char>(ToUpper1251(static_cast<unsigned char>(c)));
    if (dot_ && name_.find('.') == std::string::npos) name_ += '.';
    return Wildcard(mask_.c_str(), name_.c_str());
  }

 private:
  static std::string Upper(const char* text) {
    std::string upper(text);
    for (char& c : upper) c = static_cast<char>(ToUpper1251(static_cast<unsigned char>(c)));
    return upper;
  }

  // Greedy, going back only to the last "*": linear in practice.
  static bool Wildcard(const char* mask, const char* name) {
    const char* star = nullptr;
    const char* resume = nullptr;
    while (*name != '\0') {
      if (*mask == '*') {
        star = ++mask;
        resume = name;
      } else if (*mask == '?' || *mask == *name) {
        ++mask;
        ++name;
      } else if (star != nullptr) {
        mask = star;
        name = ++resume;
      } else {
        return false;
      }
    }
    while (*mask == '*') ++mask;
    return *mask == '\0';
  }

  std::string mask_;
  bool dot_;
  std::string name_;
};

// `path` split into its folder (with the separator, or "X:", or empty for
// the current folder) and its last component.
void SplitLast(const std::string& path, std::string* dir, std::string* last) {
  std::size_t cut = path.find_last_of("\\/");
  if (cut == std::string::npos && path.size() >= 2 && path[1] == ':') cut = 1;
  *dir = cut == std::string::npos ? std::string() : path.substr(0, cut + 1);
  *last = cut == std::string::npos ? path : path.substr(cut + 1);
}

// The attributes of what `path` names; "*" and "?" in its last component
// take the first entry that matches, as the system's search does.
bool FindEntry(const std::string& path, unsigned long* attributes) {
  std::string dir;
  std::string last;
  SplitLast(path, &dir, &last);
  // "X:" alone names no entry (only the drive's current folder).
  if (dir.size() == 2 && dir[1] == ':' && last.empty()) return false;
  if (!HasWildcard(last.c_str())) {
    *attributes = kelm::port::PathAttributes(path.c_str());
    return *attributes != INVALID_FILE_ATTRIBUTES;
  }
  NameMask mask(last.c_str());
  kelm::port::DirectoryReader reader(dir.c_str());
  kelm::port::DirectoryEntry entry;
  while (reader.Next(&entry)) {
    if (mask.Matches(entry.name)) {
      *attributes = entry.attributes;
      return true;
    }
  }
  return false;
}

bool IsDriveRoot(const char* path) { return std::strlen(path) == 3 && path[1] == ':' && path[2] == '\\'; }

// "\\server\share", with at most one trailing backslash.
bool IsShareRoot(const std::string& path) {
  if (path.size() < 5 || path[0] != '\\' || path[1] != '\\') return false;
  const std::size_t server_end = path.find('\\', 2);
  if (server_end == std::string::npos || server_end == 2 || server_end + 1 >= path.size()) return false;
  const std::size_t share_end = path.find('\\', server_end + 1);
  return share_end == std::string::npos || (share_end + 1 == path.size() && share_end > server_end + 1);
}

// The path without one trailing separator (a lone root separator stays).
std::string Trimmed(const char* path) {
  std::string trimmed(path);
  if (trimmed.size() > 1 && IsPathSeparator(trimmed.back())) trimmed.pop_back();
  return trimmed;
}

bool IsRoot(const std::string& trimmed) {
  return trimmed == "/" || trimmed == "\\" || (trimmed.size() == 2 && trimmed[1] == ':');
}

// One GetFileList walk.
class Lister {
 public:
  Lister(Collection& list, int flags, const char* mask) : list_(list), flags_(flags), mask_(mask) {}

  // Lists `dir` (empty, or ending in a separator or "X:"); `shown` is what
  // precedes the names in the list: the full folder with 0x1, else the
  // folder relative to the walk's start.
  void Folder(const std::string& dir, const std::string& shown) {
    std::vector<std::string> subdirs;
    kelm::port::DirectoryReader reader(dir.c_str());
    kelm::port::DirectoryEntry entry;
    while (reader.Next(&entry)) {
      const unsigned long a = entry.attributes;
      const bool directory = (a & FILE_ATTRIBUTE_DIRECTORY) != 0;
      const bool concealed = (a & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM)) != 0;
      if (directory && (flags_ & 0x2) != 0 && !IsDots(entry.name) &&
          (a & FILE_ATTRIBUTE_REPARSE_POINT) == 0 && ((flags_ & 0x8) != 0 || !concealed)) {
        subdirs.emplace_back(entry.name);
      }
      if (!Takes(directory, concealed, entry.name) || !mask_.Matches(entry.name)) continue;
      Add(shown + entry.name);
    }
    for (const std::string& sub : subdirs) Folder(dir + sub + kPathSeparator, shown + sub + kPathSeparator);
  }

 private:
  bool Takes(bool directory, bool concealed, const char* name) const {
    if ((flags_ & 0x4) != 0) return directory && !IsDots(name);
    if ((flags_ & 0x8) != 0) return !directory;
    return !directory && !concealed;
  }

  void Add(const std::string& text) {
    if ((flags_ & 0x1) != 0 && text.size() > static_cast<std::size_t>(kMaxPath)) {
      ErrorMsgOkAll(kLongPathText, kMaxPath, text.c_str());
    }
    list_.Ins(StrDup(text.c_str()));
  }

  Collection& list_;
  const int flags_;
  NameMask mask_;
};

}  // namespace

bool FindFile(const char* path, bool directory) {
  if (path == nullptr) return false;
  unsigned long attributes = 0;
  if (FindEntry(Trimmed(path), &attributes))
    return ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) == directory;
  if (!directory) return false;
  if (IsDriveRoot(path)) return ValidDisk(path[0]);
  if (IsShareRoot(path)) {
    std::string root(path);
    if (root.back() != '\\') root += '\\';
    const unsigned type = kelm::port::DriveTypeOf(root.c_str());
    return type != DRIVE_UNKNOWN && type != DRIVE_NO_ROOT_DIR;
  }
  return false;
}

void Unlink(const char* path, bool report) {
  if (path == nullptr || *path == '\0') return;
  const std::string target = Trimmed(path);
  // A root is never emptied: on Windows the trimmed "X:" names nothing, and a
  // share root or Linux's "/" would be a whole volume.
  if (IsRoot(target) || IsShareRoot(target)) return;
  const unsigned long attributes = kelm::port::PathAttributes(target.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    // Departure for safety: a link or junction goes itself; deleting through
    // it would empty the folder it leads to.
    if (!kelm::port::RemoveFile(target.c_str()) && !kelm::port::RemoveEmptyDirectory(target.c_str()) &&
        report) {
      SysError(kDeleteText, path);
    }
    return;
  }
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    const bool removed = kelm::port::SetPathAttributes(target.c_str(), FILE_ATTRIBUTE_ARCHIVE) &&
                         kelm::port::RemoveFile(target.c_str());
    if (!removed && report) SysError(kDeleteText, path);
    return;
  }
  if (!FindFile(target.c_str(), true)) return;
  std::string dir;
  std::string last;
  SplitLast(target, &dir, &last);
  if (IsDots(last.c_str())) return;
  Unlink(target.c_str(), "*.*", false);
  kelm::port::RemoveEmptyDirectory(target.c_str());
}

void Unlink(const char* dir, const char* mask, bool report) {
  if (dir == nullptr || *dir == '\0' || mask == nullptr) return;
  std::string folder(dir);
  if (!IsPathSeparator(folder.back())) folder += kPathSeparator;
  Collection entries(csDUPLICATE | csOWNER);
  {
    NameMask wanted(mask);
    kelm::port::DirectoryReader reader(folder.c_str());
    kelm::port::DirectoryEntry entry;
    while (reader.Next(&entry)) {
      if (!IsDots(entry.name) && wanted.Matches(entry.name))
        entries.Ins(StrDup((folder + entry.name).c_str()));
    }
  }
  for (int i = 0; i < entries.Count(); ++i) Unlink(entries[i], report);
}

void ClearDirRecursive(const char* dir, bool removeDir) {
  Unlink(dir, "*.*", false);
  if (removeDir && dir != nullptr && *dir != '\0') kelm::port::RemoveEmptyDirectory(dir);
}

bool CanDelFolder(const char* dir) {
  if (dir == nullptr || *dir == '\0') return true;
  kelm::port::DirectoryReader reader(dir);
  kelm::port::DirectoryEntry entry;
  // Departure: only "." and ".." are passed over, not blindly the first entry,
  // which is a real one at a drive root (and wherever "." does not come first).
  while (reader.Next(&entry)) {
    if (!IsDots(entry.name) && (entry.attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return false;
  }
  return true;
}

bool GetFileList(const char* pattern, Collection& list, int flags, bool nested) {
  if (pattern == nullptr) return list.Count() > 0;
  std::string dir;
  std::string mask;
  SplitLast(pattern, &dir, &mask);
  if (!mask.empty()) {
    std::string shown;
    if ((flags & 0x1) != 0) {
      shown = kelm::port::FullPathOf(dir.empty() ? "." : dir.c_str());
      if (!shown.empty() && !IsPathSeparator(shown.back())) shown += kPathSeparator;
    }
    Lister(list, flags, mask.c_str()).Folder(dir, shown);
  }
  if (!nested) {
    std::unique_ptr<IFileUtils> handler(FileSystemFactory::Instance().Get(pattern, false));
    if (handler) {
      const int translated =
          ((flags & 0x2) != 0 ? 0x4 : 0) | ((flags & 0x1) != 0 ? 0x2 : 0) | ((flags & 0x4) != 0 ? 0x80 : 0);
      handler->GetFileList(pattern, list, translated);
    }
  }
  return list.Count() > 0;
}
