#include "kelm/frame/error_messager.h"

#include "kelm/frame/errors.h"

void APIErrorPolicy::Message(const std::string& text, long, bool) {
  APIMsgBox(text.c_str(), 0, false);
}

IErrorPolicy& APIErrorPolicy::Clone() { return *new APIErrorPolicy; }

GVars::GlobalVarRegistrator<ErrorMessager> ErrorMessager::errMsgRegistrator;

ErrorMessager::~ErrorMessager() {
  delete forcePolicy;
  delete policy;
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

void ErrorMessager::Reset(IErrorPolicy* p) { Replace(policy, p); }

void ErrorMessager::ForcePolicyReset(IErrorPolicy* p) { Replace(forcePolicy, p); }

IErrorPolicy* ErrorMessager::Release() { return Take(policy); }

IErrorPolicy* ErrorMessager::ReleaseForcePolicy() { return Take(forcePolicy); }

void ErrorMessager::Message(const std::string& text, long okAllKey, bool flag) {
  if (forcePolicy != nullptr) {
    forcePolicy->Message(text, okAllKey, flag);
  } else if (policy != nullptr) {
    policy->Message(text, okAllKey, flag);
  }
  lastError = text;
}
