// Rows of samples as most files have them: all samples of a pixel together, no gaps.
#pragma once

#include <cstdint>
#include <vector>

#include "pictures/picture.h"

namespace moxj {

// Gives the rows of a band of uniform planes, copied only if the samples are laid out otherwise.
class PackedRows {
 public:
  // All rows of the next band are those of begin().
  void begin(const Picture& band) {
    band_ = &band;
    inPlace_ = band.interleaved();
    if (!inPlace_) memory_.resize(band.rowBytes());
  }
  const std::uint8_t* row(int y) {
    if (inPlace_) return band_->row(y);
    for (std::size_t i = 0; i < band_->planes.size(); ++i) pack(band_->planes[i], y, i);
    return memory_.data();
  }

 private:
  void pack(const Plane& plane, int y, std::size_t place) {
    visitRow(plane, y, [&]<class Type>(const Type* from) {
      const std::ptrdiff_t count = static_cast<std::ptrdiff_t>(band_->planes.size());
      Type* const to = reinterpret_cast<Type*>(memory_.data()) + place;
      for (std::ptrdiff_t x = 0; x < plane.width; ++x) to[x * count] = from[x * plane.pixelStep];
    });
  }

  const Picture* band_ = nullptr;
  bool inPlace_ = false;
  std::vector<std::uint8_t> memory_;
};

}  // namespace moxj
