#include "zol/format/format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <string_view>

#include "zol/pmr/polymorphic_allocator.h"
#include "zol/string_view.h"

namespace {

using zol::format::FormatTo;

// Formats into a generous buffer and returns the text, checking that the returned
// count matches what was written.
template <typename... Args>
std::string Format(zol::string_view fmt, const Args&... args) {
  char buffer[256];
  const std::size_t n = FormatTo(buffer, sizeof(buffer), fmt, args...);
  EXPECT_EQ(n, std::strlen(buffer));
  return std::string(buffer, n);
}

enum class SignedEnum : std::int16_t { kNegative = -7, kPositive = 300 };
enum class ByteEnum : std::uint8_t { kValue = 65 };
enum class CharEnum : char { kA = 'A' };
enum PlainEnum { kPlainThree = 3 };

TEST(FormatTo, ReplacesPlaceholdersInOrder) {
  EXPECT_EQ(Format("scan {} has {} detections", 17, 200), "scan 17 has 200 detections");
}

TEST(FormatTo, TextWithoutPlaceholdersIsCopied) {
  EXPECT_EQ(Format("plain text"), "plain text");
  EXPECT_EQ(Format(""), "");
}

TEST(FormatTo, APlaceholderWithoutArgumentStaysAsItIs) {
  EXPECT_EQ(Format("a={} b={}", 1), "a=1 b={}");
  EXPECT_EQ(Format("{}"), "{}");
}

TEST(FormatTo, SurplusArgumentsAreIgnored) { EXPECT_EQ(Format("only {}", 1, 2, "three"), "only 1"); }

TEST(FormatTo, DoubledBracesPrintSingleBraces) {
  EXPECT_EQ(Format("{{}}"), "{}");
  EXPECT_EQ(Format("{{{}}}", 5), "{5}");
  EXPECT_EQ(Format("}}{{", 5), "}{");
}

TEST(FormatTo, LoneBracesAndFormatOptionsAreLiteralText) {
  EXPECT_EQ(Format("{ x }", 1), "{ x }");
  EXPECT_EQ(Format("{:x}", 1), "{:x}");
  EXPECT_EQ(Format("end{", 1), "end{");
  EXPECT_EQ(Format("end}", 1), "end}");
}

TEST(FormatTo, PrintsIntegersOfEveryWidthInDecimal) {
  EXPECT_EQ(Format("{} {} {} {}", std::int16_t{-32768}, std::uint16_t{65535}, std::int32_t{-1}, 0U),
            "-32768 65535 -1 0");
  EXPECT_EQ(Format("{}", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(Format("{}", std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(Format("{}", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(Format("{} {}", 1234567L, static_cast<std::size_t>(42)), "1234567 42");
}

TEST(FormatTo, PrintsEightBitIntegersAsNumbersNotCharacters) {
  EXPECT_EQ(Format("{} {} {}", std::uint8_t{65}, std::uint8_t{255}, std::int8_t{-128}), "65 255 -128");
  EXPECT_EQ(Format("{}", static_cast<signed char>(7)), "7");
}

TEST(FormatTo, PrintsPlainCharAsACharacter) { EXPECT_EQ(Format("[{}]", 'x'), "[x]"); }

TEST(FormatTo, PrintsBoolAsTrueOrFalse) { EXPECT_EQ(Format("{} {}", true, false), "true false"); }

TEST(FormatTo, PrintsEnumerationsAsTheirUnderlyingInteger) {
  EXPECT_EQ(Format("{} {}", SignedEnum::kNegative, SignedEnum::kPositive), "-7 300");
  EXPECT_EQ(Format("{}", ByteEnum::kValue), "65");
  EXPECT_EQ(Format("{}", CharEnum::kA), "65");
  EXPECT_EQ(Format("{}", kPlainThree), "3");
}

TEST(FormatTo, PrintsStringsOfEveryKind) {
  const char* c_string = "c";
  const char array[] = "array";
  const std::string std_string = "std";
  const zol::pmr::string pmr_string("pmr");
  const zol::string_view view("view-and-more", 4);
  EXPECT_EQ(Format("{} {} {} {} {} {}", c_string, array, std_string, pmr_string, view, "literal"),
            "c array std pmr view literal");
}

TEST(FormatTo, PrintsAStdStringViewWithoutReadingPastItsEnd) {
  const std::string_view view("abcdef", 3);
  EXPECT_EQ(Format("{}|", view), "abc|");
}

TEST(FormatTo, PrintsANullCStringAsNullMarker) {
  const char* none = nullptr;
  EXPECT_EQ(Format("<{}>", none), "<(null)>");
}

TEST(FormatTo, ArgumentsAreNotInterpretedAsFormats) { EXPECT_EQ(Format("{}", "{}{{"), "{}{{"); }

TEST(FormatTo, PrintsDoublesInTheirShortestExactForm) {
  EXPECT_EQ(Format("{}", 0.1), "0.1");
  EXPECT_EQ(Format("{}", 1.5), "1.5");
  EXPECT_EQ(Format("{}", 100.0), "100");
  EXPECT_EQ(Format("{}", 0.0), "0");
  EXPECT_EQ(Format("{}", -0.0), "-0");
  EXPECT_EQ(Format("{}", 1e300), "1e+300");
  EXPECT_EQ(Format("{}", 1e-7), "1e-07");
  EXPECT_EQ(Format("{}", 0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(Format("{}", 1.0 / 3.0), "0.3333333333333333");
  EXPECT_EQ(Format("{}", 123456789012.0), "123456789012");
}

TEST(FormatTo, PrintsFloatsInTheirShortestExactForm) {
  EXPECT_EQ(Format("{}", 0.1F), "0.1");
  EXPECT_EQ(Format("{}", -2.5F), "-2.5");
  EXPECT_EQ(Format("{}", 1.0F / 3.0F), "0.33333334");
  EXPECT_EQ(Format("{}", 16777216.0F), "16777216");
  EXPECT_EQ(Format("{}", std::numeric_limits<float>::max()), "3.4028235e+38");
}

TEST(FormatTo, PrintsInfinitiesAndNan) {
  EXPECT_EQ(Format("{} {}", std::numeric_limits<double>::infinity(), -std::numeric_limits<float>::infinity()),
            "inf -inf");
  EXPECT_EQ(Format("{}", std::numeric_limits<double>::quiet_NaN()), "nan");
}

bool SameBits(double a, double b) { return std::memcmp(&a, &b, sizeof(double)) == 0; }

TEST(FormatTo, EveryPrintedDoubleReadsBackToTheSameValue) {
  const double edge_values[] = {0.1,
                                -0.0,
                                1e300,
                                5e-324,
                                std::numeric_limits<double>::min(),
                                std::numeric_limits<double>::max(),
                                std::numeric_limits<double>::epsilon(),
                                9007199254740993.0,
                                2.2250738585072009e-308};
  for (double value : edge_values) {
    const std::string text = Format("{}", value);
    EXPECT_TRUE(SameBits(std::strtod(text.c_str(), nullptr), value)) << text;
  }
  std::mt19937_64 random(12345);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t bits = random();
    double value;
    std::memcpy(&value, &bits, sizeof(value));
    if (std::isnan(value)) {
      continue;
    }
    const std::string text = Format("{}", value);
    ASSERT_TRUE(SameBits(std::strtod(text.c_str(), nullptr), value)) << text;
    ASSERT_LE(text.size(), 24U) << text;
  }
}

TEST(FormatTo, EveryPrintedFloatReadsBackToTheSameValue) {
  std::mt19937 random(54321);
  for (int i = 0; i < 20000; ++i) {
    const std::uint32_t bits = random();
    float value;
    std::memcpy(&value, &bits, sizeof(value));
    if (std::isnan(value)) {
      continue;
    }
    const std::string text = Format("{}", value);
    const float back = std::strtof(text.c_str(), nullptr);
    ASSERT_EQ(std::memcmp(&back, &value, sizeof(float)), 0) << text;
  }
}

TEST(FormatTo, TruncatesAtCapacityMinusOneAndTerminates) {
  char buffer[8];
  std::memset(buffer, '#', sizeof(buffer));
  const std::size_t n = FormatTo(buffer, 6, "hello world");
  EXPECT_EQ(n, 5U);
  EXPECT_STREQ(buffer, "hello");
  EXPECT_EQ(buffer[6], '#');
  EXPECT_EQ(buffer[7], '#');
}

TEST(FormatTo, TruncatesInsideAnArgument) {
  char buffer[6];
  EXPECT_EQ(FormatTo(buffer, sizeof(buffer), "n={}", 1234567), 5U);
  EXPECT_STREQ(buffer, "n=123");
  EXPECT_EQ(FormatTo(buffer, sizeof(buffer), "{}{}", "abc", std::string("defgh")), 5U);
  EXPECT_STREQ(buffer, "abcde");
  EXPECT_EQ(FormatTo(buffer, sizeof(buffer), "{}", -1.0 / 3.0), 5U);
  EXPECT_STREQ(buffer, "-0.33");
}

TEST(FormatTo, OutputOfExactlyCapacityMinusOneIsComplete) {
  char buffer[6];
  EXPECT_EQ(FormatTo(buffer, sizeof(buffer), "ab{}", 123), 5U);
  EXPECT_STREQ(buffer, "ab123");
}

TEST(FormatTo, CapacityOneWritesOnlyTheTerminator) {
  char buffer[2] = {'x', 'y'};
  EXPECT_EQ(FormatTo(buffer, 1, "text {}", 1), 0U);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], 'y');
}

TEST(FormatTo, CapacityZeroWritesNothing) {
  char buffer[1] = {'x'};
  EXPECT_EQ(FormatTo(buffer, 0, "text"), 0U);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(FormatTo(nullptr, 0, "text"), 0U);
}

TEST(FormatTo, ALongLineFillsAFiveHundredTwelveByteBufferTo511Characters) {
  char buffer[512];
  const std::string long_text(600, 'x');
  EXPECT_EQ(FormatTo(buffer, sizeof(buffer), "{}", long_text), 511U);
  EXPECT_EQ(std::strlen(buffer), 511U);
}

}  // namespace
