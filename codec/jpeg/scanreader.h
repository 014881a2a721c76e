// Decodes the entropy-coded data of a scan of blocks, MCU row by MCU row, across restart markers and damage.
#pragma once

#include <array>
#include <vector>

#include "jpeg/entropyreader.h"

namespace moxj::jpeg {

// Missing blocks have all coefficients 0 or, in a progressive file, those of the earlier scans.
class ScanReader final : public EntropyReader {
 public:
  // Throws Problem if a table that the scan needs is missing or invalid.
  ScanReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data);

  // Decodes the next MCU row. The sink has two members, which are called for each block in turn:
  //
  //   Mox16s* begin(int component, int blockX, int blockY)
  //     returns the destination of the coefficients (in natural order); for a progressive scan it holds the
  //     coefficients of the earlier scans
  //   void end(int component, int blockX, int blockY, const Mox16s* coefficients)
  //     `coefficients` is that destination or, for a missing block, an array of zeros
  template <class Sink>
  void readRow(Sink&& sink);

 private:
  struct McuBlock : ScanGeometry::Block {
    Mox16s* lastDc;
    const MoxDecodeHuffmanSpec* dc;
    const MoxDecodeHuffmanSpec* ac;
  };

  template <ScanKind kind, class Sink>
  void readRowOf(Sink& sink);
  template <ScanKind kind>
  MoxStatus decode(const McuBlock& block, Mox16s* coefficients);
  void restarted() override { lastDc_.fill(0); }

  ScanHeader scan_;
  ScanKind kind_;
  std::vector<McuBlock> blocks_;
  std::array<std::array<DecodeSpec, 4>, 2> specs_;  // [table class][index], null if not in use
  std::array<Mox16s, 4> lastDc_{};
};

template <class Sink>
void ScanReader::readRow(Sink&& sink) {
  moveWindow();
  forKind(kind_, [&](auto kind) { readRowOf<kind()>(sink); });
  ++row_;
}

template <ScanKind kind, class Sink>
void ScanReader::readRowOf(Sink& sink) {
  static constexpr Mox16s kEmpty[64] = {};
  for (int mcu = 0; mcu < geometry_.mcusWide; ++mcu) {
    beginMcu();
    for (const McuBlock& block : blocks_) {
      const int x = mcu * block.across + block.dx;
      const int y = row_ * block.down + block.dy;
      Mox16s* const coefficients = sink.begin(block.component, x, y);
      bool read = !skipping_;
      if (read) {
        const MoxStatus status = decode<kind>(block, coefficients);
        if (status < 0) read = unitFailed(status);
      }
      sink.end(block.component, x, y, read ? coefficients : kEmpty);
    }
    goodMcus_ += !skipping_;
  }
}

template <ScanKind kind>
MoxStatus ScanReader::decode(const McuBlock& block, Mox16s* to) {
  const Mox8u* const data = window();
  const int start = scan_.spectralStart, end = scan_.spectralEnd, low = scan_.approxLow;
  if constexpr (kind == ScanKind::sequential) {
    return moxiDecodeHuffman8x8_JPEG_1u16s_C1(data, windowLength_, &position_, to, block.lastDc, &marker_, block.dc,
                                              block.ac, state_.get());
  } else if constexpr (kind == ScanKind::dcFirst) {
    return moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(data, windowLength_, &position_, to, block.lastDc, &marker_, low,
                                                      block.dc, state_.get());
  } else if constexpr (kind == ScanKind::dcRefine) {
    return moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(data, windowLength_, &position_, to, &marker_, low,
                                                       state_.get());
  } else if constexpr (kind == ScanKind::acFirst) {
    return moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(data, windowLength_, &position_, to, &marker_, start, end, low,
                                                      block.ac, state_.get());
  } else {
    return moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(data, windowLength_, &position_, to, &marker_, start, end, low,
                                                       block.ac, state_.get());
  }
}

}  // namespace moxj::jpeg
