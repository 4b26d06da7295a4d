#include "kelm/containers/intrusive_list.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kelm/frame/exceptions.h"

namespace {

struct Item : Node {
  explicit Item(char n, std::vector<char>* gone = nullptr) : name(n), gone_(gone) {}
  ~Item() override {
    if (gone_ != nullptr) gone_->push_back(name);
  }
  char name;
  std::vector<char>* gone_;
};

// The names from the list's first node to its last.
std::string Names(List& list) {
  std::string names;
  list.ForEach(
      [](Node& n, void* arg) {
        *static_cast<std::string*>(arg) += static_cast<Item&>(n).name;
        return 0;
      },
      &names);
  return names;
}

TEST(NodeTest, JoinSplitAndWalk) {
  Item a('a'), b('b'), c('c'), d('d');
  EXPECT_EQ(&a.RemoveNext(), &a);  // alone
  EXPECT_EQ(&a[5], &a);
  a += b;  // a b
  a += c;  // a c b
  EXPECT_EQ(a.Count(), 3u);
  EXPECT_EQ(a.Next(), &c);
  EXPECT_EQ(a.Prev(), &b);
  EXPECT_EQ(&a[3], &a);
  EXPECT_EQ(a.GetNum(b), 2u);
  EXPECT_EQ(a.FindPrev(b), &c);
  EXPECT_EQ(a.FindPrev(d), nullptr);
  // Two nodes of one ring split it: a b | c.
  a += c;
  EXPECT_EQ(a.Count(), 2u);
  EXPECT_EQ(c.Count(), 1u);
  // Two rings join: a c b d ... after joining with d's ring.
  c += d;  // c d
  a += c;  // a d c b
  EXPECT_EQ(a.Count(), 4u);
  EXPECT_EQ(a.Next(), &d);
  // Remove returns the predecessor and leaves the ring whole.
  EXPECT_EQ(&c.Remove(), &d);
  EXPECT_EQ(c.Next(), &c);
  EXPECT_EQ(&a.RemoveNext(), &d);
  {
    Item e('e');
    a += e;  // a e b
  }
  EXPECT_EQ(a.Count(), 2u);  // a destroyed node leaves the ring whole
  EXPECT_EQ(a.Next(), &b);
}

TEST(ListTest, InsertionOrders) {
  Item a('a'), b('b'), c('c');
  List front;
  EXPECT_EQ(front.ForEach([](Node&, void*) { return 1; }, nullptr), nullptr);
  for (Item* item : {&a, &b, &c}) front += *item;
  EXPECT_EQ(Names(front), "cba");
  EXPECT_EQ(front.GetNum(a), 2u);

  Item x('x'), y('y'), z('z');
  List back;
  for (Item* item : {&x, &y, &z}) back.InsLast(*item);
  EXPECT_EQ(Names(back), "xyz");
  EXPECT_EQ(back.First(), &x);

  Item stranger('s');
  EXPECT_FALSE(back.Remove(&stranger));
  EXPECT_TRUE(back.Remove(&z));  // the last: its predecessor takes over
  EXPECT_EQ(back.Last(), &y);
  EXPECT_TRUE(back.Remove(&x));
  EXPECT_TRUE(back.Remove(&y));  // the only node
  EXPECT_TRUE(back.IsEmpty());
}

TEST(ListTest, ForEachStopsAndMayDestroy) {
  std::vector<char> gone;
  List list;
  for (char n : std::string("abcd")) list.InsLast(*new Item(n, &gone));
  int calls = 0;
  Node* found = list.ForEach(
      [](Node&, void* arg) { return ++*static_cast<int*>(arg) == 2 ? 1 : 0; }, &calls);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(static_cast<Item*>(found)->name, 'b');
  // The visitor may destroy the node it is given (here the second, "b").
  list.Remove(found);
  delete found;
  EXPECT_EQ(Names(list), "acd");
  list.RemoveAll();
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_EQ(std::string(gone.begin(), gone.end()), "bacd");  // the last node goes last
}

struct Counted : NodeRefer {
  explicit Counted(int* alive) : alive_(alive) { ++*alive_; }
  ~Counted() override { --*alive_; }
  int* alive_;
};

// The member named by message 4614 that `f` raises.
template <class F>
bool Raises4614Naming(F&& f, const char* member) {
  try {
    f();
  } catch (const GorseCodeException& e) {
    return e.Code() == 4614 && std::string(static_cast<const char*>(e.Description())).find(member) != std::string::npos;
  }
  return false;
}

TEST(NodeReferTest, CountsAndABrokenProtocolRaises4614) {
  int alive = 0;
  auto* n = new Counted(&alive);
  n->IncRef();
  EXPECT_FALSE(n->Dispose());
  EXPECT_TRUE(n->Dispose());
  EXPECT_EQ(alive, 0);
  auto* shared = new Counted(&alive);
  shared->IncRef();
  EXPECT_TRUE(Raises4614Naming([&] { delete shared; }, "NodeRefer::~NodeRefer"));  // still held

  auto* held = new Counted(&alive);
  held->IncRef();
  EXPECT_TRUE(Raises4614Naming([&] { held->Delete(); }, "NodeRefer::Delete"));
  EXPECT_EQ(held->RefCount(), 1);
  held->Delete();
  EXPECT_EQ(alive, 0);
}

TEST(NodeReferTest, RemoveAllSparesSharedNodes) {
  int alive = 0;
  auto* a = new Counted(&alive);
  auto* b = new Counted(&alive);
  auto* c = new Counted(&alive);
  *a += *c;
  *a += *b;  // a b c
  b->IncRef();
  c->RemoveAll();
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(b->Next(), b);
  EXPECT_TRUE(b->Dispose());
}

struct Shared : ObjRefer {};

TEST(ObjReferTest, CountsAndRaises) {
  auto* o = new Shared;
  o->IncRef();
  EXPECT_FALSE(o->Dispose());
  EXPECT_TRUE(o->Dispose());

  Shared copy_source;
  copy_source.IncRef();
  auto* copy = new Shared(copy_source);  // the count is copied
  EXPECT_EQ(copy->RefCount(), 2);
  EXPECT_TRUE(Raises4614Naming([&] { delete copy; }, "ObjRefer::~ObjRefer"));
  copy_source = Shared();
  EXPECT_EQ(copy_source.RefCount(), 1);
}

}  // namespace
