// Categories, runs, codes and stuffing (T.81 F.1.2, G.1.2, Annex C).
#include "jpeg/deepscan.h"

#include <bit>
#include <cstdlib>

#include "base/problem.h"

namespace moxj::jpeg {

namespace {

constexpr int kMaxDcCategory = 15, kMaxAcCategory = 14, kMaxRun = 0x7FFF;

int categoryOf(int value, int max) {
  const int category = std::bit_width(static_cast<unsigned>(std::abs(value)));
  if (category > max) fail(Kind::unsupported, "a coefficient is too large for this kind of scan");
  return category;
}

}  // namespace

bool isDeep(const Frame& frame, ScanKind kind) {
  return frame.precision > 8 && (kind == ScanKind::dcFirst || kind == ScanKind::acFirst);
}

template <class Output>
void DeepScan<Output>::putDc(int selector, int value) {
  const int difference = value - lastDc_[selector];
  lastDc_[selector] = value;
  const int category = categoryOf(difference, kMaxDcCategory);
  output_.symbol(kDc, scan_.components[selector].dcTable, category);
  putValue(difference, category);
}

template <class Output>
void DeepScan<Output>::putBand(const Mox16s* coefficients) {
  const int table = scan_.components[0].acTable;
  int zeros = 0;
  for (int k = scan_.spectralStart; k <= scan_.spectralEnd; ++k) {
    const int coefficient = coefficients[kZigZag[k]];
    const int magnitude = std::abs(coefficient) >> scan_.approxLow;
    if (magnitude == 0) {
      ++zeros;
      continue;
    }
    endRun();
    for (; zeros > 15; zeros -= 16) output_.symbol(kAc, table, 0xF0);
    const int category = categoryOf(magnitude, kMaxAcCategory);
    output_.symbol(kAc, table, zeros << 4 | category);
    putValue(coefficient < 0 ? -magnitude : magnitude, category);
    zeros = 0;
  }
  if (zeros > 0 && ++run_ == kMaxRun) endRun();
}

template <class Output>
void DeepScan<Output>::endRun() {
  if (run_ == 0) return;
  const int category = std::bit_width(static_cast<unsigned>(run_)) - 1;
  output_.symbol(kAc, scan_.components[0].acTable, category << 4);
  output_.bits(run_, category);
  run_ = 0;
}

Codes DeepCounts::codes() const {
  Codes codes;
  for (const TableClass tableClass : {kDc, kAc}) {
    for (int index = 0; index < 2; ++index) codes[tableClass][index] = optimalCode(counts_[tableClass][index]);
  }
  return codes;
}

DeepBits::DeepBits(Writer& writer, const Codes& codes) : writer_(writer) {
  for (const TableClass tableClass : {kDc, kAc}) {
    for (int index = 0; index < 2; ++index) {
      const HuffmanCode& table = codes[tableClass][index];
      int code = 0;
      std::size_t symbol = 0;
      for (int length = 1; length <= 16; ++length, code <<= 1) {
        for (int i = 0; i < table.bits[length - 1]; ++i)
          codes_[tableClass][index][table.values[symbol++]] = {static_cast<std::uint16_t>(code++),
                                                               static_cast<std::uint8_t>(length)};
      }
    }
  }
}

void DeepBits::bits(int value, int count) {
  pending_ = pending_ << count | (static_cast<std::uint32_t>(value) & ((1u << count) - 1));
  count_ += count;
  for (; count_ >= 8; count_ -= 8) {
    const std::uint8_t byte = static_cast<std::uint8_t>(pending_ >> (count_ - 8));
    writer_.makeRoom(2);
    writer_.pending().push_back(byte);
    if (byte == 0xFF) writer_.pending().push_back(0);
  }
}

// The last byte is padded with ones.
void DeepBits::fill() {
  if (count_ > 0) bits(0xFF, 8 - count_);
  pending_ = 0;
  count_ = 0;
}

void DeepBits::restart(int number) {
  fill();
  writer_.marker(marker::rst0 + number);
}

void DeepBits::end() { fill(); }

template class DeepScan<DeepCounts>;
template class DeepScan<DeepBits>;

}  // namespace moxj::jpeg
