#include "kelm/variant/variant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace kelm {
namespace {

// The text of the std::runtime_error that `f` throws.
template <class F>
std::string ErrorOf(F&& f) {
  try {
    f();
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "(nothing thrown)";
}

Variant Obj(std::vector<ObjectMember> members) { return Variant(members); }

TEST(VariantTest, KindsOfConstructedValues) {
  EXPECT_EQ(Variant().Type(), Variant::Null);
  EXPECT_TRUE(Variant::null.IsNull());
  EXPECT_EQ(Variant("x").Type(), Variant::String);
  EXPECT_EQ(Variant(std::string("x")).Type(), Variant::String);
  EXPECT_EQ(Variant(true).Type(), Variant::Bool);
  EXPECT_EQ(Variant(1).Type(), Variant::Int);
  EXPECT_EQ(Variant(1LL).Type(), Variant::Int);
  EXPECT_EQ(Variant(1.5).Type(), Variant::Real);
  EXPECT_EQ(Variant(VariantFile("abc")).Type(), Variant::File);
  EXPECT_EQ(Variant(std::vector<Variant>{}).Type(), Variant::Array);
  EXPECT_EQ(Obj({}).Type(), Variant::Object);
  EXPECT_FALSE(Variant(1LL).IsUint64());
  EXPECT_TRUE(Variant(1ULL).IsUint64());

  Variant target(1ULL);
  target = Variant("text");
  EXPECT_EQ(target.Type(), Variant::String);
  EXPECT_FALSE(target.IsUint64());
}

TEST(VariantTest, SixtyFourBitLimits) {
  const unsigned long long maxU = std::numeric_limits<unsigned long long>::max();
  const long long minS = std::numeric_limits<long long>::min();
  const long long maxS = std::numeric_limits<long long>::max();

  EXPECT_EQ(Variant(-1).AsString(), "-1");
  EXPECT_EQ(Variant(-1).ToInt(), -1);  // sign-extended
  EXPECT_EQ(Variant(maxU).AsString(), "18446744073709551615");
  EXPECT_EQ(Variant(maxU).ToInt(), -1);
  EXPECT_EQ(Variant(maxU).ToUint64(), maxU);
  EXPECT_EQ(Variant(maxU).AsInt(), -1);
  EXPECT_EQ(Variant(-1LL).ToUint64(), maxU);
  EXPECT_EQ(Variant(minS).AsString(), "-9223372036854775808");
  EXPECT_EQ(Variant(maxS).AsString(), "9223372036854775807");

  EXPECT_EQ(Variant(maxU).ToReal(), 18446744073709551615.0);
  EXPECT_EQ(Variant(-1LL).ToReal(), -1.0);

  EXPECT_EQ(Variant("9223372036854775807").AsInt(), maxS);
  EXPECT_EQ(Variant("-9223372036854775808").AsInt(), minS);
  EXPECT_EQ(ErrorOf([] { Variant("9223372036854775808").AsInt(); }),
            "string value 9223372036854775808 can't convert to long long");
  EXPECT_EQ(ErrorOf([] { Variant("-9223372036854775809").AsInt(); }),
            "string value -9223372036854775809 can't convert to long long");

  EXPECT_EQ(Variant(-2.9).AsInt(), -2);
  EXPECT_EQ(Variant(2.9).AsInt(), 2);
  EXPECT_EQ(Variant(1e19).AsInt(), minS);
  EXPECT_EQ(Variant(-1e19).AsInt(), minS);
  EXPECT_EQ(Variant(std::nan("")).AsInt(), minS);
  EXPECT_EQ(Variant(-9223372036854775808.0).AsInt(), minS);
}

TEST(VariantTest, StrictAccessNamesBothKinds) {
  EXPECT_EQ(ErrorOf([] { Variant().ToInt(); }), "value Type is 6 not 4");
  EXPECT_EQ(ErrorOf([] { Variant(true).ToReal(); }), "value Type is 3 not 5");
  EXPECT_EQ(ErrorOf([] { Variant("1").ToInt(); }), "value Type is 2 not 4");
  EXPECT_EQ(ErrorOf([] { Variant(1).ToString(); }), "value Type is 4 not 2");
  EXPECT_EQ(ErrorOf([] { Variant(1).ToBool(); }), "value Type is 4 not 3");
  EXPECT_EQ(ErrorOf([] { Variant(1.5).ToObject(); }), "value Type is 5 not 0");
  EXPECT_EQ(ErrorOf([] { Variant(1.5).ToArray(); }), "value Type is 5 not 1");
  EXPECT_EQ(ErrorOf([] { Variant(1.5).ToFile(); }), "value Type is 5 not 7");
  EXPECT_EQ(ErrorOf([] { Obj({}).ToInt(); }), "value Type is 0 not 4");

  EXPECT_EQ(Variant(2.5).ToReal(), 2.5);
  EXPECT_EQ(Variant(7).ToReal(), 7.0);
  EXPECT_TRUE(Variant(true).ToBool());

  // A failed access leaves the value as it was.
  Variant text("keep");
  EXPECT_THROW(text.ToArray(), std::runtime_error);
  EXPECT_EQ(text.ToString(), "keep");
}

TEST(VariantTest, AsStringByKind) {
  EXPECT_EQ(Variant().AsString(), "null");
  EXPECT_EQ(Obj({}).AsString(), "object");
  EXPECT_EQ(Variant(std::vector<Variant>{1}).AsString(), "array");
  EXPECT_EQ(Variant(VariantFile("x")).AsString(), "file");
  EXPECT_EQ(Variant(true).AsString(), "true");
  EXPECT_EQ(Variant(false).AsString(), "false");
  EXPECT_EQ(Variant("Привет").AsString(), "Привет");
  EXPECT_EQ(Variant(0.1).AsString(), "0.1");
  EXPECT_EQ(Variant(1234567.0).AsString(), "1.23457e+06");
  EXPECT_EQ(Variant(-2.0).AsString(), "-2");
}

TEST(VariantTest, AsIntReadsTexts) {
  EXPECT_EQ(Variant("TRUE").AsInt(), 1);
  EXPECT_EQ(Variant("fAlSe").AsInt(), 0);
  EXPECT_EQ(Variant(" 42").AsInt(), 42);
  EXPECT_EQ(Variant("\t-42").AsInt(), -42);
  EXPECT_EQ(Variant("+7").AsInt(), 7);
  EXPECT_EQ(Variant("42x").AsInt(), 42);
  EXPECT_EQ(Variant("12abc").AsInt(), 12);
  EXPECT_EQ(Variant("").AsInt(), 0);
  EXPECT_EQ(Variant("0").AsInt(), 0);
  EXPECT_EQ(ErrorOf([] { Variant("x42").AsInt(); }), "string value x42 can't convert to long long");
  EXPECT_EQ(ErrorOf([] { Variant("true ").AsInt(); }), "string value true  can't convert to long long");
  // A zero read with text left over counts as nothing read.
  EXPECT_EQ(ErrorOf([] { Variant("0x10").AsInt(); }), "string value 0x10 can't convert to long long");

  EXPECT_EQ(Variant(true).AsInt(), 1);
  EXPECT_EQ(Variant(false).AsInt(), 0);

  EXPECT_EQ(ErrorOf([] { Variant().AsInt(); }), "value Type of 6 can't convert to long");
  EXPECT_EQ(ErrorOf([] { Obj({}).AsInt(); }), "value Type of 0 can't convert to long");
  EXPECT_EQ(ErrorOf([] { Variant(std::vector<Variant>{}).AsInt(); }), "value Type of 1 can't convert to long");
  EXPECT_EQ(ErrorOf([] { Variant(VariantFile()).AsInt(); }), "value Type of 7 can't convert to long");
}

TEST(VariantTest, Equality) {
  EXPECT_EQ(Variant(5), Variant(5ULL));  // the unsigned flag takes no part
  EXPECT_NE(Variant(5), Variant(5.0));   // kinds differ
  EXPECT_NE(Variant("5"), Variant(5));
  EXPECT_EQ(Variant(), Variant::null);
  EXPECT_NE(Variant(1), Variant(2));

  const Variant nan(std::nan(""));
  EXPECT_TRUE(nan == nan);
  EXPECT_FALSE(nan == Variant(std::nan("")));

  const Variant a(std::vector<Variant>{1, "two", Obj({{"x", 3}})});
  Variant b = a;  // deep copy
  EXPECT_EQ(a, b);
  b.ToArray()[2].ToObject()[0].value = 4;
  EXPECT_NE(a, b);
  EXPECT_EQ(a.ToArray()[2].ToObject()[0].value.ToInt(), 3);

  EXPECT_EQ(Variant(VariantFile("abc")), Variant(VariantFile("abc")));
  EXPECT_NE(Variant(VariantFile("abc")), Variant(VariantFile("abd")));

  EXPECT_EQ(ObjectMember("a", 1), ObjectMember("a", 1ULL));
  EXPECT_FALSE(ObjectMember("a", 1) == ObjectMember("b", 1));
  EXPECT_FALSE(ObjectMember("a", 1) == ObjectMember("a", "1"));
  EXPECT_NE(Obj({{"a", 1}, {"b", 2}}), Obj({{"b", 2}, {"a", 1}}));  // member order counts
}

TEST(VariantTest, FileContentIsCopiedAndAppended) {
  VariantFile file("abc");
  file.Stream() << "def";
  EXPECT_EQ(file.Content(), "abcdef");

  VariantFile copy(file);
  copy.Stream() << "!";
  EXPECT_EQ(copy.Content(), "abcdef!");
  EXPECT_EQ(file.Content(), "abcdef");

  VariantFile assigned;
  assigned = file;
  assigned.Stream() << "?";
  EXPECT_EQ(assigned.Content(), "abcdef?");

  std::string read;
  file.Stream() >> read;
  EXPECT_EQ(read, "abcdef");
}

TEST(VariantTest, MemberLookUps) {
  std::vector<ObjectMember> members = {{"a", 1}, {"b", "two"}, {"a", 3}};
  EXPECT_EQ(FindValue(members, "a").ToInt(), 1);
  EXPECT_EQ(&FindValue(members, "zz"), &Variant::null);
  EXPECT_EQ(&FindValue(members, "A"), &Variant::null);  // names are case-sensitive

  GetValue(members, "b") = 2.5;
  EXPECT_EQ(members[1].value.ToReal(), 2.5);
  EXPECT_EQ(ErrorOf([&] { GetValue(members, "c"); }), "Value \"c\" is not found in VariantObject");
}

TEST(VariantTest, FindObjectValueSearchOrder) {
  // root: {first: {inner: {deep: 1, target: null}}, target2: 5,
  //        second: {target: "in second"}, target: "at root"}
  const std::vector<ObjectMember> root = {
      {"first", Obj({{"inner", Obj({{"deep", 1}, {"target", Variant()}})}})},
      {"target2", 5},
      {"second", Obj({{"target", "in second"}})},
      {"target", "at root"},
  };
  // Found two objects deep.
  EXPECT_EQ(FindObjectValue(root, "deep").ToInt(), 1);
  // The null match inside "first" is passed over; the whole subtree of
  // "second" comes before the later root member of the same name.
  EXPECT_EQ(FindObjectValue(root, "target").ToString(), "in second");
  EXPECT_TRUE(FindObjectValue(root, "missing").IsNull());

  // A member's own name before its subtree.
  const std::vector<ObjectMember> self = {{"x", Obj({{"x", 2}})}};
  EXPECT_EQ(FindObjectValue(self, "x").Type(), Variant::Object);

  // Arrays are not searched.
  const std::vector<ObjectMember> withArray = {{"list", Variant(std::vector<Variant>{Obj({{"k", 1}})})}};
  EXPECT_TRUE(FindObjectValue(withArray, "k").IsNull());
}

TEST(VariantTest, StringToFileDecodesBase64) {
  VariantFile file("<");
  EXPECT_TRUE(StringToFile("SGVsbG8sIHdvcmxkIQ==", file));
  EXPECT_EQ(file.Content(), "<Hello, world!");

  VariantFile noisy;
  EXPECT_TRUE(StringToFile("SGV\r\nsb G8*", noisy));  // foreign characters skipped
  EXPECT_EQ(noisy.Content(), "Hello");

  VariantFile binary;
  EXPECT_TRUE(StringToFile("AP+A/w==", binary));
  EXPECT_EQ(binary.Content(), std::string("\x00\xff\x80\xff", 4));

  VariantFile stopped;
  EXPECT_TRUE(StringToFile(std::string("QUJD\0REVG", 9), stopped));  // a zero byte ends the input
  EXPECT_EQ(stopped.Content(), "ABC");

  VariantFile empty("keep");
  EXPECT_TRUE(StringToFile("", empty));
  EXPECT_TRUE(StringToFile("====", empty));
  EXPECT_EQ(empty.Content(), "keep");

  VariantFile broken("keep");
  EXPECT_FALSE(StringToFile("QUJDR", broken));  // five digits: the last has no byte
  EXPECT_EQ(broken.Content(), "keep");

  // Appends even after the content was read to its end.
  VariantFile read("ab");
  std::string all;
  read.Stream() >> all;
  EXPECT_TRUE(StringToFile("Yw==", read));
  EXPECT_EQ(read.Content(), "abc");
}

}  // namespace
}  // namespace kelm
