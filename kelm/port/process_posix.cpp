#include "kelm/port/process.h"

#include <unistd.h>

#include <cstdlib>

namespace kelm::port {

void ExitProcess(unsigned long status) { std::exit(static_cast<int>(status)); }

void TerminateProcess(unsigned long status) { ::_exit(static_cast<int>(status)); }

}  // namespace kelm::port
