// Symbol counts from the library, with our own count for bands that it does not cover.
#include "jpeg/scanstatistics.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "base/problem.h"

namespace moxj::jpeg {

namespace {

constexpr int kMaxCategory = 15;  // that decoders accept

[[noreturn]] void tooLarge() { fail(Kind::unsupported, "a coefficient is too large for this kind of scan"); }

}  // namespace

HuffmanCode optimalCode(const SymbolCounts& counts) {
  HuffmanCode code;
  std::array<Mox8u, 256> values;
  require(moxiEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), code.bits.data(), values.data()), "an optimal table");
  int symbols = 0;
  for (const std::uint8_t count : code.bits) symbols += count;
  code.values.assign(values.begin(), values.begin() + symbols);
  return code;
}

ScanStatistics::ScanStatistics(ScanKind kind, const ScanHeader& scan, int restartInterval)
    : kind_(kind),
      scan_(scan),
      state_(makeEncodeState()),
      restartInterval_(restartInterval),
      mcusToRestart_(restartInterval) {}

void ScanStatistics::uncounted(MoxStatus status) {
  if (status != moxStatusCoefficientRange) require(status, "the counting of a block");
  if (kind_ != ScanKind::acFirst) tooLarge();
  incomplete_ = true;
}

void ScanStatistics::flushRun() {
  std::int32_t* const counts = counts_[kAc][scan_.components[0].acTable].data();
  if (kind_ == ScanKind::acFirst)
    require(moxiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(nullptr, counts, 0, 0, 0, state_.get(), 1), "a run");
  if (kind_ == ScanKind::acRefine)
    require(moxiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(nullptr, counts, 0, 0, 0, state_.get(), 1), "a run");
}

void ScanStatistics::restart() {
  flushRun();
  mcusToRestart_ = restartInterval_ - 1;
  lastDc_.fill(0);
}

// The counters wrap, as those of the library do.
void ScanStatistics::add(const ScanStatistics& part) {
  for (std::size_t kind = 0; kind < counts_.size(); ++kind) {
    for (std::size_t index = 0; index < counts_[kind].size(); ++index) {
      for (std::size_t symbol = 0; symbol < counts_[kind][index].size(); ++symbol) {
        std::int32_t& sum = counts_[kind][index][symbol];
        sum = static_cast<std::int32_t>(static_cast<std::uint32_t>(sum) +
                                        static_cast<std::uint32_t>(part.counts_[kind][index][symbol]));
      }
    }
  }
}

void ScanStatistics::end() {
  flushRun();
  const auto hasCategory16 = [](const SymbolCounts& counts) { return counts[kMaxCategory + 1] != 0; };
  if (usesTable(kind_, kDc) && std::any_of(counts_[kDc].begin(), counts_[kDc].end(), hasCategory16)) tooLarge();
}

Codes ScanStatistics::codes() const {
  Codes codes;
  for (const TableClass tableClass : {kDc, kAc}) {
    for (int index = 0; index < 2; ++index) codes[tableClass][index] = optimalCode(counts_[tableClass][index]);
  }
  return codes;
}

void BandStatistics::count(const Mox16s* coefficients) {
  int zeros = 0;
  for (int k = scan_.spectralStart; k <= scan_.spectralEnd; ++k) {
    const int magnitude = std::abs(coefficients[kZigZag[k]]) >> scan_.approxLow;
    if (magnitude == 0) {
      ++zeros;
      continue;
    }
    countRun();
    counts_[0xF0] += zeros / 16;
    const int category = std::bit_width(static_cast<unsigned>(magnitude));
    if (category > kMaxCategory) tooLarge();
    ++counts_[zeros % 16 << 4 | category];
    zeros = 0;
  }
  if (zeros > 0 && ++run_ == 0x7FFF) countRun();
}

void BandStatistics::countRun() {
  if (run_ > 0) ++counts_[(std::bit_width(static_cast<unsigned>(run_)) - 1) << 4];
  run_ = 0;
}

Codes BandStatistics::codes() const {
  Codes codes;
  codes[kAc][scan_.components[0].acTable] = optimalCode(counts_);
  return codes;
}

}  // namespace moxj::jpeg
