// The colour functions as the tests see them: the layouts of their images, an independent version of their documented
// arithmetic, and a list of all functions.
#pragma once

#include <array>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "moxj.h"
#include "proof/random.h"
#include "support/guarded.h"

namespace test {

using Triple = std::array<int, 3>;

// ---- Layouts: where channel c of a pixel is (R, G, B; Y, Cb, Cr; C, M, Y or Y, Cb, Cr, K) ----

// A run-time description: one instance of each test serves all functions.
struct Layout {
  enum class Kind { planes, bytes, words } kind;
  int channels;
  std::array<int, 4> places{};  // bytes: of the channels in a pixel
  bool redIsLow = false;        // words: their channels are bit fields, which are only read
  int greenBits = 5;

  int planes() const { return kind == Kind::planes ? channels : 1; }
  // In each plane.
  int pixelBytes() const { return kind == Kind::planes ? 1 : kind == Kind::bytes ? channels : 2; }

  void set(uint8_t* const* pixel, int c, int value) const { byte(pixel, c) = static_cast<uint8_t>(value); }
  int get(uint8_t* const* pixel, int c) const {
    if (kind != Kind::words) return byte(pixel, c);
    return *reinterpret_cast<const Mox16u*>(pixel[0]) >> shift(c) & ((1 << bits(c)) - 1);
  }
  // What a channel holds for an eight-bit value: of bit fields, the nearest; of two, the larger.
  int stored(int c, int value) const;
  // The eight-bit value of a field: its bits, repeated from the top.
  static int widened(int bits, int field) { return bits == 5 ? field << 3 | field >> 2 : field << 2 | field >> 4; }

 private:
  uint8_t& byte(uint8_t* const* pixel, int c) const { return kind == Kind::planes ? *pixel[c] : pixel[0][places[c]]; }
  int bits(int c) const { return c == 1 ? greenBits : 5; }
  int shift(int c) const { return c == 1 ? 5 : (c == 0) == redIsLow ? 0 : 5 + greenBits; }
};

// An image in memory between guard pages, its rows `gap` bytes apart; filled with noise.
class Image {
 public:
  Image(const Layout& layout, MoxRoiSize roi, Random& random, int gap = 0, bool atEnd = true);

  const Layout& layout() const { return layout_; }
  int step() const { return step_; }
  MoxRoiSize roi() const { return roi_; }
  uint8_t* const* planes() const { return first_.data(); }
  // As the functions take it: the pixels, or the planes.
  void* argument() { return layout_.planes() == 1 ? first_[0] : static_cast<void*>(first_.data()); }

  void set(int x, int y, int c, int value) { layout_.set(pixel(x, y).data(), c, value); }
  int get(int x, int y, int c) const { return layout_.get(pixel(x, y).data(), c); }

  // Whether all bytes outside the pixels are unchanged.
  bool gapsUntouched() const;

 private:
  std::array<uint8_t*, 4> pixel(int x, int y) const {
    std::array<uint8_t*, 4> at{};
    for (int i = 0; i < layout_.planes(); i++)
      at[i] = first_[i] + static_cast<ptrdiff_t>(y) * step_ + static_cast<ptrdiff_t>(x) * layout_.pixelBytes();
    return at;
  }

  Layout layout_;
  MoxRoiSize roi_;
  int step_;
  std::array<std::unique_ptr<GuardedMemory>, 4> memory_;
  std::array<uint8_t*, 4> first_{};
  std::array<std::vector<uint8_t>, 4> before_;
};

// Rows without gaps of all values of the second and third channels, 65536 pixels; the first is set again each time.
class AllColours {
 public:
  AllColours(const Layout& layout, int width);

  void setFirst(int value);
  int get(int x, int c) const { return layout_.get(pixel(x).data(), c); }

  void* argument() { return layout_.planes() == 1 ? first_[0] : static_cast<void*>(first_.data()); }
  int step() const { return roi_.width * layout_.pixelBytes(); }
  MoxRoiSize roi() const { return roi_; }
  int count() const { return roi_.width * roi_.height; }
  static Triple channels(int first, int x) { return {first, x >> 8 & 255, x & 255}; }

 private:
  std::array<uint8_t*, 4> pixel(int x) const {
    std::array<uint8_t*, 4> at{};
    for (int i = 0; i < layout_.planes(); i++) at[i] = first_[i] + static_cast<ptrdiff_t>(x) * layout_.pixelBytes();
    return at;
  }

  Layout layout_;
  MoxRoiSize roi_;
  std::array<std::vector<uint8_t>, 4> planes_;
  std::array<uint8_t*, 4> first_{};
};

// ---- The arithmetic ----

// The results of a function for three channels, in the columns of a group and in those of the tail.
struct Rule {
  Triple (*group)(Triple channels);
  Triple (*tail)(Triple channels);
};
extern const Rule kFromPixels, kFromPlanes, kFromCmyk, kFromWords555, kFromWords565, kToRgb, kToCmyk;

// ---- The functions ----

struct ColourFunction {
  const char* name;
  MoxStatus (*call)(const void* src, int32_t srcStep, void* dst, int32_t dstStep, MoxRoiSize roi);
  Layout src, dst;
  Rule rule;

  MoxStatus operator()(auto& from, auto& to) const {
    return call(from.argument(), from.step(), to.argument(), to.step(), from.roi());
  }
  // The expected output at column x of a row of `width`, from the channels read there.
  Triple expected(Triple channels, int x, int width) const {
    const Triple exact = (x < width / 4 * 4 ? rule.group : rule.tail)(channels);
    return {dst.stored(0, exact[0]), dst.stored(1, exact[1]), dst.stored(2, exact[2])};
  }
  // The first pixel of `to` that differs from the promise, or an empty text.
  std::string difference(const Image& from, const Image& to) const;
  std::string difference(int first, const AllColours& to) const;
};

std::vector<ColourFunction> fromByteFunctions();
std::vector<ColourFunction> colourFunctions();
const ColourFunction& functionNamed(const std::string& name);

// Whether there is time for all colours. Slow runs test a sample of one channel's values, both ends included:
// unoptimised builds, sanitizers, and emulators, which set MOX_TEST_SAMPLED.
bool thorough();

// For GoogleTest.
void PrintTo(const ColourFunction& function, std::ostream* out);

}  // namespace test
