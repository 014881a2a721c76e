// Measures the difference between two pictures: PSNR, largest difference, SSIM.
#pragma once

#include <cstdint>
#include <vector>

#include "pictures/picture.h"

namespace moxj {

// The PSNR is in dB with a peak of 255, and infinite for equal samples.
struct Difference {
  double meanSquare = 0;
  double psnr = 0;
  int max = 0;
  double ssim = 1;
};

struct Comparison {
  std::vector<Difference> channels;
  Difference all;  // over the samples of all channels; its SSIM is the mean over the channels
};

// Both pictures must have the same size and channels.
//
// SSIM is the mean of the structural similarity index over all positions of its window inside the picture, with the
// usual constants: a Gaussian window of 11 x 11 samples with standard deviation 1.5, K1 = 0.01, K2 = 0.03, peak 255.
// In a picture with fewer than 11 rows or columns the window is as small as the picture.
Comparison compare(const Picture& a, const Picture& b);

}  // namespace moxj
