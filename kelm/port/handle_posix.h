// Internal to the POSIX platform layer: what a HANDLE points to.
#ifndef KELM_PORT_HANDLE_POSIX_H_
#define KELM_PORT_HANDLE_POSIX_H_

#include "kelm/port/sync.h"

namespace kelm::port {

// Every HANDLE the POSIX layer gives out is one of these; CloseObject
// deletes it.
class HandleObject {
 public:
  virtual ~HandleObject() = default;
  // Objects that cannot be waited on fail.
  virtual WaitResult Wait(unsigned long /*timeout_ms*/) { return WaitResult::kFailed; }
};

inline HandleObject* ToObject(HANDLE handle) {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return nullptr;
  return static_cast<HandleObject*>(handle);
}

}  // namespace kelm::port

#endif  // KELM_PORT_HANDLE_POSIX_H_
