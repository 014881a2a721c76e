// Codes tiles, chooses what of them is written, and writes the file.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "base/scratchfile.h"
#include "j2k/j2k.h"
#include "j2k/packetwriter.h"
#include "j2k/ratecontrol.h"
#include "j2k/tileencoder.h"
#include "j2k/tileprogress.h"

namespace moxj::j2k {

// Rows of a picture: the planes have the samples from these rows on, counted in samples of each plane.
struct PictureRows {
  const Picture& picture;
  std::vector<Coord> first;
};

// Runs a step. If memory does not suffice for one tile, it may for several.
template <class Step>
void adviseTiles(const EncodeOptions& options, const Step& step) {
  try {
    step();
  } catch (Problem& problem) {
    const bool tiled = options.tileWidth > 0 || options.tileHeight > 0;
    if (problem.setting == Setting::maxMemory && !tiled) problem.setting = Setting::maxMemoryOrTiles;
    throw;
  }
}

class Encoder {
 public:
  // The layout is that of the picture. All references must outlive the encoder.
  Encoder(const Picture& layout, const EncodeOptions& options, Work& work, const Progress& progress);
  ~Encoder();

  // Codes all tiles and chooses what is written. False as soon as the code-blocks exceed `maxBytes`.
  bool code(const Picture& picture, const std::function<void()>& loaded, std::uint64_t maxBytes = UINT64_MAX);
  // The same choice with other values of the goals.
  void chooseAgain(const std::vector<double>& goals);
  void write(Output& output);
  // The steps that follow report from 0 again.
  void restartProgress() { progress_.restart(); }
  // To be called after the last write().
  void finish() { progress_.finish(); }

  // The steps of code(), for tiles whose samples come one after the other. In their order:
  Tile& addTile();
  void encodeTile(const PictureRows& rows, const std::function<void()>& loaded);
  // A block of a tile that is encoded elsewhere, and what is to be done with it when it is coded.
  CodedBlock& addBlock() { return coded_.emplace_back(); }
  void charge(CodedBlock& coded);
  void choose();
  // Limits the memory for coded blocks by leaving out the passes that gain least per byte, so that `reserve` bytes are
  // left for the next ones. Only with a goal.
  void economise(std::uint64_t reserve = 0);
  // The same for files without loss: moves the bytes of the blocks into a temporary file.
  void store(std::uint64_t reserve = 0);

  // Whether tiles need not wait for each other: writeTile() writes the tile that was added last, and forgets it.
  static bool writesDirectly(const EncodeOptions& options);
  void writeStart(Output& output);
  void writeTile(Output& output);
  void writeEnd(Output& output);

  const Siz& siz() const { return siz_; }
  std::span<const std::unique_ptr<BlockEncoder>> blockEncoders() const { return encoders_; }
  // The size that a goal asks for.
  std::uint64_t wantedSize(double goal) const;
  // False if what was coded does not give the PSNR that is wanted.
  bool reached() const { return reached_; }
  // An estimate of the size without truncation, from the coefficients.
  std::uint64_t wholeSize() const;
  // What the metadata add to the file; a requested size is that of the picture without them.
  std::uint64_t metadataBytes() const { return metadataBytes_; }

 private:
  void writeHeaders();
  void writeBoxes();
  Bytes lengths();  // TLM
  void chooseLayers();
  void beginLayer(int layer);
  void forEachWriter(const std::function<void(PacketWriter& writer)>& work);
  void chooseLayer(RateControl& control, int layer, double goal);
  std::vector<ComponentGroup> groups(std::vector<int>& groupOf) const;
  std::uint64_t sizeOf(int layers);
  std::uint64_t planeBytes(const Tile& tile) const;
  std::vector<TilePlane> loadPlanes(const Tile& tile, const PictureRows& rows);
  void encodePart();
  double estimateSlope(std::size_t known, std::span<const TileEncoder::Sample> sample) const;
  bool codesParts(const Picture& picture) const;
  void codeMore(std::span<CodedBlock* const> blocks, double slope);
  void loadSamples(std::size_t index);
  void forgetSamples();

  const Picture& picture_;
  const EncodeOptions& options_;
  std::vector<double> goals_;
  Work& job_;
  Siz siz_;
  TileParams params_;
  TileProgress progress_;
  std::vector<std::unique_ptr<BlockEncoder>> encoders_;  // for each worker
  Coord next_ = 0;                                       // tile
  std::deque<Tile> tiles_;
  std::deque<CodedBlock> coded_;
  std::deque<PacketWriter> writers_;
  Bytes header_;
  std::uint64_t metadataBytes_ = 0;
  CodedSize size_;
  bool reached_ = true;
  std::uint64_t charged_ = 0;  // for coded blocks
  std::uint64_t data_ = 0;     // of that, for bytes that could be stored
  ScratchFile scratch_;
  double leastSlope_ = 0;  // of passes that are kept
  // For codeMore(): the samples, or a single tile after its transform.
  std::optional<PictureRows> rows_;
  std::vector<TilePlane> planes_;
  std::unique_ptr<TileEncoder> tileEncoder_;
  std::uint64_t sampleBytes_ = 0;
  std::vector<std::size_t> firstBlock_;  // of each tile, in coded_
  double slope_ = 0;                     // an estimate
};

}  // namespace moxj::j2k
