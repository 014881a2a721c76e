// NumPy arrays as the library's pixels, and the library's pictures as NumPy arrays, without copies.
#pragma once

#include <moxcodec.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <string>
#include <vector>

#include "call.h"

namespace moxj::python {

// What a list of arrays holds. Each array has 2 dimensions, or 3 with the channels of an interleaved layout in the last
// one, and the pixels of a row side by side. They must outlive the result.
// `form` is (layout, width, height, bits, maxValue); `sampling` has (dx, dy) for each array, or nothing.
MoxcPixels pixelsOf(const py::list& arrays, const py::tuple& form, const py::list& sampling, bool written);

// Blocks of metadata from a list of (kind, name, bytes), which must outlive it.
class Metadata {
 public:
  explicit Metadata(const py::list& blocks);
  const MoxcMetadata* data() const { return blocks_.data(); }
  size_t size() const { return blocks_.size(); }

 private:
  std::vector<std::string> names_;
  std::vector<MoxcMetadata> blocks_;
};

py::tuple tupleOf(const MoxcMetadata& block);

// A picture that the library owns. Its arrays refer to it, so it lives as long as the last of them.
class Picture {
 public:
  explicit Picture(MoxcPicture* picture);

  const MoxcPixels& pixels() const { return pixels_; }
  py::list metadata() const;
  // The array of an interleaved layout, or the planes of others, with `owner`, the Python object of this.
  static py::list arrays(const py::object& owner);

 private:
  struct Free {
    void operator()(MoxcPicture* picture) const { moxcPictureFree(picture); }
  };
  std::unique_ptr<MoxcPicture, Free> picture_;
  MoxcPixels pixels_{};
};

}  // namespace moxj::python
