// Pictures of any depth, number and size of components: what JPEG 2000 files hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pictures/picture.h"

namespace moxj {

// The samples of a component, bytes or 32-bit numbers, wherever they lie: interleaved with others or in a plane.
struct Component {
  int width = 0, height = 0;
  int dx = 1, dy = 1;  // sub-sampling
  int bits = 8;
  bool isSigned = false;
  bool wide = false;        // 32-bit samples
  int pixelStep = 1;        // samples from one to the next of a row
  std::ptrdiff_t step = 0;  // bytes from one row to the next
  std::uint8_t* samples = nullptr;

  std::uint8_t* bytes(int y) const { return samples + step * y; }
  std::int32_t* numbers(int y) const { return reinterpret_cast<std::int32_t*>(bytes(y)); }
  std::int32_t at(int x, int y) const {
    return wide ? numbers(y)[std::ptrdiff_t{x} * pixelStep] : bytes(y)[std::ptrdiff_t{x} * pixelStep];
  }
  std::int32_t least() const { return isSigned ? -(1 << (bits - 1)) : 0; }
  std::int32_t most() const { return (1 << (isSigned ? bits - 1 : bits)) - 1; }
};

enum class Colour { grey, rgb, ycc, unknown };

// Copies share the samples.
struct Image {
  int width = 0, height = 0;  // of the grid that all components lie on
  Colour colour = Colour::unknown;
  bool alpha = false;  // the last component is opacity
  std::vector<Component> components;
  std::shared_ptr<void> owner;

  // Planes of 32-bit samples or, if all have at most 8 bits without sign and one size, interleaved bytes. The
  // components have everything but their samples. Throws Failure (limit).
  void allocate();
  bool interleavedBytes() const;  // what allocate() makes of it
  std::uint64_t bytes() const;    // that it takes
};

// The same samples.
Image imageOf(const Picture& picture);

// Components of one size, without YCbCr; what `picture` formats can hold. Components that are sub-sampled are
// repeated.
Image sameSize(const Image& image);

// Grey or RGB of 8 bits; what is lost is noted.
Picture toPicture(const Image& image, std::vector<std::string>& notes);

struct DecodedImage {
  Image image;
  bool complete = true;
  std::string warning;
  std::vector<std::string> notes;
};

}  // namespace moxj
