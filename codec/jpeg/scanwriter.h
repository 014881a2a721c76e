// Codes the blocks of a scan and appends them to a file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "jpeg/frame.h"
#include "jpeg/library.h"
#include "jpeg/writer.h"

namespace moxj::jpeg {

// The codes of each table index: [table class][index].
using Codes = std::array<std::array<HuffmanCode, 2>, 2>;

// The DC values of the last blocks, by selector.
using LastDc = std::array<Mox16s, 4>;

class ScanWriter {
 public:
  ScanWriter(Writer& writer, ScanKind kind, const ScanHeader& scan, const Codes& codes, int restartInterval);

  // To be called before each MCU. Writes a restart marker if one is due.
  void beginMcu() {
    if (restartInterval_ != 0 && mcusToRestart_-- == 0) restart();
    if (room_ - position_ < kMaxMcuBytes) makeRoom();
  }

  // Codes the next block; `selector` is the index of its component in the scan header. Throws Problem for a
  // coefficient that cannot be coded.
  template <ScanKind kind>
  void put(int selector, const Mox16s* coefficients) {
    const MoxStatus status = code<kind>(coders_[selector], coefficients, 0);
    if (status < 0) [[unlikely]]
      failed(status);
  }

  // The DC value of the last block of the component, which is the cheapest to code next.
  Mox16s lastDc(int selector) const { return coders_[selector].lastDc; }

  void end();

  // For parts of a scan that are joined later (SegmentJoiner), without restart intervals: begins a segment after blocks
  // with these values,
  void begin(const LastDc& lastDc);
  // and ends it, with a 0 and 1-bits up to a whole byte. Scans of DC coefficients only, or of all coefficients.
  void cut();

 private:
  // An MCU has at most 10 blocks of 64 values. Each value takes a code of at most 16 bits and at most 16 more bits, and
  // each byte may be followed by a stuffed zero. An end-of-band run with its correction bits takes much less.
  static constexpr int kMaxMcuBytes = 10 * 64 * 4 * 2;

  struct Coder {
    Mox16s lastDc = 0;
    const MoxEncodeHuffmanSpec* dc = nullptr;
    const MoxEncodeHuffmanSpec* ac = nullptr;
  };

  template <ScanKind kind>
  MoxStatus code(Coder& coder, const Mox16s* coefficients, int flush);
  [[noreturn]] static void failed(MoxStatus status);
  void flush();
  void restart();
  void makeRoom();

  Writer& writer_;
  Bytes& file_;  // what is pending there
  const ScanKind kind_;
  const ScanHeader scan_;
  std::size_t start_;  // the library's positions are 32-bit, so they count from here
  std::int32_t position_ = 0;
  std::int32_t room_ = 0;
  std::array<std::array<EncodeSpec, 2>, 2> specs_;
  std::array<Coder, 4> coders_;
  EncodeState state_;
  int restartInterval_;
  int mcusToRestart_;
  int nextRestart_ = 0;
};

template <ScanKind kind>
MoxStatus ScanWriter::code(Coder& coder, const Mox16s* from, int flush) {
  Mox8u* const to = file_.data() + start_;
  const int start = scan_.spectralStart, end = scan_.spectralEnd, low = scan_.approxLow;
  if constexpr (kind == ScanKind::sequential) {
    return moxiEncodeHuffman8x8_JPEG_16s1u_C1(from, to, room_, &position_, &coder.lastDc, coder.dc, coder.ac,
                                              state_.get(), flush);
  } else if constexpr (kind == ScanKind::dcFirst) {
    return moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(from, to, room_, &position_, &coder.lastDc, low, coder.dc,
                                                      state_.get(), flush);
  } else if constexpr (kind == ScanKind::dcRefine) {
    return moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(from, to, room_, &position_, low, state_.get(), flush);
  } else if constexpr (kind == ScanKind::acFirst) {
    return moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(from, to, room_, &position_, start, end, low, coder.ac,
                                                      state_.get(), flush);
  } else {
    return moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(from, to, room_, &position_, start, end, low, coder.ac,
                                                       state_.get(), flush);
  }
}

}  // namespace moxj::jpeg
