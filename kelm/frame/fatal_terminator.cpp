#include "kelm/frame/fatal_terminator.h"

#include "kelm/port/process.h"

namespace KelmErrors {

void DefaultFatalTerminationPolicy::Terminate(unsigned long status) {
  kelm::port::ExitProcess(status);
}

void WindowsTerminatePolicy::Terminate(unsigned long status) {
  kelm::port::TerminateProcess(status);
}

GVars::GlobalVarRegistrator<FatalTerminator> FatalTerminator::fatalTerminatorRegistrator;

FatalTerminator::FatalTerminator() : policy(new DefaultFatalTerminationPolicy) {}

FatalTerminator::~FatalTerminator() { delete policy; }

FatalTerminator& FatalTerminator::Instance() { return *fatalTerminatorRegistrator.Get(); }

void FatalTerminator::Terminate(unsigned long status) {
  if (policy != nullptr) policy->Terminate(status);
}

void FatalTerminator::Reset(IFatalTerminationPolicy* p) {
  if (policy != nullptr && policy != p) delete policy;
  policy = p;
}

IFatalTerminationPolicy* FatalTerminator::Release() {
  IFatalTerminationPolicy* released = policy;
  policy = nullptr;
  return released;
}

}  // namespace KelmErrors
