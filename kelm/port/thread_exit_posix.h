// Internal to the POSIX platform layer.
#ifndef KELM_PORT_THREAD_EXIT_POSIX_H_
#define KELM_PORT_THREAD_EXIT_POSIX_H_

namespace kelm::port {

// Runs the thread-exit hooks now if this thread has armed them, so that a
// thread started by the library is reported finished only after its
// variables are gone (as WaitForSingleObject on a Windows thread does).
void NotifyThreadExit();

}  // namespace kelm::port

#endif  // KELM_PORT_THREAD_EXIT_POSIX_H_
