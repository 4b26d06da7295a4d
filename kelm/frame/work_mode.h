// How the process runs: with a user at the screen (GUI mode) or not.
#ifndef KELM_FRAME_WORK_MODE_H_
#define KELM_FRAME_WORK_MODE_H_

// One process-wide setting, false until set; safe to read from any thread.
// In GUI mode reports that need the user's attention at once (a full disk
// while a file is written) go to a message box.
class WorkMode {
 public:
  static bool IsGUIMode();
  static void SetGUIMode(bool gui);
};

#endif  // KELM_FRAME_WORK_MODE_H_
