#include "kelm/frame/kelm_lib_instance.h"

#include "kelm/frame/sync.h"

namespace KlbUtils {
namespace {

// Made on first use: the entry point may run before this unit's static
// objects are built (POSIX).
CriticalSection& HandleLock() {
  static CriticalSection lock;
  return lock;
}

}  // namespace

HINSTANCE KelmLibInstance::m_moduleHandle = nullptr;

HINSTANCE KelmLibInstance::ModuleHandle() {
  Locker lock(HandleLock());
  return m_moduleHandle;
}

void KelmLibInstance::SetModuleHandle(HINSTANCE module) {
  Locker lock(HandleLock());
  m_moduleHandle = module;
}

}  // namespace KlbUtils
