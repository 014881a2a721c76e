// JPEG 2000 files (ISO/IEC 15444-1): codestreams and JP2, over the functions of moxj.h: writer, reader, inspection.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "bytes.h"
#include "failure.h"
#include "j2k/params.h"
#include "pictures/image.h"
#include "progress.h"

namespace moxj::j2k {

// ---- Writing ----------------------------------------------------------------------------------------------------

struct EncodeOptions {
  bool lossless = false;        // 5/3 and RCT; otherwise 9/7 and ICT. Set where no size is given
  std::optional<double> ratio;  // size of the samples, whole bits each, to that of the file
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

// Throws Failure (limit) for pictures that the format or the memory does not hold.
Bytes encode(const Image& image, const EncodeOptions& options, const Limits& limits, const Progress& progress = {});

// ---- Reading ----------------------------------------------------------------------------------------------------

struct DecodeOptions {
  int reduce = 0;            // resolutions to leave out
  int layers = kMostLayers;  // to decode
  bool components = false;   // as the codestream has them: no palette, no order or colour of JP2
  int threads = 1;
};

// Throws Failure: refused for what is no JPEG 2000 file, damaged before any of the picture could be had, or of an
// unsupported kind (by name); limit for more pixels or memory than allowed, before they are taken. A picture of which
// only a part could be had comes with complete = false and a warning.
DecodedImage decode(std::span<const std::uint8_t> file, const Limits& limits, const Progress& progress = {},
                    const DecodeOptions& options = {});

// ---- Inspection -------------------------------------------------------------------------------------------------

struct Segment {
  int marker = 0;
  std::string name;          // "SIZ", "COD" ...
  std::uint64_t offset = 0;  // in the file
  std::uint64_t length = 0;  // bytes from there, of SOT those of the whole tile-part
  std::string detail;
};

struct Box {
  std::string type;
  std::uint64_t offset = 0, length = 0;
};

struct Info {
  bool boxed = false;  // JP2
  std::string colour;  // as JP2 has it: "sRGB", "grey", "sYCC", "ICC profile", else empty
  int palette = 0;     // entries
  std::vector<Box> boxes;
  Siz siz;
  TileParams params;  // of the main header
  std::vector<Segment> segments;
  std::uint64_t tileParts = 0;
  bool complete = true;
  std::string warning;
};

// Throws Failure (refused) only where the file is no JPEG 2000 file or has no main header that can be read.
Info inspect(std::span<const std::uint8_t> file);

}  // namespace moxj::j2k
