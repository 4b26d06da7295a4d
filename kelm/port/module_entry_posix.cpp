// The POSIX stand-in for the loader's calls of a DLL's entry point: loading
// the shared object is the process attach, unloading it the process detach,
// and the end of a thread that used the library its thread detach.
#include "kelm/frame/startup.h"
#include "kelm/port/module.h"
#include "kelm/port/thread_local_storage.h"

namespace kelm::port {
namespace {

void DetachThread(HINSTANCE module) { DllMain(module, DLL_THREAD_DETACH, nullptr); }

struct LibraryEntry {
  LibraryEntry() {
    DllMain(LibraryModule(), DLL_PROCESS_ATTACH, nullptr);
    WatchThreadExit(LibraryModule(), &DetachThread);
  }
  ~LibraryEntry() {
    UnwatchThreadExit(LibraryModule());
    DllMain(LibraryModule(), DLL_PROCESS_DETACH, nullptr);
  }
};

LibraryEntry library_entry;

}  // namespace
}  // namespace kelm::port
