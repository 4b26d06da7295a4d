#include "kelm/variant/rpc_file.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "kelm/frame/exceptions.h"

namespace kelm {
namespace {

TEST(RpcFileTest, CopiesShareTheStreamAndNullIsRefused) {
  // Each default file has an empty stream of its own.
  const RpcFile file;
  RpcFile other;
  EXPECT_NE(&other.Stream(), &file.Stream());
  EXPECT_EQ(file.Stream().get(), std::char_traits<char>::eof());

  RpcFile a;
  a.SetName("отчёт.txt");
  a.SetId("42");
  a.SetStream(std::make_shared<std::istringstream>("abcdef"), 10);  // size is taken as given
  RpcFile b;
  b = a;
  const RpcFile c(a);
  b.SetName("other");
  EXPECT_EQ(c.Name() + c.Id() + std::to_string(c.Size()), "отчёт.txt4210");
  EXPECT_EQ(b.Stream().get(), 'a');
  EXPECT_EQ(a.Stream().get(), 'b');  // the same position
  EXPECT_EQ(c.Stream().get(), 'c');

  try {
    a.SetStream(nullptr, 5);
  } catch (const Exception& e) {
    EXPECT_STREQ(static_cast<const char*>(e.Description()), "В RpcFile передан нулевой указатель");
  }
  EXPECT_EQ(a.Size(), 10u);
  EXPECT_EQ(a.Stream().get(), 'd');
}

}  // namespace
}  // namespace kelm
