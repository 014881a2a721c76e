// Allocation of pictures, and the pixel limit.
#include "pictures/picture.h"

#include <algorithm>
#include <new>

#include "base/bytes.h"
#include "base/problem.h"

namespace moxj {

Picture Picture::make(int width, int height, int channels, Budget* budget, std::size_t rowBytes, std::size_t rows) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.channels = channels;
  const std::size_t step = std::max(rowBytes, picture.rowBytes());
  rows = std::max(rows, static_cast<std::size_t>(height));
  if (budget) budget->charge(rows, step);
  std::size_t size = 0;
  try {
    if (__builtin_mul_overflow(step, rows, &size) || size > PTRDIFF_MAX) throw std::bad_alloc();
    picture.owner = std::shared_ptr<void>(allocateBytes(size, Filling::whole), freeBytes);
  } catch (const std::bad_alloc&) {
    fail(Kind::noMemory, "not enough memory for " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
  }
  picture.step = static_cast<std::ptrdiff_t>(step);
  picture.samples = static_cast<std::uint8_t*>(picture.owner.get());
  return picture;
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
