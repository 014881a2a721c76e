// Runs the transforms of a tile and encodes its code-blocks.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "base/workers.h"
#include "j2k/blockencoder.h"
#include "j2k/j2k.h"
#include "j2k/tile.h"
#include "j2k/tileplane.h"
#include "j2k/tileprogress.h"

namespace moxj::j2k {

// The bytes of all code-blocks so far. What exceeds the maximum is of no use, so blocks are left out then.
struct CodedSize {
  std::atomic<std::uint64_t> bytes = 0;
  std::uint64_t max = UINT64_MAX;
  bool exceeded() const { return bytes > max; }
};

// What a component's blocks have in common.
class ComponentJobs {
 public:
  ComponentJobs(const TileComponent& component, int number, const ComponentSize& size, bool transformed,
                const EncodeOptions& options);

  BlockJob of(const Block& block, const Band& band) const;

 private:
  const TileComponent& component_;
  int number_;
  ComponentSize size_;
  bool transformed_;
  const EncodeOptions& options_;
  std::vector<Rect> region_;  // of each band
};

class TileEncoder {
 public:
  // Adds the blocks of a tile that is new to `coded`.
  TileEncoder(Tile& tile, const Siz& siz, const EncodeOptions& options, std::span<TilePlane> planes,
              std::deque<CodedBlock>& coded, Workers& workers, std::span<const std::unique_ptr<BlockEncoder>> encoders,
              CodedSize& size);

  // Transforms the samples and codes all blocks as a whole. The planes are freed as soon as possible.
  void run(TileProgress& progress, Coord index);

  // Codes some blocks, down to passes of this slope, and transforms their components before if that has not been done.
  // The planes stay.
  struct Choice {
    std::function<bool(const CodedBlock& coded)> wanted;
    double slope = 0;
  };
  void runSome(const Choice& choice, TileProgress& progress, Coord index);

  // A part of the blocks from all bands, to estimate the others from.
  struct Sample {
    const CodedBlock* coded;
    double share;  // coefficients of blocks for which it stands, over its own
  };
  std::vector<Sample> sample() const;

 private:
  struct Task {
    std::size_t component;
    const Block* block;  // null: the transform
    const Band* band;
    BlockJob job;
    CodedBlock* coded;
  };

  void addBlocks(std::size_t c, const ComponentJobs& jobs, std::deque<CodedBlock>& coded);
  void work(int worker, const Task& task);
  void transform(const Task& task);
  void encode(int worker, const Task& task, double slope);

  Tile& tile_;
  std::span<TilePlane> planes_;
  Workers& workers_;
  std::span<const std::unique_ptr<BlockEncoder>> encoders_;
  CodedSize& size_;
  std::vector<Countdown> left_;                   // of each component: 0 after its transform
  std::vector<std::atomic<std::size_t>> blocks_;  // of each component, that are not coded yet
  std::vector<Task> tasks_;
  std::vector<bool> transformed_;  // each component, for runSome()
};

}  // namespace moxj::j2k
