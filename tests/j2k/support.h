// Pictures and files for the tests of JPEG 2000.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "j2k/j2k.h"

namespace moxj::j2k::test {

using File = std::vector<std::uint8_t>;

// Waves with some noise. An even number of planes: the last one is opacity.
inline Picture picture(int width, int height, int planes, int bits, bool isSigned = false) {
  Picture picture = Picture::layout(width, height, planes, bits, planes < 3 ? Colour::grey : Colour::rgb);
  picture.opacity = planes % 2 == 0 ? Opacity::straight : Opacity::none;
  if (isSigned)
    for (Plane& plane : picture.planes) plane = Plane::of(width, height, bits, true);
  picture.allocate();
  std::mt19937 random(1);
  for (const Plane& plane : picture.planes)
    for (int y = 0; y < height; ++y)
      visitRow(plane, y, [&](auto* row) {
        for (int x = 0; x < width; ++x) {
          const auto value =
              static_cast<std::int32_t>((static_cast<unsigned>(x * 5 + y * 3) + random() % 16) % (1u << bits));
          row[std::ptrdiff_t{x} * plane.pixelStep] =
              static_cast<std::remove_pointer_t<decltype(row)>>(value + plane.minval());
        }
      });
  return picture;
}

inline EncodeOptions lossless() {
  EncodeOptions options;
  options.lossless = true;
  return options;
}

inline File encoded(const Picture& picture, const EncodeOptions& options, Work& work,
                    std::vector<std::string>* notes = nullptr) {
  MemoryOutput output;
  const std::vector<std::string> found = encode(picture, options, work, output);
  if (notes) *notes = found;
  return {output.bytes.begin(), output.bytes.end()};
}

inline File encoded(const Picture& picture, const EncodeOptions& options) {
  Work work;
  return encoded(picture, options, work);
}

inline Picture decoded(const File& file, const DecodeOptions& options = {}) {
  Work work;
  return decode(file, options, work).picture;
}

inline bool equalSamples(const Picture& a, const Picture& b) {
  if (a.planes.size() != b.planes.size()) return false;
  for (std::size_t i = 0; i < a.planes.size(); ++i) {
    const Plane &p = a.planes[i], &q = b.planes[i];
    if (p.width != q.width || p.height != q.height || p.bits != q.bits || p.isSigned != q.isSigned) return false;
    for (int y = 0; y < p.height; ++y)
      for (int x = 0; x < p.width; ++x)
        if (p.at(x, y) != q.at(x, y)) return false;
  }
  return true;
}

}  // namespace moxj::j2k::test
