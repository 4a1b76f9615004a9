#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/json_writer.h"
#include "json_test_parser.h"
#include "temp_dir.h"

namespace {

using fsrl::JsonWriter;
using fsrl::OutputBuffer;

// Runs @p write against a writer on a temporary file and returns what reached the file.
template <typename Write>
std::string Written(Write write, std::size_t capacity = 1 << 18) {
  std::FILE* file = std::tmpfile();
  {
    OutputBuffer out(file, capacity);
    JsonWriter json(out);
    write(json, out);
  }
  std::string text = fsrl_test::ReadAll(file);
  std::fclose(file);
  return text;
}

std::uint64_t Bits(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::uint32_t Bits(float value) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::string DoubleText(double value) {
  char text[32];
  return std::string(text, fsrl::FormatDouble(value, text));
}

std::string FloatText(float value) {
  char text[32];
  return std::string(text, fsrl::FormatFloat(value, text));
}

void ExpectDoubleRoundTrip(double value) {
  const std::string text = DoubleText(value);
  const double back = std::strtod(text.c_str(), nullptr);
  EXPECT_EQ(Bits(back), Bits(value)) << text;
  fsrl_test::JsonValue parsed;
  EXPECT_TRUE(fsrl_test::JsonParser::Parse(text, parsed)) << text << " is not a JSON number";
}

void ExpectFloatRoundTrip(float value) {
  const std::string text = FloatText(value);
  const float back = std::strtof(text.c_str(), nullptr);
  EXPECT_EQ(Bits(back), Bits(value)) << text;
  fsrl_test::JsonValue parsed;
  EXPECT_TRUE(fsrl_test::JsonParser::Parse(text, parsed)) << text << " is not a JSON number";
}

TEST(JsonWriter, WritesNestedObjectsAndArraysWithSeparators) {
  const std::string text = Written([](JsonWriter& json, OutputBuffer&) {
    json.BeginObject();
    json.Key("a");
    json.Int(1);
    json.Key("b");
    json.BeginArray();
    json.Bool(true);
    json.Bool(false);
    json.Null();
    json.EndArray();
    json.Key("c");
    json.BeginObject();
    json.Key("d");
    json.String("x");
    json.EndObject();
    json.Key("e");
    json.BeginArray();
    json.EndArray();
    json.Key("f");
    json.BeginObject();
    json.EndObject();
    json.EndObject();
    json.EndLine();
    json.BeginArray();
    json.UInt(2);
    json.EndArray();
    json.EndLine();
  });
  EXPECT_EQ(text, "{\"a\": 1, \"b\": [true, false, null], \"c\": {\"d\": \"x\"}, \"e\": [], \"f\": {}}\n[2]\n");
}

TEST(JsonWriter, EscapesQuotesBackslashesAndControlCharacters) {
  const std::string value = std::string("q\"b\\n\nr\rt\tb\bf\fz\x01\x1f", 17) + std::string(1, '\0') + "\xc3\xa9";
  const std::string text = Written([&](JsonWriter& json, OutputBuffer&) {
    json.String(value);
    json.EndLine();
  });
  EXPECT_EQ(text, "\"q\\\"b\\\\n\\nr\\rt\\tb\\bf\\fz\\u0001\\u001f\\u0000\xc3\xa9\"\n");
  fsrl_test::JsonValue parsed;
  ASSERT_TRUE(fsrl_test::JsonParser::Parse(text, parsed));
  EXPECT_EQ(parsed.text, value);
}

TEST(JsonWriter, EscapesKeysLikeStrings) {
  const std::string text = Written([](JsonWriter& json, OutputBuffer&) {
    json.BeginObject();
    json.Key("a\"b");
    json.Int(0);
    json.EndObject();
  });
  EXPECT_EQ(text, "{\"a\\\"b\": 0}");
}

TEST(JsonWriter, PreparedKeysMatchWhatKeyWrites) {
  EXPECT_EQ(fsrl::QuotedKey("range"), "\"range\": ");
  EXPECT_EQ(fsrl::QuotedKey("a\"b\n"), "\"a\\\"b\\n\": ");
  const std::string prepared = Written([](JsonWriter& json, OutputBuffer&) {
    json.BeginObject();
    json.PreparedKey(fsrl::QuotedKey("x\ty"));
    json.Int(1);
    json.PreparedKey(fsrl::QuotedKey("z"));
    json.Int(2);
    json.EndObject();
  });
  const std::string plain = Written([](JsonWriter& json, OutputBuffer&) {
    json.BeginObject();
    json.Key("x\ty");
    json.Int(1);
    json.Key("z");
    json.Int(2);
    json.EndObject();
  });
  EXPECT_EQ(prepared, plain);
  EXPECT_EQ(prepared, "{\"x\\ty\": 1, \"z\": 2}");
}

TEST(JsonWriter, WritesTheFullRangeOfIntegers) {
  const std::string text = Written([](JsonWriter& json, OutputBuffer&) {
    json.BeginArray();
    json.Int(std::numeric_limits<std::int64_t>::min());
    json.Int(-1);
    json.Int(0);
    json.UInt(std::numeric_limits<std::uint64_t>::max());
    json.EndArray();
  });
  EXPECT_EQ(text, "[-9223372036854775808, -1, 0, 18446744073709551615]");
}

TEST(JsonWriter, WritesRawNumbersUnchanged) {
  const std::string text = Written([](JsonWriter& json, OutputBuffer&) {
    json.BeginArray();
    json.RawNumber("1700000000.123456789");
    json.EndArray();
  });
  EXPECT_EQ(text, "[1700000000.123456789]");
}

TEST(JsonDouble, UsesTheShortestTextThatReadsBack) {
  EXPECT_EQ(DoubleText(0.1), "0.1");
  EXPECT_EQ(DoubleText(12.5), "12.5");
  EXPECT_EQ(DoubleText(-3.0), "-3");
  EXPECT_EQ(DoubleText(0.0), "0");
  EXPECT_EQ(DoubleText(1e22), "1e+22");
  // A single-precision value widened to double needs all the digits of the double.
  EXPECT_EQ(DoubleText(static_cast<double>(123.45f)), "123.44999694824219");
}

TEST(JsonDouble, ReadsBackBitForBitForAwkwardValues) {
  const double values[] = {0.1,
                           1.0 / 3.0,
                           -0.0,
                           5e-324,
                           DBL_MIN,
                           DBL_MAX,
                           -DBL_MAX,
                           DBL_EPSILON,
                           9007199254740993.0,
                           2.2250738585072011e-308,
                           static_cast<double>(123.45f),
                           static_cast<double>(0.01f) * 12345.0,
                           1e23,
                           299792458.0};
  for (const double value : values) {
    ExpectDoubleRoundTrip(value);
  }
}

TEST(JsonDouble, ReadsBackBitForBitForManyBitPatterns) {
  std::uint64_t state = 0x9E3779B97F4A7C15ULL;
  int checked = 0;
  for (int i = 0; i < 200000; ++i) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    double value;
    std::memcpy(&value, &state, sizeof value);
    if (!std::isfinite(value)) {
      continue;
    }
    const std::string text = DoubleText(value);
    ASSERT_EQ(Bits(std::strtod(text.c_str(), nullptr)), Bits(value)) << text;
    ++checked;
  }
  EXPECT_GT(checked, 190000);
}

TEST(JsonFloat, UsesTheShortestTextThatReadsBackAsTheSameFloat) {
  EXPECT_EQ(FloatText(123.45f), "123.45");
  EXPECT_EQ(FloatText(0.1f), "0.1");
  EXPECT_EQ(FloatText(-2.5f), "-2.5");
}

TEST(JsonFloat, ReadsBackBitForBitForAwkwardValues) {
  const float values[] = {0.1f,         1.0f / 3.0f, -0.0f,       FLT_MIN, FLT_MAX,
                          FLT_TRUE_MIN, FLT_EPSILON, 16777217.0f, 123.45f, 0.01f};
  for (const float value : values) {
    ExpectFloatRoundTrip(value);
  }
}

TEST(JsonFloat, ReadsBackBitForBitForManyBitPatterns) {
  std::uint32_t state = 2463534242U;
  int checked = 0;
  for (int i = 0; i < 200000; ++i) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    float value;
    std::memcpy(&value, &state, sizeof value);
    if (!std::isfinite(value)) {
      continue;
    }
    const std::string text = FloatText(value);
    ASSERT_EQ(Bits(std::strtof(text.c_str(), nullptr)), Bits(value)) << text;
    ++checked;
  }
  EXPECT_GT(checked, 190000);
}

// Recently printed floats come from a cache: a value printed again, or a value whose slot another one took meanwhile,
// still gets the text std::to_chars gives it, and so does -0 after 0 (the same slot differs only in the sign bit).
TEST(JsonFloat, RepeatedAndCollidingValuesGetTheSameTextAsTheFirstTime) {
  std::uint32_t state = 88172645U;
  std::vector<float> values{0.0f, -0.0f, 0.0f, 1.0f, -1.0f, 1.0f};
  for (int i = 0; i < 20000; ++i) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    float value;
    std::memcpy(&value, &state, sizeof value);
    if (std::isfinite(value)) {
      values.push_back(value);
    }
  }
  for (int pass = 0; pass < 3; ++pass) {
    for (const float value : values) {
      char expected[32];
      const std::to_chars_result result = std::to_chars(expected, expected + sizeof expected, value);
      ASSERT_EQ(FloatText(value), std::string(expected, result.ptr)) << pass;
    }
  }
}

TEST(JsonNumbers, NonFiniteValuesAreWrittenAsNull) {
  const std::string text = Written([](JsonWriter& json, OutputBuffer&) {
    json.BeginArray();
    json.Double(std::numeric_limits<double>::quiet_NaN());
    json.Double(std::numeric_limits<double>::infinity());
    json.Double(-std::numeric_limits<double>::infinity());
    json.Float(std::numeric_limits<float>::quiet_NaN());
    json.Float(std::numeric_limits<float>::infinity());
    json.Float(-std::numeric_limits<float>::infinity());
    json.Double(0.5);
    json.Float(0.25f);
    json.EndArray();
  });
  EXPECT_EQ(text, "[null, null, null, null, null, null, 0.5, 0.25]");
}

TEST(OutputBuffer, DeliversSmallAndLargeWritesInOrder) {
  std::string expected;
  const std::string text = Written(
      [&](JsonWriter&, OutputBuffer& out) {
        for (int i = 0; i < 1000; ++i) {
          const std::string piece = std::to_string(i) + (i % 100 == 0 ? std::string(300, 'x') : ",");
          out.Write(piece);
          out.Put(';');
          expected += piece + ";";
        }
      },
      64);
  EXPECT_EQ(text, expected);
}

TEST(OutputBuffer, ReportsAFailedWriteOnFlush) {
  std::FILE* full = std::fopen("/dev/full", "w");
  if (full == nullptr) {
    GTEST_SKIP() << "/dev/full is not available";
  }
  {
    OutputBuffer out(full, 64);
    for (int i = 0; i < 100; ++i) {
      out.Write("0123456789");
    }
    EXPECT_FALSE(out.Flush());
    EXPECT_TRUE(out.failed());
    EXPECT_NE(out.error_number(), 0);
  }
  std::fclose(full);
}

}  // namespace
