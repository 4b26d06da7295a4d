// The library's own module handle.
#ifndef KELM_FRAME_KELM_LIB_INSTANCE_H_
#define KELM_FRAME_KELM_LIB_INSTANCE_H_

#include "kelm/port/win_types.h"

namespace KlbUtils {

// Set by the library's entry point at process attach; reads and writes are
// locked.
class KelmLibInstance {
 public:
  static HINSTANCE ModuleHandle();
  static void SetModuleHandle(HINSTANCE module);

 private:
  static HINSTANCE m_moduleHandle;
};

}  // namespace KlbUtils

#endif  // KELM_FRAME_KELM_LIB_INSTANCE_H_
