#include "zol/memory/span.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using zol::memory::span;

static_assert(std::is_convertible<span<int>, span<const int>>::value, "adding const converts");
static_assert(!std::is_convertible<span<const int>, span<int>>::value, "dropping const does not");
static_assert(std::is_constructible<span<int>, std::vector<int>&>::value, "mutable view of a mutable vector");
static_assert(!std::is_constructible<span<int>, const std::vector<int>&>::value, "no mutable view of a const vector");
static_assert(std::is_constructible<span<const int>, const std::vector<int>&>::value, "const view of a const vector");
static_assert(!std::is_constructible<span<int>, std::vector<long>&>::value, "element types must match");

TEST(Span, DefaultConstructedIsEmpty) {
  const span<int> s;
  EXPECT_TRUE(s.empty());
  EXPECT_EQ(s.size(), 0U);
  EXPECT_EQ(s.data(), nullptr);
  EXPECT_EQ(s.begin(), s.end());
}

TEST(Span, ViewsPointerAndCount) {
  int values[4] = {1, 2, 3, 4};
  const span<int> s(values + 1, 2);
  EXPECT_EQ(s.data(), values + 1);
  EXPECT_EQ(s.size(), 2U);
  EXPECT_EQ(s[0], 2);
  EXPECT_EQ(s[1], 3);
}

TEST(Span, ViewsAWholeBuiltInArray) {
  std::uint16_t values[5] = {};
  const span<std::uint16_t> s(values);
  EXPECT_EQ(s.data(), values);
  EXPECT_EQ(s.size(), 5U);
  EXPECT_EQ(s.size_bytes(), 10U);
}

TEST(Span, ViewsContainersWithDataAndSize) {
  std::vector<int> vector = {1, 2, 3};
  std::array<int, 2> array = {{7, 8}};
  std::string text = "abc";
  const span<int> from_vector(vector);
  const span<int> from_array(array);
  const span<char> from_string(text);
  EXPECT_EQ(from_vector.data(), vector.data());
  EXPECT_EQ(from_vector.size(), 3U);
  EXPECT_EQ(from_array.data(), array.data());
  EXPECT_EQ(from_array.size(), 2U);
  EXPECT_EQ(from_string.size(), 3U);
}

TEST(Span, ConstViewOfConstContainer) {
  const std::vector<std::uint8_t> bytes = {0xAA, 0xBB};
  const span<const std::uint8_t> s(bytes);
  EXPECT_EQ(s.data(), bytes.data());
  EXPECT_EQ(s[1], 0xBB);
}

TEST(Span, WritesThroughToTheViewedElements) {
  std::vector<int> values(3, 0);
  const span<int> s(values);
  s[1] = 42;
  for (int& v : s) {
    v += 1;
  }
  EXPECT_EQ(values, (std::vector<int>{1, 43, 1}));
}

TEST(Span, ConvertsToASpanOfConstSharingTheElements) {
  int values[3] = {1, 2, 3};
  const span<int> mutable_view(values);
  const span<const int> const_view = mutable_view;
  EXPECT_EQ(const_view.data(), values);
  EXPECT_EQ(const_view.size(), 3U);
}

TEST(Span, IteratesInOrder) {
  int values[4] = {1, 2, 3, 4};
  const span<const int> s(values);
  EXPECT_EQ(std::accumulate(s.begin(), s.end(), 0), 10);
}

TEST(Span, SubspanSelectsOffsetAndCount) {
  int values[6] = {0, 1, 2, 3, 4, 5};
  const span<int> s(values);
  const span<int> middle = s.subspan(2, 3);
  EXPECT_EQ(middle.data(), values + 2);
  EXPECT_EQ(middle.size(), 3U);
  const span<int> rest = s.subspan(4);
  EXPECT_EQ(rest.data(), values + 4);
  EXPECT_EQ(rest.size(), 2U);
  EXPECT_TRUE(s.subspan(6).empty());
}

TEST(Span, FirstAndLastSelectTheEnds) {
  int values[5] = {0, 1, 2, 3, 4};
  const span<int> s(values);
  EXPECT_EQ(s.first(2).data(), values);
  EXPECT_EQ(s.first(2).size(), 2U);
  EXPECT_EQ(s.last(2).data(), values + 3);
  EXPECT_EQ(s.last(2).size(), 2U);
  EXPECT_TRUE(s.first(0).empty());
}

TEST(SpanDeathTest, SubspanPastTheEndAborts) {
  int values[3] = {};
  const span<int> s(values);
  EXPECT_DEATH(static_cast<void>(s.subspan(4)), "subspan offset beyond the end");
  EXPECT_DEATH(static_cast<void>(s.subspan(1, 3)), "subspan count beyond the end");
}

TEST(SpanDeathTest, FirstMoreThanTheSizeAborts) {
  int values[3] = {};
  const span<int> s(values);
  EXPECT_DEATH(static_cast<void>(s.first(4)), "first count beyond the end");
}

}  // namespace
