// Splitting a path into drive, directory, name and extension.
#ifndef KELM_TEXT_FILE_NAME_H_
#define KELM_TEXT_FILE_NAME_H_

#include "kelm/text/text_buffer.h"

// The pieces of a path as the Windows runtime's _splitpath finds them, the
// same on every platform: the drive is "X:" when the second character is a
// colon; the directory runs to the last '\' or '/' and keeps it; the
// extension starts at the last '.' after it; the name is what lies between.
// Each piece is cut at 255 characters.
struct PathParts {
  char drive[3];
  char dir[256];
  char name[256];
  char ext[256];
};
void SplitPathParts(const char* path, PathParts& parts);

// A TextBuffer<261> that is filled with chosen pieces of a path.
class FileNameDat : public TextBuffer<261> {
 public:
  // Masks of the pieces, combined with |.
  enum : unsigned short { fnDrive = 1, fnDir = 2, fnName = 4, fnExt = 8 };

  FileNameDat() = default;
  FileNameDat(const FileNameDat& other) = default;
  FileNameDat& operator=(const FileNameDat& other) = default;
  // Keeps the pieces of `path` chosen by `parts`.
  FileNameDat(const char* path, unsigned short parts) { SplitPath(path, parts); }

  // Each fills this object from the path held in `path` (which may be this
  // object) and returns the text.
  const char* Drive(FileNameDat& path) { return SplitCurrPath(path, fnDrive); }
  const char* Dir(FileNameDat& path) { return SplitCurrPath(path, fnDir); }
  const char* DriveDir(FileNameDat& path) { return SplitCurrPath(path, fnDrive | fnDir); }
  const char* Name(FileNameDat& path) { return SplitCurrPath(path, fnName); }
  const char* Ext(FileNameDat& path) { return SplitCurrPath(path, fnExt); }
  const char* NameExt(FileNameDat& path) { return SplitCurrPath(path, fnName | fnExt); }

  // Appends a backslash unless the text is empty, already ends in one, or is
  // full. Returns the text. A pure text function: '\\' on every platform.
  const char* AddBackClash();

 protected:
  // Empties the text, then appends drive, directory, name and extension in
  // this order, each if its bit is set.
  void SplitPath(const char* path, unsigned short parts);
  const char* SplitCurrPath(FileNameDat& path, unsigned short parts);
};

#endif  // KELM_TEXT_FILE_NAME_H_
