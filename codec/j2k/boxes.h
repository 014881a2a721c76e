// Reads, applies and writes the boxes of JP2 files (Annex I).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "j2k/j2k.h"
#include "j2k/metadata.h"

namespace moxj::j2k {

struct Palette {
  struct Column {
    int bits = 8;
    bool isSigned = false;
    std::vector<std::int32_t> values;
  };
  std::vector<Column> columns;
};

// cmap: the source of a channel.
struct Mapping {
  static constexpr int kDirect = -1;  // the component is used without the palette
  int component = 0;
  int column = kDirect;
};

// cdef: the meaning of a channel.
struct Channel {
  int number = 0, kind = 0, association = 0;
};

struct Boxes {
  bool boxed = false;
  ByteSpan codestream;
  std::size_t codestreamOffset = 0;
  Colour colour = Colour::unknown;
  std::string colourName;
  std::optional<std::uint32_t> colourSpace;  // its number, if there is no profile
  ByteSpan colourParameters;                 // what follows the number
  std::optional<Palette> palette;
  std::vector<Mapping> mappings;
  std::vector<Channel> channels;
  std::vector<Box> list;
  std::vector<std::string> notes;  // of what is left out
  BoxMetadata metadata;
};

// A bare codestream is accepted too. Throws Problem.
Boxes readBoxes(ByteSpan file);

// Whether a file begins like a JP2 file, with or without a signature box.
bool isBoxed(ByteSpan first);

// Applies palette, channel order and colour space to the components of the codestream. Returns what cannot be applied,
// so that the picture is wrong; empty if all is well. Adds to the notes.
std::string applyBoxes(Boxes& boxes, Picture& picture, Budget& budget);

// Writes the beginning of a JP2 file, up to its codestream. Of the metadata, only blocks that have a place.
void writeBoxes(Bytes& file, const Picture& picture);

}  // namespace moxj::j2k
