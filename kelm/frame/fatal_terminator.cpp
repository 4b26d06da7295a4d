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

FatalTerminator::FatalTerminator() : policy_(new DefaultFatalTerminationPolicy) {}

FatalTerminator::~FatalTerminator() { delete policy_; }

FatalTerminator& FatalTerminator::Instance() { return *fatalTerminatorRegistrator.Get(); }

void FatalTerminator::Terminate(unsigned long status) {
  if (policy_ != nullptr) policy_->Terminate(status);
}

void FatalTerminator::Reset(IFatalTerminationPolicy* p) {
  if (policy_ != nullptr && policy_ != p) delete policy_;
  policy_ = p;
}

IFatalTerminationPolicy* FatalTerminator::Release() {
  IFatalTerminationPolicy* released = policy_;
  policy_ = nullptr;
  return released;
}

}  // namespace KelmErrors
