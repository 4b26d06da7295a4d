#include "kelm/port/process.h"

#include <cstdlib>

#include "kelm/port/win_types.h"

namespace kelm::port {

void ExitProcess(unsigned long status) { std::exit(static_cast<int>(status)); }

void TerminateProcess(unsigned long status) {
  ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(status));
  // TerminateProcess on the own process does not return; should it ever fail:
  ::ExitProcess(static_cast<UINT>(status));
}

}  // namespace kelm::port
