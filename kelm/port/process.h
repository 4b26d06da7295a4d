// Ending the process.
#ifndef KELM_PORT_PROCESS_H_
#define KELM_PORT_PROCESS_H_

namespace kelm::port {

// The runtime's exit(): exit handlers and static destructors run.
[[noreturn]] void ExitProcess(unsigned long status);

// Ends the process at once with `status`; nothing else of it runs.
[[noreturn]] void TerminateProcess(unsigned long status);

}  // namespace kelm::port

#endif  // KELM_PORT_PROCESS_H_
