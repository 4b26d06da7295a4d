// Faults turned into exceptions on Linux x86-64.
//
// The signal handler runs on the thread's alternate stack and does only
// async-signal-safe work: it saves the fault, then changes the interrupted
// registers so that the thread, once the kernel has restored them, runs
// kelm_fault_trampoline instead of the faulting instruction. The trampoline
// calls the translator, which throws. Its unwind table says that its caller
// is the faulting instruction, with the stack pointer of the fault, so the
// exception leaves through the faulting function as if that instruction had
// thrown it.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "kelm/port/minidump.h"

namespace kelm::port {
namespace {

constexpr int kSignals[] = {SIGSEGV, SIGFPE, SIGILL, SIGBUS};
constexpr std::size_t kAltStackSize = 64 * 1024;
constexpr std::size_t kRedZone = 128;

// One per thread with translation on.
struct ThreadState {
  stack_t previous_alt_stack;
  bool translating;  // from the fault until the exception leaves the translator
  EXCEPTION_RECORD record;
  CONTEXT context;
  struct _libc_fpstate fpstate;
  EXCEPTION_POINTERS pointers;
  alignas(16) char alt_stack[kAltStackSize];
};

// Initial-exec: reading it in a signal handler never allocates.
thread_local ThreadState* thread_state __attribute__((tls_model("initial-exec"))) = nullptr;

FaultHandlers handlers;
struct sigaction previous_actions[sizeof kSignals / sizeof kSignals[0]];
std::once_flag install_once;
bool installed = false;

DWORD ExceptionCode(int signal, const siginfo_t* info) {
  switch (signal) {
    case SIGSEGV:
      return EXCEPTION_ACCESS_VIOLATION;
    case SIGBUS:
      return info->si_code == BUS_ADRALN ? EXCEPTION_DATATYPE_MISALIGNMENT : EXCEPTION_IN_PAGE_ERROR;
    case SIGILL:
      return info->si_code == ILL_PRVOPC || info->si_code == ILL_PRVREG ? EXCEPTION_PRIV_INSTRUCTION
                                                                        : EXCEPTION_ILLEGAL_INSTRUCTION;
    default:
      switch (info->si_code) {
        case FPE_INTDIV: return EXCEPTION_INT_DIVIDE_BY_ZERO;
        case FPE_INTOVF: return EXCEPTION_INT_OVERFLOW;
        case FPE_FLTDIV: return EXCEPTION_FLT_DIVIDE_BY_ZERO;
        case FPE_FLTOVF: return EXCEPTION_FLT_OVERFLOW;
        case FPE_FLTUND: return EXCEPTION_FLT_UNDERFLOW;
        case FPE_FLTRES: return EXCEPTION_FLT_INEXACT_RESULT;
        default: return EXCEPTION_FLT_INVALID_OPERATION;
      }
  }
}

// What the signal would have done without this handler.
void PassOn(int signal, siginfo_t* info, void* context) {
  std::size_t i = 0;
  while (kSignals[i] != signal) ++i;
  const struct sigaction& before = previous_actions[i];
  if ((before.sa_flags & SA_SIGINFO) != 0 && before.sa_sigaction != nullptr) {
    before.sa_sigaction(signal, info, context);
  } else if (!(before.sa_flags & SA_SIGINFO) && before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN) {
    before.sa_handler(signal);
  } else {
    // The default action; a fault comes back when the instruction runs
    // again, a signal that was sent is sent again.
    struct sigaction fallback;
    std::memset(&fallback, 0, sizeof fallback);
    fallback.sa_handler = SIG_DFL;
    sigaction(signal, &fallback, nullptr);
    if (info->si_code <= 0) raise(signal);
  }
}

void OnFault(int signal, siginfo_t* info, void* raw) {
  const int saved_errno = errno;
  ThreadState* state = thread_state;
  auto* uc = static_cast<ucontext_t*>(raw);
  // si_code > 0: raised by the processor, not sent by someone.
  if (state == nullptr || state->translating || info->si_code <= 0) {
    PassOn(signal, info, raw);
    errno = saved_errno;
    return;
  }
  state->translating = true;
  state->context = *uc;
  if (uc->uc_mcontext.fpregs != nullptr) state->fpstate = *uc->uc_mcontext.fpregs;
  state->context.uc_mcontext.fpregs = &state->fpstate;
  greg_t* regs = uc->uc_mcontext.gregs;
  EXCEPTION_RECORD& record = state->record;
  std::memset(&record, 0, sizeof record);
  record.ExceptionCode = ExceptionCode(signal, info);
  record.ExceptionAddress = reinterpret_cast<void*>(regs[REG_RIP]);
  if (signal == SIGSEGV || signal == SIGBUS) {
    // The page-fault error code: bit 1 a write, bit 4 an instruction fetch.
    const greg_t error = regs[REG_ERR];
    record.NumberParameters = 2;
    record.ExceptionInformation[0] = (error & 16) != 0 ? 8 : (error & 2) != 0 ? 1 : 0;
    record.ExceptionInformation[1] = reinterpret_cast<std::uintptr_t>(info->si_addr);
  }
  state->pointers = EXCEPTION_POINTERS{&state->record, &state->context};

  // The trampoline gets the fault's stack pointer and instruction pointer in
  // r10 and r11 (free at any instruction boundary as far as unwinding is
  // concerned) and starts below the red zone, 16-byte aligned.
  const auto sp = static_cast<std::uintptr_t>(regs[REG_RSP]);
  regs[REG_R10] = static_cast<greg_t>(sp);
  regs[REG_R11] = regs[REG_RIP];
  regs[REG_RSP] = static_cast<greg_t>((sp - kRedZone) & ~std::uintptr_t{15});
  extern char kelm_fault_trampoline[] __asm__("kelm_fault_trampoline");
  regs[REG_RIP] = reinterpret_cast<greg_t>(&kelm_fault_trampoline[0]);
  errno = saved_errno;
}

// Ends the translation when the exception leaves the translator.
struct TranslationEnd {
  ~TranslationEnd() { thread_state->translating = false; }
};

}  // namespace

extern "C" [[noreturn]] __attribute__((visibility("hidden"), used)) void TranslateFault() __asm__("kelm_translate_fault");

extern "C" void TranslateFault() {
  ThreadState* state = thread_state;
  TranslationEnd end;
  handlers.translate(state->record.ExceptionCode, &state->pointers);
  std::abort();  // a translator that returns has nowhere to go back to
}

// At entry: rsp 16-byte aligned, r10 = the fault's rsp, r11 = its rip. The
// frame description: CFA = the saved rsp, return address = the saved rip,
// and a signal frame, so that the unwinder looks the caller up at the
// faulting instruction itself rather than one byte before a return address.
__asm__(R"(
    .pushsection .text
    .globl kelm_fault_trampoline
    .hidden kelm_fault_trampoline
    .type kelm_fault_trampoline, @function
kelm_fault_trampoline:
    .cfi_startproc
    .cfi_signal_frame
    pushq %r10
    pushq %r11
    .cfi_escape 0x0f, 0x03, 0x77, 0x08, 0x06
    .cfi_escape 0x10, 0x10, 0x02, 0x77, 0x00
    call kelm_translate_fault
    ud2
    .cfi_endproc
    .size kelm_fault_trampoline, .-kelm_fault_trampoline
    .popsection
)");

bool EnableFaultTranslation(const FaultHandlers& fault_handlers) {
  std::call_once(install_once, [&] {
    handlers = fault_handlers;
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_sigaction = &OnFault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    installed = true;
    for (std::size_t i = 0; i < sizeof kSignals / sizeof kSignals[0]; ++i) {
      if (sigaction(kSignals[i], &action, &previous_actions[i]) != 0) installed = false;
    }
  });
  if (!installed) return false;
  if (thread_state != nullptr) return true;
  auto* state = new ThreadState;
  std::memset(state, 0, sizeof *state);
  stack_t alt;
  alt.ss_sp = state->alt_stack;
  alt.ss_size = sizeof state->alt_stack;
  alt.ss_flags = 0;
  if (sigaltstack(&alt, &state->previous_alt_stack) != 0) {
    delete state;
    return false;
  }
  thread_state = state;
  return true;
}

void DisableFaultTranslation() {
  ThreadState* state = thread_state;
  if (state == nullptr) return;
  thread_state = nullptr;
  stack_t current;
  // Another alternate stack installed since is left alone.
  if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == state->alt_stack) {
    sigaltstack(&state->previous_alt_stack, nullptr);
  }
  delete state;
}

}  // namespace kelm::port
