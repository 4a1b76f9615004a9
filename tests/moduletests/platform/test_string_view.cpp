#include "zol/string_view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <unordered_map>

#include "zol/pmr/polymorphic_allocator.h"

namespace {

using zol::string_view;

// Compile-time use is part of the contract: views of literals in constant tables.
constexpr string_view kLiteral("radar");
static_assert(kLiteral.size() == 5, "length of a literal is known at compile time");
static_assert(kLiteral[0] == 'r', "indexing works at compile time");
static_assert(kLiteral.substr(1, 3) == string_view("ada"), "substr and == work at compile time");
static_assert(string_view("abc") < string_view("abd"), "ordering works at compile time");

TEST(StringView, DefaultConstructedIsEmpty) {
  const string_view sv;
  EXPECT_TRUE(sv.empty());
  EXPECT_EQ(sv.size(), 0U);
  EXPECT_EQ(sv.begin(), sv.end());
}

TEST(StringView, CStringConstructionExcludesTheTerminator) {
  const char* text = "FSRL";
  const string_view sv(text);
  EXPECT_EQ(sv.data(), text);
  EXPECT_EQ(sv.size(), 4U);
  EXPECT_EQ(sv.length(), 4U);
  EXPECT_FALSE(sv.empty());
}

TEST(StringView, NullCStringGivesAnEmptyView) {
  const char* text = nullptr;
  const string_view sv(text);
  EXPECT_TRUE(sv.empty());
}

TEST(StringView, PointerAndLengthMayCoverEmbeddedNuls) {
  const char text[] = {'a', '\0', 'b'};
  const string_view sv(text, sizeof(text));
  EXPECT_EQ(sv.size(), 3U);
  EXPECT_EQ(sv[1], '\0');
  EXPECT_EQ(sv[2], 'b');
  EXPECT_EQ(sv.to_string(), std::string(text, 3));
}

TEST(StringView, ViewsTheCharactersOfAStdString) {
  const std::string s = "instance";
  const string_view sv(s);
  EXPECT_EQ(sv.data(), s.data());
  EXPECT_EQ(sv.size(), s.size());
}

TEST(StringView, ViewsTheCharactersOfAPmrString) {
  const zol::pmr::string s("a string long enough to live on the heap");
  const string_view sv(s);
  EXPECT_EQ(sv.data(), s.data());
  EXPECT_EQ(sv.size(), s.size());
}

TEST(StringView, IteratesOverExactlyItsCharacters) {
  const string_view sv("hello world", 5);
  const std::string copied(sv.begin(), sv.end());
  EXPECT_EQ(copied, "hello");
  EXPECT_EQ(sv.front(), 'h');
  EXPECT_EQ(sv.back(), 'o');
}

TEST(StringView, SubstrTakesAtMostTheRemainingCharacters) {
  const string_view sv("abcdef");
  EXPECT_EQ(sv.substr(2, 3), "cde");
  EXPECT_EQ(sv.substr(4, 100), "ef");
  EXPECT_EQ(sv.substr(4), "ef");
  EXPECT_EQ(sv.substr(6), "");
  EXPECT_EQ(sv.substr(2, 3).data(), sv.data() + 2);
}

TEST(StringViewDeathTest, SubstrPastTheEndAborts) {
  const string_view sv("abc");
  EXPECT_DEATH(static_cast<void>(sv.substr(4)), "substr position beyond the end");
}

TEST(StringView, RemovePrefixAndSuffixNarrowTheView) {
  string_view sv("[value]");
  sv.remove_prefix(1);
  sv.remove_suffix(1);
  EXPECT_EQ(sv, "value");
}

TEST(StringView, CompareIsLexicographicWithShorterFirst) {
  EXPECT_EQ(string_view("abc").compare("abc"), 0);
  EXPECT_LT(string_view("abc").compare("abd"), 0);
  EXPECT_GT(string_view("abd").compare("abc"), 0);
  EXPECT_LT(string_view("ab").compare("abc"), 0);
  EXPECT_GT(string_view("abc").compare("ab"), 0);
  EXPECT_LT(string_view("").compare("a"), 0);
}

TEST(StringView, ComparesAgainstLiteralsAndStringsOnEitherSide) {
  const string_view sv("FLH");
  const std::string same = "FLH";
  const std::string other = "FLDM";
  EXPECT_TRUE(sv == "FLH");
  EXPECT_TRUE("FLH" == sv);
  EXPECT_TRUE(sv == same);
  EXPECT_TRUE(same == sv);
  EXPECT_TRUE(sv != other);
  EXPECT_TRUE(other != sv);
  EXPECT_FALSE(sv == "FL");
  EXPECT_TRUE(other < sv);
  EXPECT_TRUE(sv <= "FLH");
  EXPECT_TRUE(sv >= "FLH");
  EXPECT_TRUE(sv > "FLD");
}

TEST(StringView, EqualityComparesContentNotAddress) {
  const char a[] = "abc";
  const char b[] = "abc";
  EXPECT_TRUE(string_view(a) == string_view(b));
  EXPECT_FALSE(string_view(a, 2) == string_view(b));
}

TEST(StringView, FindLocatesCharactersAndSubstrings) {
  const string_view sv("a.b.c");
  EXPECT_EQ(sv.find('.'), 1U);
  EXPECT_EQ(sv.find('.', 2), 3U);
  EXPECT_EQ(sv.find('x'), string_view::npos);
  EXPECT_EQ(sv.find("b.c"), 2U);
  EXPECT_EQ(sv.find("c.d"), string_view::npos);
  EXPECT_EQ(sv.find("", 5), 5U);
  EXPECT_TRUE(sv.starts_with("a.b"));
  EXPECT_FALSE(sv.starts_with("b"));
}

TEST(StringView, ToStringCopiesTheViewedCharacters) {
  std::string source = "abcdef";
  const std::string copy = string_view(source).substr(1, 2).to_string();
  source[1] = 'X';
  EXPECT_EQ(copy, "bc");
}

TEST(StringView, StreamsOnlyTheViewedCharacters) {
  std::ostringstream os;
  os << string_view("abcdef", 3) << '|';
  EXPECT_EQ(os.str(), "abc|");
}

TEST(StringView, EqualViewsHashEquallyAndKeyUnorderedMaps) {
  const std::string a = "SAG";
  const char b[] = "SAG";
  EXPECT_EQ(std::hash<string_view>()(a), std::hash<string_view>()(b));
  std::unordered_map<string_view, int> map;
  map[a] = 7;
  EXPECT_EQ(map.count(string_view(b)), 1U);
  EXPECT_EQ(map[string_view(b)], 7);
}

}  // namespace
