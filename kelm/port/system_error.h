// The calling thread's last system error.
#ifndef KELM_PORT_SYSTEM_ERROR_H_
#define KELM_PORT_SYSTEM_ERROR_H_

#include <string>

namespace kelm::port {

// GetLastError() on Windows, errno elsewhere.
unsigned long LastSystemError();
void SetLastSystemError(unsigned long code);

// The system's description of `code` in Windows-1251 exactly as the system
// words it (FormatMessage keeps its trailing line break); empty when the
// system has none.
std::string SystemErrorText(unsigned long code);

}  // namespace kelm::port

#endif  // KELM_PORT_SYSTEM_ERROR_H_
