// Texts: the OEM code page, number texts, capitals of words.
#include "kelm/kelm.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {

void DemoText() {
  Say("\nTexts:\n");
  TextBuffer<261> text;
  text = "Отчёт №5";
  text.WinToDos();
  Say("  \"Отчёт №5\" in the OEM code page:");
  for (const char* p = text.C_str(); *p != '\0'; ++p) Say(" %02X", static_cast<unsigned char>(*p));
  Say("\n");

  char number[48];
  Say("  dbltoa(1234.5678, 2 decimals)            = %s\n", dbltoa(1234.5678, number, 2, 15, 0));
  Say("  dbltoa(123456789, 2 decimals, 6 digits)  = %s\n", dbltoa(123456789.0, number, 2, 6, 0));
  Say("  dbltoa(1e40)                             = %s\n", dbltoa(1e40, number, 2, 15, 0));
  char money[32] = "-1234567.89";
  ConvertMoneyStr(money, sizeof money);
  Say("  ConvertMoneyStr(-1234567.89)             = %s\n", money);
  Say("  IncNumberStr: 5 -> %s, 123 -> ", IncNumberStr("5", number, 10));
  Say("%s, 99 -> ", IncNumberStr("123", number, 10));
  Say("%s\n", IncNumberStr("99", number, 10));

  char name[] = "АННА-МАРИЯ иванова";
  Say("  UpFirstLetters(\"АННА-МАРИЯ иванова\")     = %s\n\n", UpFirstLetters(name));
}

}  // namespace kelm::tools
