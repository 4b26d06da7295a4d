// Lists of module handles that the library searches for message texts.
#ifndef KELM_FRAME_DLLS_H_
#define KELM_FRAME_DLLS_H_

#include <vector>

#include "kelm/port/win_types.h"

// An ordered list of module handles.
class DLLs {
 public:
  int Count() const { return static_cast<int>(modules_.size()); }
  HINSTANCE operator[](int i) const { return modules_[static_cast<size_t>(i)]; }
  void Add(HINSTANCE module) { modules_.push_back(module); }
  // Index of the first occurrence of `module`, or -1.
  int Find(HINSTANCE module) const;
  // Removes the first occurrence; false if absent.
  bool Remove(HINSTANCE module);

 private:
  std::vector<HINSTANCE> modules_;
};

// Modules the application loaded through the library.
extern DLLs LoadedDLLs;
// Modules that registered themselves; the library adds its own handle when
// it is loaded.
extern DLLs RegisteredDLLs;

#endif  // KELM_FRAME_DLLS_H_
