// Decodes differences and reconstructs rows from them.
#include "jpeg/losslessreader.h"

#include <algorithm>

#include "base/problem.h"
#include "jpeg/predict.h"

namespace moxj::jpeg {

namespace {

constexpr int kMaxPredictor = 7;

}  // namespace

LosslessReader::LosslessReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data,
                               Budget& budget)
    : EntropyReader(frame, scan, tables, data),
      precision_(frame.precision),
      predictor_(scan.spectralStart),
      point_(scan.approxLow) {
  if (predictor_ < 1 || predictor_ > kMaxPredictor)
    fail(Kind::damaged, "invalid predictor " + std::to_string(predictor_));
  if (point_ >= precision_) fail(Kind::damaged, "invalid point transform of " + std::to_string(point_) + " bits");
  if (restartInterval_ % geometry_.mcusWide != 0)
    fail(Kind::damaged, "the restart interval is not a whole number of rows");
  for (const ScanHeader::Selector& selector : scan.components) {
    DecodeSpec& spec = specs_[selector.dcTable];
    if (!spec) spec = makeDecodeSpec(codeOf(tables, kDc, selector.dcTable));
    const FrameComponent& c = frame.components[selector.component];
    const bool interleaved = scan.components.size() > 1;
    const int width = interleaved ? c.paddedWide : c.blocksWide;
    Lines lines{
        selector.component, width, interleaved ? c.vertical : 1, c.horizontal, c.vertical, spec.get(), {}, {}, {}};
    budget.charge(static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(lines.down + 2), sizeof(Mox16s));
    lines.differences.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(lines.down));
    lines.current.resize(static_cast<std::size_t>(width));
    lines.above.resize(static_cast<std::size_t>(width));
    lines_.push_back(std::move(lines));
  }
}

void LosslessReader::readRow(const Picture& samples, int firstColumn, int firstRow) {
  moveWindow();
  for (Lines& lines : lines_) std::fill(lines.differences.begin(), lines.differences.end(), Mox16s{0});
  const std::int64_t before = goodMcus_;
  readDifferences();
  if (goodMcus_ > before) {
    for (Lines& lines : lines_)
      rebuild(lines, samples.planes[static_cast<std::size_t>(lines.component)], firstColumn, firstRow);
    firstRow_ = false;
  }
  ++row_;
}

void LosslessReader::readDifferences() {
  for (int mcu = 0; mcu < geometry_.mcusWide; ++mcu) {
    beginMcu();
    if (skipping_) continue;
    for (const ScanGeometry::Block& unit : geometry_.blocks) {
      Lines& lines = lines_[static_cast<std::size_t>(unit.selector)];
      Mox16s* const to = lines.differences.data() + std::ptrdiff_t{lines.width} * unit.dy + mcu * unit.across + unit.dx;
      const MoxStatus status = moxiDecodeHuffmanOne_JPEG_1u16s_C1(window(), windowLength_, &position_, to, &marker_,
                                                                  lines.code, state_.get());
      if (status < 0) [[unlikely]] {
        unitFailed(status);
        if (skipping_) break;
      }
    }
    goodMcus_ += !skipping_;
  }
}

void LosslessReader::rebuild(Lines& lines, const Plane& plane, int firstColumn, int firstRow) {
  const bool wide = precision_ - point_ > 15 && predictor_ >= 5;
  for (int dy = 0; dy < lines.down; ++dy) {
    const Mox16s* const differences = lines.differences.data() + std::ptrdiff_t{lines.width} * dy;
    Mox16s* const row = lines.current.data();
    if (firstRow_ && dy == 0) {
      require(moxiReconstructPredFirstRow_JPEG_16s_C1(differences, row, lines.width, precision_, point_),
              "the reconstruction of a first row");
    } else if (wide) {
      reconstructUnsignedRow(differences, lines.above.data(), row, lines.width, predictor_);
    } else {
      require(moxiReconstructPredRow_JPEG_16s_C1(differences, lines.above.data(), row, lines.width, predictor_),
              "the reconstruction of a row");
    }
    store(lines, plane, firstColumn * lines.horizontal, row_ * lines.down + dy - firstRow * lines.vertical);
    std::swap(lines.current, lines.above);
  }
  if (outOfRange_) damaged("damaged data");
}

// Stores the current row from sample `left` on, without padding, as row `y` of the plane. What is not stored is checked
// too: damage there continues in the rows below.
void LosslessReader::store(const Lines& lines, const Plane& plane, int left, int y) {
  const unsigned max = (1u << (precision_ - point_)) - 1;
  const auto valueAt = [&](int x) -> unsigned {
    return static_cast<std::uint16_t>(lines.current[static_cast<std::size_t>(x)]);
  };
  const int end = y >= 0 && y < plane.height ? left + plane.width : left;
  for (int x = 0; x < left; ++x) outOfRange_ |= valueAt(x) > max;
  for (int x = end; x < lines.width; ++x) outOfRange_ |= valueAt(x) > max;
  if (end == left) return;
  visitRow(plane, y, [&](auto* to) {
    for (int x = left; x < end; ++x, to += plane.pixelStep) {
      const unsigned value = valueAt(x);
      outOfRange_ |= value > max;
      *to = static_cast<std::remove_pointer_t<decltype(to)>>(std::min(value, max) << point_);
    }
  });
}

}  // namespace moxj::jpeg
