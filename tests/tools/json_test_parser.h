// A minimal JSON reader for checking tool output in tests: values keep number texts, so that a test can parse
// them with strtod/strtof and compare bit for bit.
#ifndef FSRL_TESTS_TOOLS_JSON_TEST_PARSER_H
#define FSRL_TESTS_TOOLS_JSON_TEST_PARSER_H

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fsrl_test {

struct JsonValue {
  enum class Kind { kNull, kBool, kNumber, kString, kArray, kObject };
  Kind kind = Kind::kNull;
  bool boolean = false;
  std::string text;  // number text or decoded string
  std::vector<JsonValue> items;
  std::vector<std::pair<std::string, JsonValue>> members;  // in document order

  double number() const { return std::strtod(text.c_str(), nullptr); }
  const JsonValue* Find(std::string_view key) const {
    for (const auto& member : members) {
      if (member.first == key) {
        return &member.second;
      }
    }
    return nullptr;
  }
  const JsonValue& operator[](std::string_view key) const {
    static const JsonValue kMissing;
    const JsonValue* value = Find(key);
    return value != nullptr ? *value : kMissing;
  }
};

// Parses one complete JSON text; returns false on any syntax error or trailing text.
class JsonParser {
 public:
  static bool Parse(std::string_view text, JsonValue& value) {
    JsonParser parser(text);
    parser.SkipBlanks();
    if (!parser.ParseValue(value)) {
      return false;
    }
    parser.SkipBlanks();
    return parser.pos_ == text.size();
  }

 private:
  explicit JsonParser(std::string_view text) : text_(text) {}

  void SkipBlanks() {
    while (pos_ < text_.size() &&
           (text_[pos_] == ' ' || text_[pos_] == '\n' || text_[pos_] == '\t' || text_[pos_] == '\r')) {
      ++pos_;
    }
  }
  bool Consume(char c) {
    SkipBlanks();
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }
  bool Literal(std::string_view word) {
    if (text_.substr(pos_, word.size()) == word) {
      pos_ += word.size();
      return true;
    }
    return false;
  }
  bool ParseString(std::string& out) {
    if (!Consume('"')) {
      return false;
    }
    while (pos_ < text_.size()) {
      const char c = text_[pos_++];
      if (c == '"') {
        return true;
      }
      if (static_cast<unsigned char>(c) < 0x20) {
        return false;
      }
      if (c != '\\') {
        out += c;
        continue;
      }
      if (pos_ >= text_.size()) {
        return false;
      }
      const char e = text_[pos_++];
      switch (e) {
        case '"':
          out += '"';
          break;
        case '\\':
          out += '\\';
          break;
        case '/':
          out += '/';
          break;
        case 'n':
          out += '\n';
          break;
        case 'r':
          out += '\r';
          break;
        case 't':
          out += '\t';
          break;
        case 'b':
          out += '\b';
          break;
        case 'f':
          out += '\f';
          break;
        case 'u': {
          if (pos_ + 4 > text_.size()) {
            return false;
          }
          const unsigned long code = std::strtoul(std::string(text_.substr(pos_, 4)).c_str(), nullptr, 16);
          pos_ += 4;
          if (code > 0x7F) {
            return false;  // the writers under test only escape control characters
          }
          out += static_cast<char>(code);
          break;
        }
        default:
          return false;
      }
    }
    return false;
  }
  bool ParseNumber(std::string& out) {
    const std::size_t start = pos_;
    if (pos_ < text_.size() && text_[pos_] == '-') {
      ++pos_;
    }
    const auto digits = [this]() {
      const std::size_t from = pos_;
      while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9') {
        ++pos_;
      }
      return pos_ - from;
    };
    const std::size_t integer_start = pos_;
    const std::size_t integer_digits = digits();
    if (integer_digits == 0 || (integer_digits > 1 && text_[integer_start] == '0')) {
      return false;
    }
    if (pos_ < text_.size() && text_[pos_] == '.') {
      ++pos_;
      if (digits() == 0) {
        return false;
      }
    }
    if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
      ++pos_;
      if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-')) {
        ++pos_;
      }
      if (digits() == 0) {
        return false;
      }
    }
    out = std::string(text_.substr(start, pos_ - start));
    return true;
  }
  bool ParseValue(JsonValue& value) {
    SkipBlanks();
    if (pos_ >= text_.size()) {
      return false;
    }
    const char c = text_[pos_];
    if (c == '{') {
      ++pos_;
      value.kind = JsonValue::Kind::kObject;
      if (Consume('}')) {
        return true;
      }
      do {
        std::string key;
        SkipBlanks();
        if (!ParseString(key) || !Consume(':')) {
          return false;
        }
        JsonValue member;
        if (!ParseValue(member)) {
          return false;
        }
        value.members.emplace_back(std::move(key), std::move(member));
      } while (Consume(','));
      return Consume('}');
    }
    if (c == '[') {
      ++pos_;
      value.kind = JsonValue::Kind::kArray;
      if (Consume(']')) {
        return true;
      }
      do {
        JsonValue item;
        if (!ParseValue(item)) {
          return false;
        }
        value.items.push_back(std::move(item));
      } while (Consume(','));
      return Consume(']');
    }
    if (c == '"') {
      value.kind = JsonValue::Kind::kString;
      return ParseString(value.text);
    }
    if (Literal("true")) {
      value.kind = JsonValue::Kind::kBool;
      value.boolean = true;
      return true;
    }
    if (Literal("false")) {
      value.kind = JsonValue::Kind::kBool;
      return true;
    }
    if (Literal("null")) {
      value.kind = JsonValue::Kind::kNull;
      return true;
    }
    value.kind = JsonValue::Kind::kNumber;
    return ParseNumber(value.text);
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace fsrl_test

#endif  // FSRL_TESTS_TOOLS_JSON_TEST_PARSER_H
