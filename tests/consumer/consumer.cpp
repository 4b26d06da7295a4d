// Uses the installed headers and library as a client program would.
#include <kelm/kelm.h>

#include <cstdio>

int main() {
  KELMLIBInit();
  CriticalSection cs;
  Locker lock(cs);
  std::printf("consumer: kelm-lib installed and usable (locker owns=%d)\n", lock.Owns() ? 1 : 0);
  return lock.Owns() ? 0 : 1;
}
