// The JPEG 2000 encoder: transforms and codes the tiles one after the other, then truncates the code-blocks of all
// tiles to the requested size and writes the packets.
#include <algorithm>
#include <bit>
#include <cmath>
#include <deque>
#include <memory>

#include "base/budget.h"
#include "base/workers.h"
#include "j2k/blockencoder.h"
#include "j2k/boxes.h"
#include "j2k/j2k.h"
#include "j2k/markerwriter.h"
#include "j2k/norms.h"
#include "j2k/packetwriter.h"
#include "j2k/ratecontrol.h"
#include "j2k/samples.h"
#include "j2k/wavelet.h"

namespace moxj::j2k {

namespace {

constexpr std::size_t kMaxWrittenComponents = 4;
constexpr int kMaxTiles = 65535;
constexpr int kGuardBits = 2;
// The quantiser step of a band with norm 1, in sample values: fine enough for file sizes close to the lossless one.
constexpr double kBaseStep = 0.5;
// Limits the quantiser steps to 2^-8 (before the gain of the band), because block coders have 31 bits.
constexpr int kMaxStepBits = 8;

Siz sizOf(const Image& image, const EncodeOptions& options) {
  Siz siz;
  siz.image = {0, 0, image.width, image.height};
  siz.tileWidth = options.tileWidth > 0 ? options.tileWidth : image.width;
  siz.tileHeight = options.tileHeight > 0 ? options.tileHeight : image.height;
  for (const Component& c : image.components) siz.components.push_back({c.bits, c.isSigned, c.dx, c.dy});
  if (siz.tiles() > kMaxTiles)
    fail(Kind::limit, std::to_string(siz.tiles()) + " tiles: JPEG 2000 allows at most 65535");
  return siz;
}

// Whether the components have the sizes that follow from their sub-sampling, and a colour space that is written.
bool isOnGrid(const Image& image) {
  return image.colour != Colour::ycc && std::ranges::all_of(image.components, [&](const Component& c) {
           return c.width == ceilDiv(image.width, c.dx) && c.height == ceilDiv(image.height, c.dy);
         });
}

bool canTransform(const Image& image) {
  if (image.components.size() < 3 || image.colour != Colour::rgb) return false;
  const Component& first = image.components[0];
  return std::all_of(image.components.begin(), image.components.begin() + 3, [&](const Component& c) {
    return c.width == first.width && c.height == first.height && c.bits == first.bits && c.isSigned == first.isSigned;
  });
}

// The number of decompositions and the orientation of a band, from its index in the quantisation marker segments.
struct BandPlace {
  int levels;
  Orientation orientation;
};
BandPlace bandPlace(int index, int levels) {
  if (index == 0) return {levels, ll};
  return {levels - (index - 1) / 3, static_cast<Orientation>((index - 1) % 3 + 1)};
}

int gainOf(Orientation orientation) { return orientation == ll ? 0 : orientation == hh ? 2 : 1; }

Quantisation quantisationOf(int bits, bool reversible, bool transformed, int levels) {
  Quantisation quantisation;
  quantisation.guardBits = kGuardBits;
  quantisation.kind = reversible ? Quantisation::none : Quantisation::expounded;
  for (int index = 0; index <= 3 * levels; ++index) {
    const BandPlace place = bandPlace(index, levels);
    const int range = bits + gainOf(place.orientation);
    std::uint16_t& step = quantisation.steps[static_cast<std::size_t>(index)];
    if (reversible) {  // the RCT adds a bit
      step = static_cast<std::uint16_t>((range + transformed) << 11);
      continue;
    }
    const double min = std::ldexp(1.0, gainOf(place.orientation) - kMaxStepBits);
    const double wanted = std::max(kBaseStep / bandNorm(false, place.orientation, place.levels), min);
    const int exponent = static_cast<int>(std::floor(std::log2(wanted)));
    const int mantissa = static_cast<int>((std::ldexp(wanted, -exponent) - 1) * 2048);
    step = static_cast<std::uint16_t>((range - exponent) << 11 | mantissa);
  }
  return quantisation;
}

TileParams paramsFor(const Image& image, const EncodeOptions& options) {
  TileParams params;
  params.style.order = options.order;
  params.style.layers = options.layers;
  params.style.transform = canTransform(image);
  CodingStyle coding;
  coding.levels = options.levels;
  coding.blockWidthLog = std::countr_zero(static_cast<unsigned>(options.blockWidth));
  coding.blockHeightLog = std::countr_zero(static_cast<unsigned>(options.blockHeight));
  coding.modes = options.modes;
  coding.reversible = options.lossless;
  for (std::size_t c = 0; c < image.components.size(); ++c) {
    params.coding.push_back(coding);
    params.quantisation.push_back(
        quantisationOf(image.components[c].bits, options.lossless, params.style.transform && c < 3, options.levels));
    params.shift.push_back(0);
  }
  return params;
}

// Runs the transforms of a tile and encodes its code-blocks. A block waits for the transform of its component.
class TileEncoder {
 public:
  TileEncoder(Tile& tile, std::span<Plane> planes, std::deque<CodedBlock>& coded, Workers& workers,
              std::vector<std::unique_ptr<BlockEncoder>>& encoders)
      : tile_(tile), planes_(planes), workers_(workers), encoders_(encoders), left_(planes.size()) {
    for (std::size_t c = 0; c < planes.size(); ++c) {
      left_[c].set(1);
      tasks_.push_back({c, nullptr, nullptr, 0, nullptr});
    }
    for (std::size_t c = 0; c < planes.size(); ++c) addBlocks(c, coded);
  }

  void run() {
    workers_.forEach(tasks_.size(), [&](int worker, std::size_t index) { work(worker, tasks_[index]); });
  }

 private:
  struct Task {
    std::size_t component;
    const Block* block;  // null: the transform
    const Band* band;
    double weight;
    CodedBlock* coded;
  };

  void addBlocks(std::size_t c, std::deque<CodedBlock>& coded) {
    TileComponent& component = tile_.components[c];
    const bool reversible = component.coding.reversible;
    for (Resolution& resolution : component.resolutions)
      for (Precinct& precinct : resolution.precincts)
        for (PrecinctBand& part : precinct.bands) {
          const Band& band = resolution.bands[static_cast<std::size_t>(part.band)];
          const BandPlace place = bandPlace(band.index, component.coding.levels);
          const double norm = bandNorm(reversible, place.orientation, place.levels) *
                              componentNorm(tile_.style.transform, reversible, static_cast<int>(c)) * band.step;
          for (Block& block : part.blocks) {
            block.coded = &coded.emplace_back();
            tasks_.push_back({c, &block, &band, norm * norm, &coded.back()});
          }
        }
  }

  void work(int worker, const Task& task) {
    Plane& plane = planes_[task.component];
    const TileComponent& component = tile_.components[task.component];
    if (task.block == nullptr) {
      const std::unique_ptr<Countdown, void (*)(Countdown*)> done(&left_[task.component],
                                                                  [](Countdown* c) { c->done(); });
      transformForward(plane, component);
      return;
    }
    left_[task.component].wait();
    *task.coded =
        encoders_[static_cast<std::size_t>(worker)]->encode(*task.block, *task.band, component, plane, task.weight);
  }

  Tile& tile_;
  std::span<Plane> planes_;
  Workers& workers_;
  std::vector<std::unique_ptr<BlockEncoder>>& encoders_;
  std::vector<Countdown> left_;
  std::vector<Task> tasks_;
};

class Encoder {
 public:
  Encoder(const Image& image, const EncodeOptions& options, const Limits& limits, const Progress& progress)
      : image_(image),
        options_(options),
        progress_(progress),
        budget_(limits.maxMemory, options.tileWidth > 0 ? Setting::maxMemory : Setting::maxMemoryOrTiles),
        siz_(sizOf(image, options)),
        params_(paramsFor(image, options)),
        workers_(options.threads) {}

  Bytes run() {
    for (int worker = 0; worker < workers_.count(); ++worker)
      encoders_.push_back(std::make_unique<BlockEncoder>(options_.blockWidth, options_.blockHeight));
    const Coord tiles = siz_.tiles();
    for (Coord index = 0; index < tiles; ++index) {
      encodeTile(index);
      reportProgress(progress_, index + 1, tiles);
    }
    if (options_.boxes) writeBoxes(file_, image_);
    writeMainHeader(file_, siz_, params_);
    for (Tile& tile : tiles_) writers_.emplace_back(tile, siz_, budget_);
    chooseLayers();
    writeTiles();
    return std::move(file_);
  }

 private:
  void encodeTile(Coord index);
  void chooseLayers();
  std::uint64_t sizeOf(int layers);
  std::uint64_t wantedSize() const;
  void writeTiles();

  const Image& image_;
  const EncodeOptions& options_;
  const Progress& progress_;
  Budget budget_;
  Siz siz_;
  TileParams params_;
  Workers workers_;
  std::vector<std::unique_ptr<BlockEncoder>> encoders_;  // for each worker
  std::deque<Tile> tiles_;
  std::deque<CodedBlock> coded_;
  std::deque<PacketWriter> writers_;
  Bytes file_;
};

void Encoder::encodeTile(Coord index) {
  Tile& tile = tiles_.emplace_back(makeTile(siz_, params_, index, budget_));
  const std::uint64_t before = budget_.used();
  std::vector<Plane> planes;
  std::vector<Window> windows;
  for (const TileComponent& component : tile.components) {
    const Rect& rect = component.rect;
    budget_.charge(1, Plane::bytes(rect.width(), rect.height()));
    planes.emplace_back(static_cast<int>(rect.width()), static_cast<int>(rect.height()));
    windows.push_back({static_cast<int>(rect.x0), static_cast<int>(rect.y0)});
  }
  loadTile(image_, tile, windows, planes, workers_);
  const std::size_t first = coded_.size();
  TileEncoder(tile, planes, coded_, workers_, encoders_).run();
  budget_.restore(before);
  for (std::size_t i = first; i < coded_.size(); ++i) {
    CodedBlock& coded = coded_[i];
    coded.taken.assign(static_cast<std::size_t>(options_.layers), 0);
    budget_.charge(1, sizeof coded + coded.data.size() + coded.passes.size() * (sizeof(Pass) + sizeof(HullPoint)) +
                          coded.taken.size());
  }
}

std::uint64_t Encoder::sizeOf(int layers) {
  constexpr std::uint64_t kEnd = 2;
  std::uint64_t size = file_.size() + kEnd;
  for (PacketWriter& writer : writers_) size += kTilePartHeader + writer.size(layers);
  return size;
}

std::uint64_t Encoder::wantedSize() const {
  const double pixels = static_cast<double>(image_.width) * image_.height;
  double bits = 0;
  for (const Component& c : image_.components) bits += static_cast<double>(c.width) * c.height * c.bits;
  const double bytes = options_.bitsPerPixel ? pixels * *options_.bitsPerPixel / 8 : bits / 8 / *options_.ratio;
  return static_cast<std::uint64_t>(std::min(bytes, 1e18));
}

// The last layer has the requested size, or everything. The layers before it get smaller by equal ratios, down to 1/256
// of that.
void Encoder::chooseLayers() {
  std::vector<CodedBlock*> blocks;
  for (CodedBlock& block : coded_) blocks.push_back(&block);
  RateControl control(std::move(blocks), [this](int layers) { return sizeOf(layers); });
  const int last = options_.layers - 1;
  const bool whole = !options_.ratio && !options_.bitsPerPixel;
  std::uint64_t wanted = whole ? 0 : wantedSize();
  if (whole) {
    if (last == 0) return control.takeAll(0);
    control.takeAll(0);
    wanted = sizeOf(1);
  }
  for (int layer = 0; layer <= last; ++layer) {
    if (layer == last && whole) return control.takeAll(layer);
    const double halvings = last == 0 ? 0 : (last - layer) * std::min(1.0, 8.0 / last);
    const auto maxSize = static_cast<std::uint64_t>(static_cast<double>(wanted) * std::exp2(-halvings));
    // If the size does not suffice for the headers, an earlier layer stays empty; in the last it is an error.
    if (!control.fill(layer, maxSize) && layer == last)
      fail(Kind::limit, std::to_string(wanted) + " bytes are too few for the headers");
  }
}

void Encoder::writeTiles() {
  for (std::size_t i = 0; i < writers_.size(); ++i) {
    const std::size_t start = file_.size();
    writeTilePartHeader(file_, static_cast<int>(i), 0);
    writers_[i].write(file_, options_.layers);
    const std::uint64_t length = file_.size() - start;
    if (length > UINT32_MAX) fail(Kind::limit, "a tile exceeds 4 GiB");
    for (int byte = 0; byte < 4; ++byte)
      file_[start + 6 + static_cast<std::size_t>(byte)] = static_cast<std::uint8_t>(length >> (24 - 8 * byte));
  }
  writeEnd(file_);
}

}  // namespace

Bytes encode(const Image& image, const EncodeOptions& options, const Limits& limits, const Progress& progress) {
  if (image.components.size() > kMaxWrittenComponents)
    fail(Kind::unsupported,
         std::to_string(image.components.size()) + " components: at most 4 can be written to JPEG 2000");
  limits.check(static_cast<std::uint64_t>(image.width), static_cast<std::uint64_t>(image.height));
  Budget budget(limits.maxMemory);
  const Image given = isOnGrid(image) ? image : sameSize(image, &budget);
  return Encoder(given, options, limits, progress).run();
}

}  // namespace moxj::j2k
