#include "kelm/streams/block_manager.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <vector>

#include "kelm/frame/exceptions.h"
#include "kelm/streams/fstream.h"
#include "kelm/streams/testing/reports.h"

namespace {

using kelm::testing::FatalEnd;
using kelm::testing::ReportCapture;

// A page owner that gives pages up on request (unless told to refuse) and
// remembers the order of the requests.
class Owner : public FStream {
 public:
  Owner(BlockManager& manager, unsigned page_size) : manager_(manager) { buf_size_ = page_size; }

  int Page(unsigned long offset) {
    const int index = manager_.Ins(this, offset, 20);
    manager_.Allocate(manager_.GetBloc(index));
    manager_.GetBloc(index).UnLock();
    pages[offset] = index;
    return index;
  }
  void RemoveAll() {
    for (auto [offset, index] : std::map<unsigned long, int>(pages)) manager_.Remove(index);
  }

  bool Notification(BlocStruct& page) override {
    asked.push_back(page.Offset());
    if (refuse) return false;
    const int index = pages.at(page.Offset());
    pages.erase(page.Offset());
    manager_.Remove(index);
    return true;
  }

  std::map<unsigned long, int> pages;
  std::vector<unsigned long> asked;
  bool refuse = false;

 private:
  BlockManager& manager_;
};

// The code `action` raised, or 0.
template <class Action>
int CodeOf(Action action) {
  try {
    action();
  } catch (const GorseCodeException& e) {
    return e.Code();
  }
  return 0;
}

// The list from the head along the links, checking the back links.
std::vector<int> Walk(BlockManager& m) {
  std::vector<int> order;
  int prev = -1;
  for (int i = m.Head(); i != -1; i = m.GetBloc(i).Next()) {
    EXPECT_EQ(m.GetBloc(i).Prev(), prev);
    order.push_back(i);
    prev = i;
    if (order.size() > static_cast<std::size_t>(m.Count())) break;
  }
  EXPECT_EQ(prev, m.Tail());
  EXPECT_EQ(order.size(), static_cast<std::size_t>(m.Count()));
  return order;
}

TEST(BlocStructTest, TransOffsetAndXLocks) {
  BlocStruct b;
  b.SetTransOffset(0x12345600);
  EXPECT_EQ(b.TransOffset(), 0xFFFFFFFFul);  // no swap-file offset without the flag
  b.SetFlush();
  EXPECT_EQ(b.TransOffset(), 0x12345600ul);

  b.LockX(7, true);
  EXPECT_TRUE(b.IsTmpLockX() && !b.IsLockX());
  b.LockX(8, false);
  EXPECT_TRUE(b.IsLockX() && !b.IsTmpLockX());
  try {
    b.LockX(0, false);
    FAIL() << "a lock without a transaction";
  } catch (const Exception& e) {
    EXPECT_STREQ(static_cast<const char*>(e.Description()), "Ошибка наложения X - блокировки!");
  }
}

TEST(BlockManagerTest, ListOrderByDepth) {
  BlockManager m;
  Owner s(m, 512);
  EXPECT_EQ(m.Ins(&s, 0, 20), 0);
  EXPECT_TRUE(m.GetBloc(0).LockCount() == 1u && m.GetBloc(0).Stream() == &s);

  EXPECT_EQ(m.Ins(&s, 512, 0), 1);   // first
  EXPECT_EQ(m.Ins(&s, 1024, 1), 2);  // one past the head
  EXPECT_EQ(Walk(m), (std::vector<int>{1, 2, 0}));
  // Deeper than the list: before the last record, as no record is free.
  EXPECT_EQ(m.Ins(&s, 1536, 99), 3);
  EXPECT_EQ(Walk(m), (std::vector<int>{1, 2, 3, 0}));

  // Freed records go to the tail; pages never land behind the first free one.
  for (int i : {1, 2, 3, 0}) m.GetBloc(i).UnLock();
  m.Remove(2);
  m.Remove(1);
  EXPECT_EQ(m.FreeCount(), 2);
  EXPECT_EQ(Walk(m), (std::vector<int>{3, 0, 2, 1}));
  EXPECT_EQ(m.Ins(&s, 4096, 99), 1);  // the tail record is reused
  EXPECT_EQ(Walk(m), (std::vector<int>{3, 0, 1, 2}));
  EXPECT_EQ(m.FreeCount(), 1);

  // PushBuf moves a record `depth` past its old neighbour, never behind
  // the first free record.
  m.PushBuf(m.GetBloc(3), 3, 1);
  EXPECT_EQ(Walk(m), (std::vector<int>{0, 3, 1, 2}));
  m.PushBuf(m.GetBloc(0), 0, 5);
  EXPECT_EQ(Walk(m), (std::vector<int>{3, 1, 0, 2}));
  m.GetBloc(1).UnLock();
  m.Remove(0);
  m.Remove(3);
  m.Remove(1);
  EXPECT_EQ(m.FreeCount(), 4);
}

TEST(BlockManagerTest, RemoveRules) {
  ReportCapture reports;
  BlockManager m;
  Owner s(m, 256);
  const int only = m.Ins(&s, 0, 0);
  m.Allocate(m.GetBloc(only));
  const std::size_t held = m.Allocator().AllocatedSize();
  EXPECT_EQ(held, 256u);

  EXPECT_EQ(CodeOf([&] { m.Remove(only); }), 289);  // locked
  EXPECT_TRUE(m.GetBloc(only).Stream() == &s && m.GetBloc(only).Data() != nullptr);
  m.GetBloc(only).UnLock();
  m.GetBloc(only).SetCurrent();
  EXPECT_NE(CodeOf([&] { m.Remove(only); }), 0);
  m.GetBloc(only).UnsetCurrent();

  // The only record: memory freed (cached), list as it was.
  m.Remove(only);
  EXPECT_TRUE(m.GetBloc(only).Stream() == nullptr && m.GetBloc(only).Data() == nullptr);
  EXPECT_TRUE(m.Head() == only && m.Tail() == only && m.FreeCount() == 1);

  // A swapped-out page has no memory to give back.
  const int swapped = m.Ins(&s, 0, 0);
  EXPECT_EQ(swapped, only);
  m.GetBloc(swapped).UnLock();
  m.GetBloc(swapped).SetFlush();
  m.GetBloc(swapped).SetTransOffset(4096);
  m.Remove(swapped);
  EXPECT_EQ(m.Allocator().AllocatedSize(), held);
}

TEST(BlockManagerTest, ReclaimsFromTheHeadWhenTheBudgetIsSpent) {
  BlockManager m;
  m.SetMemoryBound(1);
  EXPECT_EQ(m.MemoryBound(), 1u << 20);
  EXPECT_EQ(m.PageLimit(), 336u);
  EXPECT_EQ(static_cast<QuickBlockAllocator&>(m.Allocator()).Limit(), 1363148u);

  Owner s(m, 64 << 10);
  for (unsigned long i = 0; i < 16; ++i) s.Page(i << 16);  // 1 MiB: the bound
  EXPECT_TRUE(s.asked.empty());
  const int head = m.Head();
  m.GetBloc(head).SetCurrent();  // the current page is never asked for
  const int second = m.GetBloc(head).Next();
  m.GetBloc(second).Lock();  // nor a locked one
  const unsigned long third = m.GetBloc(m.GetBloc(second).Next()).Offset();

  s.Page(16 << 16);
  ASSERT_EQ(s.asked.size(), 1u);
  EXPECT_EQ(s.asked[0], third);
  EXPECT_EQ(m.Count(), 16);  // the freed record was reused
  EXPECT_LE(m.Allocator().AllocatedSize(), 1u << 20);

  // Nothing to give: the table grows anyway.
  s.refuse = true;
  s.asked.clear();
  s.Page(17 << 16);
  EXPECT_EQ(s.asked.size(), 14u);
  EXPECT_EQ(m.Count(), 17);
  s.refuse = false;

  m.GetBloc(head).UnsetCurrent();
  m.GetBloc(second).UnLock();
  s.RemoveAll();
  EXPECT_EQ(m.FreeCount(), 17);
}

TEST(BlockManagerTest, PageLimitAlsoReclaims) {
  BlockManager m;
  Owner s(m, 16);
  for (unsigned long i = 0; i < BlockManager::kDefaultPageLimit; ++i) s.Page(i * 16);
  EXPECT_TRUE(s.asked.empty());
  s.Page(1 << 20);
  EXPECT_EQ(s.asked.size(), 1u);
  EXPECT_EQ(m.Count(), static_cast<int>(BlockManager::kDefaultPageLimit));
  s.RemoveAll();
}

// The consistency checks end the program with their texts.
TEST(BlockManagerTest, BrokenListIsFatal) {
  ReportCapture reports;
  BlockManager m;
  Owner s(m, 16);
  try {
    m.GetBloc(1);
    FAIL();
  } catch (const FatalEnd& end) {
    EXPECT_EQ(end.status, 1u);
  }
  EXPECT_TRUE(reports.Saw("Менеджер страниц обнаружил попытку получить\nстраницу по неверному номеру!"));

  m.Ins(&s, 0, 0);
  m.Ins(&s, 16, 0);  // list 1, 0
  // Break the list: record 1 (the head) loses its next link, so it claims
  // to be the tail.
  const int next = -1;
  const std::size_t next_at = sizeof(std::uintptr_t) + 4 + sizeof(void*) + 4;
  std::memcpy(reinterpret_cast<char*>(&m.GetBloc(1)) + next_at, &next, sizeof next);
  ASSERT_EQ(m.GetBloc(1).Next(), -1);
  m.GetBloc(1).UnLock();
  EXPECT_THROW(m.Remove(1), FatalEnd);
  EXPECT_TRUE(reports.Saw("Обнаружен неверный номер хвостовой неиспользуемой страницы в менеджере страниц!"));
}

TEST(BlockManagerTest, FatalWithoutTerminatorPolicyStillStops) {
  ReportCapture reports;
  delete KelmErrors::FatalTerminator::Instance().Release();
  BlockManager m;
  EXPECT_EQ(CodeOf([&] { m.GetBloc(3); }), 4614);
}

TEST(QuickBlockAllocatorTest, CachesBySizeAndDropsOnce) {
  QuickBlockAllocator a(1000);
  void* p = a.Allocate(300);
  void* q = a.Allocate(300);
  a.Deallocate(q, 300);
  EXPECT_EQ(a.AllocatedSize(), 600u);  // cached
  EXPECT_EQ(a.Allocate(300), q);       // reused, held unchanged
  EXPECT_EQ(a.AllocatedSize(), 600u);
  a.Deallocate(q, 300);
  a.Deallocate(nullptr, 300);

  // 600 + 500 passes the limit: the cache (300) is dropped first.
  void* r = a.Allocate(500);
  EXPECT_EQ(a.AllocatedSize(), 800u);
  void* t = a.Allocate(300);
  EXPECT_EQ(a.AllocatedSize(), 1100u);  // dropped already: no second drop
  // Over the limit a freed block is freed, not cached.
  a.Deallocate(t, 300);
  EXPECT_EQ(a.AllocatedSize(), 800u);
  a.Deallocate(r, 500);  // under the limit: cached again
  EXPECT_EQ(a.AllocatedSize(), 800u);
  a.SetLimit(500);  // the cache goes at once
  EXPECT_EQ(a.AllocatedSize(), 300u);
  a.Deallocate(p, 300);
}

}  // namespace
