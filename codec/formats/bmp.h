// BMP files: what their headers say.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "formats/formats.h"
#include "pictures/words.h"

namespace moxj::bmp {

// The bits of a colour in a word of 16 or 32 bits.
struct Field {
  int shift = 0, bits = 0;  // no bits: the colour is not there
};

enum class Coding { none, rle8, rle4 };

struct Header {
  int width = 0, height = 0;
  bool topDown = false;
  int bits = 0;  // per pixel
  Coding coding = Coding::none;
  std::vector<std::array<std::uint8_t, 3>> palette;  // red, green, blue; empty from 16 bits on
  std::array<Field, 4> fields = {};                  // red, green, blue, opacity; of 16 and 32 bits
  std::uint64_t raster = 0;                          // offset of the samples
  std::shared_ptr<const Metadata> metadata;

  bool greyPalette() const;
  bool hasOpacity() const { return fields[3].bits != 0; }
  // The kind of the words that pixels of 16 bits are; others have fields of their own.
  Words words() const;
  // Of the samples that the pixels become.
  int depth() const;
  std::uint64_t rowBytes() const {
    return (static_cast<std::uint64_t>(width) * static_cast<unsigned>(bits) + 31) / 32 * 4;
  }
};

// Throws Problem. `notes` gets what is left out.
Header readHeader(ByteSpan file, Work& work, std::vector<std::string>& notes);

// Grey if all colours of a palette are, otherwise RGB, with opacity if there is a mask for it. Rows that are missing
// are black. `native`: words become YCbCr.
std::unique_ptr<RowSource> reader(Input& input, bool native, Work& work);

// From the bottom up, which all programs can read: grey as a palette of 256, RGB of 24 bits and, with opacity, 32 bits.
// Words: RGB, or planes of YCbCr, of 16 bits; `notes` gets what they lose.
std::unique_ptr<RowSink> writer(Output& output, Words words, Work& work, std::vector<std::string>& notes);

// Words in a file have the lowest byte first: makes it the order of the machine, and the other way.
void swapIfBigEndian(std::uint8_t* words, std::size_t bytes);

}  // namespace moxj::bmp
