// Module handles: the executable and the shared libraries of the process.
#ifndef KELM_PORT_MODULE_H_
#define KELM_PORT_MODULE_H_

#include "kelm/port/win_types.h"

namespace kelm::port {

// The handle of kelm-lib itself (GetModuleHandle("kelm-lib.dll")). On POSIX a
// module handle is the module's load address.
HINSTANCE LibraryModule();

// The process's executable (GetModuleHandle(NULL)).
HINSTANCE ExecutableModule();

// The module whose image contains `address`; null if none does.
HINSTANCE ModuleOfAddress(const void* address);

}  // namespace kelm::port

#endif  // KELM_PORT_MODULE_H_
