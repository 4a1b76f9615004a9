#include "zol/memory/static_function.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "zol/pmr/counting_resource.h"

// Global operator new is replaced for this test executable so that the
// allocation-free promise can be checked directly. Only allocations made while
// a test has switched counting on for its own thread are counted.
namespace {
thread_local bool g_count_global_news = false;
thread_local std::size_t g_global_news = 0;
}  // namespace

void* operator new(std::size_t size) {
  if (g_count_global_news) {
    ++g_global_news;
  }
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) {
    throw std::bad_alloc();
  }
  return p;
}
// GCC 12 at -O1/-O2 pairs these replacements with the standard operator new it inlined elsewhere and warns of a
// mismatch; both sides here are malloc/free, so the warning is wrong for this file.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

namespace {

using zol::memory::StaticFunction;

// Counts the global operator new calls made on this thread during its lifetime.
class GlobalNewCounter {
 public:
  GlobalNewCounter() {
    g_global_news = 0;
    g_count_global_news = true;
  }
  ~GlobalNewCounter() { g_count_global_news = false; }
  std::size_t count() const { return g_global_news; }
};

// Counts its live instances, to see that every stored copy is destroyed exactly once.
struct Tracker {
  static int live;
  Tracker() { ++live; }
  Tracker(const Tracker&) { ++live; }
  Tracker(Tracker&&) noexcept { ++live; }
  ~Tracker() { --live; }
};
int Tracker::live = 0;

TEST(StaticFunction, DefaultConstructedIsEmpty) {
  const StaticFunction<void()> f;
  EXPECT_FALSE(f);
  EXPECT_TRUE(f == nullptr);
}

TEST(StaticFunction, ConstructedFromNullptrIsEmpty) {
  const StaticFunction<int(int)> f(nullptr);
  EXPECT_FALSE(f);
}

TEST(StaticFunction, NullFunctionPointerGivesAnEmptyFunction) {
  int (*pointer)(int) = nullptr;
  const StaticFunction<int(int)> f(pointer);
  EXPECT_FALSE(f);
}

int Twice(int x) { return 2 * x; }

TEST(StaticFunction, CallsAFunctionPointer) {
  const StaticFunction<int(int)> f(&Twice);
  ASSERT_TRUE(f);
  EXPECT_EQ(f(21), 42);
}

TEST(StaticFunction, CallsALambdaWithItsArgumentsAndCaptures) {
  int offset = 10;
  const StaticFunction<int(int, int)> f([offset](int a, int b) { return a * b + offset; });
  EXPECT_EQ(f(3, 4), 22);
}

TEST(StaticFunction, ConvertsTheResultToTheDeclaredType) {
  const StaticFunction<long(int)> f([](int x) -> short { return static_cast<short>(x + 1); });
  EXPECT_EQ(f(41), 42L);
}

TEST(StaticFunction, VoidSignatureDiscardsTheResult) {
  int calls = 0;
  const StaticFunction<void()> f([&calls] { return ++calls; });
  f();
  f();
  EXPECT_EQ(calls, 2);
}

TEST(StaticFunction, ForwardsMoveOnlyArguments) {
  const StaticFunction<int(std::unique_ptr<int>)> f([](std::unique_ptr<int> p) { return *p; });
  EXPECT_EQ(f(std::make_unique<int>(7)), 7);
}

TEST(StaticFunction, PassesReferenceArgumentsThrough) {
  const StaticFunction<void(int&)> f([](int& x) { x = 5; });
  int value = 0;
  f(value);
  EXPECT_EQ(value, 5);
}

TEST(StaticFunction, MutableLambdaKeepsItsStateBetweenCalls) {
  const StaticFunction<int()> counter([n = 0]() mutable { return ++n; });
  EXPECT_EQ(counter(), 1);
  EXPECT_EQ(counter(), 2);
  EXPECT_EQ(counter(), 3);
}

TEST(StaticFunction, SixteenBytesOfCaptureFit) {
  auto owner = std::make_shared<int>(99);
  std::weak_ptr<int> weak = owner;
  static_assert(sizeof(weak) == 16, "the capture under test fills the default capacity exactly");
  const StaticFunction<int()> f([weak] {
    const auto locked = weak.lock();
    return locked ? *locked : -1;
  });
  EXPECT_EQ(f(), 99);
  owner.reset();
  EXPECT_EQ(f(), -1);
}

TEST(StaticFunction, LargerCapacityHoldsLargerCallables) {
  struct ThirtyTwoBytes {
    long long a, b, c, d;
  };
  const ThirtyTwoBytes data{1, 2, 3, 4};
  const StaticFunction<long long(), 32> f([data] { return data.a + data.b + data.c + data.d; });
  EXPECT_EQ(f(), 10);
}

TEST(StaticFunction, WrapsASmallerStaticFunctionAsACallable) {
  const StaticFunction<int(), 8> inner([] { return 8; });
  const StaticFunction<int(), 32> outer(inner);
  EXPECT_EQ(outer(), 8);
}

TEST(StaticFunction, NeverAllocatesToStoreCopyMoveOrCall) {
  zol::pmr::CountingResource counting;
  zol::pmr::ScopedDefaultResource scoped(&counting);
  auto owner = std::make_shared<int>(3);
  std::weak_ptr<int> weak = owner;
  std::size_t news = 0;
  int result = 0;
  {
    GlobalNewCounter counter;
    StaticFunction<int(int)> f([weak](int x) { return x * *weak.lock(); });
    StaticFunction<int(int)> copy(f);
    StaticFunction<int(int)> moved(std::move(f));
    StaticFunction<int(int)> assigned;
    assigned = copy;
    assigned = std::move(moved);
    result = assigned(5) + copy(1);
    news = counter.count();
  }
  EXPECT_EQ(result, 18);
  EXPECT_EQ(news, 0U);
  EXPECT_EQ(counting.allocation_count(), 0U);
}

TEST(StaticFunction, TheGlobalNewCounterSeesAllocations) {
  // Guards the test above: the counter is live and would notice a heap allocation.
  std::size_t news = 0;
  {
    GlobalNewCounter counter;
    auto p = std::make_unique<int>(1);
    news = counter.count();
  }
  EXPECT_EQ(news, 1U);
}

TEST(StaticFunction, MovingLeavesTheSourceEmpty) {
  StaticFunction<int()> source([] { return 1; });
  const StaticFunction<int()> target(std::move(source));
  EXPECT_FALSE(source);  // NOLINT(bugprone-use-after-move): the moved-from state is the point
  ASSERT_TRUE(target);
  EXPECT_EQ(target(), 1);
}

TEST(StaticFunction, MoveAssignmentLeavesTheSourceEmptyAndReplacesTheTarget) {
  StaticFunction<int()> source([] { return 1; });
  StaticFunction<int()> target([] { return 2; });
  target = std::move(source);
  EXPECT_FALSE(source);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(target(), 1);
}

TEST(StaticFunction, MovingFromAnEmptyFunctionGivesAnEmptyFunction) {
  StaticFunction<void()> source;
  const StaticFunction<void()> target(std::move(source));
  EXPECT_FALSE(target);
}

TEST(StaticFunction, CopiesHaveIndependentState) {
  StaticFunction<int()> original([n = 0]() mutable { return ++n; });
  EXPECT_EQ(original(), 1);
  StaticFunction<int()> copy(original);
  EXPECT_EQ(copy(), 2);
  EXPECT_EQ(copy(), 3);
  EXPECT_EQ(original(), 2);
  StaticFunction<int()> assigned;
  assigned = original;
  EXPECT_EQ(assigned(), 3);
  EXPECT_EQ(original(), 3);
}

TEST(StaticFunction, CopyingKeepsSharedCapturesShared) {
  auto shared = std::make_shared<int>(0);
  const StaticFunction<void()> f([shared] { ++*shared; });
  const StaticFunction<void()> g(f);
  EXPECT_EQ(shared.use_count(), 3);
  f();
  g();
  EXPECT_EQ(*shared, 2);
}

TEST(StaticFunction, DestroysEveryStoredCallableExactlyOnce) {
  Tracker::live = 0;
  {
    Tracker tracker;
    StaticFunction<void()> f([tracker] { (void)tracker; });
    StaticFunction<void()> copy(f);
    StaticFunction<void()> moved(std::move(f));
    copy = moved;
    moved = std::move(copy);
    EXPECT_EQ(Tracker::live, 2);  // the local one and the one in `moved`
  }
  EXPECT_EQ(Tracker::live, 0);
}

TEST(StaticFunction, ResetDestroysTheCallableAndEmptiesTheFunction) {
  auto shared = std::make_shared<int>(0);
  StaticFunction<void()> f([shared] {});
  EXPECT_EQ(shared.use_count(), 2);
  f.Reset();
  EXPECT_FALSE(f);
  EXPECT_EQ(shared.use_count(), 1);
}

TEST(StaticFunction, AssigningNullptrEmptiesTheFunction) {
  auto shared = std::make_shared<int>(0);
  StaticFunction<void()> f([shared] {});
  f = nullptr;
  EXPECT_FALSE(f);
  EXPECT_EQ(shared.use_count(), 1);
}

TEST(StaticFunction, AssigningACallableReplacesTheOldOne) {
  StaticFunction<int()> f([] { return 1; });
  f = [] { return 2; };
  EXPECT_EQ(f(), 2);
}

TEST(StaticFunction, SwapExchangesTheCallables) {
  StaticFunction<std::string()> a([] { return std::string("a"); });
  StaticFunction<std::string()> b;
  swap(a, b);
  EXPECT_FALSE(a);
  ASSERT_TRUE(b);
  EXPECT_EQ(b(), "a");
}

TEST(StaticFunctionDeathTest, CallingAnEmptyFunctionAborts) {
  const StaticFunction<void()> f;
  EXPECT_DEATH(f(), "call of an empty function");
}

}  // namespace
