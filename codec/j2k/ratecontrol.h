// Chooses the passes of each code-block for each layer, by rate-distortion optimal truncation: all blocks are truncated
// at the same slope of distortion over rate, and a search finds the slope that fills the requested size.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "j2k/blockencoder.h"

namespace moxj::j2k {

class RateControl {
 public:
  // `sizeOf(layers)` is the size of the whole file with the first `layers` layers.
  RateControl(std::vector<CodedBlock*> blocks, std::function<std::uint64_t(int layers)> sizeOf)
      : blocks_(std::move(blocks)), sizeOf_(std::move(sizeOf)) {}

  void takeAll(int layer);
  enum class Filled { nothing, partly, whole };  // not even the headers fit; truncated; all that reduces the error
  // Takes as much as fits into a file of `maxSize` bytes.
  Filled fill(int layer, std::uint64_t maxSize);

 private:
  void takeSlope(int layer, double slope);
  void fillRest(int layer, std::uint64_t maxSize, std::uint64_t size);
  std::pair<double, double> slopes() const;

  std::vector<CodedBlock*> blocks_;
  std::function<std::uint64_t(int)> sizeOf_;
};

}  // namespace moxj::j2k
