// One MCU at a time (T.81 A.2): colour conversion, chroma sampling and level shift between pixels and 8x8 blocks.
#pragma once

#include <bit>
#include <cstddef>
#include <type_traits>

#include "kernels/bytes.h"
#include "kernels/colour/pixels.h"
#include "kernels/colour/rgb.h"
#include "kernels/colour/shift.h"
#include "kernels/colour/ycc.h"
#include "moxj.h"

namespace mox {

// The index of a kernel among those of its pixel format: one chroma value per pixel, per two pixels of a row, per
// square of four.
enum McuSampling { mcu444, mcu422, mcu411, mcuSamplings };

template <class Kernel>
struct BySampling {
  Kernel kernels[mcuSamplings];
  constexpr Kernel operator[](int sampling) const { return kernels[sampling]; }
};
template <class Kernel>
BySampling(Kernel, Kernel, Kernel) -> BySampling<Kernel>;

// Pixels of one MCU, rows `step` bytes apart, to the blocks of Y, Cb, Cr (and K).
struct McuEncodeKernels {
  using Bytes = void (*)(const Mox8u* src, int32_t step, Mox16s* const dst[]);
  using Words = void (*)(const Mox16u* src, int32_t step, Mox16s* const dst[]);

  BySampling<Bytes> rgb, bgr;
  BySampling<Words> bgr555, bgr565;
  BySampling<Bytes> cmyk, sampleDown;
  Bytes split422;
};

// And back.
struct McuDecodeKernels {
  using Bytes = void (*)(const Mox16s* const src[], Mox8u* dst, int32_t step);
  using Words = void (*)(const Mox16s* const src[], Mox16u* dst, int32_t step);

  BySampling<Bytes> rgb, bgr;
  BySampling<Words> bgr555, bgr565;
  BySampling<Bytes> cmyk, sampleUp;
  Bytes join422;
};

// Across x Down pixels share a chroma value, and the MCU has as many luminance blocks.
template <int Across, int Down>
struct McuShape {
  static constexpr int kAcross = Across, kDown = Down, kShared = Across * Down;
};
using Mcu444 = McuShape<1, 1>;
using Mcu422 = McuShape<2, 1>;
using Mcu411 = McuShape<2, 2>;

// ---- Pixel formats -------------------------------------------------------------------------------------------------

// CMYK as colours: red, green and blue are the complements of C, M and Y.
struct InkPixel : CmykPixel {
  static constexpr Rgb read(const Mox8u* pixel) { return complement(CmykPixel::read(pixel)); }
  static constexpr void write(Mox8u* pixel, Rgb c) { CmykPixel::write(pixel, complement(c)); }
};

// Fields that become samples, and samples that become fields, by a shift alone.
template <class Word>
struct ShiftedPixel : Word {
  static Rgb read(const Mox16u* pixel) {
    const int word = get<Mox16u>(pixel);
    return {Word::kRed.raise(Word::kRed.of(word)), Word::kGreen.raise(Word::kGreen.of(word)),
            Word::kBlue.raise(Word::kBlue.of(word))};
  }
  static void write(Mox16u* pixel, Rgb c) {
    put(pixel, static_cast<Mox16u>(Word::kRed.truncate(c.red) << Word::kRed.shift |
                                   Word::kGreen.truncate(c.green) << Word::kGreen.shift |
                                   Word::kBlue.truncate(c.blue) << Word::kBlue.shift));
  }
};

// Pairs of pixels, Y0 Cb Y1 Cr, both with the same chroma.
struct PairPixel {
  using Sample = Mox8u;
};

namespace definition {

// Pixel x of a row; Y, Cb and Cr take the places of red, green and blue.
template <class Pixel>
inline Rgb mcuPixel(const typename Pixel::Sample* row, int x) {
  if constexpr (std::is_same_v<Pixel, PairPixel>) {
    const Mox8u* const pair = row + 4 * (x / 2);
    return {pair[2 * (x % 2)], pair[1], pair[3]};
  } else {
    return Pixel::read(row + Pixel::kSamples * x);
  }
}

template <class Pixel>
inline void putMcuPixel(typename Pixel::Sample* row, int x, Rgb c) {
  if constexpr (std::is_same_v<Pixel, PairPixel>) {
    Mox8u* const pair = row + 4 * (x / 2);
    pair[2 * (x % 2)] = static_cast<Mox8u>(c.red);
    pair[1] = static_cast<Mox8u>(c.green);
    pair[3] = static_cast<Mox8u>(c.blue);
  } else {
    Pixel::write(row + Pixel::kSamples * x, c);
  }
}

// ---- Conversions ---------------------------------------------------------------------------------------------------

// Chroma has the weights of packed words, as Y has, but is centred on 0 and rounded once, over the sum of `count`
// pixels. Pure blue and pure red reach 128.
constexpr int centredChroma(const WeightedSum& weights, Rgb sum, int count) {
  const int weighted = weights.red * sum.red + weights.green * sum.green + weights.blue * sum.blue;
  return (weighted + (count << (weights.bits - 1))) >>
         (weights.bits + std::bit_width(static_cast<unsigned>(count)) - 1);
}

inline constexpr RgbMatrix kRgbMcu{{0, 11485, 1052672, 13}, {5638, 11700, -2088960, 14, true}, {14516, 0, 1052672, 13}};

struct ColourMcu {
  static constexpr int y(Rgb c) { return kYccWord.y.of(c) - 128; }
  static constexpr int cb(Rgb sum, int count) { return centredChroma(kYccWord.cb, sum, count); }
  static constexpr int cr(Rgb sum, int count) { return centredChroma(kYccWord.cr, sum, count); }
  static constexpr Rgb pixel(Ycc c) { return kRgbMcu.of(c); }
};

// Pixels that are Y, Cb and Cr already. Means of chroma are rounded down.
struct SampleMcu {
  static constexpr int y(Rgb c) { return c.red - 128; }
  static constexpr int cb(Rgb sum, int count) { return mean(sum.green, count); }
  static constexpr int cr(Rgb sum, int count) { return mean(sum.blue, count); }
  static constexpr Rgb pixel(Ycc c) { return {clamp8(c.y + 128), clamp8(c.cb + 128), clamp8(c.cr + 128)}; }

 private:
  static constexpr int mean(int sum, int count) {
    return (sum - 128 * count) >> (std::bit_width(static_cast<unsigned>(count)) - 1);
  }
};

static_assert(ColourMcu::y({255, 255, 255}) == 127 && ColourMcu::y({0, 0, 0}) == -128);
static_assert(ColourMcu::cb({255, 255, 255}, 1) == 0 && ColourMcu::cr({255, 255, 255}, 1) == 0);
static_assert(ColourMcu::cb({0, 0, 255}, 1) == 128 && ColourMcu::cb({0, 0, 1020}, 4) == 128);
static_assert(same(kRgbMcu.of({0, 0, 0}), {128, 128, 128}) && same(kRgbMcu.of({127, 0, 0}), {255, 255, 255}));
static_assert(SampleMcu::cb({0, 1, 0}, 2) == -128);

// The index of pixel (x, y) in a plane that has as many blocks as luminance.
template <class Shape>
constexpr int mcuLuma(int x, int y) {
  return 64 * (y / 8 * Shape::kAcross + x / 8) + 8 * (y % 8) + x % 8;
}

// Calls body(x, y, index) for each chroma value: its index and the top left of the pixels that share it.
template <class Shape, class Body>
constexpr void forEachChroma(const Body& body) {
  for (int y = 0; y < 8; y++)
    for (int x = 0; x < 8; x++) body(Shape::kAcross * x, Shape::kDown * y, 8 * y + x);
}

template <class Conversion, class Pixel, class Shape>
void mcuToBlocks(const typename Pixel::Sample* src, int32_t step, Mox16s* const dst[]) {
  forEachChroma<Shape>([&](int left, int top, int chroma) {
    Rgb sum{};
    for (int y = top; y < top + Shape::kDown; y++) {
      const typename Pixel::Sample* const row = bytesAfter(src, y * ptrdiff_t{step});
      for (int x = left; x < left + Shape::kAcross; x++) {
        const Rgb c = mcuPixel<Pixel>(row, x);
        sum = {sum.red + c.red, sum.green + c.green, sum.blue + c.blue};
        dst[0][mcuLuma<Shape>(x, y)] = static_cast<Mox16s>(Conversion::y(c));
        if constexpr (std::is_same_v<Pixel, InkPixel>)
          dst[3][mcuLuma<Shape>(x, y)] = sub128(row[Pixel::kSamples * x + Pixel::kBlack]);
      }
    }
    dst[1][chroma] = static_cast<Mox16s>(Conversion::cb(sum, Shape::kShared));
    dst[2][chroma] = static_cast<Mox16s>(Conversion::cr(sum, Shape::kShared));
  });
}

template <class Conversion, class Pixel, class Shape>
void mcuToPixels(const Mox16s* const src[], typename Pixel::Sample* dst, int32_t step) {
  forEachChroma<Shape>([&](int left, int top, int chroma) {
    for (int y = top; y < top + Shape::kDown; y++) {
      typename Pixel::Sample* const row = bytesAfter(dst, y * ptrdiff_t{step});
      for (int x = left; x < left + Shape::kAcross; x++) {
        const int luma = mcuLuma<Shape>(x, y);
        putMcuPixel<Pixel>(row, x, Conversion::pixel({src[0][luma], src[1][chroma], src[2][chroma]}));
        if constexpr (std::is_same_v<Pixel, InkPixel>) row[Pixel::kSamples * x + Pixel::kBlack] = add128(src[3][luma]);
      }
    }
  });
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const McuEncodeKernels mcuEncodeKernels;
extern const McuDecodeKernels mcuDecodeKernels;
}  // namespace MOX_TARGET
#endif

}  // namespace mox
