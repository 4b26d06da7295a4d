#include "kelm/frame/testing/second_module.h"

#include <atomic>

#include "kelm/frame/global_vars.h"
#include "kelm/port/module.h"
#include "kelm/port/thread_local_storage.h"

namespace {

std::atomic<int> live_vars{0};

struct ModuleVar {
  ModuleVar() { ++live_vars; }
  ~ModuleVar() { --live_vars; }
  int uses = 0;
};

HINSTANCE OwnModule() { return kelm::port::ModuleOfAddress(reinterpret_cast<const void*>(&OwnModule)); }

// Registers with kelm-lib's registry under this module's own handle, so that
// only this module's detach and unload destroy the instances.
class ModuleRegistration {
 public:
  ModuleRegistration()
      : module_(OwnModule()),
        index_(GVars::GlobalVarAllocatorsRegistry::Instance().RegisterGlobalVarAllocator(
            new GVars::DefaultGlobalVarAllocator<ModuleVar>(module_))) {
    kelm::port::WatchThreadExit(module_, &DetachThread);
  }
  ~ModuleRegistration() {
    kelm::port::UnwatchThreadExit(module_);
    GlobalVariablesTLS::DestroyGlobalVar(module_, index_);
    GlobalVariablesTLS::DestroyAllocator(module_, index_);
  }

  ModuleVar* Get() const {
    return static_cast<ModuleVar*>(
        GVars::GetThreadGlobalVarsFromTLS(GlobalVariablesTLS::TlsIndex(), true)->GetPVar(index_));
  }

  static void DetachThread(HINSTANCE module) { GlobalVariablesTLS::DestroyThreadGlobalVars(module); }

 private:
  HINSTANCE module_;
  int index_;
};

ModuleRegistration registration;

}  // namespace

#ifdef _WIN32
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_THREAD_DETACH) ModuleRegistration::DetachThread(instance);
  return TRUE;
}
#endif

HINSTANCE SecondModuleHandle() { return OwnModule(); }
int SecondModuleTouch() { return ++registration.Get()->uses; }
int SecondModuleLiveVars() { return live_vars; }
