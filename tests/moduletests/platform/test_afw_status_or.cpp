#include "zol/afw/core/status_or.h"

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using zol::afw::core::ErrorCode;
using zol::afw::core::StatusOr;

// Counts live instances, so that tests can see every value constructed by StatusOr also destroyed.
struct Tracked {
  static int live;
  int id;
  explicit Tracked(int id_in) : id(id_in) { ++live; }
  Tracked(const Tracked& other) : id(other.id) { ++live; }
  Tracked(Tracked&& other) noexcept : id(other.id) {
    other.id = -1;
    ++live;
  }
  Tracked& operator=(const Tracked&) = default;
  Tracked& operator=(Tracked&&) = default;
  ~Tracked() { --live; }
};
int Tracked::live = 0;

struct Base {
  virtual ~Base() = default;
  virtual int kind() const { return 0; }
};
struct Derived : Base {
  int kind() const override { return 1; }
};

TEST(StatusOr, WithoutValueHoldsOnlyItsStatus) {
  const StatusOr<int> result(ErrorCode::kNotFound);

  EXPECT_FALSE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kNotFound);
  EXPECT_FALSE(result.ok());
}

TEST(StatusOr, WithoutValueAndSuccessStatusIsStillNotOk) {
  const StatusOr<int> result(ErrorCode::kSuccess);

  EXPECT_FALSE(result.has_value());
  EXPECT_FALSE(result.ok());
}

TEST(StatusOr, WithValueHasStatusSuccessAndIsOk) {
  const StatusOr<int> result(42);

  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kSuccess);
  EXPECT_TRUE(result.ok());
  EXPECT_EQ(result.value(), 42);
  EXPECT_EQ(*result, 42);
}

TEST(StatusOr, ValueWithAFailureStatusIsKeptButNotOk) {
  const StatusOr<int> result(7, ErrorCode::kTimeout);

  EXPECT_TRUE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kTimeout);
  EXPECT_FALSE(result.ok());
  EXPECT_EQ(result.value(), 7);
}

TEST(StatusOr, ValueWithAPositiveStatusIsOk) {
  const StatusOr<int> result(7, ErrorCode::kPending);

  EXPECT_TRUE(result.ok());
  EXPECT_EQ(result.status(), ErrorCode::kPending);
}

TEST(StatusOr, ConvertsImplicitlyFromAValueAndFromAStatus) {
  auto make = [](bool with_value) -> StatusOr<std::string> {
    if (with_value) {
      return std::string("scan");
    }
    return ErrorCode::kNotAvailable;
  };

  EXPECT_EQ(make(true).value(), "scan");
  EXPECT_EQ(make(false).status(), ErrorCode::kNotAvailable);
}

TEST(StatusOr, RvalueValueMovesTheValueOut) {
  StatusOr<std::string> result(std::string(100, 'x'));

  const std::string taken = std::move(result).value();

  EXPECT_EQ(taken, std::string(100, 'x'));
  EXPECT_TRUE(result.has_value());
  EXPECT_TRUE(result.value().empty());  // NOLINT(bugprone-use-after-move): moved-from std::string is empty here
}

TEST(StatusOr, HoldsAMoveOnlyType) {
  static_assert(!std::is_copy_constructible<StatusOr<std::unique_ptr<int>>>::value, "move-only T stays move-only");
  static_assert(std::is_nothrow_move_constructible<StatusOr<std::unique_ptr<int>>>::value, "moves do not throw");

  StatusOr<std::unique_ptr<int>> first(std::unique_ptr<int>(new int(5)));
  StatusOr<std::unique_ptr<int>> second(std::move(first));
  const std::unique_ptr<int> owned = std::move(second).value();

  ASSERT_NE(owned, nullptr);
  EXPECT_EQ(*owned, 5);
  EXPECT_EQ(*second, nullptr);  // NOLINT(bugprone-use-after-move)
}

TEST(StatusOr, MoveOnlyResultsGoIntoAVector) {
  std::vector<StatusOr<std::unique_ptr<int>>> results;
  for (int i = 0; i < 20; ++i) {
    results.emplace_back(std::unique_ptr<int>(new int(i)));
  }
  results.emplace_back(ErrorCode::kBusy);

  EXPECT_EQ(*results[19].value(), 19);
  EXPECT_EQ(results[20].status(), ErrorCode::kBusy);
}

TEST(StatusOr, AcceptsAValueThatConvertsToT) {
  const StatusOr<std::unique_ptr<Base>> result = std::unique_ptr<Derived>(new Derived());

  ASSERT_TRUE(result.ok());
  EXPECT_EQ(result->get()->kind(), 1);
}

TEST(StatusOr, EmptyOneConstructsNoValue) {
  {
    const StatusOr<Tracked> empty(ErrorCode::kFailure);
    EXPECT_EQ(Tracked::live, 0);
  }
  EXPECT_EQ(Tracked::live, 0);
}

TEST(StatusOr, CopyAndAssignmentKeepValuesAndStatusesAndLeakNothing) {
  {
    StatusOr<Tracked> full(Tracked(1), ErrorCode::kPending);
    StatusOr<Tracked> empty(ErrorCode::kNotFound);
    EXPECT_EQ(Tracked::live, 1);

    StatusOr<Tracked> copy(full);
    EXPECT_EQ(copy.value().id, 1);
    EXPECT_EQ(copy.status(), ErrorCode::kPending);
    EXPECT_EQ(full.value().id, 1);
    EXPECT_EQ(Tracked::live, 2);

    copy = empty;  // full := empty destroys the value
    EXPECT_FALSE(copy.has_value());
    EXPECT_EQ(copy.status(), ErrorCode::kNotFound);
    EXPECT_EQ(Tracked::live, 1);

    empty = std::move(full);  // empty := full constructs one
    EXPECT_EQ(empty.value().id, 1);
    EXPECT_EQ(empty.status(), ErrorCode::kPending);
    EXPECT_EQ(Tracked::live, 2);

    StatusOr<Tracked> other(Tracked(2));
    empty = other;  // full := full assigns
    EXPECT_EQ(empty.value().id, 2);
    EXPECT_EQ(empty.status(), ErrorCode::kSuccess);
    EXPECT_EQ(Tracked::live, 3);
  }
  EXPECT_EQ(Tracked::live, 0);
}

TEST(StatusOr, ValueCanBeChangedThroughTheAccessors) {
  StatusOr<std::string> result(std::string("a"));

  result.value() += "b";
  *result += "c";
  result->append("d");

  EXPECT_EQ(result.value(), "abcd");
}

TEST(StatusOrDeathTest, ReadingTheValueOfAnEmptyOneAborts) {
  const StatusOr<int> empty(ErrorCode::kFailure);
  EXPECT_DEATH(static_cast<void>(empty.value()), "StatusOr");
  EXPECT_DEATH(static_cast<void>(*empty), "StatusOr");
}

}  // namespace
