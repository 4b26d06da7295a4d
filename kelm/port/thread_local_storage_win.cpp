#include "kelm/port/thread_local_storage.h"

namespace kelm::port {

unsigned long TlsAllocate() { return ::TlsAlloc(); }

bool TlsRelease(unsigned long slot) { return ::TlsFree(slot) != FALSE; }

void* TlsGet(unsigned long slot) { return ::TlsGetValue(slot); }

bool TlsSet(unsigned long slot, void* value) { return ::TlsSetValue(slot, value) != FALSE; }

// Each DLL's DllMain already receives DLL_THREAD_DETACH.
void WatchThreadExit(HINSTANCE, void (*)(HINSTANCE)) {}

void UnwatchThreadExit(HINSTANCE) {}

}  // namespace kelm::port
