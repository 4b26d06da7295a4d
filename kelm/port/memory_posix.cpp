#include "kelm/port/memory.h"

#include <cstdio>
#include <cstring>

namespace kelm::port {

bool AvailablePhysicalMemory(unsigned long long* bytes) {
  std::FILE* meminfo = std::fopen("/proc/meminfo", "r");
  if (meminfo == nullptr) return false;
  char line[256];
  bool found = false;
  while (!found && std::fgets(line, sizeof line, meminfo) != nullptr) {
    unsigned long long kib = 0;
    if (std::strncmp(line, "MemAvailable:", 13) == 0 && std::sscanf(line + 13, "%llu", &kib) == 1) {
      *bytes = kib * 1024;
      found = true;
    }
  }
  std::fclose(meminfo);
  return found;
}

}  // namespace kelm::port
