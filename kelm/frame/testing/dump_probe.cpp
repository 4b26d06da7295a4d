// Writes one dump of each kind into DIR/dumps for check_dumps.py: a
// snapshot, then crash dumps of the faults the platform translates, each in
// a thread of its own. Prints one line per dump: the kind, the exception
// code caught (0 for the snapshot) and whether it was the expected one.
//   kelm-dump-probe DIR
#include <cstdio>
#include <filesystem>
#include <thread>

#include "kelm/frame/minidump.h"

namespace {

// Each fault sits in a function of this program, so that the dumps can show
// the exception address inside this module.
volatile int sink;

// The sanitizers would report the faults themselves before they happen.
__attribute__((noinline, no_sanitize("undefined"))) void ReadNull() {
  volatile int* volatile nowhere = nullptr;
  sink = *nowhere;
}

__attribute__((noinline, no_sanitize("undefined"))) void DivideByZero() {
  volatile int zero = 0;
  sink = 7 / zero;
}

__attribute__((noinline)) void IllegalInstruction() { __builtin_trap(); }

#ifndef _WIN32
// Touches a page of a mapped empty file: SIGBUS.
__attribute__((noinline)) void ReadPastMappedFile();
#endif

bool Fault(const char* kind, unsigned expected, void (*fault)()) {
  unsigned caught = 0;
  std::thread([&] {
    MinidumpThreadInitializer::Instance();
    try {
      fault();
    } catch (const SE_Exception& e) {
      caught = e.getSeNumber();
    }
  }).join();
  std::printf("%s 0x%08X %s\n", kind, caught, caught == expected ? "ok" : "WRONG");
  return caught == expected;
}

}  // namespace

#ifndef _WIN32
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace {
void ReadPastMappedFile() {
  char name[] = "/tmp/kelm-probe-XXXXXX";
  int fd = ::mkstemp(name);
  ::unlink(name);
  auto* page = static_cast<volatile int*>(::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0));
  ::close(fd);
  sink = *page;
}
}  // namespace
#endif

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kelm-dump-probe DIR\n");
    return 2;
  }
  std::filesystem::current_path(argv[1]);
  bool ok = SnapCurrentProcessMiniDump(MiniDumpNormal) != 0;
  std::printf("snapshot 0x00000000 %s\n", ok ? "ok" : "WRONG");
  ok &= Fault("access-violation", EXCEPTION_ACCESS_VIOLATION, &ReadNull);
  ok &= Fault("divide-by-zero", EXCEPTION_INT_DIVIDE_BY_ZERO, &DivideByZero);
  ok &= Fault("illegal-instruction", EXCEPTION_ILLEGAL_INSTRUCTION, &IllegalInstruction);
#ifndef _WIN32
  ok &= Fault("in-page-error", EXCEPTION_IN_PAGE_ERROR, &ReadPastMappedFile);
#endif
  return ok ? 0 : 1;
}
