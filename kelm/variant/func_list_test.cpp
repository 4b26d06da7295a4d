#include "kelm/variant/func_list.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kelm/variant/object_io.h"
#include "kelm/variant/testing/memory_object_io.h"

namespace kelm {
namespace {

using testing::MemoryReader;
using testing::MemoryWriter;

class Registry : public FuncList {
 public:
  using FuncList::ClearRegistration;
  using FuncList::Find;
};

class NoContext : public IContext {
 public:
  std::string Caller() const override { return "test"; }
};

// Calls a long long (long long, long long) with the parameters "a" and "b".
class BinaryRegistrator : public IFuncRegistrator {
 public:
  using Fn = long long (*)(long long, long long);
  BinaryRegistrator(Fn fn, int* deletions = nullptr)
      : IFuncRegistrator(reinterpret_cast<void*>(fn)), deletions_(deletions) {}
  ~BinaryRegistrator() override {
    if (deletions_) ++*deletions_;
  }

  void Call(IObjectReader& params, IObjectWriter& result, IContext&) const override {
    std::vector<ObjectMember> members;
    ReadValue(params, members);
    const Fn fn = reinterpret_cast<Fn>(Function());
    result.WriteInt(fn(FindValue(members, "a").AsInt(), FindValue(members, "b").AsInt()));
  }

 private:
  int* deletions_;
};

long long Sum(long long a, long long b) { return a + b; }
long long Diff(long long a, long long b) { return a - b; }

Variant Params(std::vector<ObjectMember> members) { return Variant(members); }

long long CallThrough(const FuncList& list, const char* name, const Variant& params) {
  MemoryReader reader(params);
  MemoryWriter writer;
  NoContext context;
  list.Find(name, reader)->Call(reader, writer, context);
  return writer.Result().ToInt();
}

TEST(FuncListTest, DispatchByNameAndParameterCount) {
  Registry list;
  ASSERT_TRUE(list.Insert("Sum", " 2", new BinaryRegistrator(&Sum), false));
  ASSERT_TRUE(list.Insert("Sum", " 3", new BinaryRegistrator(&Diff), false));
  ASSERT_TRUE(list.Insert("Ping", "", new BinaryRegistrator(&Diff), false));

  EXPECT_EQ(CallThrough(list, "Sum", Params({{"a", 5}, {"b", 3}})), 8);
  EXPECT_EQ(CallThrough(list, "Sum", Params({{"a", 5}, {"b", 3}, {"c", 0}})), 2);

  MemoryReader none(Params({}));
  EXPECT_THROW(list.Find("Sum", none), FuncList::InvalidParamsException);  // " 0"
  EXPECT_THROW(list.Find("sum", none), FuncList::MethodNotFoundException);  // exact names

  // Parameters that are not an object have the empty signature.
  const Variant null;
  const Variant array(std::vector<Variant>{1, 2});
  MemoryReader nullParams(null), arrayParams(array);
  EXPECT_NE(list.Find("Ping", nullParams), nullptr);
  EXPECT_EQ(list.Find("Ping", arrayParams), list.Find("Ping", ""));
  EXPECT_THROW(list.Find("Sum", arrayParams), FuncList::InvalidParamsException);
}

TEST(FuncListTest, InsertRefusesBadArgumentsAndKeepsTheFirst) {
  int deletions = 0;
  Registry list;
  BinaryRegistrator kept(&Sum);  // refused: stays the caller's
  EXPECT_FALSE(list.Insert("", "", &kept, false));
  EXPECT_FALSE(list.Insert("F", nullptr, &kept, false));
  EXPECT_THROW(list.Find("F", ""), FuncList::MethodNotFoundException);

  // A second registrator under a taken key is neither stored nor deleted:
  // the caller still holds it and may use it.
  auto* first = new BinaryRegistrator(&Sum, &deletions);
  EXPECT_TRUE(list.Insert("F", " 1", first, false));
  BinaryRegistrator second(&Diff, &deletions);
  EXPECT_TRUE(list.Insert("F", " 1", &second, false));
  EXPECT_EQ(list.Find("F", " 1"), first);
  EXPECT_TRUE(list.Insert("F", " 1", first, false));
  EXPECT_EQ(deletions, 0);
  EXPECT_EQ(second.Function(), reinterpret_cast<void*>(&Diff));
  list.ClearRegistration();
  EXPECT_EQ(deletions, 1);
}

TEST(FuncListTest, AliasesShareTheRegistratorAndAreNotOwned) {
  int deletions = 0;
  {
    Registry list;
    auto* sum = new BinaryRegistrator(&Sum, &deletions);
    ASSERT_TRUE(list.Insert("Sum", " 2", sum, false));
    ASSERT_TRUE(list.AddAlterName("Sum", " 2", "Add"));
    EXPECT_EQ(list.Find("Add", " 2"), sum);
    EXPECT_EQ(CallThrough(list, "Add", Params({{"a", 20}, {"b", 22}})), 42);
    EXPECT_THROW(list.AddAlterName("Sum", " 3", "Plus"), FuncList::InvalidParamsException);
    EXPECT_THROW(list.Find("Plus", " 3"), FuncList::MethodNotFoundException);

    list.ClearRegistration();
    EXPECT_EQ(deletions, 1);
    EXPECT_THROW(list.Find("Add", " 2"), FuncList::MethodNotFoundException);

    ASSERT_TRUE(list.Insert("Diff", " 2", new BinaryRegistrator(&Diff, &deletions), false));
  }
  EXPECT_EQ(deletions, 2);  // the destructor clears what is left
}

TEST(FuncListTest, ParallelLookUps) {
  Registry list;
  ASSERT_TRUE(list.Insert("Sum", " 2", new BinaryRegistrator(&Sum), false));
  const Variant params = Params({{"a", 1}, {"b", 2}});
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        if (CallThrough(list, "Sum", params) != 3) ++wrong;
      }
    });
  }
  for (int i = 0; i < 50; ++i) {
    std::string signature = " ";
    signature += std::to_string(i);
    list.Insert("Other", signature.c_str(), new BinaryRegistrator(&Diff), false);
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace kelm
