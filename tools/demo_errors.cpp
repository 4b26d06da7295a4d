// Errors: numbered messages from the library's table, policies, exceptions.
#include "kelm/kelm.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {

void DemoErrors() {
  Say("Error reporting:\n");
  ErrorMessager& messager = ErrorMessager::Instance();
  // This thread has no policy: the message is only kept as the last error.
  ErrorMsg(296ul);
  Say("  message 296 from the library's table: %s\n", messager.GetLastError());
  ErrorMsg(0x1234ul);
  Say("  a code no module knows: %s\n", messager.GetLastError());
  try {
    Error(4614ul, "DemoErrors");
  } catch (const GorseCodeException& e) {
    Say("  caught GorseCodeException %d:\n%s\n", e.Code(),
        static_cast<const char*>(e.Description()));
  }
  try {
    Error("Файл \"%s\" не найден", "demo.dat");
  } catch (const Exception& e) {
    Say("  caught Exception: %s\n\n", static_cast<const char*>(e.Description()));
  }
}

}  // namespace kelm::tools
