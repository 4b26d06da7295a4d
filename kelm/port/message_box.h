// The message box of error reports.
#ifndef KELM_PORT_MESSAGE_BOX_H_
#define KELM_PORT_MESSAGE_BOX_H_

namespace kelm::port {

// Shows a modal message box with Windows-1251 `text` and `title` and the
// MessageBox `flags` and waits for the user. Where there is no desktop
// (POSIX), the title and the text are written to standard error instead.
// Goes to the installed hook instead when there is one.
void ShowMessageBox(const char* text, const char* title, unsigned flags);

// Replaces message boxes process-wide, for tests and programs without a
// user; null restores the real box. Returns the previous hook.
using MessageBoxHook = void (*)(const char* text, const char* title, unsigned flags);
MessageBoxHook SetMessageBoxHook(MessageBoxHook hook);

}  // namespace kelm::port

#endif  // KELM_PORT_MESSAGE_BOX_H_
