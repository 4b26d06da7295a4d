#include "kelm/variant/func_list.h"

#include <mutex>
#include <unordered_set>

namespace kelm {

FuncList::FuncList() = default;

FuncList::~FuncList() { ClearRegistration(); }

bool FuncList::Insert(const char* name, const char* signature, IFuncRegistrator* registrator, bool alias) {
  if (name == nullptr || *name == '\0' || signature == nullptr || registrator == nullptr) return false;
  std::unique_lock lock(mutex_);
  functions_.try_emplace(std::string(name) + signature, Entry{registrator, alias});
  names_.try_emplace(name, true);
  return true;
}

const IFuncRegistrator* FuncList::Find(const char* name, const char* signature) const {
  if (name == nullptr) throw MethodNotFoundException();
  std::shared_lock lock(mutex_);
  if (signature != nullptr) {
    const auto entry = functions_.find(std::string(name) + signature);
    if (entry != functions_.end()) return entry->second.registrator;
  }
  if (names_.count(name) != 0) throw InvalidParamsException();
  throw MethodNotFoundException();
}

const IFuncRegistrator* FuncList::Find(const char* name, IObjectReader& params) const {
  std::string signature;
  if (params.Type() == Variant::Object) {
    const std::unique_ptr<IObjectReader::IItems> items = params.Items();
    int count = 0;
    for (items->First(); !items->AtEnd(); items->Next()) ++count;
    signature = ' ';
    signature += std::to_string(count);
  }
  return Find(name, signature.c_str());
}

bool FuncList::AddAlterName(const char* name, const char* signature, const char* alterName) {
  // Insert takes no const registrator, but an alias never deletes or changes it.
  return Insert(alterName, signature, const_cast<IFuncRegistrator*>(Find(name, signature)), true);
}

void FuncList::ClearRegistration() {
  std::shared_lock lock(mutex_);
  // A registrator handed over under two keys is still deleted only once.
  std::unordered_set<IFuncRegistrator*> owned;
  for (const auto& [key, entry] : functions_) {
    if (!entry.alias) owned.insert(entry.registrator);
  }
  for (IFuncRegistrator* registrator : owned) delete registrator;
  functions_.clear();
  names_.clear();
}

}  // namespace kelm
