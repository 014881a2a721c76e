// JSON of descriptions. The library used elsewhere for JSON allocates in its destructors, so that it would end the
// process where memory is short; a description is also written only, never parsed.
#pragma once

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <ranges>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace moxj {

// A value. Members of objects keep the order in which they are set.
class Json {
 public:
  Json(std::nullptr_t = nullptr) : text_("null") {}
  Json(bool value) : text_(value ? "true" : "false") {}
  template <std::integral Number>
  Json(Number value) : text_(std::to_string(value)) {}
  Json(double value);  // finite, to six digits
  // Text from a file (a comment, for example) need not be valid UTF-8: what is not becomes U+FFFD.
  Json(std::string_view text);
  Json(const char* text) : Json(std::string_view(text)) {}
  Json(const std::string& text) : Json(std::string_view(text)) {}
  Json(std::initializer_list<std::pair<std::string_view, Json>> members) : kind_(Kind::object) {
    for (const auto& [name, value] : members) add(name, value);
  }
  template <std::ranges::input_range Range>
  requires std::integral<std::ranges::range_value_t<Range>> &&
      (!std::convertible_to<Range, std::string_view>)Json(const Range& numbers)
      : kind_(Kind::array) {
    for (const auto number : numbers) items_.emplace_back(number);
  }

  static Json array() {
    Json made;
    made.kind_ = Kind::array;
    return made;
  }
  void push_back(Json value) { items_.push_back(std::move(value)); }
  // A new member: names are not looked up.
  Json& operator[](std::string_view name) {
    kind_ = Kind::object;
    return add(name, nullptr);
  }

  void appendTo(std::string& text, std::size_t indent) const;

 private:
  enum class Kind { scalar, array, object };

  Json& add(std::string_view name, Json value);

  Kind kind_ = Kind::scalar;
  std::string text_;                // of a scalar
  std::vector<std::string> names_;  // of an object's items, as JSON
  std::vector<Json> items_;
};

// Indented, with a line break at the end.
std::string jsonText(const Json& json);

}  // namespace moxj
