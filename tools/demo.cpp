// kelm-demo: the library doing its main jobs end to end, one section per area.
#include "kelm/kelm.h"
#include "tools/console.h"
#include "tools/demo.h"

int main() {
  using namespace kelm::tools;
  KELMLIBInit();
  Say("kelm-lib demo\n\n");
  DemoFrame();
  DemoErrors();
  DemoText();
  DemoDatetime();
  DemoStreams();
  DemoFStream();
  DemoKelm();
  DemoContainers();
  DemoLocalization();
  return 0;
}
