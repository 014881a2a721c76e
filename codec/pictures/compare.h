// How far two pictures differ.
#pragma once

#include <cstdint>
#include <vector>

#include "pictures/picture.h"

namespace moxj {

// PSNR in dB with a peak of 255; infinite for equal samples.
struct Difference {
  double meanSquare = 0;
  double psnr = 0;
  int max = 0;
  double ssim = 1;
};

struct Comparison {
  std::vector<Difference> channels;
  Difference all;  // over all channels' samples; its SSIM is the mean of theirs
};

// Both pictures must have the same size and channels.
//
// SSIM is the mean of the structural similarity index over all positions of its window inside the picture, with the
// usual constants: a Gaussian window of 11 x 11 samples and deviation 1.5, K1 = 0.01, K2 = 0.03, peak 255. In a
// picture of less than 11 rows or columns the window shrinks to those.
Comparison compare(const Picture& a, const Picture& b);

}  // namespace moxj
