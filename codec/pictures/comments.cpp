// Latin-1 and UTF-8, and headings.
#include "pictures/comments.h"

#include "pictures/metadata.h"

namespace moxj {

std::string utf8Of(std::string_view latin1) {
  std::string text;
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80) text += static_cast<char>(0xC0 | byte >> 6);
    text += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
  }
  return text;
}

std::optional<std::string> latin1Of(std::string_view text) {
  std::string latin1;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      latin1 += text[i];
      continue;
    }
    const std::size_t more = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
    if (byte < 0xC2 || byte > 0xF4 || i + more >= text.size()) return std::string(text);
    for (std::size_t j = 1; j <= more; ++j)
      if ((text[i + j] & 0xC0) != 0x80) return std::string(text);
    if (byte > 0xC3) return std::nullopt;
    latin1 += static_cast<char>(byte << 6 | (text[++i] & 0x3F));
  }
  return latin1;
}

std::string headingOf(const MetadataBlock& comment) {
  return comment.name.empty() || comment.name == "Comment" ? "" : comment.name + ": ";
}

}  // namespace moxj
