// Walks the system's drive roots ("C:\", "D:\" ...), optionally only those of
// one drive type.
//
//   for (LogicalDriveIterator it(DRIVE_FIXED); !it.IsDone(); it.Next()) Use(it.CurrentDrive());
//
// Linux has no drive letters: the roots are the mount points ("/",
// "/home/" ...), each ending in "/", and their type comes from the file
// system (tmpfs is a RAM disk, nfs and cifs are remote, the kernel's own
// file systems unknown, the rest fixed). Their list is not bound to the 255
// characters that hold the Windows list.
#ifndef KELM_FILES_LOGICAL_DRIVE_ITERATOR_H_
#define KELM_FILES_LOGICAL_DRIVE_ITERATOR_H_

#include <cstddef>
#include <string>

class LogicalDriveIterator {
 public:
  // `driveType`: a Windows drive type (DRIVE_FIXED ...), 0 for every type.
  explicit LogicalDriveIterator(unsigned int driveType = 0);

  // Reads the system's list and stops at the first root of the type; when
  // the list cannot be read the iterator is done at once.
  void First();
  // The next root of the type; nothing once done.
  void Next();
  bool IsDone() const;
  // The root under the cursor; null before First and once done.
  const char* CurrentDrive() const;

 private:
  void SkipOtherTypes();

  std::string drives_;  // every root followed by a zero, and one zero more
  std::size_t cursor_;  // npos: none
  unsigned int drive_type_;
};

#endif  // KELM_FILES_LOGICAL_DRIVE_ITERATOR_H_
