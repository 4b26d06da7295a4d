// The demo's sections, one per area of the library.
#ifndef KELM_TOOLS_DEMO_H_
#define KELM_TOOLS_DEMO_H_

namespace kelm::tools {

void DemoFrame();
void DemoErrors();
void DemoText();
void DemoDatetime();
void DemoStreams();
void DemoFStream();
void DemoKelm();
void DemoContainers();
void DemoLocalization();

}  // namespace kelm::tools

#endif  // KELM_TOOLS_DEMO_H_
