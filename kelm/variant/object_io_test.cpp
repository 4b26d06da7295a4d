#include "kelm/variant/object_io.h"

#include <gtest/gtest.h>

#include "kelm/variant/testing/memory_object_io.h"

namespace kelm {
namespace {

using testing::MemoryReader;
using testing::MemoryWriter;

Variant Obj(std::vector<ObjectMember> members) { return Variant(members); }
Variant Arr(std::vector<Variant> items) { return Variant(items); }

// Scalars are read as texts; members keep their names and order, repeated
// names too; what the target held before is replaced.
TEST(ObjectIoTest, ArraysAndObjectsReadScalarsAsTexts) {
  const Variant array = Arr({1, true, "x", Arr({2.5, Variant()}), Obj({{"k", 7}})});
  MemoryReader arrayReader(array);
  std::vector<Variant> items = {"stale"};
  ReadValue(arrayReader, items);
  EXPECT_EQ(Arr(items), Arr({"1", "true", "x", Arr({"2.5", "null"}), Obj({{"k", "7"}})}));

  const Variant object = Obj({{"b", 1}, {"a", Obj({{"inner", Arr({"y"})}})}, {"b", "again"}});
  MemoryReader objectReader(object);
  std::vector<ObjectMember> members = {{"stale", 0}};
  ReadValue(objectReader, members);
  EXPECT_EQ(Variant(members), Obj({{"b", "1"}, {"a", Obj({{"inner", Arr({"y"})}})}, {"b", "again"}}));
  MemoryReader empty(Obj({}));
  ReadValue(empty, members);
  EXPECT_TRUE(members.empty());
}

TEST(ObjectIoTest, FileContentGoesToTheFileStream) {
  const Variant source(VariantFile(std::string("\x01\x00\x02", 3)));
  MemoryReader reader(source);
  VariantFile file("head:");
  ReadValue(reader, file);
  EXPECT_EQ(file.Content(), std::string("head:\x01\x00\x02", 8));
}

TEST(ObjectIoTest, WriteValueRoundTrip) {
  const Variant tree = Obj({
      {"name", "Иванов"},
      {"count", 3},
      {"big", 18446744073709551615ULL},
      {"ratio", 0.25},
      {"ok", false},
      {"none", Variant()},
      {"list", Arr({1, Arr({}), Obj({})})},
      {"data", VariantFile("bytes")},
  });
  MemoryWriter writer;
  WriteValue(writer, tree);
  EXPECT_EQ(writer.Result(), tree);
  EXPECT_TRUE(FindValue(writer.Result().ToObject(), "big").IsUint64());
}

}  // namespace
}  // namespace kelm
