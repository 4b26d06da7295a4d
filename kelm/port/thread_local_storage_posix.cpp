#include "kelm/port/thread_local_storage.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

#include "kelm/port/thread_exit_posix.h"

namespace kelm::port {
namespace {

// As many slots as Windows guarantees (TLS_MINIMUM_AVAILABLE).
constexpr unsigned kSlotCount = 64;

// A slot's generation changes with every allocation, so that a value left by
// an earlier owner of the slot number reads as null.
struct SlotValue {
  std::uint32_t generation;
  void* value;
};

std::mutex slot_mutex;
std::array<bool, kSlotCount> slot_used{};
std::array<std::atomic<std::uint32_t>, kSlotCount> slot_generation{};
thread_local std::array<SlotValue, kSlotCount> thread_values{};

struct ExitHook {
  HINSTANCE module;
  void (*detach)(HINSTANCE);
};
constexpr unsigned kHookCount = 32;
std::mutex hook_mutex;
std::array<ExitHook, kHookCount> hooks{};

// The thread-exit notification is a key whose destructor runs the hooks; a
// thread arms it by storing a value in any slot. The key is never deleted
// while the library is loaded.
pthread_key_t exit_key;
pthread_once_t exit_key_once = PTHREAD_ONCE_INIT;

void RunHooks() {
  std::array<ExitHook, kHookCount> snapshot;
  {
    std::lock_guard<std::mutex> lock(hook_mutex);
    snapshot = hooks;
  }
  for (const ExitHook& hook : snapshot) {
    if (hook.detach != nullptr) hook.detach(hook.module);
  }
}

void OnExitKeyDestroyed(void*) { RunHooks(); }

void CreateExitKey() { pthread_key_create(&exit_key, &OnExitKeyDestroyed); }

void ArmThreadExit() {
  pthread_once(&exit_key_once, &CreateExitKey);
  if (pthread_getspecific(exit_key) == nullptr) {
    pthread_setspecific(exit_key, reinterpret_cast<void*>(1));
  }
}

}  // namespace

unsigned long TlsAllocate() {
  std::lock_guard<std::mutex> lock(slot_mutex);
  for (unsigned i = 0; i < kSlotCount; ++i) {
    if (!slot_used[i]) {
      slot_used[i] = true;
      slot_generation[i].fetch_add(1, std::memory_order_release);
      return i;
    }
  }
  return TLS_OUT_OF_INDEXES;
}

bool TlsRelease(unsigned long slot) {
  std::lock_guard<std::mutex> lock(slot_mutex);
  if (slot >= kSlotCount || !slot_used[slot]) return false;
  slot_used[slot] = false;
  return true;
}

void* TlsGet(unsigned long slot) {
  if (slot >= kSlotCount) return nullptr;
  const SlotValue& v = thread_values[slot];
  if (v.generation != slot_generation[slot].load(std::memory_order_acquire)) return nullptr;
  return v.value;
}

bool TlsSet(unsigned long slot, void* value) {
  if (slot >= kSlotCount) return false;
  thread_values[slot] = {slot_generation[slot].load(std::memory_order_acquire), value};
  if (value != nullptr) ArmThreadExit();
  return true;
}

void WatchThreadExit(HINSTANCE module, void (*detach)(HINSTANCE)) {
  std::lock_guard<std::mutex> lock(hook_mutex);
  for (ExitHook& hook : hooks) {
    if (hook.detach == nullptr || hook.module == module) {
      hook = {module, detach};
      return;
    }
  }
}

void UnwatchThreadExit(HINSTANCE module) {
  std::lock_guard<std::mutex> lock(hook_mutex);
  for (ExitHook& hook : hooks) {
    if (hook.detach != nullptr && hook.module == module) hook = {};
  }
}

void NotifyThreadExit() {
  pthread_once(&exit_key_once, &CreateExitKey);
  // A hook may store values again (a destructor fetching another variable);
  // go round as the system would, a bounded number of times.
  for (int round = 0; round < PTHREAD_DESTRUCTOR_ITERATIONS; ++round) {
    if (pthread_getspecific(exit_key) == nullptr) return;
    pthread_setspecific(exit_key, nullptr);
    RunHooks();
  }
}

}  // namespace kelm::port
