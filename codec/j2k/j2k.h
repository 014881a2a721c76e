// JPEG 2000 files (ISO/IEC 15444-1), codestreams and JP2: encoder, decoder and inspection, built on moxj.h. References
// to Annexes in this directory are to that standard.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/problem.h"
#include "base/progress.h"
#include "j2k/params.h"
#include "pictures/image.h"

namespace moxj::j2k {

// ---- Writing ----------------------------------------------------------------------------------------------------

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
  int threads = 1;
};

// Throws Problem (limit) for pictures that are too large for the format or the memory limit.
Bytes encode(const Image& image, const EncodeOptions& options, const Limits& limits, const Progress& progress = {});

// ---- Reading ----------------------------------------------------------------------------------------------------

struct DecodeOptions {
  int reduce = 0;           // number of resolution levels to skip
  int layers = kMaxLayers;  // maximum number of layers to decode
  bool components = false;  // the components of the codestream, ignoring palette, channel order and colour of JP2
  int threads = 1;
};

// Decodes a file. If only a part of the picture can be decoded, the result has complete = false and a warning. Throws
// Problem: notThisFormat; damaged, if nothing of the picture can be decoded; unsupported, and names what is; limit for
// more pixels or memory than allowed, before memory is allocated.
DecodedImage decode(std::span<const std::uint8_t> file, const Limits& limits, const Progress& progress = {},
                    const DecodeOptions& options = {});

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
  Siz siz;
  TileParams params;  // of the main header
  std::vector<Segment> segments;
  std::uint64_t tileParts = 0;
};

// Throws Problem only if the file is not JPEG 2000 or its main header cannot be read.
Info inspect(std::span<const std::uint8_t> file);

}  // namespace moxj::j2k
