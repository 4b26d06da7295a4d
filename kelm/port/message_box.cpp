#include "kelm/port/message_box.h"

#include <atomic>

namespace kelm::port {
namespace {
std::atomic<MessageBoxHook> hook{nullptr};
}  // namespace

MessageBoxHook SetMessageBoxHook(MessageBoxHook replacement) { return hook.exchange(replacement); }

namespace internal {
MessageBoxHook CurrentMessageBoxHook() { return hook.load(); }
}  // namespace internal

}  // namespace kelm::port
