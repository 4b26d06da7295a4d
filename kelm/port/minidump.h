// Minidumps of the running process and the translation of hardware faults.
//
// On Windows the dump is dbghelp's MiniDumpWriteDump, looked up at run time,
// and faults reach the library through a vectored exception handler. On Linux
// the library writes the minidump format itself and faults arrive as signals
// (SIGSEGV, SIGFPE, SIGILL, SIGBUS) on an alternate signal stack. Either way
// a fault in a thread that turned translation on resumes that thread in a
// function that throws, as if the faulting instruction had thrown: code
// between the fault and the handler that should catch it must be compiled
// with -fnon-call-exceptions.
#ifndef KELM_PORT_MINIDUMP_H_
#define KELM_PORT_MINIDUMP_H_

#include <cstddef>

#include "kelm/port/win_types.h"

#ifdef _WIN32

#include <dbghelp.h>

#else  // !_WIN32

#include <ucontext.h>

#include <cstdint>

// The dump types; the Linux writer records the type in the dump's header and
// always writes the same streams (see WriteMiniDump).
enum _MINIDUMP_TYPE {
  MiniDumpNormal = 0x00000000,
  MiniDumpWithDataSegs = 0x00000001,
  MiniDumpWithFullMemory = 0x00000002,
  MiniDumpWithHandleData = 0x00000004,
  MiniDumpFilterMemory = 0x00000008,
  MiniDumpScanMemory = 0x00000010,
  MiniDumpWithUnloadedModules = 0x00000020,
  MiniDumpWithIndirectlyReferencedMemory = 0x00000040,
  MiniDumpFilterModulePaths = 0x00000080,
  MiniDumpWithProcessThreadData = 0x00000100,
  MiniDumpWithPrivateReadWriteMemory = 0x00000200,
  MiniDumpWithoutOptionalData = 0x00000400,
  MiniDumpWithFullMemoryInfo = 0x00000800,
  MiniDumpWithThreadInfo = 0x00001000,
  MiniDumpWithCodeSegs = 0x00002000,
};

#define EXCEPTION_ACCESS_VIOLATION 0xC0000005u
#define EXCEPTION_IN_PAGE_ERROR 0xC0000006u
#define EXCEPTION_ILLEGAL_INSTRUCTION 0xC000001Du
#define EXCEPTION_INT_DIVIDE_BY_ZERO 0xC0000094u
#define EXCEPTION_INT_OVERFLOW 0xC0000095u
#define EXCEPTION_PRIV_INSTRUCTION 0xC0000096u
#define EXCEPTION_FLT_DIVIDE_BY_ZERO 0xC000008Eu
#define EXCEPTION_FLT_INEXACT_RESULT 0xC000008Fu
#define EXCEPTION_FLT_INVALID_OPERATION 0xC0000090u
#define EXCEPTION_FLT_OVERFLOW 0xC0000091u
#define EXCEPTION_FLT_UNDERFLOW 0xC0000093u
#define EXCEPTION_DATATYPE_MISALIGNMENT 0x80000002u
#define EXCEPTION_BREAKPOINT 0x80000003u
#define EXCEPTION_MAXIMUM_PARAMETERS 15

typedef struct _EXCEPTION_RECORD {
  DWORD ExceptionCode;
  DWORD ExceptionFlags;
  struct _EXCEPTION_RECORD* ExceptionRecord;
  void* ExceptionAddress;
  DWORD NumberParameters;
  std::uintptr_t ExceptionInformation[EXCEPTION_MAXIMUM_PARAMETERS];
} EXCEPTION_RECORD;

// The register state of a thread: the signal's ucontext_t.
typedef ucontext_t CONTEXT;

typedef struct _EXCEPTION_POINTERS {
  EXCEPTION_RECORD* ExceptionRecord;
  CONTEXT* ContextRecord;
} EXCEPTION_POINTERS;

#endif  // _WIN32

namespace kelm::port {

// Whether `size` bytes at `address` can be read, found out without touching
// them (no fault is raised, so no fault handler sees the test).
bool IsReadable(const void* address, std::size_t size);

// Fills `context` with the calling thread's registers, then puts `ip`, `sp`
// and `fp` in place of the instruction, stack and frame pointers. False if
// the registers could not be read.
bool CaptureContext(CONTEXT* context, const void* ip, const void* sp, const void* fp);

// Writes a dump of the running process into the file `name` (Windows-1251),
// made anew with read and write access, shared for reading when
// `share_read`, no sharing otherwise. `info` describes the exception the
// dump is about, as seen by the calling thread; it may be null. Returns the
// dump function's result (non-zero on success), 0 when the dump function is
// missing (then no file is made) or the file cannot be created. Callers
// serialise the calls (dbghelp is single-threaded).
//
// Linux: the file holds the header, the system information, the calling
// thread with its registers (from `info`, else its own) and its stack, the
// modules of /proc/self/maps, the memory list (the stack and the code around
// the exception address), the exception and miscellaneous process data.
// Departure, for want of a system dump writer: `type` is recorded in the
// header, but the extra memory that some types ask Windows for (data
// segments, full memory, handles) is not written, and `share_read` has no
// effect, Linux having no share modes.
int WriteMiniDump(const char* name, bool share_read, _MINIDUMP_TYPE type, EXCEPTION_POINTERS* info);

// Fault translation. `dump` writes a crash dump for a fault; `translate`
// turns a fault into a C++ exception and must throw.
struct FaultHandlers {
  void (*dump)(EXCEPTION_POINTERS* info);
  void (*translate)(unsigned int code, EXCEPTION_POINTERS* info);
};

// Installs the process's fault handler (once; later calls keep the first
// `handlers`) and turns translation on for the calling thread. From then on
// an access violation, integer division by zero, illegal or privileged
// instruction, floating-point trap, misaligned access or page-in error of
// this thread no longer ends the process: the thread goes on in a function
// that calls `translate` with the Windows exception code, as if the faulting
// instruction had called it. On Windows the vectored handler first calls
// `dump` with the live exception and `translate` then gets a null `info`. On
// Linux nothing but async-signal-safe work happens in the signal handler:
// `dump` is not used and `translate` gets the saved fault (valid until the
// thread's next fault). Faults of other threads, stack overflows and faults
// that come while a fault of the same thread is still being translated
// end the process as they would without the handler (earlier signal handlers
// are called in that case). False if the handler could not be installed.
bool EnableFaultTranslation(const FaultHandlers& handlers);
// Turns translation off for the calling thread and frees what it held.
void DisableFaultTranslation();

}  // namespace kelm::port

#endif  // KELM_PORT_MINIDUMP_H_
