// Codes the blocks of a sequential scan into a file under construction.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "bytes.h"
#include "jpeg/frame.h"
#include "jpeg/library.h"

namespace moxj::jpeg {

class ScanWriter {
 public:
  // The codes are those of each table index: [table class][index].
  ScanWriter(Bytes& file, const ScanHeader& scan, const std::array<std::array<HuffmanCode, 2>, 2>& codes,
             int restartInterval);

  // To be called ahead of each MCU: writes a restart marker where one is due.
  void beginMcu() {
    if (restartInterval_ != 0 && mcusToRestart_-- == 0) restart();
    if (room_ - position_ < kMostMcuBytes) makeRoom();
  }

  // The next block; `selector` is the index of its component in the scan header.
  void put(int selector, const Mox16s* coefficients) {
    Coder& coder = coders_[selector];
    const MoxStatus status = moxiEncodeHuffman8x8_JPEG_16s1u_C1(
        coefficients, file_.data() + start_, room_, &position_, &coder.lastDc, coder.dc, coder.ac, state_.get(), 0);
    require(status, "the coding of a block");
  }

  // The DC value that costs the next block of the component least.
  Mox16s lastDc(int selector) const { return coders_[selector].lastDc; }

  void end();

 private:
  // An MCU has at most 10 blocks. A block has 64 values, each of at most a code of 16 bits and 16 bits behind it, and
  // each byte may need another one after it.
  static constexpr int kMostMcuBytes = 10 * 64 * 4 * 2;

  struct Coder {
    Mox16s lastDc = 0;
    const MoxEncodeHuffmanSpec* dc = nullptr;
    const MoxEncodeHuffmanSpec* ac = nullptr;
  };

  void flush();
  void restart();
  void makeRoom();

  Bytes& file_;
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

}  // namespace moxj::jpeg
