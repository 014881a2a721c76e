// JPEG 2000 files (ISO/IEC 15444-1), codestreams and JP2: encoder, decoder and inspection, built on moxj.h. References
// to Annexes in this directory are to that standard.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/input.h"
#include "base/outcome.h"
#include "base/problem.h"
#include "j2k/params.h"
#include "pictures/picture.h"
#include "pictures/work.h"

namespace moxj::j2k {

// ---- Writing ----------------------------------------------------------------------------------------------------

inline constexpr int kMaxWrittenComponents = 4;
inline constexpr int kMaxWrittenBits = 16;

struct EncodeOptions {
  bool lossless = false;        // 5/3 and RCT, otherwise 9/7 and ICT; set if no size is given
  std::optional<double> ratio;  // size of the samples, counted in bits, over the size of the file
  std::optional<double> bitsPerPixel;
  int levels = 5;
  int blockWidth = 64, blockHeight = 64;
  int tileWidth = 0, tileHeight = 0;  // 0: one tile
  Order order = Order::lrcp;
  int layers = 1;
  int modes = 0;
  bool boxes = true;  // JP2; otherwise the codestream alone
};

// Whether the planes have the sizes that follow from their sub-sampling, as encode() needs them.
bool isOnGrid(const Picture& picture);

// Writes a picture of at most 4 planes of 1 to 16 bits, which are on the grid; a size that the lossless file does not
// exceed means lossless. `loaded` is called as soon as the samples are not needed any more. Returns notes. Throws
// Problem (limit) for pictures that are too large for the format or the memory limit.
std::vector<std::string> encode(const Picture& picture, const EncodeOptions& options, Work& work, Output& output,
                                const std::function<void()>& loaded = {});

// ---- Reading ----------------------------------------------------------------------------------------------------

struct DecodeOptions {
  int reduce = 0;           // number of resolution levels to skip
  int layers = kMaxLayers;  // maximum number of layers to decode
  bool components = false;  // the components of the codestream, ignoring palette, channel order and colour of JP2
  bool upsample = false;    // a picture of the reference grid, also if all components are sub-sampled alike
};

struct Decoded : Outcome {
  Picture picture;
};

// Decodes a file. If only a part of the picture can be decoded, the result has complete = false and a warning. Throws
// Problem: notThisFormat; damaged, if nothing of the picture can be decoded; unsupported, and names what is; limit for
// more pixels or memory than allowed, before memory is allocated.
Decoded decode(ByteSpan file, const DecodeOptions& options, Work& work);

// ---- Inspection -------------------------------------------------------------------------------------------------

struct Segment {
  int marker = 0;
  std::string name;          // "SIZ", "COD" ...
  std::uint64_t offset = 0;  // in the file
  std::uint64_t length = 0;  // bytes from there; of SOT, of the whole tile-part
  std::string detail;
};

struct Box {
  std::string type;
  std::uint64_t offset = 0, length = 0;
};

// Not complete if the file is truncated or damaged.
struct Info : Outcome {
  bool boxed = false;  // JP2
  std::string colour;  // of JP2: "sRGB", "grey", "sYCC", "colour space 12 (CMYK)", "ICC profile"; otherwise empty
  int palette = 0;     // number of entries
  std::vector<Box> boxes;
  Coord width = 0, height = 0;  // of the picture
  std::shared_ptr<const Metadata> metadata;
  Siz siz;
  TileParams params;  // of the main header
  std::vector<Segment> segments;
  std::uint64_t tileParts = 0;
};

// Throws Problem only if the file is not JPEG 2000 or its main header cannot be read.
Info inspect(ByteSpan file, Budget& budget);

}  // namespace moxj::j2k
