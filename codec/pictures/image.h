// Images with any number of components, each with its own size, depth and sign: what JPEG 2000 files can hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pictures/picture.h"

namespace moxj {

// A view of the samples of a component: bytes or 32-bit numbers, interleaved with other components or planar.
struct Component {
  int width = 0, height = 0;
  int dx = 1, dy = 1;  // sub-sampling
  int bits = 8;
  bool isSigned = false;
  bool wide = false;        // 32-bit samples
  int pixelStep = 1;        // samples from one sample of a row to the next
  std::ptrdiff_t step = 0;  // bytes from one row to the next
  std::uint8_t* samples = nullptr;

  std::uint8_t* bytes(int y) const { return samples + step * y; }
  std::int32_t* numbers(int y) const { return reinterpret_cast<std::int32_t*>(bytes(y)); }
  std::int32_t at(int x, int y) const {
    return wide ? numbers(y)[std::ptrdiff_t{x} * pixelStep] : bytes(y)[std::ptrdiff_t{x} * pixelStep];
  }
  std::int32_t minValue() const { return isSigned ? -(1 << (bits - 1)) : 0; }
  std::int32_t maxValue() const { return (1 << (isSigned ? bits - 1 : bits)) - 1; }
};

enum class Colour { grey, rgb, ycc, unknown };

// Copies share the samples.
struct Image {
  int width = 0, height = 0;  // of the grid that all components lie on
  Colour colour = Colour::unknown;
  bool alpha = false;  // the last component is opacity
  std::vector<Component> components;
  std::shared_ptr<void> owner;

  // Allocates the samples of `components`, which are otherwise complete: interleaved bytes if all components have the
  // same size and at most 8 unsigned bits, planes of 32-bit samples if not. Charged to the
  // budget if there is one. Throws Problem (limit or noMemory).
  void allocate(Budget* budget = nullptr);
  bool interleavedBytes() const;  // the choice of allocate()
  std::uint64_t bytes() const;    // the size that allocate() needs
};

// An image that shares the samples of the picture.
Image imageOf(const Picture& picture);

// Components of equal size without YCbCr, as the `picture` formats need them. Sub-sampled components are upsampled by
// repetition.
Image sameSize(const Image& image, Budget* budget = nullptr);

// 8-bit grey or RGB, with a note for everything that is lost.
Picture toPicture(const Image& image, std::vector<std::string>& notes, Budget* budget = nullptr);

struct DecodedImage : Outcome {
  Image image;
};

}  // namespace moxj
