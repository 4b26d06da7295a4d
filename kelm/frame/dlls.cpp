#include "kelm/frame/dlls.h"

#include <algorithm>

int DLLs::Find(HINSTANCE module) const {
  const auto it = std::find(modules_.begin(), modules_.end(), module);
  return it == modules_.end() ? -1 : static_cast<int>(it - modules_.begin());
}

bool DLLs::Remove(HINSTANCE module) {
  const int i = Find(module);
  if (i < 0) return false;
  modules_.erase(modules_.begin() + i);
  return true;
}

// Built before and destroyed after every other static object of the library,
// since the entry point reaches them from any translation unit's start-up
// and shut-down on POSIX.
DLLs LoadedDLLs __attribute__((init_priority(101)));
DLLs RegisteredDLLs __attribute__((init_priority(101)));
