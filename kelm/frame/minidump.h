// Crash dumps of the running process, and hardware faults turned into C++
// exceptions.
//
//   MinidumpThreadInitializer::Instance();  // once in each thread that wants it
//   try {
//     ...                                    // an access violation here ...
//   } catch (const SE_Exception& e) {        // ... arrives as e.getSeNumber() == 0xC0000005
//   }                                        // and leaves dumps\dump_<time>_crash.dmp
//   SnapCurrentProcessMiniDump(MiniDumpNormal);  // dumps\dump_<time>.dmp
//
// Dumps go to the folder MiniDumpPathChanger::Instance().Path() ("dumps" at
// first), named "dump_гггг_мм_дд__чч_ии_сс.dmp" after the local time, with
// "_crash" before ".dmp" for crash dumps; after each dump only the ten newest
// "*.dmp" files of the folder "dumps" are kept. On Windows they are written
// by dbghelp's MiniDumpWriteDump; on Linux the library writes the same format
// itself (see kelm/port/minidump.h for what such a dump holds).
//
// A fault becomes an SE_Exception only where the compiler expects
// instructions to throw: compile the code in which faults should be caught,
// and every function between it and the catch, with -fnon-call-exceptions
// (GCC, Clang). Without it the exception may pass by the handler or end the
// program in std::terminate. Failures of dump writing are silent.
#ifndef KELM_FRAME_MINIDUMP_H_
#define KELM_FRAME_MINIDUMP_H_

#include <list>
#include <shared_mutex>
#include <string>

#include "kelm/frame/global_vars.h"
#include "kelm/frame/sync.h"
#include "kelm/port/minidump.h"

// The dump folder of the process, shared by all threads.
class MiniDumpPathChanger {
 public:
  MiniDumpPathChanger(const MiniDumpPathChanger&) = delete;
  MiniDumpPathChanger& operator=(const MiniDumpPathChanger&) = delete;

  static MiniDumpPathChanger& Instance();

  // A copy, read under the shared lock.
  std::string Path();
  // Under the exclusive lock; applies to every thread's next dump.
  void SetPath(const std::string& path);

  static MiniDumpPathChanger instance;

 private:
  MiniDumpPathChanger();

  std::string path_;
  std::shared_mutex lock_;
};

// The dump type in force is the oldest of those given to the setters alive.
// A setter's destructor removes the oldest entry, which is not necessarily
// its own: with setters for A then B alive, destroying either leaves B.
class MiniDumpTypeSetter {
 public:
  explicit MiniDumpTypeSetter(_MINIDUMP_TYPE type);
  MiniDumpTypeSetter(const MiniDumpTypeSetter&) = delete;
  MiniDumpTypeSetter& operator=(const MiniDumpTypeSetter&) = delete;
  ~MiniDumpTypeSetter();

  // The front of the list; MiniDumpNormal when it is empty.
  static _MINIDUMP_TYPE CurrentType();

 private:
  static std::list<_MINIDUMP_TYPE> m_list;
  static CriticalSection m_cs;
};

// Fetching a thread's instance turns fault translation on for that thread:
// from then on an access violation, integer division by zero, illegal
// instruction and the other processor faults of the thread go through
// SETransFunc, which writes a crash dump and throws SE_Exception. The
// instance lives until the thread ends.
class MinidumpThreadInitializer {
 public:
  MinidumpThreadInitializer(const MinidumpThreadInitializer&) = delete;
  MinidumpThreadInitializer& operator=(const MinidumpThreadInitializer&) = delete;
  ~MinidumpThreadInitializer();

  static MinidumpThreadInitializer& Instance();

 private:
  friend class GVars::DefaultGlobalVarAllocator<MinidumpThreadInitializer>;
  MinidumpThreadInitializer();
};

// A processor fault turned into an exception; the code is the Windows
// exception code (0xC0000005 access violation, 0xC0000094 integer division
// by zero, 0xC000001D illegal instruction, ...).
class SE_Exception {
 public:
  explicit SE_Exception(unsigned int code) : code_(code) {}
  unsigned int getSeNumber() const { return code_; }

 private:
  unsigned int code_;
};

// When true, every crash dump, written or not, is followed by the report
// "Внимание! Произошла исключительная ситуация. Для ее анализа создан дамп."
// through ErrorMsg. False at first.
extern bool ReportAboutDumps;

// A dump of the process at the point of the call (the caller's registers,
// the exception address on its call instruction). Non-zero on success; 0
// when the registers could not be captured, the file could not be made or
// no dump function is available.
int SnapCurrentProcessMiniDump(_MINIDUMP_TYPE type);

// A crash dump for the exception `info` (nothing is written when `info`
// cannot be read), then the report if ReportAboutDumps is set. Always
// returns 1 (EXCEPTION_EXECUTE_HANDLER), so it can serve as an exception
// filter.
long CreateCurrentProcessCrashDump(EXCEPTION_POINTERS* info, _MINIDUMP_TYPE type);

// The translator: with `info`, a crash dump of the current type; then throws
// SE_Exception(code).
[[noreturn]] void SETransFunc(unsigned int code, EXCEPTION_POINTERS* info);

// For the runtime's pure-virtual-call hook: reports "Произошел вызов
// нереализованной виртуальной функции! ..." through ErrorMsg, then writes to
// address 0, so that the translator or the process's exception filter makes
// a crash dump. (GCC's runtime calls __cxa_pure_virtual; a client that
// wants this handler there defines that function to call it.)
void PureCallHandler();

#endif  // KELM_FRAME_MINIDUMP_H_
