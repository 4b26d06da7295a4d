#include "kelm/port/module.h"

#include <gtest/gtest.h>

namespace kelm::port {
namespace {

void FunctionOfTheProgram() {}

TEST(PortModule, AddressesBelongToTheirModules) {
  EXPECT_EQ(ModuleOfAddress(nullptr), nullptr);
  ASSERT_NE(LibraryModule(), nullptr);
  ASSERT_NE(ExecutableModule(), nullptr);
  EXPECT_NE(LibraryModule(), ExecutableModule());
  EXPECT_EQ(ModuleOfAddress(reinterpret_cast<const void*>(&FunctionOfTheProgram)), ExecutableModule());
}

}  // namespace
}  // namespace kelm::port
