#include "kelm/port/module.h"

namespace kelm::port {

HINSTANCE LibraryModule() { return ModuleOfAddress(reinterpret_cast<const void*>(&LibraryModule)); }

HINSTANCE ExecutableModule() { return ::GetModuleHandleW(nullptr); }

HINSTANCE ModuleOfAddress(const void* address) {
  // GetModuleHandleEx reads a null address as "the executable".
  if (address == nullptr) return nullptr;
  HMODULE module = nullptr;
  if (!::GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<LPCWSTR>(address), &module)) {
    return nullptr;
  }
  return module;
}

}  // namespace kelm::port
