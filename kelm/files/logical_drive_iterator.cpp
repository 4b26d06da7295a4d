#include "kelm/files/logical_drive_iterator.h"

#include <cstring>

#include "kelm/port/file.h"

LogicalDriveIterator::LogicalDriveIterator(unsigned int driveType)
    : cursor_(std::string::npos), drive_type_(driveType) {}

void LogicalDriveIterator::First() {
  drives_ = kelm::port::LogicalDriveStrings();
  cursor_ = drives_.size() > 1 ? 0 : std::string::npos;
  SkipOtherTypes();
}

void LogicalDriveIterator::Next() {
  if (IsDone()) return;
  cursor_ += std::strlen(drives_.c_str() + cursor_) + 1;
  SkipOtherTypes();
}

bool LogicalDriveIterator::IsDone() const {
  return cursor_ == std::string::npos || cursor_ >= drives_.size() || drives_[cursor_] == '\0';
}

const char* LogicalDriveIterator::CurrentDrive() const {
  return IsDone() ? nullptr : drives_.c_str() + cursor_;
}

void LogicalDriveIterator::SkipOtherTypes() {
  while (drive_type_ != 0 && !IsDone() && kelm::port::DriveTypeOf(CurrentDrive()) != drive_type_) {
    cursor_ += std::strlen(drives_.c_str() + cursor_) + 1;
  }
}
