// Turned, mirrored and cropped pictures without loss: blocks change places, and coefficients their order and signs.
#pragma once

#include "base/budget.h"

namespace moxj::jpeg {

struct CodedPicture;

// One of the eight ways to lay down a rectangle: transposed first, then mirrored.
struct Transform {
  bool transpose = false;  // x and y change places
  bool mirrorX = false;    // left and right change places
  bool mirrorY = false;    // top and bottom change places

  bool operator==(const Transform&) const = default;
};

inline constexpr Transform kFlipHorizontal{.mirrorX = true};
inline constexpr Transform kFlipVertical{.mirrorY = true};
inline constexpr Transform kTranspose{.transpose = true};
inline constexpr Transform kTransverse{.transpose = true, .mirrorX = true, .mirrorY = true};
inline constexpr Transform kRotate90{.transpose = true, .mirrorX = true};  // clockwise, as all angles
inline constexpr Transform kRotate180{.mirrorX = true, .mirrorY = true};
inline constexpr Transform kRotate270{.transpose = true, .mirrorY = true};

// The transform that shows a picture upright whose Exif orientation is 1 to 8.
constexpr Transform transformOf(int orientation) {
  constexpr Transform kOfOrientation[] = {{},         kFlipHorizontal, kRotate180,  kFlipVertical,
                                          kTranspose, kRotate90,       kTransverse, kRotate270};
  return kOfOrientation[orientation - 1];
}

// A rectangle of the transformed picture. Its corner moves up and left to that of an MCU, and the rectangle grows by as
// much. Width or height 0: as far as the edge.
struct Crop {
  int width = 0, height = 0, x = 0, y = 0;

  bool operator==(const Crop&) const = default;
};

struct Geometry {
  Transform transform = {};
  Crop crop = {};
  bool trim = false;       // drop edges that cannot be mirrored
  bool perfect = false;    // refuse pictures with such edges
  bool grayscale = false;  // keep only the luminance

  bool operator==(const Geometry&) const = default;
};

// An MCU at the right or bottom edge that the picture does not fill cannot be mirrored, because what fills it up would
// move into the picture. Such edges stay where they are, unless `trim` or `perfect` say otherwise; a note says so. The
// result has the coefficients, tables and sampling factors that jpegtran gives it. Throws Problem: badOption; limit,
// because two sets of coefficients are in memory for a while.
void transform(CodedPicture& picture, const Geometry& geometry, Budget& budget);

}  // namespace moxj::jpeg
