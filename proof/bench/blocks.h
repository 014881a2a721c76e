// 256 blocks of 8x8 samples as a codec has them: samples of a picture, and its coefficients at quality 75.
#pragma once

#include <vector>

#include "moxj.h"

namespace moxj::proof {

inline constexpr int kBlocks = 256;
inline constexpr double kBlockSamples = kBlocks * 64.0;

struct Blocks {
  Blocks();
  static constexpr int kStep = kBlocks / 4 * 8;  // four rows of blocks
  Mox8u* block(int i) { return samples.data() + (i / (kBlocks / 4)) * 8 * kStep + (i % (kBlocks / 4)) * 8; }
  Mox16s* levelsOf(int i) { return levels.data() + 64 * i; }

  Mox16u reciprocals[64], steps[64];  // of the quantiser
  std::vector<Mox8u> samples;
  std::vector<Mox16s> levels;
};

}  // namespace moxj::proof
