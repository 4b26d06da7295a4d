// Internal to the POSIX platform layer: the mappings of the process, read
// from /proc/self/maps with open/read/close only and a buffer on the stack,
// so that it is safe where malloc is not.
#ifndef KELM_PORT_PROC_MAPS_POSIX_H_
#define KELM_PORT_PROC_MAPS_POSIX_H_

#include <cstdint>

namespace kelm::port {

struct Mapping {
  std::uintptr_t start;
  std::uintptr_t end;
  bool readable;
  bool writable;
  std::uint64_t offset;
  std::uint64_t inode;
  const char* path;  // "" for anonymous memory; valid during the visit only
};

// Calls `visit(mapping, context)` for each mapping in address order until it
// returns false. False if the list could not be read.
bool ForEachMapping(bool (*visit)(const Mapping& mapping, void* context), void* context);

// The mapping that holds `address`; false if none does. `path` is not kept.
bool FindMapping(std::uintptr_t address, Mapping* found);

}  // namespace kelm::port

#endif  // KELM_PORT_PROC_MAPS_POSIX_H_
