#include <mutex>

#include "kelm/port/codepage.h"
#include "kelm/port/minidump.h"

namespace kelm::port {
namespace {

using DumpFunction = BOOL(WINAPI*)(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE, PMINIDUMP_EXCEPTION_INFORMATION,
                                   PMINIDUMP_USER_STREAM_INFORMATION, PMINIDUMP_CALLBACK_INFORMATION);

// dbghelp's MiniDumpWriteDump, found on first use under its own lock and
// kept for the process; null when the library or the function is missing.
DumpFunction FindDumpFunction() {
  static std::mutex lock;
  static bool looked = false;
  static DumpFunction function = nullptr;
  std::lock_guard<std::mutex> guard(lock);
  if (!looked) {
    looked = true;
    HMODULE dbghelp = ::GetModuleHandleW(L"DBGHELP.DLL");
    if (dbghelp == nullptr) dbghelp = ::LoadLibraryW(L"DBGHELP.DLL");
    if (dbghelp != nullptr) {
      function = reinterpret_cast<DumpFunction>(
          reinterpret_cast<void*>(::GetProcAddress(dbghelp, "MiniDumpWriteDump")));
    }
  }
  return function;
}

bool ReadableProtection(DWORD protect) {
  if ((protect & (PAGE_GUARD | PAGE_NOACCESS)) != 0) return false;
  return (protect & (PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READ |
                     PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY)) != 0;
}

}  // namespace

// Asked of the memory manager rather than by touching the memory
// (IsBadReadPtr), which would raise an exception that the fault handler sees.
bool IsReadable(const void* address, std::size_t size) {
  auto at = reinterpret_cast<std::uintptr_t>(address);
  if (at == 0 || at + size < at) return false;
  const std::uintptr_t end = at + size;
  while (at < end) {
    MEMORY_BASIC_INFORMATION region;
    if (::VirtualQuery(reinterpret_cast<const void*>(at), &region, sizeof region) == 0 ||
        region.State != MEM_COMMIT || !ReadableProtection(region.Protect)) {
      return false;
    }
    at = reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
  }
  return true;
}

// RtlCaptureContext reads the running thread's registers, segments included;
// GetThreadContext is not reliable for the calling thread.
bool CaptureContext(CONTEXT* context, const void* ip, const void* sp, const void* fp) {
  ::RtlCaptureContext(context);
#ifdef _WIN64
  context->Rip = reinterpret_cast<DWORD64>(ip);
  context->Rsp = reinterpret_cast<DWORD64>(sp);
  context->Rbp = reinterpret_cast<DWORD64>(fp);
#else
  context->Eip = reinterpret_cast<DWORD>(ip);
  context->Esp = reinterpret_cast<DWORD>(sp);
  context->Ebp = reinterpret_cast<DWORD>(fp);
#endif
  return true;
}

int WriteMiniDump(const char* name, bool share_read, _MINIDUMP_TYPE type, EXCEPTION_POINTERS* info) {
  DumpFunction write_dump = FindDumpFunction();
  if (write_dump == nullptr) return 0;
  const std::u16string wide = Cp1251ToUtf16(name);
  HANDLE file = ::CreateFileW(reinterpret_cast<const wchar_t*>(wide.c_str()), GENERIC_READ | GENERIC_WRITE,
                              share_read ? FILE_SHARE_READ : 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                              nullptr);
  if (file == INVALID_HANDLE_VALUE) return 0;
  MINIDUMP_EXCEPTION_INFORMATION exception{::GetCurrentThreadId(), info, TRUE};
  const BOOL result = write_dump(::GetCurrentProcess(), ::GetCurrentProcessId(), file, type,
                                 info != nullptr ? &exception : nullptr, nullptr, nullptr);
  ::CloseHandle(file);
  return result;
}

}  // namespace kelm::port
