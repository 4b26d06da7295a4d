// How much physical memory the system can give the process now.
#ifndef KELM_PORT_MEMORY_H_
#define KELM_PORT_MEMORY_H_

namespace kelm::port {

// Physical memory available for new allocations, in bytes: Windows'
// GlobalMemoryStatusEx (ullAvailPhys), Linux's MemAvailable of /proc/meminfo.
// False when the system does not tell.
bool AvailablePhysicalMemory(unsigned long long* bytes);

}  // namespace kelm::port

#endif  // KELM_PORT_MEMORY_H_
