// File and directory helpers that the library and its applications use
// instead of the system's file API: opening a handle with the library's mode
// bits (and the thread's add-on folder as a fallback), directories and whole
// paths, renaming, copying, deleting files and trees, attributes and file
// times, free space, drives, and listing by mask into a Collection.
//
//   MakePath("C:\\data\\2024\\report.txt");        // creates C:\data\2024
//   Collection files(csDUPLICATE | csOWNER);
//   GetFileList("C:\\data\\*.txt", files, 0x1);   // full paths
//   Unlink("C:\\data\\old", true);                 // the folder and all in it
//
// Failures of changing operations are raised with Russian messages through
// SysError (errors.h), which shows the text with the system's reason and
// throws; queries answer false. Names are Windows-1251 texts.
//
// Linux (see also kelm/port/file.h): paths are composed with '/' and split at
// '/' and '\'; the texts that name drive letters and "\\server\share" roots
// keep their Windows meaning and find nothing there. Share modes bind only
// this library's handles; read-only is the owner's write bit; hidden means
// the name begins with "."; there is no system attribute; drives are mount
// points and no letter is a valid disk.
#ifndef KELM_FILES_FILE_UTILS_H_
#define KELM_FILES_FILE_UTILS_H_

#include <string>

// Mode bits of OpenStreamFile and CanOpen. Without fmOpenAlways and fmCreate
// the file must exist; fmCreate wins over fmOpenAlways. Sharing starts from
// shared reading and writing.
enum : unsigned int {
  fmRead = 0x0001,
  fmWrite = 0x0002,
  fmOpenAlways = 0x0020,     // open, or create when missing
  fmCreate = 0x0080,         // create anew, truncating an existing file
  fmShareNone = 0x0100,      // share neither reading nor writing
  fmDenyWrite = 0x0200,      // do not share writing
  fmDenyRead = 0x0400,       // do not share reading
  fmDeleteOnClose = 0x2000,  // delete the file when its last handle closes
};

// A file handle for `name` (random-access hint, normal attributes), or
// INVALID_HANDLE_VALUE with the system's error. When the name is not found
// (system error 2 or 3) and the calling thread's add-on path is not empty,
// the add-on path followed by the name (no separator is inserted) is tried
// once; if that fails too the first error is restored. Every call counts in
// GrsFileStat. Close the handle with kelm::port::CloseFileHandle.
void* OpenStreamFile(const char* name, unsigned int mode);

// The calling thread's add-on path (empty at first): the folder that
// OpenStreamFile, GetFileDateTime and SetFileDateTime try a missing name in.
// FStream::AddonPath() and SetAddonPath() reach the same string.
std::string& ThreadAddonPath();

// A library-wide count of OpenStreamFile calls, guarded by its own lock.
class GrsFileStat {
 public:
  static void Clear();
  static int OpenCount();
  static void IncOpen();
};

#endif  // KELM_FILES_FILE_UTILS_H_
