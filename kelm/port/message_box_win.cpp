#include "kelm/port/message_box.h"

#include <string>

#include "kelm/port/codepage.h"
#include "kelm/port/internal/message_box_hook.h"
#include "kelm/port/win_types.h"

namespace kelm::port {
namespace {
std::wstring Wide(const char* text) {
  const std::u16string wide = Cp1251ToUtf16(text == nullptr ? "" : text);
  return std::wstring(wide.begin(), wide.end());
}
}  // namespace

void ShowMessageBox(const char* text, const char* title, unsigned flags) {
  if (const MessageBoxHook hook = internal::CurrentMessageBoxHook()) {
    hook(text, title, flags);
    return;
  }
  ::MessageBoxW(nullptr, Wide(text).c_str(), Wide(title).c_str(), flags);
}

}  // namespace kelm::port
