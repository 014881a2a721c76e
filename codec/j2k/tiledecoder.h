// Decodes the tiles of a codestream, or the parts of them that are wanted.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/budget.h"
#include "base/workers.h"
#include "j2k/blockdecoder.h"
#include "j2k/componentwindow.h"
#include "j2k/j2k.h"
#include "j2k/samples.h"
#include "j2k/syntax.h"
#include "j2k/tile.h"
#include "j2k/tileprogress.h"

namespace moxj::j2k {

inline constexpr const char* kNoHighThroughput = "high-throughput block coding (ISO/IEC 15444-15) is not supported";
bool usesHighThroughput(const TileParams& params);

// Empty if no component is too deep for its wavelet.
std::string tooDeep(const Siz& siz, const TileParams& params);

// What is found of a tile.
struct TileFindings {
  std::uint64_t packets = 0;
  std::vector<std::string> problems;  // why samples may be wrong, to follow "tile N"
  std::vector<std::string> notes;
};

class TileDecoder {
 public:
  // `shown`: the samples of the picture's planes, in the reduced coordinates of their components. `partly`: not all
  // samples of the codestream are wanted. All references must outlive the decoder.
  TileDecoder(const Codestream& stream, const TileParts& parts, const DecodeOptions& options,
              std::span<const Rect> shown, bool partly, const Picture& picture)
      : stream_(stream), parts_(parts), options_(options), shown_(shown), partly_(partly), picture_(picture) {}

  // Stores the samples of a tile in the picture, what can be decoded of them. Any threads may decode several tiles at
  // the same time. `decoders` has one for each worker. With `progress`, it is the tile in this place of all.
  TileFindings decode(Coord index, Budget& budget, Workers& workers, std::span<BlockDecoder> decoders,
                      TileProgress* progress = nullptr, Coord place = 0) const;

  // The memory of the samples of a tile, at most.
  std::uint64_t sampleBytes() const;

 private:
  std::vector<ComponentWindow> windowsFor(const Tile& tile) const;
  std::vector<Window> placesOf(const std::vector<ComponentWindow>& windows) const;

  const Codestream& stream_;
  const TileParts& parts_;
  const DecodeOptions& options_;
  std::span<const Rect> shown_;
  bool partly_;
  const Picture& picture_;
};

}  // namespace moxj::j2k
