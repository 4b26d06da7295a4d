// Per-thread global variables.
//
// A module declares one static GVars::GlobalVarRegistrator<T, Allocator> per
// variable. Each thread that fetches it gets its own instance, created on
// first use and destroyed when the thread ends (thread detach of the owning
// module) or, for the unloading thread, when the module is unloaded. Every
// allocator remembers its module so that variables are destroyed module by
// module. All variables of the process are indexed in one registry held by
// kelm-lib; one thread-local slot holds each thread's table of instances.
#ifndef KELM_FRAME_GLOBAL_VARS_H_
#define KELM_FRAME_GLOBAL_VARS_H_

#include <cstdint>
#include <vector>

#include "kelm/port/win_types.h"

// The process-wide thread-local slot and the destruction entry points used at
// thread detach and module unload.
class GlobalVariablesTLS {
 public:
  static unsigned long TlsIndex();
  static void SetTlsIndex(unsigned long index);

  // Allocates the slot unless one exists; false if none could be allocated.
  static bool Initialize();
  // Frees the slot; the slot number reads TLS_OUT_OF_INDEXES afterwards.
  static bool Uninitialize();

  // Destroys the calling thread's variables owned by `module`. True when no
  // slot exists, the thread has no variables, or none of `module`'s survived.
  static bool DestroyThreadGlobalVars(HINSTANCE module);
  // Destroys the calling thread's instance of one variable. False when no
  // slot exists or the thread has no variables.
  static bool DestroyGlobalVar(HINSTANCE module, int index);
  static bool DestroyAllocator(HINSTANCE module, int index);

 private:
  static std::uint32_t tlsIndex;
};

namespace GVars {

// Creates and destroys the instances of one variable.
class IGlobalVarAllocator {
 public:
  virtual ~IGlobalVarAllocator() = default;
  virtual void* CreateVar() = 0;
  virtual void DestroyVar(void* var) = 0;
  virtual HINSTANCE ModuleHandle() const = 0;
};

class BaseGlobalVarAllocator : public IGlobalVarAllocator {
 public:
  explicit BaseGlobalVarAllocator(HINSTANCE module) : module_(module) {}
  HINSTANCE ModuleHandle() const override { return module_; }

 private:
  HINSTANCE module_;
};

// new T() / delete.
template <class T>
class DefaultGlobalVarAllocator : public BaseGlobalVarAllocator {
 public:
  using BaseGlobalVarAllocator::BaseGlobalVarAllocator;
  void* CreateVar() override { return new T(); }
  void DestroyVar(void* var) override { delete static_cast<T*>(var); }
};

// bool, false at first.
class BoolVarAllocator : public BaseGlobalVarAllocator {
 public:
  using BaseGlobalVarAllocator::BaseGlobalVarAllocator;
  void* CreateVar() override;
  void DestroyVar(void* var) override;
};

// bool, true at first.
class BufWritesAllocator : public BaseGlobalVarAllocator {
 public:
  using BaseGlobalVarAllocator::BaseGlobalVarAllocator;
  void* CreateVar() override;
  void DestroyVar(void* var) override;
};

// A file handle, INVALID_HANDLE_VALUE at first; an open handle is closed when
// the variable is destroyed.
class TrnHandleAllocator : public BaseGlobalVarAllocator {
 public:
  using BaseGlobalVarAllocator::BaseGlobalVarAllocator;
  void* CreateVar() override;
  void DestroyVar(void* var) override;
};

// A long, 0 at first, at the start of a 61440-byte block (the size is kept
// from the original design).
class LongVarAllocator : public BaseGlobalVarAllocator {
 public:
  using BaseGlobalVarAllocator::BaseGlobalVarAllocator;
  void* CreateVar() override;
  void DestroyVar(void* var) override;
};

// A transaction counter (int, 0 at first). Destroying a non-zero counter
// prints "Транзакция прервана!\n" to standard output.
class TrnCntAllocator : public BaseGlobalVarAllocator {
 public:
  using BaseGlobalVarAllocator::BaseGlobalVarAllocator;
  void* CreateVar() override;
  void DestroyVar(void* var) override;
};

// The process-wide list of allocators, indexed by variable index. Owns the
// allocators it holds until DestroyAllocator; indices are never reused.
// Copies are shallow.
class GlobalVarAllocatorsRegistry {
 public:
  GlobalVarAllocatorsRegistry() = default;
  GlobalVarAllocatorsRegistry(const GlobalVarAllocatorsRegistry&) = default;
  GlobalVarAllocatorsRegistry& operator=(const GlobalVarAllocatorsRegistry&) = default;
  // Frees the array only; live allocators are deleted by their registrators.
  virtual ~GlobalVarAllocatorsRegistry() = default;

  static GlobalVarAllocatorsRegistry& Instance();

  int RegisterGlobalVarAllocator(IGlobalVarAllocator* allocator);
  // For the three below an index at or past the end is a programming error
  // that ends the process.
  void* CreateVar(int index);
  bool DestroyVar(HINSTANCE module, int index, void* var);
  HINSTANCE ModuleHandle(int index);
  bool DestroyAllocator(HINSTANCE module, int index);

 private:
  IGlobalVarAllocator* Slot(int index) const;

  std::vector<IGlobalVarAllocator*> allocators_;
};

// One thread's instances, indexed by variable index. Touched only by its own
// thread. Copies are shallow.
class ThreadGlobalVars {
 public:
  ThreadGlobalVars() = default;
  ThreadGlobalVars(const ThreadGlobalVars&) = default;
  ThreadGlobalVars& operator=(const ThreadGlobalVars&) = default;
  // Frees the array only: the variables must be gone already.
  virtual ~ThreadGlobalVars() = default;

  // The instance of variable `index`, created on first use; null for a
  // negative index or a destroyed allocator.
  void* GetPVar(int index);
  // Thread detach of `module`. Deletes this object (and clears the thread's
  // slot) once no instance is left. True when none of `module`'s survived.
  bool DestroyModuleVars(HINSTANCE module);
  // Destroys one instance; deletes this object when it was the last one.
  bool DestroyModuleGlobalVar(HINSTANCE module, int index);

  int Count() const { return count_; }
  int Size() const { return static_cast<int>(vars_.size()); }

 private:
  void DeleteAndClearSlot();

  std::vector<void*> vars_;
  int count_ = 0;
};

// The calling thread's table. With no slot allocated one is allocated first,
// whatever `create` says; a missing table is made only when `create` is set.
ThreadGlobalVars* GetThreadGlobalVarsFromTLS(unsigned long tlsIndex, bool create);

// Counts live registrators: the first allocates the slot, the last frees it.
class RegistratorCounter {
 public:
  static RegistratorCounter& Instance();
  int Inc();
  int Dec();

 private:
  RegistratorCounter() = default;
  int count_ = 0;
};

namespace internal {
// The module that registrators are credited to: kelm-lib itself.
HINSTANCE KelmLibModule();
}  // namespace internal

// Declares one per-thread variable of type T. A static object of this class
// registers the variable at module load and destroys the unloading thread's
// instance and the allocator at unload. (The original design kept a third,
// never-read pointer field here; it is left out.)
template <class T, class Allocator = DefaultGlobalVarAllocator<T>>
class GlobalVarRegistrator {
 public:
  GlobalVarRegistrator() : index_(-1), module_(internal::KelmLibModule()) {
    RegistratorCounter::Instance().Inc();
    index_ = GlobalVarAllocatorsRegistry::Instance().RegisterGlobalVarAllocator(
        new Allocator(module_));  // the registry owns it
  }
  GlobalVarRegistrator(const GlobalVarRegistrator&) = delete;
  GlobalVarRegistrator& operator=(const GlobalVarRegistrator&) = delete;
  virtual ~GlobalVarRegistrator() {
    GlobalVariablesTLS::DestroyGlobalVar(module_, index_);
    GlobalVariablesTLS::DestroyAllocator(module_, index_);
    RegistratorCounter::Instance().Dec();
  }

  // The calling thread's instance, created on first use.
  T* Get() const {
    return static_cast<T*>(
        GetThreadGlobalVarsFromTLS(GlobalVariablesTLS::TlsIndex(), true)->GetPVar(index_));
  }
  int Index() const { return index_; }
  HINSTANCE Module() const { return module_; }

 private:
  int index_;
  HINSTANCE module_;
};

}  // namespace GVars

#endif  // KELM_FRAME_GLOBAL_VARS_H_
