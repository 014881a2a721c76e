// Comments: their text and their keyword, which formats keep in different ways.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace moxj {

struct MetadataBlock;

// From Latin-1.
std::string utf8Of(std::string_view latin1);
// None if the text has other characters. Bytes that are not UTF-8 are taken for Latin-1.
std::optional<std::string> latin1Of(std::string_view text);

// What precedes a comment where there is no place for its keyword: "Title: "; nothing if the keyword says nothing.
std::string headingOf(const MetadataBlock& comment);

}  // namespace moxj
