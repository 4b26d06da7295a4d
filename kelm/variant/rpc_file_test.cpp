#include "kelm/variant/rpc_file.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "kelm/frame/exceptions.h"

namespace kelm {
namespace {

TEST(RpcFileTest, DefaultIsEmpty) {
  const RpcFile file;
  EXPECT_EQ(file.Size(), 0u);
  EXPECT_EQ(file.Name(), "");
  EXPECT_EQ(file.Id(), "");
  EXPECT_EQ(file.Stream().get(), std::char_traits<char>::eof());
  EXPECT_TRUE(file.Stream().eof());

  // Each default file has a stream of its own.
  RpcFile other;
  EXPECT_NE(&other.Stream(), &file.Stream());
}

TEST(RpcFileTest, CopiesShareTheStream) {
  RpcFile a;
  a.SetName("отчёт.txt");
  a.SetId("42");
  a.SetStream(std::make_shared<std::istringstream>("abcdef"), 10);  // size is taken as given
  EXPECT_EQ(a.Size(), 10u);

  RpcFile b;
  b = a;
  EXPECT_EQ(b.Name(), "отчёт.txt");
  EXPECT_EQ(b.Id(), "42");
  EXPECT_EQ(b.Size(), 10u);
  EXPECT_EQ(b.Stream().get(), 'a');
  EXPECT_EQ(a.Stream().get(), 'b');  // the same position

  const RpcFile c(a);
  b.SetName("other");
  EXPECT_EQ(c.Name(), "отчёт.txt");
  EXPECT_EQ(c.Stream().get(), 'c');
}

TEST(RpcFileTest, NullStreamIsRefused) {
  RpcFile file;
  file.SetStream(std::make_shared<std::istringstream>("xy"), 2);
  try {
    file.SetStream(nullptr, 5);
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_STREQ(static_cast<const char*>(e.Description()), "В RpcFile передан нулевой указатель");
  }
  EXPECT_EQ(file.Size(), 2u);
  EXPECT_EQ(file.Stream().get(), 'x');
}

}  // namespace
}  // namespace kelm
