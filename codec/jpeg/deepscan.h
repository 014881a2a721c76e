// Codes the first scans of progressive files with more than 8 bits, whose coefficients have more categories than the
// library codes: DC up to 15, AC up to 14 bits (T.81 Tables F.6, F.7).
#pragma once

#include <array>
#include <cstdint>

#include "jpeg/frame.h"
#include "jpeg/scanstatistics.h"
#include "jpeg/scanwriter.h"
#include "jpeg/writer.h"

namespace moxj::jpeg {

// Whether a scan is one of these.
bool isDeep(const Frame& frame, ScanKind kind);

// Turns coefficients into Huffman symbols and the bits that follow them. Has the interface of ScanWriter. The output
// has four members:
//   symbol(TableClass tableClass, int index, int symbol)
//   bits(int value, int count)    the lowest bits of the value
//   restart(int number)           ends a restart interval
//   end()                         ends the scan
template <class Output>
class DeepScan {
 public:
  DeepScan(Output& output, const ScanHeader& scan, int restartInterval)
      : output_(output), scan_(scan), restartInterval_(restartInterval), mcusToRestart_(restartInterval) {}

  void beginMcu() {
    if (restartInterval_ == 0 || mcusToRestart_-- != 0) return;
    mcusToRestart_ = restartInterval_ - 1;
    endRun();
    lastDc_.fill(0);
    output_.restart(nextRestart_);
    nextRestart_ = (nextRestart_ + 1) % 8;
  }

  template <ScanKind kind>
  void put(int selector, const Mox16s* coefficients) {
    if constexpr (kind == ScanKind::dcFirst) {
      putDc(selector, coefficients[0] >> scan_.approxLow);
    } else if constexpr (kind == ScanKind::acFirst) {
      putBand(coefficients);
    }
  }

  void end() {
    endRun();
    output_.end();
  }

 private:
  void putDc(int selector, int value);
  void putBand(const Mox16s* coefficients);
  void putValue(int value, int category) { output_.bits(value < 0 ? value - 1 : value, category); }
  void endRun();

  Output& output_;
  const ScanHeader scan_;
  std::array<int, 4> lastDc_{};
  int run_ = 0;  // blocks of the end-of-band run
  const int restartInterval_;
  int mcusToRestart_;
  int nextRestart_ = 0;
};

// Counts the symbols.
class DeepCounts {
 public:
  void symbol(TableClass tableClass, int index, int symbol) { ++counts_[tableClass][index][symbol]; }
  void bits(int, int) {}
  void restart(int) {}
  void end() {}
  Codes codes() const;

 private:
  std::array<std::array<SymbolCounts, 2>, 2> counts_{};
};

// Appends them to a file.
class DeepBits {
 public:
  DeepBits(Writer& writer, const Codes& codes);
  void symbol(TableClass tableClass, int index, int symbol) {
    const Code& code = codes_[tableClass][index][symbol];
    bits(code.bits, code.length);
  }
  void bits(int value, int count);
  void restart(int number);
  void end();

 private:
  struct Code {
    std::uint16_t bits = 0;
    std::uint8_t length = 0;
  };
  void fill();

  Writer& writer_;
  std::array<std::array<std::array<Code, 256>, 2>, 2> codes_{};
  std::uint32_t pending_ = 0;  // the lowest `count_` bits
  int count_ = 0;              // below 8
};

extern template class DeepScan<DeepCounts>;
extern template class DeepScan<DeepBits>;

}  // namespace moxj::jpeg
