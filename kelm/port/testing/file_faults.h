// Fault injection in the platform layer's file calls, for tests: the real
// code above the platform layer (FStream, the file utilities) runs while a
// chosen read, write, seek, set-end or flush of the operating system fails.
//
//   kelm::port::testing::ScopedFileFaults faults;   // clean slate, undone at exit
//   RunScenario();                                   // once without faults
//   const unsigned long writes = FileCallCount(FileCall::kWrite);
//   for (unsigned long n = 1; n <= writes; ++n) {
//     ResetFileFaults();
//     FailFileCall(FileCall::kWrite, n, 112);       // the n-th write: disk full
//     RunScenario();                                 // must report, lose nothing
//   }
//
// Contract:
// - Counts and faults belong to the calling thread; calls made by other
//   threads are neither counted nor failed. Counting starts at the thread's
//   first file call and restarts at ResetFileFaults.
// - Counted: ReadFileData, WriteFileData, SeekFile, SetFileEnd and
//   FlushFileData on a valid file handle (file.h), one count per call,
//   failed ones included.
// - An armed call fails before it reaches the system: nothing is read,
//   written, moved, cut or flushed, `*done` is 0, the call answers false and
//   the thread's last error is `error` (LastFileError() answers it; on Linux
//   errno holds the nearest value, so SysErrorMsg shows the system's text).
// - Each kind has at most one arming; arming again replaces it.
#ifndef KELM_PORT_TESTING_FILE_FAULTS_H_
#define KELM_PORT_TESTING_FILE_FAULTS_H_

namespace kelm::port::testing {

enum class FileCall { kRead, kWrite, kSeek, kSetEnd, kFlush };
inline constexpr int kFileCallKinds = 5;

// Zeroes the thread's counts and disarms every kind.
void ResetFileFaults();
// The `nth` call of `kind` counted since the last reset fails with the Win32
// `error`; with `persistent` every later one fails too (a disk that stays
// full). An `nth` of 0 disarms the kind.
void FailFileCall(FileCall kind, unsigned long nth, unsigned long error, bool persistent = false);
// Calls of `kind` since the last reset.
unsigned long FileCallCount(FileCall kind);
// Calls failed on purpose since the last reset, all kinds together.
unsigned long FileFaultsInjected();

// ResetFileFaults at construction and at destruction.
class ScopedFileFaults {
 public:
  ScopedFileFaults() { ResetFileFaults(); }
  ~ScopedFileFaults() { ResetFileFaults(); }
  ScopedFileFaults(const ScopedFileFaults&) = delete;
  ScopedFileFaults& operator=(const ScopedFileFaults&) = delete;
};

namespace internal {
// Called by the platform layer at each counted call: counts it and answers
// the Win32 error to fail it with, or 0 to let it through.
unsigned long TakeFileFault(FileCall kind);
}  // namespace internal

}  // namespace kelm::port::testing

#endif  // KELM_PORT_TESTING_FILE_FAULTS_H_
