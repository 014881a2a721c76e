// printf into a string, plurals, and lines with labels.
#include "formats/text.h"

#include <cstdarg>
#include <cstdio>

namespace moxj::text {

std::string format(const char* pattern, ...) {
  va_list arguments, again;
  va_start(arguments, pattern);
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, pattern, arguments);
  va_end(arguments);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, pattern, again);
  va_end(again);
  return text;
}

std::string counted(std::uint64_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string line(const char* label, const std::string& text) { return format("%-13s %s\n", label, text.c_str()); }

}  // namespace moxj::text
