// How the process ends after a fatal error.
#ifndef KELM_FRAME_FATAL_TERMINATOR_H_
#define KELM_FRAME_FATAL_TERMINATOR_H_

#include "kelm/frame/global_vars.h"

namespace KelmErrors {

class IFatalTerminationPolicy {
 public:
  virtual ~IFatalTerminationPolicy() = default;
  virtual void Terminate(unsigned long status) = 0;
};

// The runtime's exit(status): exit handlers and static destructors run.
class DefaultFatalTerminationPolicy : public IFatalTerminationPolicy {
 public:
  void Terminate(unsigned long status) override;
};

// TerminateProcess(GetCurrentProcess(), status): nothing else runs. On POSIX
// the process ends at once with the status (_exit).
class WindowsTerminatePolicy : public IFatalTerminationPolicy {
 public:
  void Terminate(unsigned long status) override;
};

// The calling thread's terminator. Policies are per thread and owned by the
// terminator; a new one starts with DefaultFatalTerminationPolicy.
class FatalTerminator {
 public:
  FatalTerminator(const FatalTerminator&) = delete;
  FatalTerminator& operator=(const FatalTerminator&) = delete;
  ~FatalTerminator();

  static FatalTerminator& Instance();

  // Hands over to the policy; with none set, returns and the caller goes on.
  void Terminate(unsigned long status);
  // Deletes the current policy unless it is `policy` itself, then owns `policy`.
  void Reset(IFatalTerminationPolicy* policy);
  // Gives up the policy without deleting it.
  IFatalTerminationPolicy* Release();

 private:
  friend class GVars::DefaultGlobalVarAllocator<FatalTerminator>;
  FatalTerminator();

  IFatalTerminationPolicy* policy_;

  static GVars::GlobalVarRegistrator<FatalTerminator> fatalTerminatorRegistrator;
};

}  // namespace KelmErrors

#endif  // KELM_FRAME_FATAL_TERMINATOR_H_
