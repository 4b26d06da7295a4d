// Thread-local slots and thread-exit notification.
#ifndef KELM_PORT_THREAD_LOCAL_STORAGE_H_
#define KELM_PORT_THREAD_LOCAL_STORAGE_H_

#include "kelm/port/win_types.h"

namespace kelm::port {

// Slots with TlsAlloc semantics: a process-wide slot number whose value is
// kept separately by every thread. A newly allocated slot reads null in every
// thread. TlsAllocate returns TLS_OUT_OF_INDEXES when no slot is free.
unsigned long TlsAllocate();
bool TlsRelease(unsigned long slot);
void* TlsGet(unsigned long slot);
bool TlsSet(unsigned long slot, void* value);

// Per-module thread-exit notification. On Windows the loader calls each DLL's
// entry point with DLL_THREAD_DETACH, so these do nothing there. Elsewhere
// `detach(module)` runs in every thread that ends after having stored a
// non-null value in some slot, before the thread is reported finished. The
// main thread leaving through exit() is not notified, as on Windows.
void WatchThreadExit(HINSTANCE module, void (*detach)(HINSTANCE));
void UnwatchThreadExit(HINSTANCE module);

}  // namespace kelm::port

#endif  // KELM_PORT_THREAD_LOCAL_STORAGE_H_
