#include "fsrl/json_reader.h"

#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace fsrl {
namespace {

using Json = nlohmann::json;

// Builds a JsonValue tree from the parser's events. The parser is not recursive, and neither is this builder (an
// explicit stack of open containers); but a tree is destroyed recursively, so nesting is refused beyond
// kMaxJsonDepth levels before it could cost the stack.
class TreeBuilder : public nlohmann::json_sax<Json> {
 public:
  explicit TreeBuilder(JsonValue& root) : root_(root) {}

  bool null() override {
    Add().kind = JsonValue::Kind::kNull;
    return true;
  }
  bool boolean(bool value) override {
    JsonValue& added = Add();
    added.kind = JsonValue::Kind::kBool;
    added.boolean = value;
    return true;
  }
  bool number_integer(number_integer_t value) override { return Number(std::to_string(value)); }
  bool number_unsigned(number_unsigned_t value) override { return Number(std::to_string(value)); }
  bool number_float(number_float_t /*value*/, const string_t& text) override { return Number(text); }
  bool string(string_t& value) override {
    JsonValue& added = Add();
    added.kind = JsonValue::Kind::kString;
    added.text = std::move(value);
    return true;
  }
  bool binary(binary_t& /*value*/) override { return false; }  // never produced by the text parser
  bool start_object(std::size_t /*elements*/) override {
    if (!CanOpen()) {
      return false;
    }
    JsonValue& added = Add();
    added.kind = JsonValue::Kind::kObject;
    open_.push_back(&added);
    return true;
  }
  bool key(string_t& name) override {
    open_.back()->members.emplace_back(std::move(name), JsonValue());
    return true;
  }
  bool end_object() override {
    open_.pop_back();
    return true;
  }
  bool start_array(std::size_t /*elements*/) override {
    if (!CanOpen()) {
      return false;
    }
    JsonValue& added = Add();
    added.kind = JsonValue::Kind::kArray;
    open_.push_back(&added);
    return true;
  }
  bool end_array() override {
    open_.pop_back();
    return true;
  }
  bool parse_error(std::size_t position, const std::string& /*last_token*/,
                   const nlohmann::detail::exception& exception) override {
    error_position_ = position;
    error_ = exception.what();
    return false;
  }

  std::size_t error_position() const { return error_position_; }
  std::size_t containers_opened() const { return containers_opened_; }
  const std::string& error() const { return error_; }

 private:
  bool CanOpen() {
    ++containers_opened_;
    if (open_.size() >= kMaxJsonDepth) {
      error_ = "nesting deeper than " + std::to_string(kMaxJsonDepth) + " levels";
      return false;
    }
    return true;
  }
  bool Number(const std::string& text) {
    JsonValue& added = Add();
    added.kind = JsonValue::Kind::kNumber;
    added.text = text;
    return true;
  }
  // The slot for the next value: the root, the member whose key came last, or a new array item. A container's
  // address stays valid while it is open: only the innermost open container grows.
  JsonValue& Add() {
    if (open_.empty()) {
      return root_;
    }
    JsonValue& container = *open_.back();
    if (container.kind == JsonValue::Kind::kObject) {
      return container.members.back().second;
    }
    container.items.emplace_back();
    return container.items.back();
  }

  JsonValue& root_;
  std::vector<JsonValue*> open_;
  std::size_t error_position_ = 0;
  std::size_t containers_opened_ = 0;
  std::string error_;
};

}  // namespace

double JsonValue::number() const { return kind == Kind::kNumber ? std::strtod(text.c_str(), nullptr) : 0.0; }

const JsonValue* JsonValue::Find(std::string_view key) const {
  for (const auto& member : members) {
    if (member.first == key) {
      return &member.second;
    }
  }
  return nullptr;
}

const JsonValue& JsonValue::operator[](std::string_view key) const {
  static const JsonValue kMissing;
  const JsonValue* value = Find(key);
  return value != nullptr ? *value : kMissing;
}

bool ParseJson(std::string_view text, JsonValue& value, std::string& error) {
  value = JsonValue();
  TreeBuilder builder(value);
  // Strict: one document and nothing after it but blanks.
  if (!Json::sax_parse(text.begin(), text.end(), &builder, nlohmann::detail::input_format_t::json, true)) {
    if (builder.error_position() == 0) {
      // Refused by the builder, not the parser: the parser has no position to give, so name the container.
      error = "container " + std::to_string(builder.containers_opened()) + ": " + builder.error();
    } else {
      error = "offset " + std::to_string(builder.error_position()) + ": " + builder.error();
    }
    value = JsonValue();
    return false;
  }
  return true;
}

}  // namespace fsrl
