// Samples in the caller's memory: what their layout means, and views of them.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "moxcodec.h"
#include "pictures/picture.h"

namespace moxj::api {

// What an interleaved layout has. Words count as one channel in memory and three in the picture.
struct LayoutFacts {
  MoxcLayout layout;
  Colour colour;
  bool opacity;
  int channels;                      // samples of a pixel in memory
  std::array<std::int8_t, 4> order;  // the place of each plane of the picture among them
};

// Null for moxcYCbCr, moxcPlanes and what is no layout.
const LayoutFacts* factsOf(MoxcLayout layout);
constexpr bool isWords(MoxcLayout layout) { return layout == moxcRgb565 || layout == moxcRgb555; }
constexpr bool isPlanar(MoxcLayout layout) { return layout == moxcYCbCr || layout == moxcPlanes; }

// Throws BadArgument unless it is one of the values.
void checkLayout(const MoxcLayout& layout);

// The caller's pixels with all that was left to a default filled in. `samples`: whether they are needed. Throws
// BadArgument.
MoxcPixels checkedPixels(const MoxcPixels* given, bool samples);

// The largest value of a sample, and the smallest.
std::int32_t maxOf(const MoxcPixels& pixels, const MoxcPlane& plane);
std::int32_t minOf(const MoxcPixels& pixels, const MoxcPlane& plane);

// The picture that pixels describe, without samples; words are RGB of 8 bits. Its planes are interleaved in the order
// of the road: R, G, B, opacity.
Picture layoutOf(const MoxcPixels& pixels);

// Pixels without samples for a picture that is converted to a layout. `layout` 0: as the picture is.
MoxcPixels pixelsFor(const Picture& picture, MoxcLayout layout);

// The rows from `first` on, which must be a multiple of every dy.
MoxcPixels rowsOf(const MoxcPixels& pixels, int first, int count);

// A good number of rows for a band: a multiple of every dy.
int bandRows(const Picture& layout);

// How a sample is stored.
enum class SampleType { u8, i8, u16, i16, i32 };

template <class Work>
decltype(auto) visitType(SampleType type, Work&& work) {
  switch (type) {
    case SampleType::u8:
      return work(static_cast<std::uint8_t*>(nullptr));
    case SampleType::i8:
      return work(static_cast<std::int8_t*>(nullptr));
    case SampleType::u16:
      return work(static_cast<std::uint16_t*>(nullptr));
    case SampleType::i16:
      return work(static_cast<std::int16_t*>(nullptr));
    default:
      return work(static_cast<std::int32_t*>(nullptr));
  }
}

// The samples of one plane of a picture, wherever they are. Rows need not be aligned.
struct Channel {
  std::uint8_t* samples = nullptr;
  std::ptrdiff_t step = 0;  // bytes from one row to the next
  int pixelStep = 1;        // samples from one to the next
  int width = 0, height = 0;
  SampleType type = SampleType::u8;

  std::uint8_t* row(int y) const { return samples + step * y; }
};

Channel channelOf(const Plane& plane);
// Plane `index` of the picture that the pixels describe; not of words.
Channel channelOf(const MoxcPixels& pixels, int index);

// Allocates samples plane after plane, where Picture::allocate() would interleave planes of the same size. Throws
// Problem (limit, noMemory).
void allocatePlanes(Picture& picture, Budget* budget);

// A view of pixels as a picture, if their memory is what the road takes: element types, alignment, order. `bgr`: also
// three samples with blue first. `owner` may be null. Otherwise a picture without planes.
Picture viewOf(const MoxcPixels& pixels, const std::shared_ptr<void>& owner, bool bgr);

}  // namespace moxj::api
