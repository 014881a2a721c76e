// Which passes of each code-block go into which layer: rate-distortion optimal truncation. All blocks are cut at one
// slope of distortion over rate; the slope is searched for that fills a size.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "j2k/blockencoder.h"

namespace moxj::j2k {

class RateControl {
 public:
  // `sizeOf(layers)` is the size of the whole file with the layers so far.
  RateControl(std::vector<CodedBlock*> blocks, std::function<std::uint64_t(int layers)> sizeOf)
      : blocks_(std::move(blocks)), sizeOf_(std::move(sizeOf)) {}

  void takeAll(int layer);
  // As much as has room in `most` bytes. False where not even an empty layer has.
  bool fill(int layer, std::uint64_t most);

 private:
  void takeSlope(int layer, double slope);
  void fillRest(int layer, std::uint64_t most, std::uint64_t size);
  std::pair<double, double> slopes() const;

  std::vector<CodedBlock*> blocks_;
  std::function<std::uint64_t(int)> sizeOf_;
};

}  // namespace moxj::j2k
