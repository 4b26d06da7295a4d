#include "kelm/frame/global_vars.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "kelm/port/module.h"
#include "kelm/port/sync.h"
#include "kelm/port/thread_local_storage.h"

std::uint32_t GlobalVariablesTLS::tlsIndex = TLS_OUT_OF_INDEXES;

unsigned long GlobalVariablesTLS::TlsIndex() { return tlsIndex; }

void GlobalVariablesTLS::SetTlsIndex(unsigned long index) {
  tlsIndex = static_cast<std::uint32_t>(index);
}

bool GlobalVariablesTLS::Initialize() {
  if (tlsIndex != TLS_OUT_OF_INDEXES) return true;
  SetTlsIndex(kelm::port::TlsAllocate());
  return tlsIndex != TLS_OUT_OF_INDEXES;
}

bool GlobalVariablesTLS::Uninitialize() {
  const bool freed = kelm::port::TlsRelease(tlsIndex);
  tlsIndex = TLS_OUT_OF_INDEXES;
  return freed;
}

bool GlobalVariablesTLS::DestroyThreadGlobalVars(HINSTANCE module) {
  if (tlsIndex == TLS_OUT_OF_INDEXES) return true;
  auto* vars = static_cast<GVars::ThreadGlobalVars*>(kelm::port::TlsGet(tlsIndex));
  if (vars == nullptr) return true;
  return vars->DestroyModuleVars(module);
}

bool GlobalVariablesTLS::DestroyGlobalVar(HINSTANCE module, int index) {
  if (tlsIndex == TLS_OUT_OF_INDEXES) return false;
  auto* vars = static_cast<GVars::ThreadGlobalVars*>(kelm::port::TlsGet(tlsIndex));
  if (vars == nullptr) return false;
  return vars->DestroyModuleGlobalVar(module, index);
}

bool GlobalVariablesTLS::DestroyAllocator(HINSTANCE module, int index) {
  return GVars::GlobalVarAllocatorsRegistry::Instance().DestroyAllocator(module, index);
}

namespace GVars {

// ---- hand-written allocators ----

void* BoolVarAllocator::CreateVar() { return new bool(false); }
void BoolVarAllocator::DestroyVar(void* var) { delete static_cast<bool*>(var); }

void* BufWritesAllocator::CreateVar() { return new bool(true); }
void BufWritesAllocator::DestroyVar(void* var) { delete static_cast<bool*>(var); }

void* TrnHandleAllocator::CreateVar() { return new HANDLE(INVALID_HANDLE_VALUE); }

void TrnHandleAllocator::DestroyVar(void* var) {
  std::unique_ptr<HANDLE> handle(static_cast<HANDLE*>(var));
  if (handle && *handle != INVALID_HANDLE_VALUE) kelm::port::CloseObject(*handle);
}

namespace {
constexpr std::size_t kLongVarBlockSize = 0xF000;
}  // namespace

void* LongVarAllocator::CreateVar() {
  auto* block = new char[kLongVarBlockSize];
  *reinterpret_cast<long*>(block) = 0;
  return block;
}

void LongVarAllocator::DestroyVar(void* var) { delete[] static_cast<char*>(var); }

void* TrnCntAllocator::CreateVar() { return new int(0); }

void TrnCntAllocator::DestroyVar(void* var) {
  std::unique_ptr<int> count(static_cast<int*>(var));
  if (count && *count != 0) {
    std::printf("Транзакция прервана!\n");
    std::fflush(stdout);
  }
}

// ---- registry ----

GlobalVarAllocatorsRegistry& GlobalVarAllocatorsRegistry::Instance() {
  static GlobalVarAllocatorsRegistry registry;
  return registry;
}

int GlobalVarAllocatorsRegistry::RegisterGlobalVarAllocator(IGlobalVarAllocator* allocator) {
  allocators_.push_back(allocator);
  return static_cast<int>(allocators_.size()) - 1;
}

IGlobalVarAllocator* GlobalVarAllocatorsRegistry::Slot(int index) const {
  // As an out-of-range index in the original's checked array access, this is
  // a programming error that ends the process.
  if (index < 0 || static_cast<std::size_t>(index) >= allocators_.size()) {
    std::fprintf(stderr, "kelm-lib: per-thread variable index %d out of range\n", index);
    std::abort();
  }
  return allocators_[static_cast<std::size_t>(index)];
}

void* GlobalVarAllocatorsRegistry::CreateVar(int index) {
  IGlobalVarAllocator* allocator = Slot(index);
  return allocator == nullptr ? nullptr : allocator->CreateVar();
}

bool GlobalVarAllocatorsRegistry::DestroyVar(HINSTANCE module, int index, void* var) {
  if (var == nullptr) return false;
  IGlobalVarAllocator* allocator = Slot(index);
  if (allocator == nullptr || allocator->ModuleHandle() != module) return false;
  allocator->DestroyVar(var);
  return true;
}

HINSTANCE GlobalVarAllocatorsRegistry::ModuleHandle(int index) {
  IGlobalVarAllocator* allocator = Slot(index);
  return allocator == nullptr ? nullptr : allocator->ModuleHandle();
}

bool GlobalVarAllocatorsRegistry::DestroyAllocator(HINSTANCE module, int index) {
  if (index < 0 || index >= static_cast<int>(allocators_.size())) return false;
  IGlobalVarAllocator*& slot = allocators_[static_cast<std::size_t>(index)];
  if (slot == nullptr || slot->ModuleHandle() != module) return false;
  delete slot;
  slot = nullptr;
  return true;
}

// ---- per-thread table ----

void* ThreadGlobalVars::GetPVar(int index) {
  if (index < 0) return nullptr;
  if (static_cast<std::size_t>(index) >= vars_.size()) vars_.resize(static_cast<std::size_t>(index) + 1);
  void*& entry = vars_[static_cast<std::size_t>(index)];
  if (entry == nullptr) {
    void* var = GlobalVarAllocatorsRegistry::Instance().CreateVar(index);
    // The allocator may have fetched other variables and grown the table.
    void*& slot = vars_[static_cast<std::size_t>(index)];
    if (var != nullptr) {
      slot = var;
      ++count_;
    }
    return slot;
  }
  return entry;
}

void ThreadGlobalVars::DeleteAndClearSlot() {
  delete this;
  kelm::port::TlsSet(GlobalVariablesTLS::TlsIndex(), nullptr);
}

bool ThreadGlobalVars::DestroyModuleGlobalVar(HINSTANCE module, int index) {
  if (index < 0 || index >= Size() || count_ < 1) return false;
  void*& entry = vars_[static_cast<std::size_t>(index)];
  if (!GlobalVarAllocatorsRegistry::Instance().DestroyVar(module, index, entry)) return false;
  --count_;
  vars_[static_cast<std::size_t>(index)] = nullptr;
  if (count_ == 0) DeleteAndClearSlot();
  return true;
}

namespace {
// Walks of a thread's table at its detach, as many as POSIX gives the
// destructors of thread-specific data.
constexpr int kDetachRounds = 4;
}  // namespace

// A destructor may fetch a variable: a new one past the walk's start, or one
// already walked past. A single walk would leave such late variables, and
// with them the table, behind for good; the walk is therefore repeated (a
// departure from the single walk of the original design) while the last walk
// destroyed anything, at most kDetachRounds times, so that destructors that
// keep re-creating each other cannot hold the thread's end up for ever.
bool ThreadGlobalVars::DestroyModuleVars(HINSTANCE module) {
  if (count_ < 1) return true;
  GlobalVarAllocatorsRegistry& registry = GlobalVarAllocatorsRegistry::Instance();
  // Entries that were refused or threw: not tried again.
  std::vector<bool> refused;
  bool destroyed = true;
  for (int round = 0; round < kDetachRounds && destroyed; ++round) {
    destroyed = false;
    refused.resize(vars_.size());
    // vars_ is indexed afresh after every call: a destructor may grow and
    // move the table.
    for (int i = Size() - 1; i >= 0; --i) {
      const auto at = static_cast<std::size_t>(i);
      if (refused[at]) continue;
      bool done = false;
      try {
        done = registry.DestroyVar(module, i, vars_[at]);
      } catch (...) {
        // A throwing destructor leaves its variable registered in this thread.
      }
      if (done) {
        --count_;
        vars_[at] = nullptr;
        destroyed = true;
      } else if (vars_[at] != nullptr) {
        refused[at] = true;
      }
    }
  }
  int survivors = 0;
  for (int i = Size() - 1; i >= 0; --i) {
    if (vars_[static_cast<std::size_t>(i)] != nullptr && registry.ModuleHandle(i) == module) ++survivors;
  }
  if (count_ == 0) DeleteAndClearSlot();
  return survivors == 0;
}

ThreadGlobalVars* GetThreadGlobalVarsFromTLS(unsigned long tlsIndex, bool create) {
  if (tlsIndex == TLS_OUT_OF_INDEXES) {
    tlsIndex = kelm::port::TlsAllocate();
    GlobalVariablesTLS::SetTlsIndex(tlsIndex);
  }
  auto* vars = static_cast<ThreadGlobalVars*>(kelm::port::TlsGet(tlsIndex));
  if (vars == nullptr && create) {
    vars = new ThreadGlobalVars;  // owned through the slot; freed when empty
    kelm::port::TlsSet(tlsIndex, vars);
  }
  return vars;
}

// ---- registrator support ----

RegistratorCounter& RegistratorCounter::Instance() {
  static RegistratorCounter counter;
  return counter;
}

int RegistratorCounter::Inc() {
  if (count_++ == 0 && GlobalVariablesTLS::TlsIndex() == TLS_OUT_OF_INDEXES) {
    GlobalVariablesTLS::SetTlsIndex(kelm::port::TlsAllocate());
  }
  return count_;
}

int RegistratorCounter::Dec() {
  if (count_-- == 1) GlobalVariablesTLS::Uninitialize();
  return count_;
}

namespace internal {
HINSTANCE KelmLibModule() { return kelm::port::LibraryModule(); }
}  // namespace internal

}  // namespace GVars
