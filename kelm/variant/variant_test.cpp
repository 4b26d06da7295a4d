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

TEST(VariantTest, KindsAndSixtyFourBitLimits) {
  EXPECT_FALSE(Variant(1LL).IsUint64());
  Variant target(1ULL);
  EXPECT_TRUE(target.IsUint64());
  target = Variant("text");
  EXPECT_FALSE(target.IsUint64());
  EXPECT_EQ(target.Type(), Variant::String);

  const unsigned long long maxU = std::numeric_limits<unsigned long long>::max();
  const long long minS = std::numeric_limits<long long>::min();
  const long long maxS = std::numeric_limits<long long>::max();

  EXPECT_EQ(Variant(-1).ToInt(), -1);  // sign-extended
  EXPECT_EQ(Variant(maxU).AsString() + " " + Variant(minS).AsString(), "18446744073709551615 -9223372036854775808");
  EXPECT_EQ(Variant(maxU).ToInt(), -1);
  EXPECT_EQ(Variant(-1LL).ToUint64(), maxU);
  EXPECT_EQ(Variant(maxU).ToReal(), 18446744073709551615.0);

  EXPECT_EQ(Variant("9223372036854775807").AsInt(), maxS);
  EXPECT_EQ(Variant("-9223372036854775808").AsInt(), minS);

  EXPECT_EQ(Variant(-2.9).AsInt(), -2);
  EXPECT_EQ(Variant(1e19).AsInt(), minS);
  EXPECT_EQ(Variant(std::nan("")).AsInt(), minS);

  // Strict access names both kinds; a failed access leaves the value alone.
  EXPECT_EQ(ErrorOf([] { Variant().ToInt(); }), "value Type is 6 not 4");
  EXPECT_EQ(ErrorOf([] { Variant(true).ToReal(); }), "value Type is 3 not 5");
  EXPECT_EQ(ErrorOf([] { Variant(1.5).ToFile(); }), "value Type is 5 not 7");
  EXPECT_EQ(ErrorOf([] { Obj({}).ToInt(); }), "value Type is 0 not 4");
  EXPECT_EQ(Variant(7).ToReal(), 7.0);
  EXPECT_THROW(target.ToArray(), std::runtime_error);
  EXPECT_EQ(target.ToString(), "text");
}

TEST(VariantTest, AsStringAndAsInt) {
  std::string texts;
  for (const Variant& v : {Variant(), Obj({}), Variant(std::vector<Variant>{1}), Variant(VariantFile("x")),
                           Variant(false), Variant(0.1), Variant(1234567.0), Variant(-2.0)}) {
    texts += v.AsString() + " ";
  }
  EXPECT_EQ(texts, "null object array file false 0.1 1.23457e+06 -2 ");

  EXPECT_EQ(Variant("TRUE").AsInt() + Variant("fAlSe").AsInt(), 1);
  EXPECT_EQ(Variant("\t-42").AsInt() + Variant("+7x").AsInt() + Variant("").AsInt(), -35);
  // Out of range, not a number, text left over (a zero read with text left
  // over counts as nothing read).
  for (const char* text : {"9223372036854775808", "-9223372036854775809", "x42", "true ", "0x10"}) {
    EXPECT_EQ(ErrorOf([&] { Variant(text).AsInt(); }), "string value " + std::string(text) + " can't convert to long long");
  }

  EXPECT_EQ(Variant(true).AsInt(), 1);
  EXPECT_EQ(ErrorOf([] { Variant().AsInt(); }), "value Type of 6 can't convert to long");
  EXPECT_EQ(ErrorOf([] { Variant(VariantFile()).AsInt(); }), "value Type of 7 can't convert to long");
}

TEST(VariantTest, Equality) {
  EXPECT_EQ(Variant(5), Variant(5ULL));  // the unsigned flag takes no part
  EXPECT_NE(Variant(5), Variant(5.0));   // kinds differ
  EXPECT_EQ(Variant(), Variant::null);

  const Variant nan(std::nan(""));
  EXPECT_TRUE(nan == nan && !(nan == Variant(std::nan(""))));

  const Variant a(std::vector<Variant>{1, "two", Obj({{"x", 3}})});
  Variant b = a;  // deep copy
  EXPECT_EQ(a, b);
  b.ToArray()[2].ToObject()[0].value = 4;
  EXPECT_NE(a, b);

  EXPECT_NE(Variant(VariantFile("abc")), Variant(VariantFile("abd")));
  EXPECT_FALSE(ObjectMember("a", 1) == ObjectMember("b", 1));
  EXPECT_NE(Obj({{"a", 1}, {"b", 2}}), Obj({{"b", 2}, {"a", 1}}));  // member order counts
}

TEST(VariantTest, FileContentIsCopiedAndAppended) {
  VariantFile file("abc");
  file.Stream() << "def";
  EXPECT_EQ(file.Content(), "abcdef");

  VariantFile copy(file);
  copy.Stream() << "!";
  EXPECT_EQ(copy.Content() + file.Content(), "abcdef!abcdef");

  std::string read;
  file.Stream() >> read;
  EXPECT_EQ(read, "abcdef");
}

TEST(VariantTest, MemberLookUps) {
  std::vector<ObjectMember> members = {{"a", 1}, {"b", "two"}, {"a", 3}};
  EXPECT_EQ(FindValue(members, "a").ToInt(), 1);
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

  // A member's own name before its subtree; arrays are not searched.
  const std::vector<ObjectMember> self = {{"x", Obj({{"x", 2}})}, {"list", Variant(std::vector<Variant>{Obj({{"k", 1}})})}};
  EXPECT_EQ(FindObjectValue(self, "x").Type(), Variant::Object);
  EXPECT_TRUE(FindObjectValue(self, "k").IsNull());
}

TEST(VariantTest, StringToFileDecodesBase64) {
  VariantFile file("<");
  EXPECT_TRUE(StringToFile("SGVsbG8sIHdvcmxkIQ==", file));
  EXPECT_EQ(file.Content(), "<Hello, world!");

  VariantFile binary;
  // Foreign characters are skipped; a zero byte ends the input.
  EXPECT_TRUE(StringToFile(std::string("AP\r\n+A/ w==*\0REVG", 17), binary));
  EXPECT_EQ(binary.Content(), std::string("\x00\xff\x80\xff", 4));

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
