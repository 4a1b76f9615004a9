// Reading tool output in tests through the toolkit's JSON reader (the nlohmann parser underneath): values keep
// their number texts, so that a test can parse them with strtod/strtof and compare bit for bit.
#ifndef FSRL_TESTS_TOOLS_JSON_TEST_PARSER_H
#define FSRL_TESTS_TOOLS_JSON_TEST_PARSER_H

#include <string>
#include <string_view>

#include "fsrl/json_reader.h"

namespace fsrl_test {

using JsonValue = fsrl::JsonValue;

struct JsonParser {
  // Parses one complete JSON text; returns false on any syntax error or trailing text.
  static bool Parse(std::string_view text, JsonValue& value) {
    std::string error;
    return fsrl::ParseJson(text, value, error);
  }
};

}  // namespace fsrl_test

#endif  // FSRL_TESTS_TOOLS_JSON_TEST_PARSER_H
