// The binary arithmetic decoder (T.81 Annex D).
#pragma once

#include <array>
#include <cstdint>

namespace moxj::jpeg {

// An adaptive estimate of a binary decision: a row of Table D.3, and the more probable symbol.
struct ArithmeticBin {
  std::uint8_t state = 0;
  std::uint8_t mps = 0;
};

// A row of Table D.3.
struct ArithmeticState {
  std::uint16_t qe;  // probability of the less probable symbol
  std::uint8_t nextLps, nextMps;
  bool switchMps;
};

extern const std::array<ArithmeticState, 113> kArithmeticStates;

class ArithmeticDecoder {
 public:
  // Begins an entropy-coded segment (D.2.7). The data extend at most to `end`; a marker ends them earlier.
  void begin(const std::uint8_t* data, const std::uint8_t* end) {
    move(data, end);
    interval_ = 0x10000;
    code_ = 0;
    missing_ = 0;
    for (int i = 0; i < 2; ++i) {
      code_ += byteIn() << 8;
      code_ <<= 8;
    }
    shifts_ = 0;
  }

  // The same segment goes on there.
  void move(const std::uint8_t* data, const std::uint8_t* end) {
    next_ = data;
    end_ = end;
  }

  // The first byte that has not been used.
  const std::uint8_t* next() const { return next_; }
  // The number of bytes that were needed past the end of the data, where no marker explains it: an encoder drops zeros
  // before a marker, which are then to be supplied (D.1.8).
  int missing() const { return missing_; }

  int decode(ArithmeticBin& bin) {
    const ArithmeticState& row = kArithmeticStates[bin.state];
    interval_ -= row.qe;
    const bool lower = code_ >> 16 < interval_;
    if (lower && interval_ >= 0x8000) return bin.mps;
    // The sub-intervals change their meaning if that of the less probable symbol is the larger one (D.1.3.1, D.2.5).
    const bool lps = lower == (interval_ < row.qe);
    if (!lower) {
      code_ -= interval_ << 16;
      interval_ = row.qe;
    }
    const int symbol = bin.mps ^ int { lps };
    if (lps) {
      bin.mps ^= static_cast<std::uint8_t>(row.switchMps);
      bin.state = row.nextLps;
    } else {
      bin.state = row.nextMps;
    }
    renormalise();
    return symbol;
  }

  // A decision with the fixed probability 1/2 (F.1.4.4.2).
  int decodeEven() {
    ArithmeticBin bin;
    return decode(bin);
  }

 private:
  void renormalise() {
    do {
      if (shifts_ == 0) {
        code_ += byteIn() << 8;
        shifts_ = 8;
      }
      interval_ <<= 1;
      code_ <<= 1;
      --shifts_;
    } while (interval_ < 0x8000);
  }

  // The next byte of data; 0 at a marker, which stays where it is, and at the end.
  std::uint32_t byteIn() {
    if (next_ == end_) return ++missing_, 0;
    if (*next_ != 0xFF) return *next_++;
    if (end_ - next_ == 1) return ++missing_, 0;
    if (next_[1] != 0) return 0;
    next_ += 2;
    return 0xFF;
  }

  const std::uint8_t *next_ = nullptr, *end_ = nullptr;
  std::uint32_t code_ = 0;      // C: its upper half is compared with the interval
  std::uint32_t interval_ = 0;  // A
  int shifts_ = 0;              // CT: until another byte is needed
  int missing_ = 0;
};

}  // namespace moxj::jpeg
