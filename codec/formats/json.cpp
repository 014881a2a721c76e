// Escapes, indentation, and the repair of text that is not UTF-8.
#include "formats/json.h"

#include <cstdint>
#include <cstdio>

namespace moxj {

namespace {

constexpr std::size_t kStep = 2;

// The bytes that may follow the first one of a character, for the first of them; the others are 0x80 to 0xBF.
struct Lead {
  std::uint8_t first, last;
  int following;
  std::uint8_t min, max;
};
constexpr Lead kLeads[] = {{0x00, 0x7F, 0, 0, 0},       {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF},
                           {0xE1, 0xEC, 2, 0x80, 0xBF}, {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF},
                           {0xF0, 0xF0, 3, 0x90, 0xBF}, {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F}};

struct Character {
  std::size_t length = 1;  // if it is not good, of the part that could begin a character, but at least 1
  bool good = false;
};

Character characterAt(std::string_view text, std::size_t at) {
  const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  for (const Lead& lead : kLeads) {
    if (byteAt(at) < lead.first || byteAt(at) > lead.last) continue;
    Character character;
    for (int i = 0; i < lead.following; ++i, ++character.length) {
      const std::size_t next = at + character.length;
      if (next == text.size()) return character;
      if (byteAt(next) < (i == 0 ? lead.min : 0x80) || byteAt(next) > (i == 0 ? lead.max : 0xBF)) return character;
    }
    character.good = true;
    return character;
  }
  return {};
}

// An ASCII character.
std::string escaped(char c) {
  constexpr std::string_view kSpecial = "\"\\\b\f\n\r\t", kLetters = "\"\\bfnrt";
  if (const std::size_t special = kSpecial.find(c); special != std::string_view::npos)
    return std::string("\\") + kLetters[special];
  if (c >= 0x20) return std::string(1, c);
  char code[8];
  std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
  return code;
}

std::string quoted(std::string_view text) {
  std::string json = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const Character character = characterAt(text, at);
    if (!character.good)
      json += "\xEF\xBF\xBD";
    else if (character.length == 1)
      json += escaped(text[at]);
    else
      json += text.substr(at, character.length);
    at += character.length;
  }
  return json += '"';
}

}  // namespace

Json::Json(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  text_ = text;
}

Json::Json(std::string_view text) : text_(quoted(text)) {}

Json& Json::add(std::string_view name, Json value) {
  names_.push_back(quoted(name));
  items_.push_back(std::move(value));
  return items_.back();
}

void Json::appendTo(std::string& text, std::size_t indent) const {
  if (kind_ == Kind::scalar) {
    text += text_;
    return;
  }
  const bool object = kind_ == Kind::object;
  text += object ? '{' : '[';
  for (std::size_t i = 0; i < items_.size(); ++i) {
    text.append(i == 0 ? "\n" : ",\n").append(indent + kStep, ' ');
    if (object) text.append(names_[i]).append(": ");
    items_[i].appendTo(text, indent + kStep);
  }
  if (!items_.empty()) text.append("\n").append(indent, ' ');
  text += object ? '}' : ']';
}

std::string jsonText(const Json& json) {
  std::string text;
  json.appendTo(text, 0);
  return text += '\n';
}

}  // namespace moxj
