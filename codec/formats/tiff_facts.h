// What the first directory of a TIFF file says about its picture.
#pragma once

#if MOXJ_LIBTIFF

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "formats/tiff_library.h"
#include "pictures/picture.h"

namespace moxj::tiff {

// Chunks are strips or tiles.
struct Facts {
  std::uint32_t width = 0, height = 0;
  int samples = 1;  // of a pixel
  int bits = 1;     // of a sample
  std::uint16_t format = 0, photometric = 0, compression = 0;
  bool separate = false;  // each sample has chunks of its own
  bool tiled = false;
  std::uint32_t chunkWidth = 0, chunkHeight = 0;
  std::uint16_t horizontal = 1, vertical = 1;  // sub-sampling of YCbCr
  std::vector<std::uint16_t> extraSamples;     // types of the samples after the colours
  bool several = false;                        // pictures

  // ---- What follows from it ----
  Colour colour = Colour::unknown;  // of the samples; YCbCr and palettes become RGB
  int colours = 0;                  // how many samples make the colour
  int opacity = -1;                 // which sample is opacity
  bool premultiplied = false;

  bool isSigned() const { return format == SAMPLEFORMAT_INT; }
  bool palette() const { return photometric == PHOTOMETRIC_PALETTE; }
  bool ycbcr() const { return photometric == PHOTOMETRIC_YCBCR; }
  bool otherInks() const { return photometric == PHOTOMETRIC_SEPARATED && colour != Colour::cmyk; }
  bool jpeg() const { return compression == COMPRESSION_JPEG; }
  std::uint32_t chunksAcross() const { return (width - 1) / chunkWidth + 1; }
  std::uint32_t chunksDown() const { return (height - 1) / chunkHeight + 1; }
  int samplesOfChunk() const { return separate ? 1 : samples; }
};

// Throws Problem (damaged) for what makes no sense.
Facts factsOf(const Session& session);

// Throws Problem (unsupported) for what cannot be decoded.
void checkSupported(const Facts& facts, const Session& session);

// "RGB, transparent, LZW, strips of 16 rows"
std::string kindOf(const Facts& facts);

// The colours of a palette, of 8 or 16 bits.
struct Palette {
  int bits = 8;
  std::vector<std::array<std::uint16_t, 3>> colours;
};
Palette paletteOf(const Facts& facts, const Session& session);

}  // namespace moxj::tiff

#endif
