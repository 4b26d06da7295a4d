#include "kelm/frame/error_messager.h"

#include "kelm/frame/errors.h"

void APIErrorPolicy::Message(const std::string& text, long, bool) {
  APIMsgBox(text.c_str(), 0, false);
}

IErrorPolicy& APIErrorPolicy::Clone() { return *new APIErrorPolicy; }

GVars::GlobalVarRegistrator<ErrorMessager> ErrorMessager::errMsgRegistrator;

ErrorMessager::~ErrorMessager() {
  delete force_policy_;
  delete policy_;
}

ErrorMessager& ErrorMessager::Instance() { return *errMsgRegistrator.Get(); }

namespace {
void Replace(IErrorPolicy*& field, IErrorPolicy* p) {
  if (field != nullptr && field != p) delete field;
  field = p;
}

IErrorPolicy* Take(IErrorPolicy*& field) {
  IErrorPolicy* released = field;
  field = nullptr;
  return released;
}
}  // namespace

void ErrorMessager::Reset(IErrorPolicy* p) { Replace(policy_, p); }

void ErrorMessager::ForcePolicyReset(IErrorPolicy* p) { Replace(force_policy_, p); }

IErrorPolicy* ErrorMessager::Release() { return Take(policy_); }

IErrorPolicy* ErrorMessager::ReleaseForcePolicy() { return Take(force_policy_); }

void ErrorMessager::Message(const std::string& text, long okAllKey, bool flag) {
  if (force_policy_ != nullptr) {
    force_policy_->Message(text, okAllKey, flag);
  } else if (policy_ != nullptr) {
    policy_->Message(text, okAllKey, flag);
  }
  last_error_ = text;
}
