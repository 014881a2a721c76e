// Chooses the passes of each code-block for each layer, by rate-distortion optimal truncation: all blocks are truncated
// at the same slope of distortion over rate, and a search finds the slope that fills the requested size or gives the
// requested PSNR.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "j2k/blockencoder.h"

namespace moxj::j2k {

// Components whose errors are added up: those that a component transform mixes, or a single one.
struct ComponentGroup {
  double peak = 255;
  double samples = 0;
};

class RateControl {
 public:
  // `sizeOf(layers)` is the size of the whole file with the first `layers` layers.
  RateControl(std::vector<CodedBlock*> blocks, std::function<std::uint64_t(int layers)> sizeOf)
      : blocks_(std::move(blocks)), sizeOf_(std::move(sizeOf)) {}

  void takeAll(int layer);
  // Takes as much as fits into a file of `maxSize` bytes. False if not even an empty layer fits.
  bool fill(int layer, std::uint64_t maxSize);
  // Takes no more than a picture of `psnr` dB needs, by the measured errors of the blocks. False if all that there is
  // does not give it. groupOf: the group of each component.
  bool reach(int layer, double psnr, const std::vector<ComponentGroup>& groups, const std::vector<int>& groupOf);
  // The size of the file that fill() would have made if nothing had to be truncated.
  std::uint64_t wholeSize() const { return wholeSize_; }

 private:
  void takeSlope(int layer, double slope);
  void fillRest(int layer, std::uint64_t maxSize, std::uint64_t size);
  std::pair<double, double> slopes() const;
  double psnr(int layer, const std::vector<ComponentGroup>& groups, const std::vector<int>& groupOf) const;

  std::vector<CodedBlock*> blocks_;
  std::function<std::uint64_t(int)> sizeOf_;
  std::uint64_t wholeSize_ = 0;
};

}  // namespace moxj::j2k
