// Where the calling thread's error messages go: its ErrorMessager and the
// policies that show them.
#ifndef KELM_FRAME_ERROR_MESSAGER_H_
#define KELM_FRAME_ERROR_MESSAGER_H_

#include <string>

#include "kelm/frame/global_vars.h"

// Shows (or otherwise handles) one error message. `okAllKey` identifies the
// message for an "OK to all" offer: equal keys are the same message, 0 means
// no offer. The library always passes false as `flag`.
class IErrorPolicy {
 public:
  virtual ~IErrorPolicy() = default;
  virtual void Message(const std::string& text, long okAllKey, bool flag) = 0;
  // A new heap copy; the caller owns it (e.g. to install it in another thread).
  virtual IErrorPolicy& Clone() = 0;
};

// A task-modal message box titled "Ошибка!" with a stop icon (flags 0x2010);
// the key and the flag are ignored.
class APIErrorPolicy : public IErrorPolicy {
 public:
  void Message(const std::string& text, long okAllKey, bool flag) override;
  IErrorPolicy& Clone() override;
};

// The calling thread's message dispatcher. It owns its policies; a new one
// has none, so messages are only kept as the last error until a policy is
// installed. A force policy, when set, takes the messages instead of the
// policy.
class ErrorMessager {
 public:
  ErrorMessager(const ErrorMessager&) = delete;
  ErrorMessager& operator=(const ErrorMessager&) = delete;
  // Deletes both policies.
  ~ErrorMessager();

  static ErrorMessager& Instance();

  // Deletes the current policy unless it is `p` itself, then owns `p`.
  void Reset(IErrorPolicy* p);
  void ForcePolicyReset(IErrorPolicy* p);
  // Give up the policy without deleting it; the caller owns it.
  IErrorPolicy* Release();
  IErrorPolicy* ReleaseForcePolicy();
  IErrorPolicy* ErrorPolicy() const { return policy_; }
  IErrorPolicy* ForceErrorPolicy() const { return force_policy_; }

  // Hands the text to the force policy, or else to the policy, then keeps it
  // as the last error. Should the policy throw, the last error stays as it was.
  void Message(const std::string& text, long okAllKey, bool flag);

  const char* GetLastError() const { return last_error_.c_str(); }
  void ClrLastError() { last_error_.clear(); }

 private:
  friend class GVars::DefaultGlobalVarAllocator<ErrorMessager>;
  ErrorMessager() = default;

  IErrorPolicy* policy_ = nullptr;
  IErrorPolicy* force_policy_ = nullptr;
  std::string last_error_;

  static GVars::GlobalVarRegistrator<ErrorMessager> errMsgRegistrator;
};

#endif  // KELM_FRAME_ERROR_MESSAGER_H_
