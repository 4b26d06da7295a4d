#include "kelm/frame/global_vars.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "kelm/frame/dlls.h"
#include "kelm/frame/kelm_lib_instance.h"
#include "kelm/frame/testing/second_module.h"
#include "kelm/frame/thread.h"
#include "kelm/port/module.h"
#include "kelm/port/sync.h"
#include "kelm/port/thread_local_storage.h"

namespace {

using Registry = GVars::GlobalVarAllocatorsRegistry;

std::atomic<int> live_tracked{0};

struct Tracked {
  Tracked() { ++live_tracked; }
  virtual ~Tracked() { --live_tracked; }
  int value = 0;
};

GVars::GlobalVarRegistrator<Tracked> tracked;
// Enough variables for the index tests below, whatever the library registers.
GVars::GlobalVarRegistrator<int> filler[6];

HINSTANCE Library() { return kelm::port::LibraryModule(); }

GVars::ThreadGlobalVars* ThisThreadVars(bool create = false) {
  return GVars::GetThreadGlobalVarsFromTLS(GlobalVariablesTLS::TlsIndex(), create);
}
void* Fetch(int index) { return ThisThreadVars(true)->GetPVar(index); }
int Count() { return ThisThreadVars() ? ThisThreadVars()->Count() : 0; }

template <class Body>
void InThread(Body body) {
  std::thread(body).join();
}

// A made-up module that no real thread detach destroys for: the tests
// clean up after it themselves.
HINSTANCE FakeModule() {
  static int anchor;
  return reinterpret_cast<HINSTANCE>(&anchor);
}

// An allocator of the made-up module, deleted again at the end of its scope.
template <class Allocator>
struct FakeRegistration {
  const int index = Registry::Instance().RegisterGlobalVarAllocator(new Allocator(FakeModule()));
  ~FakeRegistration() { GlobalVariablesTLS::DestroyAllocator(FakeModule(), index); }
};

unsigned long __stdcall FetchTracked(void*) {
  tracked.Get();
  return 0;
}

// Each thread gets its own instance, created on first fetch and destroyed
// when the thread ends, whether a std::thread or one of the library's.
TEST(ThreadGlobalVars, OneInstancePerThreadDestroyedAtItsEnd) {
  const int before = live_tracked;
  std::vector<std::thread> threads;
  std::atomic<int> own{0};
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      EXPECT_EQ(ThisThreadVars(), nullptr);
      Tracked* mine = tracked.Get();
      mine->value = i;
      filler[0].Get();
      for (int k = 0; k < 1000; ++k) ASSERT_EQ(tracked.Get(), mine);
      if (tracked.Get()->value == i) ++own;
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(own, 8);
  EXPECT_EQ(live_tracked, before);

  Thread thread(&FetchTracked, nullptr, false, true);
  kelm::port::WaitForObject(thread.Handle(), INFINITE);
  EXPECT_EQ(live_tracked, before);
}

TEST(ThreadGlobalVars, IndexRulesAndTheTableGoesWithTheLastVariable) {
  InThread([] {
    EXPECT_TRUE(GlobalVariablesTLS::DestroyThreadGlobalVars(Library()));  // nothing to destroy
    EXPECT_FALSE(GlobalVariablesTLS::DestroyGlobalVar(Library(), tracked.Index()));
    GVars::ThreadGlobalVars* vars = ThisThreadVars(true);
    EXPECT_EQ(vars->GetPVar(-1), nullptr);
    EXPECT_EQ(vars->Size(), 0);
    const int index = filler[5].Index();
    ASSERT_GE(index, 5);
    EXPECT_NE(vars->GetPVar(index), nullptr);
    EXPECT_EQ(vars->Size(), index + 1);

    tracked.Get();
    EXPECT_TRUE(GlobalVariablesTLS::DestroyGlobalVar(Library(), tracked.Index()));
    EXPECT_EQ(Count(), 1);
    EXPECT_FALSE(GlobalVariablesTLS::DestroyGlobalVar(Library(), tracked.Index()));
    EXPECT_FALSE(GlobalVariablesTLS::DestroyGlobalVar(FakeModule(), index));
    EXPECT_TRUE(GlobalVariablesTLS::DestroyGlobalVar(Library(), index));
    EXPECT_EQ(ThisThreadVars(), nullptr);
  });
}

// Fails the first destruction by throwing, then destroys normally.
class ThrowOnceAllocator : public GVars::DefaultGlobalVarAllocator<Tracked> {
 public:
  using DefaultGlobalVarAllocator::DefaultGlobalVarAllocator;
  void DestroyVar(void* var) override {
    if (!thrown_) {
      thrown_ = true;
      throw std::runtime_error("refused");
    }
    DefaultGlobalVarAllocator::DestroyVar(var);
  }

 private:
  bool thrown_ = false;
};

TEST(ThreadGlobalVars, DetachDestroysOnlyTheModulesOwnAndSwallowsThrows) {
  FakeRegistration<ThrowOnceAllocator> fake;
  const int before = live_tracked;
  InThread([&] {
    tracked.Get();
    Fetch(fake.index);
    EXPECT_EQ(live_tracked, before + 2);
    EXPECT_TRUE(GlobalVariablesTLS::DestroyThreadGlobalVars(Library()));
    EXPECT_EQ(live_tracked, before + 1);
    EXPECT_EQ(Count(), 1);
    // The throwing destruction is swallowed and the variable stays.
    EXPECT_FALSE(GlobalVariablesTLS::DestroyThreadGlobalVars(FakeModule()));
    EXPECT_EQ(Count(), 1);
    EXPECT_TRUE(GlobalVariablesTLS::DestroyThreadGlobalVars(FakeModule()));
    EXPECT_EQ(ThisThreadVars(), nullptr);
  });
  EXPECT_EQ(live_tracked, before);
}

TEST(ThreadGlobalVars, SecondModuleVariablesLiveUntilItsOwnDetach) {
  ASSERT_NE(SecondModuleHandle(), nullptr);
  ASSERT_NE(SecondModuleHandle(), Library());
  const int before = live_tracked;
  InThread([&] {
    tracked.Get();
    EXPECT_EQ(SecondModuleTouch(), 1);
    EXPECT_EQ(SecondModuleTouch(), 2);
    // kelm-lib's detach leaves the other module's variable and the table.
    EXPECT_TRUE(GlobalVariablesTLS::DestroyThreadGlobalVars(Library()));
    EXPECT_EQ(live_tracked, before);
    EXPECT_EQ(SecondModuleLiveVars(), 1);
    EXPECT_EQ(Count(), 1);
    tracked.Get();  // and the thread goes on using the library
  });
  EXPECT_EQ(SecondModuleLiveVars(), 0);
  EXPECT_EQ(live_tracked, before);

  std::vector<std::thread> threads;
  for (int i = 0; i < 6; ++i) threads.emplace_back([] {
      tracked.Get();
      SecondModuleTouch();
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(SecondModuleLiveVars(), 0);
  EXPECT_EQ(live_tracked, before);
}

// Destructors that fetch other variables while the thread's variables are
// destroyed. Each registrator's index is above the one before it, so a late
// variable lies past where a downward walk starts.
struct FetchesLate : Tracked {
  ~FetchesLate() override;
};
struct Ping : Tracked {
  ~Ping() override;
};
struct Pong : Tracked {
  ~Pong() override;
};
GVars::GlobalVarRegistrator<FetchesLate> fetches_late;
GVars::GlobalVarRegistrator<Tracked> late;
GVars::GlobalVarRegistrator<Ping> ping;
GVars::GlobalVarRegistrator<Pong> pong;
std::atomic<bool> ping_pong{false};
FetchesLate::~FetchesLate() { late.Get(); }
Ping::~Ping() {
  if (ping_pong) pong.Get();
}
Pong::~Pong() {
  if (ping_pong) ping.Get();
}

TEST(ThreadGlobalVars, VariablesFetchedDuringDetachDieWithTheThread) {
  const int before = live_tracked;
  InThread([&] {
    fetches_late.Get();
    EXPECT_TRUE(GlobalVariablesTLS::DestroyThreadGlobalVars(Library()));
    EXPECT_EQ(live_tracked, before);
    EXPECT_EQ(ThisThreadVars(), nullptr);
    fetches_late.Get();  // and once more through the thread's real end
  });
  EXPECT_EQ(live_tracked, before);

  // Destructors that keep re-creating each other do not hold the detach up.
  InThread([&] {
    ping_pong = true;
    ping.Get();
    EXPECT_FALSE(GlobalVariablesTLS::DestroyThreadGlobalVars(Library()));
    EXPECT_EQ(live_tracked, before + 1);
    ping_pong = false;
  });
  EXPECT_EQ(live_tracked, before);
}

struct TrackedChild : Tracked {
  static inline std::atomic<int> destroyed{0};
  ~TrackedChild() override { ++destroyed; }
};

TEST(GlobalVarRegistrator, UnloadDestroysTheUnloadingThreadsInstanceAndTheAllocator) {
  const int before = live_tracked;
  InThread([&] {
    auto registrator = std::make_unique<GVars::GlobalVarRegistrator<TrackedChild>>();
    const int index = registrator->Index();
    ASSERT_NE(registrator->Get(), nullptr);
    EXPECT_EQ(Registry::Instance().ModuleHandle(index), Library());
    registrator.reset();
    EXPECT_EQ(TrackedChild::destroyed, 1);  // through the virtual destructor
    EXPECT_EQ(live_tracked, before);
    // The index stays dead: nothing is created, nothing cached.
    EXPECT_EQ(Registry::Instance().ModuleHandle(index), nullptr);
    EXPECT_EQ(Fetch(index), nullptr);
    EXPECT_EQ(Fetch(index), nullptr);
    // A table left with no live variable is kept; one that lives again is
    // freed at the thread's end.
    tracked.Get();
  });
}

TEST(GlobalVarAllocatorsRegistry, IndicesAndOwnershipRules) {
  auto& registry = Registry::Instance();
  FakeRegistration<GVars::BoolVarAllocator> first;
  FakeRegistration<GVars::BoolVarAllocator> second;
  const int a = first.index;
  const int b = second.index;
  EXPECT_EQ(b, a + 1);
  EXPECT_EQ(registry.ModuleHandle(a), FakeModule());

  void* var = registry.CreateVar(a);
  EXPECT_FALSE(registry.DestroyVar(FakeModule(), a, nullptr));
  EXPECT_FALSE(registry.DestroyVar(Library(), a, var));
  EXPECT_TRUE(registry.DestroyVar(FakeModule(), a, var));

  EXPECT_FALSE(registry.DestroyAllocator(FakeModule(), -1));
  EXPECT_FALSE(registry.DestroyAllocator(FakeModule(), b + 1000));
  EXPECT_FALSE(registry.DestroyAllocator(Library(), a));
  EXPECT_TRUE(registry.DestroyAllocator(FakeModule(), a));
  EXPECT_FALSE(registry.DestroyAllocator(FakeModule(), a));
  EXPECT_EQ(registry.CreateVar(a), nullptr);
  EXPECT_EQ(registry.ModuleHandle(a), nullptr);

  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(registry.CreateVar(1 << 20), "");  // out of range ends the process
}

TEST(Allocators, InitialValuesAndDestruction) {
  GVars::BoolVarAllocator bools(FakeModule());
  GVars::BufWritesAllocator buf_writes(FakeModule());
  GVars::TrnHandleAllocator handles(FakeModule());
  GVars::LongVarAllocator longs(FakeModule());
  GVars::TrnCntAllocator counters(FakeModule());
  EXPECT_EQ(bools.ModuleHandle(), FakeModule());

  void* b = bools.CreateVar();
  void* w = buf_writes.CreateVar();
  void* h = handles.CreateVar();
  void* l = longs.CreateVar();
  void* c = counters.CreateVar();
  EXPECT_FALSE(*static_cast<bool*>(b));
  EXPECT_TRUE(*static_cast<bool*>(w));
  EXPECT_EQ(*static_cast<HANDLE*>(h), INVALID_HANDLE_VALUE);
  EXPECT_EQ(*static_cast<long*>(l), 0);
  EXPECT_EQ(*static_cast<int*>(c), 0);
  // An open handle is closed with the variable (the sanitizer build reports
  // it otherwise); the long starts a 61440-byte block, all of it usable.
  *static_cast<HANDLE*>(h) = kelm::port::CreateSemaphoreObject(0, 1);
  std::memset(l, 0x5A, 0xF000);
  bools.DestroyVar(b);
  buf_writes.DestroyVar(w);
  handles.DestroyVar(h);
  handles.DestroyVar(handles.CreateVar());
  longs.DestroyVar(l);

  // A transaction counter left open reports the aborted transaction.
  *static_cast<int*>(c) = 3;
  testing::internal::CaptureStdout();
  counters.DestroyVar(c);
  counters.DestroyVar(counters.CreateVar());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Транзакция прервана!\n");
  EXPECT_EQ(std::strlen("Транзакция прервана!\n"), 21u);  // Windows-1251: one byte a letter
}

TEST(GlobalVariablesTLS, MissingSlotIsAllocatedOnFetch) {
  const unsigned long saved = GlobalVariablesTLS::TlsIndex();
  InThread([&] {
    GlobalVariablesTLS::SetTlsIndex(TLS_OUT_OF_INDEXES);
    EXPECT_EQ(GVars::GetThreadGlobalVarsFromTLS(TLS_OUT_OF_INDEXES, false), nullptr);
    const unsigned long fresh = GlobalVariablesTLS::TlsIndex();
    EXPECT_NE(fresh, TLS_OUT_OF_INDEXES);
    EXPECT_NE(fresh, saved);
    EXPECT_TRUE(GlobalVariablesTLS::Initialize());  // a slot exists: nothing new
    EXPECT_EQ(GlobalVariablesTLS::TlsIndex(), fresh);
    EXPECT_TRUE(GlobalVariablesTLS::Uninitialize());
    EXPECT_EQ(GlobalVariablesTLS::TlsIndex(), TLS_OUT_OF_INDEXES);
    GlobalVariablesTLS::SetTlsIndex(saved);
  });
}

TEST(Startup, LibraryRegisteredItselfAndCountsItsRegistrators) {
  EXPECT_EQ(KlbUtils::KelmLibInstance::ModuleHandle(), Library());
  EXPECT_GE(RegisteredDLLs.Find(Library()), 0);
  EXPECT_NE(GlobalVariablesTLS::TlsIndex(), TLS_OUT_OF_INDEXES);

  auto& counter = GVars::RegistratorCounter::Instance();
  const int live = counter.Inc() - 1;
  EXPECT_GT(live, 1);  // the library's and this program's registrators
  {
    GVars::GlobalVarRegistrator<Tracked> one_more;
    EXPECT_EQ(counter.Dec(), live + 1);
  }
  EXPECT_EQ(counter.Inc(), live + 1);
  counter.Dec();
}

TEST(DLLs, FindAndRemove) {
  DLLs list;
  HINSTANCE a = Library();
  HINSTANCE b = SecondModuleHandle();
  list.Add(a);
  list.Add(b);
  list.Add(a);
  EXPECT_EQ(list.Find(b), 1);
  EXPECT_TRUE(list.Remove(a));
  EXPECT_EQ(list.Count(), 2);
  EXPECT_EQ(list[0], b);
  EXPECT_EQ(list.Find(a), 1);
  EXPECT_FALSE(list.Remove(FakeModule()));
}

}  // namespace
