// Reports progress within the tiles of a picture.
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/progress.h"
#include "base/workers.h"
#include "j2k/params.h"

namespace moxj::j2k {

// Each tile counts as a number of parts: many if there are few tiles, so that a picture of one tile shows progress, and
// one of many tiles does not report too often.
class TileProgress {
 public:
  TileProgress(const Progress& progress, Coord tiles, int extraParts = 0)
      : progress_(progress),
        partsOfTile_(static_cast<std::uint64_t>(std::max(kParts / tiles, Coord{1}))),
        total_(static_cast<std::uint64_t>(tiles) * partsOfTile_ + static_cast<std::uint64_t>(extraParts)) {}

  // For the tasks of a tile. Empty if there is nothing to report.
  Workers::Report within(Coord tile, std::size_t tasks) {
    if (!progress_ || partsOfTile_ == 1) return {};
    return [this, tile, tasks](std::size_t done) { reach(firstPart(tile) + done * (partsOfTile_ - 1) / tasks); };
  }
  void tileDone(Coord tile) { reach(firstPart(tile + 1)); }
  // For a step that reports from 0 again.
  void restart() { reached_ = 0; }
  // Only asks whether to go on.
  void poll() { reportProgress(progress_, reached_, total_); }
  void finish() { reach(total_); }

 private:
  static constexpr Coord kParts = 128;

  std::uint64_t firstPart(Coord tile) const { return static_cast<std::uint64_t>(tile) * partsOfTile_; }
  void reach(std::uint64_t part) {
    if (part <= reached_) return;
    reached_ = part;
    poll();
  }

  const Progress& progress_;
  std::uint64_t partsOfTile_, total_, reached_ = 0;
};

}  // namespace moxj::j2k
