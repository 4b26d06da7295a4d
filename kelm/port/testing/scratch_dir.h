// A fresh folder under the system's temporary folder for one test, removed
// with everything in it (read-only files included) when the object goes.
#ifndef KELM_PORT_TESTING_SCRATCH_DIR_H_
#define KELM_PORT_TESTING_SCRATCH_DIR_H_

#include <cstring>
#include <string>
#include <vector>

#include "kelm/port/file.h"
#include "kelm/port/path.h"

namespace kelm::testing {

class ScratchDir {
 public:
  ScratchDir() {
    std::string name;
    if (port::MakeTempFile(port::TempFolder().c_str(), "kts", &name) && port::RemoveFile(name.c_str()) &&
        port::MakeDirectory(name.c_str())) {
      path_ = name;
    }
  }
  ~ScratchDir() {
    if (!path_.empty()) RemoveTree(path_);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  // The folder, without a trailing separator; empty when it could not be made.
  const std::string& path() const { return path_; }
  // The folder, a separator and `name`.
  std::string operator/(const std::string& name) const { return path_ + port::kPathSeparator + name; }

  // Writes `content` into a new file `name` (a path below the folder).
  bool Write(const std::string& name, const std::string& content) const {
    HANDLE file = port::OpenFileHandle((*this / name).c_str(),
                                       {.write = true, .disposition = port::FileDisposition::kCreateAlways});
    if (file == INVALID_HANDLE_VALUE) return false;
    unsigned long done = 0;
    const bool ok =
        port::WriteFileData(file, content.data(), static_cast<unsigned long>(content.size()), &done);
    port::CloseFileHandle(file);
    return ok && done == content.size();
  }
  // The content of file `name`; "<missing>" when it cannot be read.
  std::string Read(const std::string& name) const {
    HANDLE file = port::OpenFileHandle((*this / name).c_str(), {.read = true});
    if (file == INVALID_HANDLE_VALUE) return "<missing>";
    std::string content;
    char buffer[4096];
    unsigned long done = 0;
    while (port::ReadFileData(file, buffer, sizeof buffer, &done) && done > 0) content.append(buffer, done);
    port::CloseFileHandle(file);
    return content;
  }
  bool Exists(const std::string& name) const {
    return port::PathAttributes((*this / name).c_str()) != INVALID_FILE_ATTRIBUTES;
  }

 private:
  static void RemoveTree(const std::string& dir) {
    std::vector<std::string> names;
    {
      port::DirectoryReader reader(dir.c_str());
      port::DirectoryEntry entry;
      while (reader.Next(&entry)) {
        if (std::strcmp(entry.name, ".") != 0 && std::strcmp(entry.name, "..") != 0)
          names.push_back(entry.name);
      }
    }
    for (const std::string& name : names) {
      const std::string path = dir + port::kPathSeparator + name;
      const unsigned long attributes = port::PathAttributes(path.c_str());
      if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
          (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        RemoveTree(path);
      } else {
        port::SetPathAttributes(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        if (!port::RemoveFile(path.c_str())) port::RemoveEmptyDirectory(path.c_str());
      }
    }
    port::SetPathAttributes(dir.c_str(), FILE_ATTRIBUTE_NORMAL);
    port::RemoveEmptyDirectory(dir.c_str());
  }

  std::string path_;
};

}  // namespace kelm::testing

#endif  // KELM_PORT_TESTING_SCRATCH_DIR_H_
