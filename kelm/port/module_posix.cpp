#include "kelm/port/module.h"

#include <dlfcn.h>
#include <link.h>

namespace kelm::port {
namespace {

int FirstObjectBase(dl_phdr_info* info, size_t, void* data) {
  // The first object reported is the executable; its handle is the address
  // of its first loaded segment, which is what dladdr reports as its base.
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    if (info->dlpi_phdr[i].p_type == PT_LOAD) {
      *static_cast<HINSTANCE*>(data) =
          reinterpret_cast<HINSTANCE>(info->dlpi_addr + info->dlpi_phdr[i].p_vaddr);
      return 1;
    }
  }
  return 1;
}

}  // namespace

HINSTANCE LibraryModule() {
  static const HINSTANCE module = ModuleOfAddress(reinterpret_cast<const void*>(&LibraryModule));
  return module;
}

HINSTANCE ExecutableModule() {
  HINSTANCE module = nullptr;
  dl_iterate_phdr(&FirstObjectBase, &module);
  return module;
}

HINSTANCE ModuleOfAddress(const void* address) {
  Dl_info info;
  if (dladdr(address, &info) == 0) return nullptr;
  return static_cast<HINSTANCE>(info.dli_fbase);
}

}  // namespace kelm::port
