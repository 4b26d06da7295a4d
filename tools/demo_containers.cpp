// Containers: a sorted, case-free collection of texts and a mask match.
#include "kelm/kelm.h"
#include "tools/console.h"
#include "tools/demo.h"

namespace kelm::tools {

void DemoContainers() {
  Say("Containers:\n");
  SortCol fruit(csSORT | csNOCASE | csOWNER);
  DivideS("груша;Яблоко;ёжевика;апельсин;ЯБЛОКО", ";", false, fruit, false);
  String joined;
  Say("  sorted without regard to case, duplicates refused: %s\n",
      static_cast<char*>(fruit.ToString(joined, ',')));
  Say("  \"яблоко\" is item %d; the refusal said: %s\n", fruit.Find("яблоко"),
      ErrorMessager::Instance().GetLastError());

  const char* text = "Счёт №1234 от 22.11.2026";
  char number[Mask::kMaxCapture + 1];
  Mask mask(reinterpret_cast<const unsigned char*>("Л*№(ц+) Л*"),
            reinterpret_cast<const unsigned char*>(text));
  const bool matched = mask.ParseByMask(number, nullptr);
  Say("  mask \"Л*№(ц+) Л*\" over \"%s\": %s, captured \"%s\"\n\n", text, matched ? "match" : "no match",
      number);
}

}  // namespace kelm::tools
