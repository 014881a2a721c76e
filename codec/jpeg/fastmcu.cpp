// Pixels to blocks and back with the library's MCU functions; edges are padded in a buffer.
#include "jpeg/fastmcu.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "jpeg/library.h"

namespace moxj::jpeg {

namespace {

constexpr McuFunctions k444{moxiRGBToYCbCr444LS_MCU_8u16s_C3P3R, moxiBGRToYCbCr444LS_MCU_8u16s_C3P3R,
                            moxiYCbCr444ToRGBLS_MCU_16s8u_P3C3R};
constexpr McuFunctions k422{moxiRGBToYCbCr422LS_MCU_8u16s_C3P3R, moxiBGRToYCbCr422LS_MCU_8u16s_C3P3R,
                            moxiYCbCr422ToRGBLS_MCU_16s8u_P3C3R};
constexpr McuFunctions k420{moxiRGBToYCbCr411LS_MCU_8u16s_C3P3R, moxiBGRToYCbCr411LS_MCU_8u16s_C3P3R,
                            moxiYCbCr411ToRGBLS_MCU_16s8u_P3C3R};
constexpr McuFunctions kInks444{moxiCMYKToYCCK444LS_MCU_8u16s_C4P4R, nullptr, moxiYCCK444ToCMYKLS_MCU_16s8u_P4C4R};
constexpr McuFunctions kInks422{moxiCMYKToYCCK422LS_MCU_8u16s_C4P4R, nullptr, moxiYCCK422ToCMYKLS_MCU_16s8u_P4C4R};
constexpr McuFunctions kInks420{moxiCMYKToYCCK411LS_MCU_8u16s_C4P4R, nullptr, moxiYCCK411ToCMYKLS_MCU_16s8u_P4C4R};

constexpr std::uint8_t kEmptySample = 128;

}  // namespace

const McuFunctions* mcuFunctionsFor(const Frame& frame, ColourModel model) {
  const auto& c = frame.components;
  const bool inks = model == ColourModel::ycck;
  if ((!inks && model != ColourModel::ycbcr) || c.size() != (inks ? 4u : 3u)) return nullptr;
  for (int i = 1; i < 3; ++i) {
    if (c[i].horizontal != 1 || c[i].vertical != 1) return nullptr;
  }
  const int across = c[0].horizontal, down = c[0].vertical;
  if (inks && (c[3].horizontal != across || c[3].vertical != down)) return nullptr;
  if (down == 1 && across == 1) return inks ? &kInks444 : &k444;
  if (down == 1 && across == 2) return inks ? &kInks422 : &k422;
  if (down == 2 && across == 2) return inks ? &kInks420 : &k420;
  return nullptr;
}

McuSource::McuSource(const Frame& frame, ColourModel model)
    : frame_(frame), functions_(mcuFunctionsFor(frame, model)), layout_(frame) {}

void McuSource::beginRow(const Picture& band, int first, int row) {
  bgr_ = band.interleavedBgr();
  top_ = bgr_ ? band.planes[2].row<std::uint8_t>(first) : band.row(first);
  step_ = band.planes[0].step;
  rows_ = std::min(frame_.mcuHeight(), frame_.height - row * frame_.mcuHeight());
}

void McuSource::load(int mcu) {
  const int wide = frame_.mcuWidth(), high = frame_.mcuHeight(), channels = layout_.channels();
  const int left = mcu * wide, inside = std::min(wide, frame_.width - left);
  const std::array<Mox16s*, 4> to = layout_.pointers(blocks_);
  const auto toBlocks = bgr_ ? functions_->bgrToBlocks : functions_->toBlocks;
  const bool stepFits = step_ > 0 && step_ <= std::numeric_limits<std::int32_t>::max();
  if (inside == wide && rows_ == high && stepFits) {
    require(toBlocks(top_ + std::ptrdiff_t{channels} * left, static_cast<std::int32_t>(step_), to.data()),
            "the colour conversion of an MCU");
    return;
  }
  const auto channelCount = static_cast<std::size_t>(channels);
  for (int dy = 0; dy < high; ++dy) {
    const std::uint8_t* const from = top_ + step_ * std::min(dy, rows_ - 1) + std::ptrdiff_t{channels} * left;
    Mox8u* const row = edge_.data() + std::ptrdiff_t{channels} * dy * wide;
    std::memcpy(row, from, channelCount * static_cast<std::size_t>(inside));
    for (Mox8u* at = row + std::ptrdiff_t{channels} * inside; at < row + std::ptrdiff_t{channels} * wide;
         at += channels)
      std::memcpy(at, at - channels, channelCount);
  }
  require(toBlocks(edge_.data(), channels * wide, to.data()), "the colour conversion of an MCU");
}

McuPainter::McuPainter(const Frame& frame, ColourModel model, std::vector<Steps> steps, RowSink& sink, Budget& budget)
    : frame_(frame), functions_(mcuFunctionsFor(frame, model)), layout_(frame), steps_(std::move(steps)), sink_(sink) {
  const std::size_t size =
      std::size_t{64} * static_cast<std::size_t>(layout_.count()) * static_cast<std::size_t>(frame.mcusWide);
  budget.charge(size, sizeof row_[0]);
  row_.resize(size);
  const std::size_t rows = static_cast<std::size_t>(frame.mcuHeight());
  const RowPainter pixels(model, frame.width, true);
  band_ = pixels.layout(std::min(frame.height, frame.mcuHeight()));
  const std::size_t rowBytes = static_cast<std::size_t>(layout_.channels()) *
                               static_cast<std::size_t>(frame.mcuWidth()) * static_cast<std::size_t>(frame.mcusWide);
  band_.allocate(&budget, rowBytes, rows);
  sink.begin(pixels.layout(frame.height));
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
  const int wide = frame_.mcuWidth();
  for (int mcu = 0; mcu < frame_.mcusWide; ++mcu) {
    const Mox16s* const blocks = row_.data() + std::ptrdiff_t{mcu} * layout_.count() * 64;
    require(functions_->toPixels(layout_.pointers(blocks).data(),
                                 band_.row(0) + std::ptrdiff_t{layout_.channels()} * mcu * wide,
                                 static_cast<std::int32_t>(band_.planes[0].step)),
            "the colour conversion of an MCU");
  }
  pushRow();
}

void McuPainter::pushRow() {
  const int rows = std::min(frame_.mcuHeight(), frame_.height - mcuRow_ * frame_.mcuHeight());
  sink_.rows(bandOf(band_, rows, frame_.height));
  ++mcuRow_;
}

void McuPainter::finish() {
  if (mcuRow_ == frame_.mcusHigh) return;
  for (int y = 0; y < band_.height; ++y) std::memset(band_.row(y), kEmptySample, band_.rowBytes());
  while (mcuRow_ < frame_.mcusHigh) pushRow();
}

}  // namespace moxj::jpeg
