// Allocation of pictures, bands, and the pixel limit.
#include "pictures/picture.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "base/arithmetic.h"
#include "base/bytes.h"
#include "base/problem.h"

namespace moxj {

namespace {

// Planes begin at cache lines.
constexpr std::size_t kAlignment = 64;

constexpr std::size_t aligned(std::size_t size) { return ceilDiv(size, kAlignment) * kAlignment; }

std::size_t size(int value) { return static_cast<std::size_t>(value); }

bool sameGrid(const Plane& a, const Plane& b) {
  return a.width == b.width && a.height == b.height && a.element == b.element;
}

// Interleaved samples need not have the same depth.
bool canInterleave(const Picture& picture) {
  return std::ranges::all_of(picture.planes, [&](const Plane& plane) {
    return sameGrid(plane, picture.planes[0]) && plane.dx == 1 && plane.dy == 1;
  });
}

std::shared_ptr<void> allocated(const Picture& picture, std::size_t count) {
  try {
    if (count > PTRDIFF_MAX) throw std::bad_alloc();
    return std::shared_ptr<void>(allocateBytes(count, Filling::whole), freeBytes);
  } catch (const std::bad_alloc&) {
    fail(Kind::noMemory,
         "not enough memory for " + std::to_string(picture.width) + " x " + std::to_string(picture.height) + " pixels");
  }
}

void allocateInterleaved(Picture& picture, Budget* budget, std::size_t rowBytes, std::size_t rows) {
  const std::size_t step = std::max(rowBytes, picture.rowBytes());
  rows = std::max(rows, size(picture.height));
  if (budget) budget->charge(rows, step);
  std::size_t count = 0;
  if (__builtin_mul_overflow(step, rows, &count)) count = SIZE_MAX;
  picture.owner = allocated(picture, count);
  std::uint8_t* at = static_cast<std::uint8_t*>(picture.owner.get());
  for (Plane& plane : picture.planes) {
    plane.pixelStep = static_cast<int>(picture.planes.size());
    plane.step = static_cast<std::ptrdiff_t>(step);
    plane.samples = at;
    at += sizeOf(plane.element);
  }
}

void allocatePlanes(Picture& picture, Budget* budget) {
  std::size_t count = 0;
  for (Plane& plane : picture.planes) {
    plane.pixelStep = 1;
    plane.step = std::ptrdiff_t{plane.width} * sizeOf(plane.element);
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(static_cast<std::size_t>(plane.step), size(plane.height), &bytes) ||
        __builtin_add_overflow(count, aligned(bytes), &count))
      count = bytes = PTRDIFF_MAX;
  }
  if (budget) budget->charge(1, count);
  picture.owner = allocated(picture, count);
  std::uint8_t* at = static_cast<std::uint8_t*>(picture.owner.get());
  for (Plane& plane : picture.planes) {
    plane.samples = at;
    at += aligned(static_cast<std::size_t>(plane.step) * size(plane.height));
  }
}

}  // namespace

Plane Plane::of(int width, int height, int bits, bool isSigned, int dx, int dy) {
  Plane plane;
  plane.width = width;
  plane.height = height;
  plane.dx = dx;
  plane.dy = dy;
  plane.bits = bits;
  plane.isSigned = isSigned;
  plane.maxval = static_cast<std::int32_t>((1u << (isSigned ? bits - 1 : bits)) - 1);
  plane.element = elementFor(bits, isSigned);
  return plane;
}

std::int32_t Plane::at(int x, int y) const {
  return visitRow(
      *this, y, [&](const auto* samples) { return static_cast<std::int32_t>(samples[std::ptrdiff_t{x} * pixelStep]); });
}

Picture Picture::layout(int width, int height, int planes, int bits, Colour colour) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.colour = colour;
  picture.planes.assign(size(planes), Plane::of(width, height, bits));
  return picture;
}

Picture Picture::bytes(int width, int height, int channels, Budget* budget) {
  Picture picture = layout(width, height, channels, 8, channels == 3 ? Colour::rgb : Colour::grey);
  picture.allocate(budget);
  return picture;
}

void Picture::allocate(Budget* budget, std::size_t rowBytes, std::size_t rows) {
  canInterleave(*this) ? allocateInterleaved(*this, budget, rowBytes, rows) : allocatePlanes(*this, budget);
}

void Picture::clear() const {
  if (interleaved()) {
    for (int y = 0; y < height; ++y) std::memset(row(y), 0, rowBytes());
    return;
  }
  for (const Plane& plane : planes) {
    for (int y = 0; y < plane.height; ++y) {
      visitRow(plane, y, [&](auto* samples) {
        for (std::ptrdiff_t x = 0; x < plane.width; ++x) samples[x * plane.pixelStep] = 0;
      });
    }
  }
}

std::uint64_t Picture::bytes() const {
  std::uint64_t bytes = 0;
  for (const Plane& plane : planes)
    bytes += static_cast<std::uint64_t>(plane.width) * static_cast<std::uint64_t>(plane.height) *
             static_cast<std::uint64_t>(sizeOf(plane.element));
  return bytes;
}

bool Picture::uniform() const {
  return !planes.empty() && std::ranges::all_of(planes, [&](const Plane& plane) {
    const Plane& first = planes[0];
    return plane.width == width && plane.height == height && plane.dx == 1 && plane.dy == 1 &&
           plane.bits == first.bits && plane.isSigned == first.isSigned && plane.maxval == first.maxval &&
           plane.element == first.element;
  });
}

bool Picture::interleavedFrom(std::size_t first) const {
  if (!uniform()) return false;
  const int count = static_cast<int>(planes.size());
  const std::ptrdiff_t size = first == 0 ? sizeOf(planes[0].element) : -sizeOf(planes[0].element);
  std::ptrdiff_t place = 0;
  for (const Plane& plane : planes) {
    if (plane.pixelStep != count || plane.step != planes[0].step || plane.samples - planes[0].samples != place)
      return false;
    place += size;
  }
  return true;
}

// A file can place planes so that they have fewer rows than the picture has for them: the last row is then in every
// band beyond it.
Picture Picture::band(int first, int count) const {
  Picture band = *this;
  band.height = std::min(count, height - first);
  for (Plane& plane : band.planes) {
    const int top = std::clamp(first / plane.dy, 0, std::max(plane.height - 1, 0));
    plane.height = std::clamp(ceilDiv(band.height, plane.dy), std::min(plane.height, 1), plane.height - top);
    if (plane.samples) plane.samples += plane.step * top;
  }
  return band;
}

void Limits::check(std::uint64_t width, std::uint64_t height) const {
  std::uint64_t pixels = 0;
  if (!__builtin_mul_overflow(width, height, &pixels) && pixels <= maxPixels) return;
  fail(Kind::limit,
       std::to_string(width) + " x " + std::to_string(height) + " pixels are more than the limit of " +
           std::to_string(maxPixels),
       Setting::maxPixels);
}

}  // namespace moxj
