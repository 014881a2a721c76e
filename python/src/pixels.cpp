#include "pixels.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace moxj::python {

namespace {

bool inPlanes(int layout) { return layout == moxcYCbCr || layout == moxcPlanes; }

py::dtype typeOf(int sampleSize, bool isSigned) {
  return py::dtype((isSigned ? "i" : "u") + std::to_string(sampleSize));
}

}  // namespace

MoxcPixels pixelsOf(const py::list& arrays, const py::tuple& form, const py::list& sampling, bool written) {
  MoxcPixels pixels{};
  pixels.structSize = sizeof pixels;
  pixels.layout = static_cast<MoxcLayout>(form[0].cast<int>());
  pixels.width = form[1].cast<int32_t>();
  pixels.height = form[2].cast<int32_t>();
  pixels.maxValue = form[4].cast<uint32_t>();
  if (arrays.size() == 0 || arrays.size() > moxcMaxPlanes) throw std::invalid_argument("1 to 16 planes are possible");
  pixels.planeCount = static_cast<int32_t>(arrays.size());
  for (size_t i = 0; i < arrays.size(); ++i) {
    const auto array = arrays[i].cast<py::array>();
    const bool isSigned = array.dtype().kind() == 'i';
    pixels.sampleSize = static_cast<int32_t>(array.itemsize());
    MoxcPlane& plane = pixels.planes[i];
    plane.samples = written ? py::array(array).mutable_data() : const_cast<void*>(array.data());
    plane.height = static_cast<int32_t>(array.shape(0));
    plane.width = static_cast<int32_t>(array.shape(1));
    // The stride of a single row may be anything.
    const ptrdiff_t row = array.size() / std::max<ptrdiff_t>(array.shape(0), 1) * array.itemsize();
    plane.step = plane.height > 1 ? array.strides(0) : row;
    plane.bits = form[3].cast<int32_t>();
    plane.isSigned = isSigned;
    if (i < sampling.size()) {
      const auto steps = sampling[i].cast<std::pair<int32_t, int32_t>>();
      plane.dx = steps.first;
      plane.dy = steps.second;
    }
  }
  return pixels;
}

Metadata::Metadata(const py::list& blocks) {
  names_.reserve(blocks.size());
  for (const py::handle& handle : blocks) {
    const auto block = handle.cast<py::tuple>();
    names_.push_back(block[1].cast<std::string>());
    const auto bytes = block[2].cast<std::string_view>();
    blocks_.push_back(
        {static_cast<MoxcMetadataKind>(block[0].cast<int>()), names_.back().c_str(), bytes.data(), bytes.size()});
  }
}

py::tuple tupleOf(const MoxcMetadata& block) {
  return py::make_tuple(static_cast<int>(block.kind), textOf(block.name ? block.name : ""),
                        py::bytes(static_cast<const char*>(block.bytes), block.byteCount));
}

Picture::Picture(MoxcPicture* picture) : picture_(picture) {
  pixels_.structSize = sizeof pixels_;
  if (moxcPicturePixels(picture, &pixels_) != moxcOk) throw std::logic_error("a picture without pixels");
}

py::list Picture::metadata() const {
  py::list blocks;
  for (size_t i = 0; i < moxcPictureMetadataCount(picture_.get()); ++i) {
    MoxcMetadata block{};
    if (moxcPictureMetadata(picture_.get(), i, &block) == moxcOk) blocks.append(tupleOf(block));
  }
  return blocks;
}

py::list Picture::arrays(const py::object& owner) {
  const MoxcPixels& pixels = owner.cast<const Picture&>().pixels();
  const bool planar = inPlanes(pixels.layout);
  py::list arrays;
  for (int i = 0; i < (planar ? pixels.planeCount : 1); ++i) {
    const MoxcPlane& plane = pixels.planes[i];
    const ptrdiff_t size = pixels.sampleSize, channels = planar ? 1 : moxcChannels(pixels.layout);
    std::vector<ptrdiff_t> shape{plane.height, plane.width};
    std::vector<ptrdiff_t> strides{plane.step, size * channels};
    if (channels > 1) {
      shape.push_back(channels);
      strides.push_back(size);
    }
    arrays.append(py::array(typeOf(pixels.sampleSize, plane.isSigned), shape, strides, plane.samples, owner));
  }
  return arrays;
}

}  // namespace moxj::python
