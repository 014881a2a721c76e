// The colour functions as the tests see them: the layouts of their images, an independent version of their documented
// arithmetic, and a list of all functions.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>

#include "moxj.h"
#include "support/guarded.h"
#include "support/random.h"

namespace test {

// ---- Layouts: where channel c of a pixel is (R, G, B; Y, Cb, Cr; C, M, Y or Y, Cb, Cr, K) ----

template <int Channels>
struct Planar {
  using Sample = Mox8u;
  using Argument = Sample* const*;
  static constexpr int kPlanes = Channels, kSamples = 1, kChannels = Channels;

  static void set(Sample* const* pixel, int c, int value) { *pixel[c] = static_cast<Sample>(value); }
  static int get(Sample* const* pixel, int c) { return *pixel[c]; }
  static int stored(int, int value) { return value; }
};

template <int... Places>
struct Interleaved {
  using Sample = Mox8u;
  using Argument = Sample*;
  static constexpr int kPlanes = 1, kSamples = sizeof...(Places), kChannels = kSamples;
  static constexpr int kPlaces[] = {Places...};

  static void set(Sample* const* pixel, int c, int value) { pixel[0][kPlaces[c]] = static_cast<Sample>(value); }
  static int get(Sample* const* pixel, int c) { return pixel[0][kPlaces[c]]; }
  static int stored(int, int value) { return value; }
};

// The channels of packed words are bit fields, which set() and get() access.
template <bool RedIsLow, int GreenBits>
struct Word {
  using Sample = Mox16u;
  using Argument = Sample*;
  static constexpr int kPlanes = 1, kSamples = 1, kChannels = 3;

  static int bits(int c) { return c == 1 ? GreenBits : 5; }
  static int shift(int c) { return c == 1 ? 5 : (c == 0) == RedIsLow ? 0 : 5 + GreenBits; }
  static int get(Sample* const* pixel, int c) { return *pixel[0] >> shift(c) & ((1 << bits(c)) - 1); }
  // The eight-bit value of a field: its bits, repeated from the top.
  static int widened(int c, int field) { return bits(c) == 5 ? field << 3 | field >> 2 : field << 2 | field >> 4; }
  // The field with the nearest eight-bit value; of two, the larger.
  static int stored(int c, int value) { return kNearest[c][value]; }
  inline static const std::array<std::array<int, 256>, 3> kNearest = [] {
    std::array<std::array<int, 256>, 3> nearest{};
    for (int c = 0; c < 3; c++)
      for (int v = 0; v < 256; v++)
        for (int field = 1, &best = nearest[c][v]; field < 1 << bits(c); field++)
          if (std::abs(widened(c, field) - v) <= std::abs(widened(c, best) - v)) best = field;
    return nearest;
  }();
};

// An image in memory between guard pages, its rows `gap` bytes apart; filled with noise.
template <class Layout>
class Image {
 public:
  using Sample = typename Layout::Sample;

  Image(MoxRoiSize roi, Random& random, int gap = 0, bool atEnd = true)
      : roi_(roi), step_(roi.width * Layout::kSamples * static_cast<int>(sizeof(Sample)) + gap) {
    const size_t bytes = static_cast<size_t>(step_) * (roi.height - 1) + (step_ - gap);
    for (int i = 0; i < Layout::kPlanes; i++) {
      memory_[i] = std::make_unique<GuardedMemory>(bytes);
      for (uint8_t& byte : memory_[i]->bytes()) byte = random.template any<uint8_t>();
      first_[i] = reinterpret_cast<Sample*>(atEnd ? memory_[i]->template atEnd<uint8_t>(bytes)
                                                  : memory_[i]->template atStart<uint8_t>());
    }
    for (int i = 0; i < Layout::kPlanes; i++) before_[i].assign(memory_[i]->bytes().begin(), memory_[i]->bytes().end());
  }

  int step() const { return step_; }
  MoxRoiSize roi() const { return roi_; }
  auto argument() const {
    if constexpr (Layout::kPlanes == 1) {
      return first_[0];
    } else {
      return first_.data();
    }
  }

  void set(int x, int y, int c, int value) { Layout::set(pixel(x, y).data(), c, value); }
  int get(int x, int y, int c) const { return Layout::get(pixel(x, y).data(), c); }

  // Whether all bytes outside the pixels are unchanged.
  bool gapsUntouched() {
    for (int i = 0; i < Layout::kPlanes; i++) {
      std::vector<uint8_t> now(memory_[i]->bytes().begin(), memory_[i]->bytes().end());
      const ptrdiff_t start = reinterpret_cast<const uint8_t*>(first_[i]) - memory_[i]->bytes().data();
      const size_t row = static_cast<size_t>(roi_.width) * Layout::kSamples * sizeof(Sample);
      for (int y = 0; y < roi_.height; y++) {
        const ptrdiff_t at = start + static_cast<ptrdiff_t>(y) * step_;
        std::memcpy(now.data() + at, before_[i].data() + at, row);
      }
      if (now != before_[i]) return false;
    }
    return true;
  }

 private:
  std::array<Sample*, Layout::kPlanes> pixel(int x, int y) const {
    std::array<Sample*, Layout::kPlanes> at;
    for (int i = 0; i < Layout::kPlanes; i++)
      at[i] = reinterpret_cast<Sample*>(reinterpret_cast<uint8_t*>(first_[i]) + static_cast<ptrdiff_t>(y) * step_) +
              static_cast<ptrdiff_t>(x) * Layout::kSamples;
    return at;
  }

  MoxRoiSize roi_;
  int step_;
  std::array<std::unique_ptr<GuardedMemory>, Layout::kPlanes> memory_;
  std::array<Sample*, Layout::kPlanes> first_;
  std::array<std::vector<uint8_t>, Layout::kPlanes> before_;
};

// ---- The arithmetic ----

using Triple = std::array<int, 3>;

inline int clamped(int value) { return value < 0 ? 0 : value > 255 ? 255 : value; }

// The tail in its table form: eight tables of 256 words.
struct TailTables {
  int yOfRed[256], yOfGreen[256], yOfBlue[256], cbOfRed[256], cbOfGreen[256], half[256], crOfGreen[256], crOfBlue[256];

  TailTables() {
    for (int i = 0; i < 256; i++) {
      yOfRed[i] = 19595 * i, yOfGreen[i] = 38470 * i, yOfBlue[i] = 7471 * i + 32768;
      cbOfRed[i] = -11059 * i, cbOfGreen[i] = -21709 * i;
      half[i] = 32768 * i + 8421375;  // of blue in Cb and of red in Cr
      crOfGreen[i] = -27439 * i, crOfBlue[i] = -5329 * i;
    }
  }
  Triple ycc(int r, int g, int b) const {
    return {(yOfRed[r] + yOfGreen[g] + yOfBlue[b]) >> 16, (cbOfRed[r] + cbOfGreen[g] + half[b]) >> 16,
            (half[r] + crOfGreen[g] + crOfBlue[b]) >> 16};
  }
};
inline const TailTables kTailTables;

// The tail of the inverse conversion: two tables of shifted terms, and two of terms that are added before the shift.
struct InverseTailTables {
  int red[256], blue[256], greenOfCb[256], greenOfCr[256];

  InverseTailTables() {
    for (int i = 0; i < 256; i++) {
      red[i] = (91881 * (i - 128) + 32768) >> 16;
      blue[i] = (116130 * (i - 128) + 32768) >> 16;
      greenOfCb[i] = -22554 * (i - 128) + 32768;
      greenOfCr[i] = -46802 * (i - 128);
    }
  }
  Triple rgb(int y, int cb, int cr) const {
    return {clamped(y + red[cr]), clamped(y + ((greenOfCb[cb] + greenOfCr[cr]) >> 16)), clamped(y + blue[cb])};
  }
};
inline const InverseTailTables kInverseTailTables;

inline Triple chromaOfGroups(int y, int r, int g, int b) {
  return {y, clamped((-5529 * r - 10855 * g + 16384 * b + 4210688) >> 15),
          clamped((16384 * r - 13720 * g - 2664 * b + 4210704) >> 15)};
}
inline Triple complemented(Triple t) { return {255 - t[0], 255 - t[1], 255 - t[2]}; }

// The results of a function for three channels, in the columns of a group and in those of the tail.
struct FromPixels {
  static Triple group(Triple t) {
    return chromaOfGroups(clamped((9798 * t[0] + 19235 * t[1] + 3736 * t[2] + 16266) >> 15), t[0], t[1], t[2]);
  }
  static Triple tail(Triple t) { return kTailTables.ycc(t[0], t[1], t[2]); }
};
struct FromPlanes : FromPixels {
  static Triple group(Triple t) {
    return chromaOfGroups((19595 * t[0] + 38470 * t[1] + 7471 * t[2] + 32768) >> 16, t[0], t[1], t[2]);
  }
};
struct FromCmyk {
  static Triple group(Triple t) { return FromPlanes::group(complemented(t)); }
  static Triple tail(Triple t) { return FromPlanes::tail(complemented(t)); }
};
template <class Layout>
struct FromWords {
  static Triple group(Triple fields) {
    const int r = Layout::widened(0, fields[0]), g = Layout::widened(1, fields[1]), b = Layout::widened(2, fields[2]);
    return {clamped((4899 * r + 9617 * g + 1868 * b + 8192) >> 14),
            clamped((-2764 * r - 5428 * g + 8192 * b + 2105344) >> 14),
            clamped((8192 * r - 6860 * g - 1332 * b + 2105344) >> 14)};
  }
  static Triple tail(Triple fields) { return group(fields); }
};
struct ToRgb {
  static int16_t narrow(int term) { return static_cast<int16_t>(term); }
  static Triple group(Triple t) {
    const int16_t red = narrow((22970 * t[2] - 2932015) >> 14), blue = narrow((29032 * t[1] - 3708561) >> 14);
    const int16_t green = narrow((5638 * t[1] + 11700 * t[2] - 2211182) >> 14);
    return {clamped(narrow(t[0] + red)), clamped(narrow(t[0] - green)), clamped(narrow(t[0] + blue))};
  }
  static Triple tail(Triple t) { return kInverseTailTables.rgb(t[0], t[1], t[2]); }
};
struct ToCmyk {
  static Triple group(Triple t) { return complemented(ToRgb::group(t)); }
  static Triple tail(Triple t) { return complemented(ToRgb::tail(t)); }
};

// ---- The functions ----

struct Name {
  char text[48] = {};
  template <size_t N>
  consteval Name(const char (&given)[N]) {
    for (size_t i = 0; i < N; i++) text[i] = given[i];
  }
};

template <Name Called, auto Function, class From, class To, class Rule>
struct ColourFunction {
  using Src = From;
  using Dst = To;
  using Arithmetic = Rule;
  static constexpr const char* name() { return kName.text; }
  static constexpr auto kFunction = Function;

  static MoxStatus call(const Image<Src>& src, const Image<Dst>& dst) {
    return Function(src.argument(), src.step(), dst.argument(), dst.step(), src.roi());
  }
  // The expected output at column x of a row of `width`, from the channels read there.
  static Triple expected(Triple channels, int x, int width) {
    const Triple exact = x < width / 4 * 4 ? Rule::group(channels) : Rule::tail(channels);
    return {Dst::stored(0, exact[0]), Dst::stored(1, exact[1]), Dst::stored(2, exact[2])};
  }

 private:
  static constexpr Name kName = Called;
};

using Rgb24 = Interleaved<0, 1, 2>;
using Bgr24 = Interleaved<2, 1, 0>;
using Cmyk32 = Interleaved<0, 1, 2, 3>;
using Rgb555 = Word<true, 5>;
using Bgr555 = Word<false, 5>;
using Rgb565 = Word<true, 6>;
using Bgr565 = Word<false, 6>;

#define MOX_COLOUR(function, ...) ColourFunction<#function, function, __VA_ARGS__>

using FromByteFunctions = testing::Types<MOX_COLOUR(moxiRGBToYCbCr_JPEG_8u_P3R, Planar<3>, Planar<3>, FromPlanes),
                                         MOX_COLOUR(moxiRGBToYCbCr_JPEG_8u_C3P3R, Rgb24, Planar<3>, FromPixels),
                                         MOX_COLOUR(moxiBGRToYCbCr_JPEG_8u_C3P3R, Bgr24, Planar<3>, FromPixels),
                                         MOX_COLOUR(moxiRGBToY_JPEG_8u_P3C1R, Planar<3>, Interleaved<0>, FromPlanes),
                                         MOX_COLOUR(moxiRGBToY_JPEG_8u_C3C1R, Rgb24, Interleaved<0>, FromPixels),
                                         MOX_COLOUR(moxiBGRToY_JPEG_8u_C3C1R, Bgr24, Interleaved<0>, FromPixels),
                                         MOX_COLOUR(moxiCMYKToYCCK_JPEG_8u_P4R, Planar<4>, Planar<4>, FromCmyk),
                                         MOX_COLOUR(moxiCMYKToYCCK_JPEG_8u_C4P4R, Cmyk32, Planar<4>, FromCmyk),
                                         MOX_COLOUR(moxiYCbCrToRGB_JPEG_8u_P3R, Planar<3>, Planar<3>, ToRgb),
                                         MOX_COLOUR(moxiYCbCrToRGB_JPEG_8u_P3C3R, Planar<3>, Rgb24, ToRgb),
                                         MOX_COLOUR(moxiYCbCrToBGR_JPEG_8u_P3C3R, Planar<3>, Bgr24, ToRgb),
                                         MOX_COLOUR(moxiYCCKToCMYK_JPEG_8u_P4R, Planar<4>, Planar<4>, ToCmyk),
                                         MOX_COLOUR(moxiYCCKToCMYK_JPEG_8u_P4C4R, Planar<4>, Cmyk32, ToCmyk),
                                         MOX_COLOUR(moxiYCbCrToRGB555_JPEG_8u16u_P3C3R, Planar<3>, Rgb555, ToRgb),
                                         MOX_COLOUR(moxiYCbCrToBGR555_JPEG_8u16u_P3C3R, Planar<3>, Bgr555, ToRgb),
                                         MOX_COLOUR(moxiYCbCrToRGB565_JPEG_8u16u_P3C3R, Planar<3>, Rgb565, ToRgb),
                                         MOX_COLOUR(moxiYCbCrToBGR565_JPEG_8u16u_P3C3R, Planar<3>, Bgr565, ToRgb)>;

using FromWordFunctions =
    testing::Types<MOX_COLOUR(moxiRGB555ToYCbCr_JPEG_16u8u_C3P3R, Rgb555, Planar<3>, FromWords<Rgb555>),
                   MOX_COLOUR(moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R, Bgr555, Planar<3>, FromWords<Bgr555>),
                   MOX_COLOUR(moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R, Rgb565, Planar<3>, FromWords<Rgb565>),
                   MOX_COLOUR(moxiBGR565ToYCbCr_JPEG_16u8u_C3P3R, Bgr565, Planar<3>, FromWords<Bgr565>)>;

#undef MOX_COLOUR

template <class A, class B>
struct Joined;
template <class... A, class... B>
struct Joined<testing::Types<A...>, testing::Types<B...>> {
  using type = testing::Types<A..., B...>;
};
using ColourFunctions = Joined<FromByteFunctions, FromWordFunctions>::type;

struct FunctionNames {
  template <class Function>
  static std::string GetName(int) {
    return Function::name();
  }
};

}  // namespace test
