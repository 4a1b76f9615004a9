#include "zol/memory/propagate_const.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>
#include <utility>

namespace {

using zol::memory::PropagateConst;

// Tells by overload resolution which constness of the pointee an expression reaches.
struct Widget {
  int Touch() { return 1; }
  int Touch() const { return 2; }
  int value{0};
};

template <typename T>
using ConstGet = decltype(std::declval<const T&>().get());
template <typename T>
using MutableGet = decltype(std::declval<T&>().get());

TEST(PropagateConstTest, NonConstWrapperReachesNonConstPointee) {
  PropagateConst<std::unique_ptr<Widget>> pointer(std::unique_ptr<Widget>(new Widget()));
  EXPECT_EQ(pointer->Touch(), 1);
  EXPECT_EQ((*pointer).Touch(), 1);
  EXPECT_EQ(pointer.get()->Touch(), 1);
}

TEST(PropagateConstTest, ConstWrapperReachesOnlyConstPointee) {
  const PropagateConst<std::unique_ptr<Widget>> pointer(std::unique_ptr<Widget>(new Widget()));
  EXPECT_EQ(pointer->Touch(), 2);
  EXPECT_EQ((*pointer).Touch(), 2);
  EXPECT_EQ(pointer.get()->Touch(), 2);
}

TEST(PropagateConstTest, GetReturnsPointerToConstOnlyThroughConstWrapper) {
  using Wrapper = PropagateConst<std::unique_ptr<Widget>>;
  EXPECT_TRUE((std::is_same<ConstGet<Wrapper>, const Widget*>::value));
  EXPECT_TRUE((std::is_same<MutableGet<Wrapper>, Widget*>::value));
  EXPECT_TRUE((std::is_same<Wrapper::element_type, Widget>::value));
}

TEST(PropagateConstTest, WrapsRawPointersAsWell) {
  Widget widget;
  PropagateConst<Widget*> pointer(&widget);
  const PropagateConst<Widget*>& const_view = pointer;
  EXPECT_EQ(pointer.get(), &widget);
  EXPECT_EQ(pointer->Touch(), 1);
  EXPECT_EQ(const_view->Touch(), 2);
  pointer->value = 7;
  EXPECT_EQ(widget.value, 7);
}

TEST(PropagateConstTest, DefaultConstructedWrapperIsNull) {
  PropagateConst<std::unique_ptr<Widget>> smart;
  PropagateConst<Widget*> raw;
  EXPECT_FALSE(smart);
  EXPECT_FALSE(raw);
  EXPECT_EQ(smart.get(), nullptr);
  EXPECT_EQ(raw.get(), nullptr);
  EXPECT_TRUE(smart == nullptr);
  EXPECT_TRUE(nullptr == raw);
}

TEST(PropagateConstTest, WrapperHoldingAnObjectIsTrueAndUnequalToNull) {
  PropagateConst<std::unique_ptr<Widget>> pointer(std::unique_ptr<Widget>(new Widget()));
  EXPECT_TRUE(static_cast<bool>(pointer));
  EXPECT_TRUE(pointer != nullptr);
  EXPECT_TRUE(nullptr != pointer);
  EXPECT_FALSE(pointer == nullptr);
}

TEST(PropagateConstTest, MoveConstructionTransfersOwnershipAndLeavesSourceNull) {
  auto* const widget = new Widget();
  PropagateConst<std::unique_ptr<Widget>> source(std::unique_ptr<Widget>{widget});
  PropagateConst<std::unique_ptr<Widget>> target(std::move(source));
  EXPECT_EQ(target.get(), widget);
  EXPECT_EQ(source.get(), nullptr);  // NOLINT(bugprone-use-after-move): a moved-from unique_ptr is null
}

// Counts destructions so that the tests can tell when an owned object went away.
struct Tracked {
  explicit Tracked(int* destroyed) : destroyed_count(destroyed) {}
  ~Tracked() { ++*destroyed_count; }
  int* destroyed_count;
};

TEST(PropagateConstTest, MoveAssignmentReleasesThePreviousPointee) {
  int destroyed = 0;
  PropagateConst<std::unique_ptr<Tracked>> target(std::unique_ptr<Tracked>(new Tracked(&destroyed)));
  auto* const replacement = new Tracked(&destroyed);
  PropagateConst<std::unique_ptr<Tracked>> source(std::unique_ptr<Tracked>{replacement});
  target = std::move(source);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(target.get(), replacement);
  EXPECT_EQ(source.get(), nullptr);  // NOLINT(bugprone-use-after-move)
}

TEST(PropagateConstTest, AssigningAPointerOrNullReplacesTheHeldOne) {
  int destroyed = 0;
  PropagateConst<std::unique_ptr<Tracked>> pointer;
  pointer = std::unique_ptr<Tracked>(new Tracked(&destroyed));
  EXPECT_TRUE(static_cast<bool>(pointer));
  pointer = nullptr;
  EXPECT_FALSE(pointer);
  EXPECT_EQ(destroyed, 1);
}

TEST(PropagateConstTest, UnderlyingGivesAccessToTheWrappedSmartPointer) {
  int destroyed = 0;
  PropagateConst<std::unique_ptr<Tracked>> pointer(std::unique_ptr<Tracked>(new Tracked(&destroyed)));
  const auto& const_view = pointer;
  EXPECT_EQ(const_view.underlying().get(), pointer.get());
  pointer.underlying().reset();
  EXPECT_EQ(destroyed, 1);
  EXPECT_FALSE(pointer);
}

TEST(PropagateConstTest, SwapExchangesThePointees) {
  Widget first;
  Widget second;
  PropagateConst<Widget*> a(&first);
  PropagateConst<Widget*> b(&second);
  swap(a, b);
  EXPECT_EQ(a.get(), &second);
  EXPECT_EQ(b.get(), &first);
  a.swap(b);
  EXPECT_EQ(a.get(), &first);
  EXPECT_EQ(b.get(), &second);
}

TEST(PropagateConstTest, IsMovableButNotCopyable) {
  using Wrapper = PropagateConst<std::unique_ptr<Widget>>;
  EXPECT_TRUE(std::is_nothrow_move_constructible<Wrapper>::value);
  EXPECT_TRUE(std::is_nothrow_move_assignable<Wrapper>::value);
  EXPECT_FALSE(std::is_copy_constructible<Wrapper>::value);
  EXPECT_FALSE(std::is_copy_assignable<Wrapper>::value);
  EXPECT_FALSE(std::is_copy_constructible<PropagateConst<Widget*>>::value);
}

// A deleter with state, like the allocator-aware deleters, has to travel with the pointer.
struct CountingDeleter {
  void operator()(Tracked* tracked) const {
    ++*calls;
    delete tracked;
  }
  int* calls;
};

TEST(PropagateConstTest, KeepsTheDeleterOfAUniquePtr) {
  int destroyed = 0;
  int deleter_calls = 0;
  {
    PropagateConst<std::unique_ptr<Tracked, CountingDeleter>> source(
        std::unique_ptr<Tracked, CountingDeleter>(new Tracked(&destroyed), CountingDeleter{&deleter_calls}));
    PropagateConst<std::unique_ptr<Tracked, CountingDeleter>> target(std::move(source));
    EXPECT_EQ(target.underlying().get_deleter().calls, &deleter_calls);
  }
  EXPECT_EQ(deleter_calls, 1);
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
