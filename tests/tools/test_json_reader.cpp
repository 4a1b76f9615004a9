#include <string>

#include <gtest/gtest.h>

#include "fsrl/json_reader.h"

namespace {

using fsrl::JsonValue;
using fsrl::ParseJson;

TEST(JsonReader, NumbersKeepTheTextTheyWereWrittenWith) {
  JsonValue value;
  std::string error;
  ASSERT_TRUE(
      ParseJson(R"({"t": 1700000000.050000, "f": 0.1, "big": 18364758544493064720, "n": -1, "e": 1e-7})", value, error))
      << error;
  EXPECT_EQ(value["t"].text, "1700000000.050000");
  EXPECT_EQ(value["f"].text, "0.1");
  EXPECT_EQ(value["big"].text, "18364758544493064720");
  EXPECT_EQ(value["n"].text, "-1");
  EXPECT_EQ(value["e"].text, "1e-7");
  EXPECT_EQ(value["f"].number(), 0.1);
}

TEST(JsonReader, ObjectsKeepDocumentOrderAndFindGivesTheFirstOfDuplicateKeys) {
  JsonValue value;
  std::string error;
  ASSERT_TRUE(ParseJson(R"({"b": 1, "a": [true, null, "x\n\u00e9"], "b": 2})", value, error)) << error;
  ASSERT_EQ(value.members.size(), 3U);
  EXPECT_EQ(value.members[0].first, "b");
  EXPECT_EQ(value.members[1].first, "a");
  EXPECT_EQ(value["b"].text, "1");
  const JsonValue& items = value["a"];
  ASSERT_EQ(items.kind, JsonValue::Kind::kArray);
  ASSERT_EQ(items.items.size(), 3U);
  EXPECT_TRUE(items.items[0].boolean);
  EXPECT_EQ(items.items[1].kind, JsonValue::Kind::kNull);
  EXPECT_EQ(items.items[2].text, "x\n\xc3\xa9");
  EXPECT_EQ(value["missing"].kind, JsonValue::Kind::kNull);
  EXPECT_EQ(value.Find("missing"), nullptr);
}

TEST(JsonReader, TrailingTextIsAnErrorNamingItsOffset) {
  JsonValue value;
  std::string error;
  EXPECT_FALSE(ParseJson(R"({"a": 1} x)", value, error));
  EXPECT_NE(error.find("offset 10"), std::string::npos) << error;
  EXPECT_EQ(value.kind, JsonValue::Kind::kNull);
}

TEST(JsonReader, TruncatedDocumentIsAnError) {
  JsonValue value;
  std::string error;
  EXPECT_FALSE(ParseJson(R"({"a": [1, 2)", value, error));
  EXPECT_FALSE(error.empty());
  EXPECT_FALSE(ParseJson("", value, error));
}

TEST(JsonReader, NestingUpToTheLimitReadsBack) {
  const std::string text = std::string(fsrl::kMaxJsonDepth, '[') + std::string(fsrl::kMaxJsonDepth, ']');
  JsonValue value;
  std::string error;
  ASSERT_TRUE(ParseJson(text, value, error)) << error;
  std::size_t levels = 1;
  for (const JsonValue* level = &value; !level->items.empty(); level = &level->items[0]) {
    ++levels;
  }
  EXPECT_EQ(levels, fsrl::kMaxJsonDepth);
}

TEST(JsonReader, NestingBeyondTheLimitIsRefusedWithoutCrashing) {
  const std::size_t depth = 1000000;
  const std::string text = std::string(depth, '[') + std::string(depth, ']');
  JsonValue value;
  std::string error;
  EXPECT_FALSE(ParseJson(text, value, error));
  EXPECT_NE(error.find("nesting deeper than 512"), std::string::npos) << error;
}

}  // namespace
