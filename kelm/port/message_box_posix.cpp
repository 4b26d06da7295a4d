#include "kelm/port/message_box.h"

#include <cstdio>

#include "kelm/port/internal/message_box_hook.h"

namespace kelm::port {

void ShowMessageBox(const char* text, const char* title, unsigned flags) {
  if (const MessageBoxHook hook = internal::CurrentMessageBoxHook()) {
    hook(text, title, flags);
    return;
  }
  std::fprintf(stderr, "%s\n%s\n", title == nullptr ? "" : title, text == nullptr ? "" : text);
  std::fflush(stderr);
}

}  // namespace kelm::port
