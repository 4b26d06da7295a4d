#include "kelm/frame/message_table.h"

#include <string>

#include <gtest/gtest.h>

#include "kelm/frame/dlls.h"
#include "kelm/frame/errors.h"
#include "kelm/port/module.h"

namespace {

// A stand-in module handle: any address no real module starts at.
int fake_module_anchor;
HINSTANCE FakeModule() { return reinterpret_cast<HINSTANCE>(&fake_module_anchor); }

std::string Lookup(unsigned long code) {
  char buffer[KelmErrors::kErrorTextSize];
  return GetMessageStr(code, buffer) ? buffer : "<none>";
}

TEST(MessageTableTest, TablesCountWhileTheyLive) {
  static const MessageTableEntry first[] = {{61010, "первая"}, {61011, "только в первой"}};
  static const MessageTableEntry second[] = {{61010, "вторая"}, {61012, "только во второй"}};
  LoadedDLLs.Add(FakeModule());
  {
    const MessageTable a(FakeModule(), first, 2);
    EXPECT_EQ(Lookup(61010), "первая");
    {
      const MessageTable b(FakeModule(), second, 2);
      EXPECT_EQ(Lookup(61010), "первая") << "the table registered first answers";
      EXPECT_EQ(Lookup(61012), "только во второй");
    }
    EXPECT_EQ(Lookup(61012), "<none>");
    // Ids are 16-bit, as resource ids are.
    EXPECT_EQ(Lookup(0x10000 + 61011), "только в первой");
  }
  EXPECT_EQ(Lookup(61010), "<none>");
  LoadedDLLs.Remove(FakeModule());
}

TEST(MessageTableTest, ATableBelongsToTheModuleHoldingIt) {
  static const MessageTableEntry entries[] = {{61020, "из исполняемого"}};
  const MessageTable table(entries);
  EXPECT_EQ(table.Module(), kelm::port::ExecutableModule());
  EXPECT_EQ(Lookup(61020), "из исполняемого");
}

}  // namespace
