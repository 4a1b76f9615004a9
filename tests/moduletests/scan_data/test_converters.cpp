#include "converters.h"

#include <type_traits>

#include <gtest/gtest.h>

namespace {

// Keeps the compiler from folding the reference computations in a different precision.
float MultiplyThenDivideInFloat(float angle) {
  volatile float product = angle * 3.1415927F;
  return product / 180.0F;
}

TEST(ConvertToRadians, ReturnsASinglePrecisionValue) {
  EXPECT_TRUE((std::is_same<decltype(ConvertToRadians(1.0F)), float>::value));
}

TEST(ConvertToRadians, HalfTurnGivesTheFloatNearestToPi) { EXPECT_EQ(ConvertToRadians(180.0F), 3.1415927F); }

TEST(ConvertToRadians, ZeroStaysZeroAndSignIsKept) {
  EXPECT_EQ(ConvertToRadians(0.0F), 0.0F);
  EXPECT_EQ(ConvertToRadians(-90.0F), -ConvertToRadians(90.0F));
}

TEST(ConvertToRadians, MultipliesBeforeDividingInFloat) {
  // At 7 degrees the three ways of computing differ in the last bit: float multiply-then-divide gives
  // 0.122173056f, while divide-first and a double computation rounded to float both give 0.122173049f.
  const float result = ConvertToRadians(7.0F);
  EXPECT_EQ(result, MultiplyThenDivideInFloat(7.0F));
  volatile float per_degree = 3.1415927F / 180.0F;
  EXPECT_NE(result, 7.0F * per_degree);
  EXPECT_NE(result, static_cast<float>(7.0 * 3.1415927 / 180.0));
}

TEST(ConvertToRadians, NinetyDegreesMatchesTheSinglePrecisionFormula) {
  EXPECT_EQ(ConvertToRadians(90.0F), MultiplyThenDivideInFloat(90.0F));
}

TEST(ConvertToRadians, IsUsableInConstantExpressions) {
  constexpr float kQuarterTurn = ConvertToRadians(90.0F);
  EXPECT_EQ(kQuarterTurn, ConvertToRadians(90.0F));
}

}  // namespace
