// A second module for the tests: a shared library that registers a
// per-thread variable of its own, owned by its own module handle, and
// destroys it at its own thread detach as every client DLL of kelm-lib does.
#ifndef KELM_FRAME_TESTING_SECOND_MODULE_H_
#define KELM_FRAME_TESTING_SECOND_MODULE_H_

#include "kelm/port/win_types.h"

#ifdef _WIN32
#ifdef KELM_SECOND_MODULE_BUILD
#define KELM_SECOND_MODULE_API __declspec(dllexport)
#else
#define KELM_SECOND_MODULE_API __declspec(dllimport)
#endif
#else
#define KELM_SECOND_MODULE_API __attribute__((visibility("default")))
#endif

extern "C" {
// The module's handle.
KELM_SECOND_MODULE_API HINSTANCE SecondModuleHandle();
// Fetches the calling thread's instance and counts one use; returns the uses so far.
KELM_SECOND_MODULE_API int SecondModuleTouch();
// Instances alive in the process.
KELM_SECOND_MODULE_API int SecondModuleLiveVars();
}

#endif  // KELM_FRAME_TESTING_SECOND_MODULE_H_
