// Measures the difference between two pictures: PSNR, largest difference, SSIM.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pictures/picture.h"
#include "pictures/work.h"

namespace moxj {

// In steps of the depth of the comparison. The PSNR is in dB, its peak is the maximum value of that depth, and it is
// infinite for equal samples.
struct Difference {
  double meanSquare = 0;
  double psnr = 0;
  std::uint32_t max = 0;
  double ssim = 1;
};

struct Comparison {
  int width = 0, height = 0;
  int bits = 0;                    // the larger depth of the two, at least 8: the samples are scaled to it
  std::vector<std::string> names;  // "grey", "red", "opacity", "plane 5" ...
  std::vector<Difference> channels;
  Difference all;  // over the samples of all channels; its SSIM is the mean over the channels
};

// Whether there are more planes than the colours explain: none of them may be left out.
bool hasFurtherPlanes(const Picture& picture);

// Grey beside colour is compared as colour, inks beside inks as inks, a picture without opacity beside one with it
// counts as opaque. Planes that the colours do not explain are compared one by one. Throws Problem (badOption) if the
// sizes, or then the numbers of planes, differ.
//
// SSIM is the mean of the structural similarity index over all positions of its window inside the picture, with the
// usual constants: a Gaussian window of 11 x 11 samples with standard deviation 1.5, K1 = 0.01, K2 = 0.03, the peak of
// the PSNR. In a picture with fewer than 11 rows or columns the window is as small as the picture.
Comparison compare(const Picture& a, const Picture& b, Work& work);

}  // namespace moxj
