#include "kelm/text/file_name.h"

#include <cstring>

#include "kelm/port/path.h"
#include "kelm/text/char_classes.h"

static_assert(sizeof(FileNameDat) == 262);

namespace {

void CopyPiece(char* dst, int capacity, const char* begin, const char* end) {
  const int n = static_cast<int>(end - begin);
  const int kept = n < capacity - 1 ? n : capacity - 1;
  std::memcpy(dst, begin, static_cast<std::size_t>(kept));
  dst[kept] = '\0';
}

}  // namespace

void SplitPathParts(const char* path, PathParts& parts) {
  parts.drive[0] = parts.dir[0] = parts.name[0] = parts.ext[0] = '\0';
  if (path == nullptr) return;
  if (path[0] != '\0' && path[1] == ':') {
    CopyPiece(parts.drive, sizeof parts.drive, path, path + 2);
    path += 2;
  }
  const char* after_separator = nullptr;
  const char* dot = nullptr;
  const char* p = path;
  for (; *p != '\0'; ++p) {
    if (kelm::port::IsPathSeparator(*p)) {
      after_separator = p + 1;
    } else if (*p == '.') {
      dot = p;
    }
  }
  if (after_separator != nullptr) {
    CopyPiece(parts.dir, sizeof parts.dir, path, after_separator);
    path = after_separator;
  }
  if (dot != nullptr && dot >= path) {
    CopyPiece(parts.name, sizeof parts.name, path, dot);
    CopyPiece(parts.ext, sizeof parts.ext, dot, p);
  } else {
    CopyPiece(parts.name, sizeof parts.name, path, p);
  }
}

void FileNameDat::SplitPath(const char* path, unsigned short parts) {
  PathParts pieces;
  SplitPathParts(path, pieces);
  Clear();
  if (parts & fnDrive) Cat(pieces.drive);
  if (parts & fnDir) Cat(pieces.dir);
  if (parts & fnName) Cat(pieces.name);
  if (parts & fnExt) Cat(pieces.ext);
}

const char* FileNameDat::SplitCurrPath(FileNameDat& path, unsigned short parts) {
  // SplitPath reads the whole path before it writes, so `path` may be *this.
  SplitPath(path.text_, parts);
  return text_;
}

const char* FileNameDat::AddBackClash() {
  const int len = Len();
  if (len > 0 && len < SizeOf() && text_[len - 1] != '\\') Cat('\\');
  return text_;
}
