// Chooses the passes of each code-block for each layer, by rate-distortion optimal truncation: all blocks are truncated
// at the same slope of distortion over rate, and a search finds the slope that fills the requested size or gives the
// requested PSNR.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "base/workers.h"
#include "j2k/blockencoder.h"

namespace moxj::j2k {

// Components whose errors are added up: those that a component transform mixes, or a single one.
struct ComponentGroup {
  double peak = 255;
  double samples = 0;
};

class RateControl {
 public:
  // The size of the whole file with the first `layers` layers.
  using SizeOf = std::function<std::uint64_t(int layers)>;
  // Codes more of blocks, until their CodedBlock::floor is below the slope; 0: all of them. Every choice is that of
  // blocks of which all was coded at once.
  using CodeMore = std::function<void(std::span<CodedBlock* const> blocks, double slope)>;

  RateControl(std::vector<CodedBlock*> blocks, SizeOf sizeOf, CodeMore codeMore, Workers& workers)
      : blocks_(std::move(blocks)), sizeOf_(std::move(sizeOf)), codeMore_(std::move(codeMore)), workers_(workers) {}

  void takeAll(int layer);
  // Takes as much as fits into a file of `maxSize` bytes. False if not even an empty layer fits.
  bool fill(int layer, std::uint64_t maxSize);
  // Takes no more than a picture of `psnr` dB needs, by the measured errors of the blocks. False if all that there is
  // does not give it. groupOf: the group of each component.
  bool reach(int layer, double psnr, const std::vector<ComponentGroup>& groups, const std::vector<int>& groupOf);

 private:
  class Rest;
  class Bracket;
  void takeSlope(int layer, double slope);
  void know(double slope);
  std::uint64_t bound() const;
  // The passes by the least slope that was found to fit, and the size with them.
  struct Filled {
    double slope;
    std::uint64_t size;
  };
  std::optional<Filled> fillBySlope(int layer, std::uint64_t maxSize);
  void fillRest(int layer, double slope, std::uint64_t maxSize, std::uint64_t size);
  std::pair<double, double> slopes() const;
  double psnr(int layer, const std::vector<ComponentGroup>& groups, const std::vector<int>& groupOf) const;

  std::vector<CodedBlock*> blocks_;
  SizeOf sizeOf_;
  CodeMore codeMore_;
  Workers& workers_;
};

}  // namespace moxj::j2k
