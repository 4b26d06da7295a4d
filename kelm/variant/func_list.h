// The registry of remotely callable functions. Functions are registered by
// name and parameter signature; a call, given as a method name and a reader
// over its parameters, is dispatched to the registrator whose name and
// parameter count match.
#ifndef KELM_VARIANT_FUNC_LIST_H_
#define KELM_VARIANT_FUNC_LIST_H_

#include <shared_mutex>
#include <string>
#include <unordered_map>

#include "kelm/variant/object_io.h"

namespace kelm {

// One registered function: the client's function pointer and the code that
// unpacks the parameters, calls it and writes the result.
class IFuncRegistrator {
 public:
  explicit IFuncRegistrator(void* function) : function_(function) {}
  virtual ~IFuncRegistrator() = default;

  virtual void Call(IObjectReader& params, IObjectWriter& result, IContext& context) const = 0;

  void* Function() const { return function_; }

 private:
  void* function_;
};

// The base of a client's registry. The key of a function is its name
// followed directly by its signature: empty for a call whose parameters are
// not an object, else a blank and the number of named parameters ("Sum 2").
// Overloads of one name differ by parameter count only.
class FuncList {
 public:
  // Known name, but no overload takes this many parameters.
  class InvalidParamsException {};
  // No function of that name.
  class MethodNotFoundException {};

  FuncList(const FuncList&) = delete;
  FuncList& operator=(const FuncList&) = delete;

  // Stores name + signature -> registrator. A non-alias entry owns its
  // registrator; an alias only refers to the registrator of another entry.
  // False, with nothing stored and the registrator left to the caller, for a
  // null or empty name, a null signature or a null registrator. An entry
  // with the same key is kept and the result is still true; the registrator
  // that was not stored stays the caller's, untouched.
  bool Insert(const char* name, const char* signature, IFuncRegistrator* registrator, bool alias);

  // The registrator for a call with these parameters; throws
  // InvalidParamsException or MethodNotFoundException.
  const IFuncRegistrator* Find(const char* name, IObjectReader& params) const;

  // Registers `alterName` as an alias of name + signature; throws as Find
  // does when that is not registered.
  bool AddAlterName(const char* name, const char* signature, const char* alterName);

 protected:
  FuncList();
  virtual ~FuncList();

  const IFuncRegistrator* Find(const char* name, const char* signature) const;

  // Deletes every owned registrator once and forgets all entries. Takes the lock
  // in shared mode only: must not run concurrently with Insert or a look-up.
  void ClearRegistration();

 private:
  struct Entry {
    IFuncRegistrator* registrator;
    bool alias;
  };

  mutable std::shared_mutex mutex_;
  std::unordered_map<std::string, Entry> functions_;
  // Every name with at least one overload.
  std::unordered_map<std::string, bool> names_;
};

}  // namespace kelm

#endif  // KELM_VARIANT_FUNC_LIST_H_
