// Pixels to blocks and back with the library's MCU functions; edges are padded in a buffer.
#include "jpeg/fastmcu.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "jpeg/library.h"

namespace moxj::jpeg {

namespace {

constexpr McuFunctions k444{moxiRGBToYCbCr444LS_MCU_8u16s_C3P3R, moxiYCbCr444ToRGBLS_MCU_16s8u_P3C3R};
constexpr McuFunctions k422{moxiRGBToYCbCr422LS_MCU_8u16s_C3P3R, moxiYCbCr422ToRGBLS_MCU_16s8u_P3C3R};
constexpr McuFunctions k420{moxiRGBToYCbCr411LS_MCU_8u16s_C3P3R, moxiYCbCr411ToRGBLS_MCU_16s8u_P3C3R};

constexpr std::uint8_t kEmptySample = 128;

}  // namespace

const McuFunctions* mcuFunctionsFor(const Frame& frame) {
  const auto& c = frame.components;
  if (c.size() != 3) return nullptr;
  for (int i = 1; i < 3; ++i) {
    if (c[i].horizontal != 1 || c[i].vertical != 1) return nullptr;
  }
  if (c[0].vertical == 1) return c[0].horizontal == 1 ? &k444 : c[0].horizontal == 2 ? &k422 : nullptr;
  return c[0].horizontal == 2 && c[0].vertical == 2 ? &k420 : nullptr;
}

McuSource::McuSource(const Picture& picture, const Frame& frame)
    : picture_(picture), frame_(frame), functions_(mcuFunctionsFor(frame)), layout_(frame) {}

void McuSource::load(int x, int y) {
  const int wide = frame_.mcuWidth(), high = frame_.mcuHeight();
  const int left = x * wide, top = y * high;
  const std::array<Mox16s*, 3> to = layout_.pointers(blocks_);
  if (left + wide <= picture_.width && top + high <= picture_.height) {
    const int step = static_cast<int>(picture_.step);
    require(functions_->toBlocks(picture_.row(top) + std::ptrdiff_t{3} * left, step, to.data()),
            "the colour conversion of an MCU");
    return;
  }
  for (int dy = 0; dy < high; ++dy) {
    const std::uint8_t* const from = picture_.row(std::min(top + dy, picture_.height - 1));
    for (int dx = 0; dx < wide; ++dx)
      std::memcpy(&edge_[3 * (dy * wide + dx)], from + std::ptrdiff_t{3} * std::min(left + dx, picture_.width - 1), 3);
  }
  require(functions_->toBlocks(edge_.data(), 3 * wide, to.data()), "the colour conversion of an MCU");
}

McuPainter::McuPainter(const Frame& frame, std::vector<Steps> steps, RowSink* sink, Budget& budget)
    : frame_(frame), functions_(mcuFunctionsFor(frame)), layout_(frame), steps_(std::move(steps)), sink_(sink) {
  row_.resize(std::size_t{64} * static_cast<std::size_t>(layout_.count()) * static_cast<std::size_t>(frame.mcusWide));
  const std::size_t rows = static_cast<std::size_t>(frame.mcuHeight()) * (sink ? 1 : frame.mcusHigh);
  const int height = std::min(frame.height, static_cast<int>(rows));
  band_ = Picture::make(frame.width, height, 3, &budget, std::size_t{3} * frame.mcuWidth() * frame.mcusWide, rows);
  if (sink) sink->begin(frame.width, frame.height, 3);
}

void McuPainter::put(int component, int x, int y, const Mox16s* coefficients) {
  const FrameComponent& c = frame_.components[component];
  const std::ptrdiff_t mcu = x / c.horizontal;
  const int within = y % c.vertical * c.horizontal + x % c.horizontal;
  Mox16s* const to =
      layout_.pointers(row_.data() + mcu * layout_.count() * 64)[component] + std::ptrdiff_t{64} * within;
  require(moxiDCTQuantInv8x8_JPEG_16s_C1(coefficients, to, steps_[component].data()), "the inverse transform");
}

void McuPainter::finishRow() {
  const int wide = frame_.mcuWidth(), high = frame_.mcuHeight();
  const int top = sink_ ? 0 : mcuRow_ * high;
  for (int mcu = 0; mcu < frame_.mcusWide; ++mcu) {
    const Mox16s* const blocks = row_.data() + std::ptrdiff_t{mcu} * layout_.count() * 64;
    require(functions_->toPixels(layout_.pointers(blocks).data(), band_.row(top) + std::ptrdiff_t{3} * mcu * wide,
                                 static_cast<std::int32_t>(band_.step)),
            "the colour conversion of an MCU");
  }
  if (sink_) {
    band_.height = std::min(high, frame_.height - mcuRow_ * high);
    sink_->rows(band_);
  }
  ++mcuRow_;
}

void McuPainter::finish() {
  const int high = frame_.mcuHeight();
  for (; mcuRow_ < frame_.mcusHigh; ++mcuRow_) {
    Picture rows = band_;
    rows.height = std::min(high, frame_.height - mcuRow_ * high);
    rows.samples = band_.row(sink_ ? 0 : mcuRow_ * high);
    for (int y = 0; y < rows.height; ++y) std::memset(rows.row(y), kEmptySample, rows.rowBytes());
    if (sink_) sink_->rows(rows);
  }
}

Picture McuPainter::picture() const { return sink_ ? Picture() : band_; }

}  // namespace moxj::jpeg
