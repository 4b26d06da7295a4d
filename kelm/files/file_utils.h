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

class Collection;
class TimeStamp;

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

enum FileDateTimeType { fdtCreation = 0, fdtLastAccess = 1, fdtLastWrite = 2 };

// Creates one directory; an existing name is no error. Any other failure
// raises "Ошибка при создании каталога "%s".".
void MakeDir(const char* dir);
// Creates every missing directory on the way to a file: the last component
// of a path that does not end in a separator is a file name and is not
// created. A path whose full form reaches 260 characters raises "Ошибка при
// создании пути к файлу: ..."; a network path without its server or share
// raises "Неверное имя файла/каталога "%s"!\n" (through Error).
void MakePath(const char* filePath);
// MoveFile; a file moves to another volume as a copy. An existing target
// is a failure. Failure raises "Ошибка при переименовании файла "%s" в "%s".".
void Rename(const char* from, const char* to);
// CopyFile. Failure raises "Ошибка при копировании файла "%s" в "%s".".
void Copy(const char* from, const char* to, bool failIfExists);
// FILE_ATTRIBUTE_* bits. Failure raises "Ошибка при установке атрибутов
// файла "%s".". Linux: only the read-only bit is applied.
void SetFileAttribs(const char* name, unsigned int attributes);

// The file is opened through OpenStreamFile (reading for Get, writing for
// Set; the add-on path applies); both answer whether the system call on the
// time succeeded. Get first sets `out` to the current local time; `local`
// converts between universal and local time. A kind outside the three fails.
// Linux cannot set a creation time: SetFileDateTime(fdtCreation) is false.
bool GetFileDateTime(const char* name, FileDateTimeType kind, TimeStamp& out, bool local);
bool SetFileDateTime(const char* name, FileDateTimeType kind, TimeStamp& value, bool local);

// Copies `in` to `out`, each "*", "/", "?" and "\" becoming "_" (only these
// four). A null `in` leaves `out` untouched.
void ConvertStrToValidFilenamePart(char* out, const char* in);

// Free bytes available to the caller on the volume of `path`. The system is
// asked about "X:\" for a path with a drive, "\\server\share\" for a network
// path, and the path itself otherwise. Failure raises "Произошла ошибка при
// определении свободного места в каталоге "%s"!" with the path as given.
long long DiskFreeSpace(const char* path);
// The letter, upper-cased, is A..Z and the system has that drive. Linux has
// no drive letters: always false.
bool ValidDisk(char letter);
// Whether `path` (one trailing separator ignored; "*" and "?" in its last
// component match as in a listing) names a directory (`directory`) or
// something else. A missing "X:\" answers ValidDisk(X), a missing
// "\\server\share" whether the system knows it as a root. A path is used
// whole: one longer than 259 characters is not cut short.
bool FindFile(const char* path, bool directory);
// Whether the registered alternative file system claims `path`.
bool FindKFSFile(const char* path);
// Whether OpenStreamFile(name, mode) succeeds (the handle is closed again).
// On failure: false with write access, FindKFSFile(name) with read access
// only, true with neither.
bool CanOpen(const char* name, unsigned short mode);
// False unless the file opens for reading or the alternative file system
// claims it; otherwise clears the read-only attribute, with `remove` deletes
// the file through Unlink(name, true), and answers true.
bool ClearROAttrib(const char* name, bool remove);

// Deletes a file (its attributes are reset first, so a read-only file goes
// too; a failure raises "Ошибка при удалении файла или каталога "%s"." when
// `report` is set), or a directory with everything in it (silently). A
// missing path, a last component "." or "..", a null or empty path and a
// root ("X:\", "\\server\share", "/") do nothing. A symbolic link or
// junction is removed itself, never followed. A path is used whole, never
// cut short.
void Unlink(const char* path, bool report);
// Deletes the entries of `dir` that match `mask` (as GetFileList matches),
// files and whole directories, each through Unlink(entry, report). Nothing
// happens for a null or empty `dir` or a null `mask`.
void Unlink(const char* dir, const char* mask, bool report);
// Unlink(dir, "*.*", false), then with `removeDir` the emptied directory
// itself (failure is silent).
void ClearDirRecursive(const char* dir, bool removeDir);
// Whether `dir` holds nothing but subdirectories (also true when it cannot
// be read).
bool CanDelFolder(const char* dir);

// Adds to `list` (through its virtual Ins, as malloc'ed copies) the entries
// that match `pattern`: the text after its last separator is the mask, with
// "*" and "?", matched without regard to case (Windows-1251); a name without
// "." gets one appended when the mask holds a ".", so "*.*" takes every name.
// Flags:
//   0x1  full paths instead of names; a full path longer than 259 characters
//        is shown through ErrorMsgOkAll ("Длина имени файла превышает %d
//        символов. ...") and still added;
//   0x2  subdirectories too, depth first after the folder's own entries;
//        without 0x1 their entries are added as paths relative to the
//        pattern's folder ("sub\name"). Links to directories are not
//        followed; hidden subdirectories are visited only with 0x8;
//   0x4  directories only, never "." or "..";
//   0x8  files including hidden and system ones.
// Without 0x4 and 0x8 only files that are neither hidden nor system. Then,
// unless `nested` is set (the walk's own calls), a handler of the
// alternative file system for `pattern`, if any, lists into `list` too.
// Answers whether `list` holds anything afterwards.
bool GetFileList(const char* pattern, Collection& list, int flags = 0, bool nested = false);

// A drive letter (ASCII) and ":", or two backslashes. Null is false. Linux
// also takes a path that begins with "/" (its only kind of full path).
bool IsFullPath(const char* path);

#endif  // KELM_FILES_FILE_UTILS_H_
