#include "kelm/port/memory.h"

#include "kelm/port/win_types.h"

namespace kelm::port {

bool AvailablePhysicalMemory(unsigned long long* bytes) {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  if (!::GlobalMemoryStatusEx(&status)) return false;
  *bytes = status.ullAvailPhys;
  return true;
}

}  // namespace kelm::port
