// Reads big-endian numbers from a marker segment or a box.
#pragma once

#include <cstdint>
#include <span>

#include "failure.h"

namespace moxj::j2k {

class ByteReader {
 public:
  // `what` names the bytes in the failure that reading past their end throws.
  ByteReader(std::span<const std::uint8_t> bytes, const char* what) : bytes_(bytes), what_(what) {}

  std::size_t left() const { return bytes_.size(); }
  std::span<const std::uint8_t> rest() const { return bytes_; }

  std::uint32_t number(int size) {
    need(static_cast<std::size_t>(size));
    std::uint32_t value = 0;
    for (int i = 0; i < size; ++i) value = value << 8 | bytes_[static_cast<std::size_t>(i)];
    bytes_ = bytes_.subspan(static_cast<std::size_t>(size));
    return value;
  }
  int u8() { return static_cast<int>(number(1)); }
  int u16() { return static_cast<int>(number(2)); }
  std::uint32_t u32() { return number(4); }

  std::span<const std::uint8_t> take(std::size_t size) {
    need(size);
    const auto taken = bytes_.first(size);
    bytes_ = bytes_.subspan(size);
    return taken;
  }

 private:
  void need(std::size_t size) const {
    if (bytes_.size() < size) refuse(std::string(what_) + " ends early");
  }

  std::span<const std::uint8_t> bytes_;
  const char* what_;
};

}  // namespace moxj::j2k
