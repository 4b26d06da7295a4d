// The frame: threads, per-thread variables, locks, the fatal terminator.
#include <atomic>

#include "kelm/kelm.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {
namespace {

// A per-thread variable that announces its life.
struct Visits {
  Visits() : id(++instances) { Say("  instance #%d of Visits created for its thread\n", id); }
  ~Visits() { Say("  instance #%d of Visits destroyed at its thread's end after %d visits\n", id, count); }
  static inline std::atomic<int> instances{0};
  int id;
  int count = 0;
};

GVars::GlobalVarRegistrator<Visits> visits_registrator;

Semaphore work_done(0, 8);

unsigned long __stdcall Worker(void* arg) {
  const int visits = *static_cast<int*>(arg);
  for (int i = 0; i < visits; ++i) ++visits_registrator.Get()->count;
  work_done.Release(1);
  return static_cast<unsigned long>(visits);
}

void ShowPerThreadVariables() {
  Say("Per-thread variables in three threads:\n");
  int visits[3] = {2, 5, 7};
  {
    Thread a(&Worker, &visits[0], false, true);
    Thread b(&Worker, &visits[1], false, true);
    Thread c(&Worker, &visits[2], false, true);
  }  // each Thread waits for its thread; each thread's Visits dies with it
  Say("All three threads ended; their variables are gone.\n\n");
}

void ShowLocks() {
  Say("Locks:\n");
  CriticalSection cs;
  {
    Locker guard(cs);
    guard.Release();  // hands the entered section over
    Say("  Locker released its section; owns=%d\n", guard.Owns() ? 1 : 0);
  }
  cs.Leave();
  Semaphore s;
  long first = s.Release(1);
  long second = s.Release(1);
  Say("  semaphore counts before releases: %ld, %ld\n\n", first, second);
}

void ShowTerminator() {
  Say("Fatal terminator:\n");
  KelmErrors::FatalTerminator& terminator = KelmErrors::FatalTerminator::Instance();
  KelmErrors::IFatalTerminationPolicy* policy = terminator.Release();
  terminator.Terminate(3);  // no policy: the call returns
  Say("  Terminate(3) with the policy released returned; the process goes on\n");
  terminator.Reset(policy);
}

}  // namespace

void DemoFrame() {
  ShowPerThreadVariables();
  ShowLocks();
  ShowTerminator();
}

}  // namespace kelm::tools
