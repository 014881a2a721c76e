// Reads and writes the bits of packet headers (B.10.1). The byte after 0xFF has only seven bits.
#pragma once

#include <bit>
#include <cstdint>
#include <span>

#include "base/bytes.h"

namespace moxj::j2k {

class HeaderReader {
 public:
  explicit HeaderReader(std::span<const std::uint8_t> bytes)
      : at_(bytes.data()), begin_(at_), end_(at_ + bytes.size()) {}

  // Past the end, zeros are read and overrun() becomes true.
  int bit() {
    if (left_ == 0) load();
    return byte_ >> --left_ & 1;
  }
  unsigned bits(int count) {
    unsigned value = 0;
    while (count-- > 0) value = value << 1 | static_cast<unsigned>(bit());
    return value;
  }
  bool overrun() const { return overrun_; }

  // The size of the header in bytes. The rest of its last byte is padding; if that byte is 0xFF, a stuffed byte
  // follows.
  std::size_t finish() {
    if (byte_ == 0xFF) load();
    left_ = 0;
    return static_cast<std::size_t>(at_ - begin_);
  }

 private:
  void load() {
    left_ = byte_ == 0xFF ? 7 : 8;
    overrun_ |= at_ == end_;
    byte_ = at_ == end_ ? 0 : *at_++;
  }

  const std::uint8_t* at_;
  const std::uint8_t* begin_;
  const std::uint8_t* end_;
  unsigned byte_ = 0;
  int left_ = 0;
  bool overrun_ = false;
};

class HeaderWriter {
 public:
  explicit HeaderWriter(Bytes& bytes) : bytes_(bytes) {}

  void bit(bool value) {
    byte_ = byte_ << 1 | unsigned{value};
    if (--room_ == 0) store();
  }
  void bits(unsigned value, int count) {
    while (count-- > 0) bit(value >> count & 1);
  }
  // `count` ones and a zero.
  void unary(int count) {
    while (count-- > 0) bit(true);
    bit(false);
  }
  void finish() {
    const bool started = room_ < whole_;
    if (started) {
      byte_ <<= room_;
      store();
    }
    if (whole_ == 7) bytes_.push_back(0);  // no header ends in 0xFF
  }

 private:
  void store() {
    bytes_.push_back(static_cast<std::uint8_t>(byte_));
    room_ = whole_ = byte_ == 0xFF ? 7 : 8;
    byte_ = 0;
  }

  Bytes& bytes_;
  unsigned byte_ = 0;
  int room_ = 8;
  int whole_ = 8;  // capacity of the current byte, in bits
};

}  // namespace moxj::j2k
