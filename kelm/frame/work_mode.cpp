#include "kelm/frame/work_mode.h"

#include <atomic>

namespace {
std::atomic<bool> guiMode{false};
}  // namespace

bool WorkMode::IsGUIMode() { return guiMode.load(std::memory_order_relaxed); }

void WorkMode::SetGUIMode(bool gui) { guiMode.store(gui, std::memory_order_relaxed); }
