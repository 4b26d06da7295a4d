// Faults turned into exceptions on Windows.
//
// MinGW cannot use the runtime's per-thread translator (_set_se_translator):
// GCC's exceptions do not go through it. Instead one vectored exception
// handler for the process sees every exception first. For a fault in a
// thread with translation on, it writes the crash dump, then changes the
// thread's registers so that it resumes in kelm_fault_trampoline, whose
// unwind information names the faulting instruction as its caller; the
// translator it calls throws, and the exception leaves through the faulting
// function as if that instruction had thrown it.
//
// Departures from a per-thread translator, forced by the handler being
// vectored: it sees a fault before the thread's own SEH handlers do, so a
// fault that client code would catch with __try/__except is translated
// first (faults inside ntdll, kernel32 and kernelbase excepted, see below);
// and only processor faults are translated, not exceptions raised with
// RaiseException (GCC's x86-64 C++ exceptions among them) nor stack
// overflows.
#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "kelm/port/minidump.h"

namespace kelm::port {
namespace {

struct ThreadState {
  bool translating;  // from the fault until the exception leaves the translator
  DWORD code;
};

DWORD state_slot = TLS_OUT_OF_INDEXES;
FaultHandlers handlers;
std::once_flag install_once;
bool installed = false;

// The system's own pointer probes (IsBadReadPtr and the like) catch the
// faults they raise; faults inside these modules are left to them.
struct ImageRange {
  std::uintptr_t start;
  std::uintptr_t end;
};
ImageRange system_images[3];

ImageRange RangeOf(const wchar_t* name) {
  HMODULE module = ::GetModuleHandleW(name);
  if (module == nullptr) return ImageRange{0, 0};
  const auto base = reinterpret_cast<std::uintptr_t>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  return ImageRange{base, base + nt->OptionalHeader.SizeOfImage};
}

bool InSystemImage(const void* address) {
  const auto at = reinterpret_cast<std::uintptr_t>(address);
  for (const ImageRange& range : system_images) {
    if (at >= range.start && at < range.end) return true;
  }
  return false;
}

bool Translatable(DWORD code) {
  switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_IN_PAGE_ERROR:
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_PRIV_INSTRUCTION:
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_INT_OVERFLOW:
    case EXCEPTION_FLT_DIVIDE_BY_ZERO:
    case EXCEPTION_FLT_INEXACT_RESULT:
    case EXCEPTION_FLT_INVALID_OPERATION:
    case EXCEPTION_FLT_OVERFLOW:
    case EXCEPTION_FLT_UNDERFLOW:
    case EXCEPTION_FLT_DENORMAL_OPERAND:
    case EXCEPTION_FLT_STACK_CHECK:
    case EXCEPTION_DATATYPE_MISALIGNMENT:
    case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
      return true;
    default:  // stack overflow among them: there is no stack left to throw on
      return false;
  }
}

ThreadState* CurrentState() {
  const DWORD last_error = ::GetLastError();  // TlsGetValue clears it
  auto* state = static_cast<ThreadState*>(::TlsGetValue(state_slot));
  ::SetLastError(last_error);
  return state;
}

extern "C" char kelm_fault_trampoline[] __asm__("kelm_fault_trampoline");

LONG CALLBACK OnException(EXCEPTION_POINTERS* info) {
  ThreadState* state = CurrentState();
  const EXCEPTION_RECORD* record = info->ExceptionRecord;
  if (state == nullptr || state->translating || !Translatable(record->ExceptionCode) ||
      InSystemImage(record->ExceptionAddress)) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  state->translating = true;
  state->code = record->ExceptionCode;
  handlers.dump(info);
  CONTEXT* context = info->ContextRecord;
#ifdef _WIN64
  // r10: the fault's rsp; r11: its rip plus one, since GCC's unwinder looks
  // up the byte before the address it is given. Both registers are free at
  // any instruction boundary as far as unwinding is concerned.
  const DWORD64 sp = context->Rsp;
  context->R10 = sp;
  context->R11 = context->Rip + 1;
  context->Rsp = (sp - 128) & ~DWORD64{15};
  context->Rip = reinterpret_cast<DWORD64>(&kelm_fault_trampoline[0]);
#else
  // ecx: the fault's esp; edx: its eip (the trampoline is a signal frame).
  const DWORD sp = context->Esp;
  context->Ecx = sp;
  context->Edx = context->Eip;
  context->Esp = ((sp - 128) & ~DWORD{15}) + 8;
  context->Eip = reinterpret_cast<DWORD>(&kelm_fault_trampoline[0]);
#endif
  return EXCEPTION_CONTINUE_EXECUTION;
}

struct TranslationEnd {
  ThreadState* state;
  ~TranslationEnd() { state->translating = false; }
};

}  // namespace

// The assembler name carries the platform's prefix for C names (an
// underscore on i686), so that the DLL's export of every symbol finds it.
#ifdef _WIN64
#define KELM_TRANSLATE_FAULT "kelm_translate_fault"
#else
#define KELM_TRANSLATE_FAULT "_kelm_translate_fault"
#endif
extern "C" [[noreturn]] __attribute__((used)) void TranslateFault() __asm__(KELM_TRANSLATE_FAULT);

extern "C" void TranslateFault() {
  ThreadState* state = CurrentState();
  TranslationEnd end{state};
  handlers.translate(state->code, nullptr);
  std::abort();  // a translator that returns has nowhere to go back to
}

#ifdef _WIN64
// At entry: rsp 16-byte aligned, r10 = the fault's rsp, r11 = its rip + 1.
// The trampoline pushes a machine frame (rip, cs, eflags, rsp, ss), which
// the Windows unwinder knows how to undo, then calls the translator.
__asm__(R"(
    .text
    .def kelm_fault_trampoline; .scl 3; .type 32; .endef
    .seh_proc kelm_fault_trampoline
kelm_fault_trampoline:
    pushq $0
    pushq %r10
    pushq $0
    pushq $0
    pushq %r11
    .seh_pushframe
    subq $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    call kelm_translate_fault
    ud2
    .seh_endproc
)");
#else
// At entry: esp 8 above a 16-byte boundary, ecx = the fault's esp, edx = its
// eip. Frame description: CFA = the saved esp, return address = the saved
// eip, a signal frame (the caller is looked up at the faulting instruction
// itself).
__asm__(R"(
    .text
    .def kelm_fault_trampoline; .scl 3; .type 32; .endef
kelm_fault_trampoline:
    .cfi_startproc
    .cfi_signal_frame
    pushl %ecx
    pushl %edx
    .cfi_escape 0x0f, 0x03, 0x74, 0x04, 0x06
    .cfi_escape 0x10, 0x08, 0x02, 0x74, 0x00
    call _kelm_translate_fault
    ud2
    .cfi_endproc
)");
#endif

bool EnableFaultTranslation(const FaultHandlers& fault_handlers) {
  std::call_once(install_once, [&] {
    handlers = fault_handlers;
    system_images[0] = RangeOf(L"ntdll.dll");
    system_images[1] = RangeOf(L"kernel32.dll");
    system_images[2] = RangeOf(L"kernelbase.dll");
    state_slot = ::TlsAlloc();
    installed = state_slot != TLS_OUT_OF_INDEXES && ::AddVectoredExceptionHandler(1, &OnException) != nullptr;
  });
  if (!installed) return false;
  if (CurrentState() != nullptr) return true;
  auto* state = new ThreadState{false, 0};
  if (!::TlsSetValue(state_slot, state)) {
    delete state;
    return false;
  }
  return true;
}

void DisableFaultTranslation() {
  if (!installed) return;
  ThreadState* state = CurrentState();
  if (state == nullptr) return;
  ::TlsSetValue(state_slot, nullptr);
  delete state;
}

}  // namespace kelm::port
