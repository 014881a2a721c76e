// printf into a string.
#include "cli/text.h"

#include <cstdarg>
#include <cstdio>

namespace moxj::cli {

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

}  // namespace moxj::cli
