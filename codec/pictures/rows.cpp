// Keeps the bands of a picture.
#include "pictures/rows.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

#include "base/arithmetic.h"

namespace moxj {

namespace {

template <class Type>
void copyRow(const Type* from, int fromStep, Type* to, int toStep, int width) {
  for (std::ptrdiff_t x = 0; x < width; ++x) to[x * toStep] = from[x * fromStep];
}

void copyPlane(const Plane& from, const Plane& to) {
  const int rows = std::min(from.height, to.height);
  for (int y = 0; y < rows; ++y) {
    visitRow(to, y, [&]<class Type>(Type* row) {
      copyRow(from.row<const Type>(y), from.pixelStep, row, to.pixelStep, to.width);
    });
  }
}

// The element types must be the same.
void copyRows(const Picture& from, const Picture& to) {
  if (from.interleaved() && to.interleaved()) {
    for (int y = 0; y < from.height; ++y) std::memcpy(to.row(y), from.row(y), to.rowBytes());
    return;
  }
  for (std::size_t i = 0; i < to.planes.size(); ++i) copyPlane(from.planes[i], to.planes[i]);
}

}  // namespace

int rowMultiple(const Picture& layout) {
  std::int64_t multiple = 1;
  for (const Plane& plane : layout.planes)
    multiple = std::min(std::lcm(multiple, std::int64_t{plane.dy}), std::int64_t{layout.height});
  return static_cast<int>(multiple);
}

int rowsOfBand(const Picture& layout) {
  constexpr std::uint64_t kBandBytes = std::uint64_t{64} << 10, kMaxBandBytes = std::uint64_t{1} << 20, kMcuRows = 16;
  const std::uint64_t height = static_cast<std::uint64_t>(layout.height);
  const std::uint64_t rowBytes = std::max<std::uint64_t>(layout.bytes() / height, 1);
  std::uint64_t rows = std::max<std::uint64_t>(kBandBytes / rowBytes / kMcuRows, 1) * kMcuRows;
  if (rows * rowBytes > kMaxBandBytes) rows = std::max<std::uint64_t>(kMaxBandBytes / rowBytes, 1);
  return static_cast<int>(std::min(rows, height));
}

void PictureCollector::begin(const Picture& layout) {
  picture_ = layout;
  filled_ = 0;
}

void PictureCollector::rows(const Picture& band) {
  if (filled_ == 0 && band.height == picture_.height && band.owner) {
    std::shared_ptr<const Metadata> metadata = std::move(picture_.metadata);  // that of the layout
    const Region wanted = picture_.wanted;
    picture_ = band;
    picture_.metadata = std::move(metadata);
    picture_.wanted = wanted;
  } else {
    if (filled_ == 0) picture_.allocate(budget_);
    copyRows(band, picture_.band(filled_, band.height));
  }
  filled_ += band.height;
}

namespace {

template <class Give>
void giveBands(const Picture& picture, RowSink& sink, const Progress& progress, const Give& give) {
  if (sink.takesWhole()) return sink.rows(picture);
  const int multiple = rowMultiple(picture);
  const int rows = ceilDiv(std::max(rowsOfBand(picture), sink.rowsWanted()), multiple) * multiple;
  for (int y = 0; y < picture.height; y += rows) {
    give(picture.band(y, rows));
    reportProgress(progress, std::min(y + rows, picture.height), picture.height);
  }
}

}  // namespace

void pushBands(const Picture& picture, RowSink& sink, const Progress& progress) {
  giveBands(picture, sink, progress, [&](const Picture& band) { sink.rows(band); });
}

void pushStayingBands(const Picture& picture, RowSink& sink, const Progress& progress) {
  giveBands(picture, sink, progress, [&](const Picture& band) { sink.stayingRows(band); });
}

void pushPicture(const Picture& picture, RowSink& sink, const Progress& progress) {
  Picture layout = picture;
  for (Plane& plane : layout.planes) plane.samples = nullptr;
  layout.owner = nullptr;
  sink.begin(layout);
  pushStayingBands(picture, sink, progress);
  sink.end();
}

}  // namespace moxj
