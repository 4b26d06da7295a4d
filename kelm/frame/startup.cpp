#include "kelm/frame/startup.h"

#include "kelm/datetime/date.h"
#include "kelm/frame/dlls.h"
#include "kelm/frame/global_vars.h"
#include "kelm/frame/kelm_lib_instance.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      KlbUtils::KelmLibInstance::SetModuleHandle(instance);
      RegisteredDLLs.Add(KlbUtils::KelmLibInstance::ModuleHandle());
      GlobalVariablesTLS::Initialize();
      break;
    case DLL_THREAD_DETACH:
      GlobalVariablesTLS::DestroyThreadGlobalVars(instance);
      break;
    case DLL_PROCESS_DETACH:
      // Variables and allocators go with the registrators' destructors.
      RegisteredDLLs.Remove(KlbUtils::KelmLibInstance::ModuleHandle());
      break;
    default:
      break;
  }
  return TRUE;
}

void KELMLIBInit() { DateTimeInit(); }
