// Inverse transforms of blocks to samples: of all 64 coefficients, or smaller ones of the lowest coefficients, which
// give a smaller picture.
#pragma once

#include <cstddef>
#include <cstdint>

#include "jpeg/tables.h"
#include "moxj.h"

namespace moxj::jpeg {

// Width and height of the samples that a block becomes: 1, 2, 4 or 8 each.
struct BlockSize {
  int width = 8, height = 8;
  bool operator==(const BlockSize&) const = default;
};

// Of W x H samples, the W x H lowest coefficients are transformed: sample (x, y) of P bits is
//
//   2^(P-1) + 1/8 sum c(u,v) k(W,x,u) k(H,y,v),   k(N,x,0) = 1,   k(N,x,u) = sqrt(2) cos((2x + 1) u pi / 2N),
//
// rounded (halves up) and clamped to its bits. c(u,v) is the dequantised coefficient, clamped to 16 bits; k has 13
// fraction bits, and the sum is exact. For 1 x 1 the sample is 2^(P-1) + c(0,0) / 8, for 2 x 2 all k are 1 or -1.
//
// Of 8 x 8 samples it is the library's transform.
class BlockInverse {
 public:
  BlockInverse(const Steps& steps, BlockSize size);

  void operator()(const Mox16s* coefficients, std::uint8_t* to, std::ptrdiff_t step) const {
    if (scaled_) return scaled_(coefficients, steps_, to, step);
    moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(coefficients, to, static_cast<std::int32_t>(step), steps_.data());
  }

  BlockSize size() const { return size_; }

 private:
  Steps steps_;
  BlockSize size_;
  void (*scaled_)(const Mox16s* coefficients, const Steps& steps, std::uint8_t* to, std::ptrdiff_t step) = nullptr;
};

// The same for samples of more than 8 bits, but not of 8 x 8.
void invertScaled(const Mox16s* coefficients, const Steps& steps, BlockSize size, int bits, std::uint16_t* samples,
                  std::ptrdiff_t samplesOfRow);

}  // namespace moxj::jpeg
