/// @file
/// @brief Reading JSON documents (a replay's lines, a test's expectations) into a small value tree, through the
/// nlohmann JSON parser. Numbers keep the text they were written with, so that a reader can parse a float with
/// strtof and a time stamp digit by digit instead of through a double that would round it.
#ifndef FSRL_JSON_READER_H
#define FSRL_JSON_READER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fsrl {

/// Deepest nesting of arrays and objects ParseJson takes: far beyond any document the tools read, and shallow
/// enough that destroying the tree (recursive) never threatens the stack.
constexpr std::size_t kMaxJsonDepth = 512;

/// One JSON value. Object members stay in document order (duplicates included: Find returns the first).
struct JsonValue {
  enum class Kind { kNull, kBool, kNumber, kString, kArray, kObject };
  Kind kind = Kind::kNull;
  bool boolean = false;
  std::string text;  ///< a number's text as written, or a string decoded to UTF-8
  std::vector<JsonValue> items;
  std::vector<std::pair<std::string, JsonValue>> members;

  /// The number as strtod reads its text (0 when not a number).
  double number() const;
  /// The member @p key of an object, or null when there is none.
  const JsonValue* Find(std::string_view key) const;
  /// The member @p key, or a null value when there is none.
  const JsonValue& operator[](std::string_view key) const;
  bool is_number() const { return kind == Kind::kNumber; }
  bool is_string() const { return kind == Kind::kString; }
};

/// @brief Parses @p text, one complete JSON document (blanks around it allowed, nothing else).
/// @return false on a syntax error; @p error then says where (byte offset, 1-based) and why
bool ParseJson(std::string_view text, JsonValue& value, std::string& error);

}  // namespace fsrl

#endif  // FSRL_JSON_READER_H
