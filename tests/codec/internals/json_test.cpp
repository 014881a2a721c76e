// JSON of descriptions: escapes, indentation, and text that is not UTF-8.
#include "formats/json.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using moxj::Json;
using moxj::jsonText;

TEST(JsonText, IsIndented) {
  Json json;
  json["number"] = -5;
  json["none"] = nullptr;
  json["yes"] = true;
  json["list"] = std::array<std::uint16_t, 2>{1, 65535};
  json["object"] = {{"name", "value"}, {"empty", Json::array()}};
  EXPECT_EQ(
      "{\n  \"number\": -5,\n  \"none\": null,\n  \"yes\": true,\n  \"list\": [\n    1,\n    65535\n  ],\n"
      "  \"object\": {\n    \"name\": \"value\",\n    \"empty\": []\n  }\n}\n",
      jsonText(json));
}

TEST(JsonText, IsEscaped) {
  EXPECT_EQ("\"\\\"\\\\\\b\\f\\n\\r\\t\\u0001\\u001f /\x7F\"\n", jsonText(Json("\"\\\b\f\n\r\t\x01\x1F /\x7F")));
}

// Each longest part that could begin a character is replaced once.
TEST(JsonText, IsAlwaysUtf8) {
  const std::string bad = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> cases[] = {
      {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"\x80", bad},
      {"\xC0\xAF", bad + bad},
      {"\xE2\x82", bad},
      {"\xE2\x82z", bad + "z"},
      {"\xED\xA0\x80", bad + bad + bad},
      {"\xF4\x90\x80\x80", bad + bad + bad + bad},
      {"\xF0\x9F\xE2\x82\xAC", bad + "\xE2\x82\xAC"},
      {"\xFF\xFE", bad + bad},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ("\"" + expected + "\"\n", jsonText(Json(text)));
}

}  // namespace
