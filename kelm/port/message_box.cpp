#include "kelm/port/message_box.h"

#include <atomic>

#include "kelm/port/internal/message_box_hook.h"

namespace kelm::port {
namespace {
std::atomic<MessageBoxHook> hook{nullptr};
}  // namespace

MessageBoxHook SetMessageBoxHook(MessageBoxHook replacement) { return hook.exchange(replacement); }

MessageBoxHook internal::CurrentMessageBoxHook() { return hook.load(); }

}  // namespace kelm::port
