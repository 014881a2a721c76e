// The picture: planes of samples, each with its own size, depth and sign, and what they mean.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/budget.h"
#include "pictures/metadata.h"

namespace moxj {

// How a sample is stored. Planes of up to 8 unsigned bits take u8, others of up to 16 bits u16 or (signed) i16, and all
// others i32.
enum class Element { u8, u16, i16, i32 };

constexpr int sizeOf(Element element) { return element == Element::u8 ? 1 : element == Element::i32 ? 4 : 2; }
constexpr Element elementFor(int bits, bool isSigned) {
  return bits > 16 ? Element::i32 : isSigned ? Element::i16 : bits > 8 ? Element::u16 : Element::u8;
}

// A view of samples. Planes of one picture may be interleaved (pixelStep > 1) or apart.
struct Plane {
  int width = 0, height = 0;  // in samples
  int dx = 1, dy = 1;         // sub-sampling: columns and rows of the picture for each sample
  int bits = 8;               // 1 to 31
  bool isSigned = false;
  std::int32_t maxval = 255;  // the sample value of full intensity; 2^bits - 1 or, signed, 2^(bits-1) - 1 if the file
                              // gives none
  Element element = Element::u8;
  int pixelStep = 1;        // elements from one sample of a row to the next
  std::ptrdiff_t step = 0;  // bytes from one row to the next
  std::uint8_t* samples = nullptr;

  // A plane without samples. Its maximum value is the largest of its bits.
  static Plane of(int width, int height, int bits = 8, bool isSigned = false, int dx = 1, int dy = 1);

  std::int32_t minval() const { return isSigned ? -maxval - 1 : 0; }
  // Whether maxval is the largest value of the bits.
  bool fullRange() const { return maxval == static_cast<std::int32_t>((1u << (isSigned ? bits - 1 : bits)) - 1); }

  template <class Type>
  Type* row(int y) const {
    return reinterpret_cast<Type*>(samples + step * y);
  }
  // One sample, for tests and slow paths.
  std::int32_t at(int x, int y) const;
};

// Calls work(Type*) with a null pointer of the type of the samples: one generic lambda serves all planes.
template <class Work>
decltype(auto) visitElement(Element element, Work&& work) {
  switch (element) {
    case Element::u8:
      return work(static_cast<std::uint8_t*>(nullptr));
    case Element::u16:
      return work(static_cast<std::uint16_t*>(nullptr));
    case Element::i16:
      return work(static_cast<std::int16_t*>(nullptr));
    default:
      return work(static_cast<std::int32_t*>(nullptr));
  }
}

// Calls work(row) with a typed pointer to the first sample of row y; the next sample is pixelStep elements further.
template <class Work>
decltype(auto) visitRow(const Plane& plane, int y, Work&& work) {
  return visitElement(plane.element, [&](auto* type) -> decltype(auto) {
    return work(plane.row<std::remove_pointer_t<decltype(type)>>(y));
  });
}

enum class Colour {
  grey,
  rgb,
  ycbcr,  // full range, ITU-R BT.601 as in JFIF
  cmyk,
  ycck,
  lab,
  special,  // three colours that only their conversion to sRGB explains: Picture::space says which
  unknown   // planes without a known meaning
};

struct ColourSpace;  // colourspace/space.h

enum class Opacity { none, straight, premultiplied };  // in the last plane

// A part of a picture.
struct Region {
  int x = 0, y = 0;           // its upper left pixel
  int width = 0, height = 0;  // 0: as far as the edge of the picture

  bool given() const { return x != 0 || y != 0 || width != 0 || height != 0; }
};

// Copies share the samples. A picture whose planes have no samples is a layout: it describes rows that are to come. A
// band is some rows of a picture; its planes have the rows that belong to them.
struct Picture {
  int width = 0, height = 0;  // of the grid that all planes lie on
  Colour colour = Colour::unknown;
  Opacity opacity = Opacity::none;
  bool inverted = false;  // of inks: the maximum value is no ink (as in nearly all JPEG files)
  std::vector<Plane> planes;
  std::shared_ptr<const Metadata> metadata;  // null: none
  Region wanted = {};  // of a layout: the part that is wanted, if that is not all; fitting() (fit.h) cuts it out
  std::shared_ptr<const ColourSpace> space;  // null: none is known but by an ICC profile; then colours count as sRGB
  std::shared_ptr<void> owner;               // keeps the samples alive

  // A layout of planes of the same size.
  static Picture layout(int width, int height, int planes, int bits, Colour colour);
  // Layout and samples in one step: interleaved grey (1) or RGB (3) of 8 bits.
  static Picture bytes(int width, int height, int channels, Budget* budget = nullptr);

  // Allocates uninitialised samples for the planes, which are otherwise complete: interleaved if all have the same size
  // and element type, otherwise plane after plane. `rowBytes` and `rows` may be larger than the picture, so that a
  // decoder can store whole blocks at its edges (interleaved pictures only). Charged to the budget if there is one.
  // Throws Problem (limit or noMemory).
  void allocate(Budget* budget = nullptr, std::size_t rowBytes = 0, std::size_t rows = 0);
  void clear() const;           // sets all samples to 0
  std::uint64_t bytes() const;  // the size that allocate() needs, without padding

  int colours() const { return static_cast<int>(planes.size()) - (opacity != Opacity::none); }
  bool hasSamples() const { return !planes.empty() && planes[0].samples != nullptr; }
  // Whether all planes have the size of the picture, the same depth and element type.
  bool uniform() const;
  // Uniform, with samples in the order of the planes, without gaps between the pixels of a row.
  bool interleaved() const { return interleavedFrom(0); }
  // Three planes of the same kind with blue first and red last in a pixel.
  bool interleavedBgr() const { return planes.size() == 3 && interleavedFrom(2); }
  // The bytes of a row of an interleaved picture.
  std::size_t rowBytes() const {
    return static_cast<std::size_t>(width) * planes.size() * static_cast<std::size_t>(sizeOf(planes[0].element));
  }
  // The first byte of a row of an interleaved picture.
  std::uint8_t* row(int y) const { return planes[0].samples + planes[0].step * y; }

  // Rows `first` to `first + count - 1`, which share the samples. `first` must be a multiple of every dy.
  Picture band(int first, int count) const;

 private:
  // `first` is the plane of the first sample of a pixel: 0, or the last of all.
  bool interleavedFrom(std::size_t first) const;
};

// Checked before memory is allocated for a picture.
struct Limits {
  std::uint64_t maxPixels = 268435456;               // width x height
  std::uint64_t maxMemory = std::uint64_t{1} << 30;  // bytes that a conversion may hold
  int maxScans = 500;                                // of a JPEG file

  // In all scans of a progressive JPEG file: of the largest picture, a component may have 64 scans.
  std::uint64_t maxBlocks() const { return std::max(maxPixels, std::uint64_t{1} << 22); }

  // Throws Problem (limit) if the picture has more pixels than allowed.
  void check(std::uint64_t width, std::uint64_t height) const;
};

}  // namespace moxj
