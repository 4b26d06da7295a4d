// The installed message box hook, for the platform implementations of
// ShowMessageBox. Internal: not installed.
#ifndef KELM_PORT_INTERNAL_MESSAGE_BOX_HOOK_H_
#define KELM_PORT_INTERNAL_MESSAGE_BOX_HOOK_H_

#include "kelm/port/message_box.h"

namespace kelm::port::internal {

// The hook installed now, or null.
MessageBoxHook CurrentMessageBoxHook();

}  // namespace kelm::port::internal

#endif  // KELM_PORT_INTERNAL_MESSAGE_BOX_HOOK_H_
