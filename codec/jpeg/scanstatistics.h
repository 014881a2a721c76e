// Counts the Huffman symbols of a scan, and makes the tables that code them in the fewest bits.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg/frame.h"
#include "jpeg/library.h"
#include "jpeg/scanwriter.h"

namespace moxj::jpeg {

// The number of occurrences of each symbol.
using SymbolCounts = std::array<std::int32_t, 256>;

// The table that codes the symbols in the fewest bits.
HuffmanCode optimalCode(const SymbolCounts& counts);

// Has the same interface as ScanWriter.
class ScanStatistics {
 public:
  ScanStatistics(ScanKind kind, const ScanHeader& scan, int restartInterval);

  // Of a sequential scan, from a later MCU on.
  void beginAt(const LastDc& lastDc, int mcusToRestart) {
    lastDc_ = lastDc;
    mcusToRestart_ = mcusToRestart;
  }
  // Adds the symbols of another part of the scan. Before end().
  void add(const ScanStatistics& part);

  void beginMcu() {
    if (restartInterval_ != 0 && mcusToRestart_-- == 0) restart();
  }

  template <ScanKind kind>
  void put(int selector, const Mox16s* coefficients) {
    const MoxStatus status = count<kind>(selector, coefficients);
    if (status < 0) [[unlikely]]
      uncounted(status);
  }

  void end();

  // In a first AC scan, magnitudes of 11 bits can be coded, but the library does not count them. Use BandStatistics
  // instead.
  bool incomplete() const { return incomplete_; }
  // Codes for the tables that have symbols.
  Codes codes() const;

 private:
  template <ScanKind kind>
  MoxStatus count(int selector, const Mox16s* from);
  void uncounted(MoxStatus status);
  void flushRun();
  void restart();

  const ScanKind kind_;
  const ScanHeader scan_;
  std::array<std::array<SymbolCounts, 2>, 2> counts_{};  // [table class][index]
  LastDc lastDc_{};
  EncodeState state_;
  int restartInterval_;
  int mcusToRestart_;
  bool incomplete_ = false;
};

template <ScanKind kind>
MoxStatus ScanStatistics::count(int selector, const Mox16s* from) {
  const ScanHeader::Selector& tables = scan_.components[selector];
  std::int32_t* const dc = counts_[kDc][tables.dcTable].data();
  std::int32_t* const ac = counts_[kAc][tables.acTable].data();
  const int start = scan_.spectralStart, end = scan_.spectralEnd, low = scan_.approxLow;
  if constexpr (kind == ScanKind::sequential) {
    return moxiGetHuffmanStatistics8x8_JPEG_16s_C1(from, dc, ac, &lastDc_[selector]);
  } else if constexpr (kind == ScanKind::dcFirst) {
    return moxiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(from, dc, &lastDc_[selector], low);
  } else if constexpr (kind == ScanKind::acFirst) {
    return moxiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(from, ac, start, end, low, state_.get(), 0);
  } else if constexpr (kind == ScanKind::acRefine) {
    return moxiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(from, ac, start, end, low, state_.get(), 0);
  }
  return moxStatusOk;
}

// The same for first AC scans only, for magnitudes of any size.
class BandStatistics {
 public:
  BandStatistics(const ScanHeader& scan, int restartInterval)
      : scan_(scan), restartInterval_(restartInterval), mcusToRestart_(restartInterval) {}

  void beginMcu() {
    if (restartInterval_ == 0 || mcusToRestart_-- != 0) return;
    mcusToRestart_ = restartInterval_ - 1;
    countRun();
  }
  template <ScanKind>
  void put(int, const Mox16s* coefficients) {
    count(coefficients);
  }
  void end() { countRun(); }
  Codes codes() const;

 private:
  void count(const Mox16s* coefficients);
  void countRun();

  const ScanHeader scan_;
  SymbolCounts counts_{};
  int run_ = 0;  // blocks of the end-of-band run
  int restartInterval_;
  int mcusToRestart_;
};

}  // namespace moxj::jpeg
