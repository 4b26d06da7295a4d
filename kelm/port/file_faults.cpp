#include "kelm/port/testing/file_faults.h"

namespace kelm::port::testing {
namespace {

struct Arming {
  unsigned long nth = 0;  // 0: disarmed
  unsigned long error = 0;
  bool persistent = false;
};

struct ThreadFaults {
  unsigned long counts[kFileCallKinds] = {};
  Arming armed[kFileCallKinds] = {};
  unsigned long injected = 0;
};

// Trivially constructed and destroyed: safe in a DLL's thread-local storage
// and usable from thread-exit code.
thread_local ThreadFaults faults;

int Index(FileCall kind) { return static_cast<int>(kind); }

}  // namespace

void ResetFileFaults() { faults = ThreadFaults(); }

void FailFileCall(FileCall kind, unsigned long nth, unsigned long error, bool persistent) {
  faults.armed[Index(kind)] = Arming{nth, error, persistent};
}

unsigned long FileCallCount(FileCall kind) { return faults.counts[Index(kind)]; }

unsigned long FileFaultsInjected() { return faults.injected; }

namespace internal {

unsigned long TakeFileFault(FileCall kind) {
  const unsigned long n = ++faults.counts[Index(kind)];
  const Arming& arming = faults.armed[Index(kind)];
  if (arming.nth == 0 || n < arming.nth || (n > arming.nth && !arming.persistent)) return 0;
  ++faults.injected;
  return arming.error;
}

}  // namespace internal
}  // namespace kelm::port::testing
