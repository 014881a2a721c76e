// JPEG 2000 files (ISO/IEC 15444-1), codestreams and JP2: encoder, decoder and inspection, built on moxj.h. References
// to Annexes in this directory are to that standard.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/budget.h"
#include "base/bytes.h"
#include "base/input.h"
#include "base/outcome.h"
#include "base/problem.h"
#include "j2k/params.h"
#include "pictures/picture.h"
#include "pictures/work.h"

namespace moxj::j2k {

// ---- Writing ----------------------------------------------------------------------------------------------------

inline constexpr int kMaxWrittenComponents = 16;
// What block coders and wavelets of our own and of other decoders carry: coefficients of at most 31 magnitude bits, to
// which wavelet and component transform add some, and samples of 24 bits in the 9/7 wavelet.
inline constexpr int kMaxLosslessBits = 31, kMaxTransformedBits = 27, kMaxLossyBits = 24;

// What the quality layers are to have: a size (as a ratio or in bits per pixel) or a PSNR. One value is that of the
// last layer, several are those of all layers.
struct Goals {
  enum Kind { none, ratio, bitsPerPixel, psnr };
  Kind kind = none;
  std::vector<double> values = {};  // size of the samples, counted in bits, over that of the file; ...; dB

  static constexpr double kEverything = 0;  // the last layer is without loss
  bool given() const { return kind != none; }
  bool endsLossless() const { return given() && values.back() == kEverything; }
};

// How tiles are divided into tile-parts: at every change of the resolution, the layer or the component.
enum class Division { whole, resolutions, layers, components };

// Of the picture, in pixels.
struct InterestRegion {
  int x = 0, y = 0, width = 0, height = 0;
  bool empty() const { return width <= 0 || height <= 0; }
};

struct PrecinctSize {
  int width, height;  // powers of two
};

struct EncodeOptions {
  bool lossless = false;  // 5/3 and RCT, otherwise 9/7 and ICT; set if there is no goal
  Goals goals = {};
  int levels = 5;
  int blockWidth = 64, blockHeight = 64;
  int tileWidth = 0, tileHeight = 0;  // 0: one tile
  Order order = Order::lrcp;
  int layers = 1;
  int modes = 0;
  bool boxes = true;  // JP2; otherwise the codestream alone
  // From the highest resolution down; each further resolution has half the last size. Empty: one precinct for each.
  std::vector<PrecinctSize> precincts = {};
  bool sop = false, eph = false;  // markers at the start of packets and after their headers
  bool plt = false, tlm = false;  // the lengths of packets and of tile-parts
  Division tileParts = Division::whole;
  InterestRegion roi = {};   // its coefficients are shifted above all others (max-shift); empty: none
  bool visual = false;       // distortions are weighted by the sensitivity of the eye
  std::string comment = {};  // COM; empty: none
  bool codeAll = false;      // all passes before some are chosen: the file is the same, for tests
};

// Whether the planes have the sizes that follow from their sub-sampling, as encode() needs them.
bool isOnGrid(const Picture& picture);

// Throws Problem (unsupported or badOption) for planes that cannot be written with these options, by number or depth.
void checkWritable(const Picture& layout, const EncodeOptions& options);

// Writes a picture whose planes are on the grid; a size that the lossless file does not exceed means lossless, and so
// does a PSNR that the 9/7 wavelet does not reach. `loaded` is called as soon as the samples are not needed any more.
// Returns notes. Throws Problem (limit) for pictures that are too large for the format or the memory limit.
std::vector<std::string> encode(const Picture& picture, const EncodeOptions& options, Work& work, Output& output,
                                const std::function<void()>& loaded = {});

// Writes a picture whose rows come from top to bottom, with memory for some of them and for all code-blocks; those of a
// goal are truncated as they come, so that they fit. The file is that of encode(), unless its goal is out of reach with
// that memory, or the lossless file would be smaller.
class RowEncoder {
 public:
  // Whether it should be preferred to encode(), which needs memory for all samples twice.
  static bool isBetter(const Picture& layout, const EncodeOptions& options, const Budget& budget);

  // The planes are on the grid. Writes to `output` as soon as it can.
  RowEncoder(const Picture& layout, const EncodeOptions& options, Work& work, Output& output);
  ~RowEncoder();
  // As in RowSink.
  void rows(const Picture& band);
  void finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// ---- Reading ----------------------------------------------------------------------------------------------------

struct DecodeOptions {
  int reduce = 0;                // number of resolution levels to skip
  int layers = kMaxLayers;       // maximum number of layers to decode
  bool components = false;       // the components of the codestream, ignoring palette, channel order and colour of JP2
  bool upsample = false;         // a picture of the reference grid, also if all components are sub-sampled alike
  Region region = {};            // of the picture before it is reduced
  std::optional<int> tile = {};  // this tile alone, counted from 0; not with a region
};

struct Decoded : Outcome {
  Picture picture;  // of a region, some more pixels around Picture::wanted
};

// Decodes a file. If only a part of the picture can be decoded, the result has complete = false and a warning. Throws
// Problem: notThisFormat; damaged, if nothing of the picture can be decoded; unsupported, and names what is; limit for
// more pixels or memory than allowed, before memory is allocated.
//
// Of a region or a tile, only the tiles, code-blocks and coefficients are decoded that it needs. A pixel of the reduced
// picture belongs to it if the point of the reference grid that the pixel stands for, its coordinates times 2^reduce,
// lies in it; likewise the samples of sub-sampled components, if components are asked for.
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
