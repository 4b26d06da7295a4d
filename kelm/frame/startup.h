// Start-up of the library: its entry point and the clients' start-up call.
#ifndef KELM_FRAME_STARTUP_H_
#define KELM_FRAME_STARTUP_H_

#include "kelm/port/win_types.h"

// The library's entry point. Process attach records the module handle, adds
// it to RegisteredDLLs and makes sure the thread-local slot exists; thread
// detach destroys the ending thread's variables of this module; process
// detach removes the module from RegisteredDLLs. Always returns TRUE.
// On POSIX it is called on load, on unload and at the end of every thread
// that used a per-thread variable.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

// Called once by client programs at start: prepares the date and time tables.
void KELMLIBInit();

#endif  // KELM_FRAME_STARTUP_H_
