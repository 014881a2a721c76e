// Big-endian numbers in marker segments and boxes.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "base/bytes.h"
#include "base/problem.h"

namespace moxj {

class ByteReader {
 public:
  // `name` names the bytes in messages. `shortage` follows it when there are too few of them.
  ByteReader(ByteSpan bytes, std::string name, const char* shortage = "ends early")
      : bytes_(bytes), name_(std::move(name)), shortage_(shortage) {}

  bool empty() const { return bytes_.empty(); }
  std::size_t left() const { return bytes_.size(); }

  int u8() { return static_cast<int>(number(1)); }
  int u16() { return static_cast<int>(number(2)); }
  std::uint32_t u32() { return number(4); }
  std::uint32_t number(int size) {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : take(static_cast<std::size_t>(size))) value = value << 8 | byte;
    return value;
  }
  ByteSpan take(std::size_t size) {
    if (bytes_.size() < size) bad(shortage_);
    const ByteSpan taken = bytes_.first(size);
    bytes_ = bytes_.subspan(size);
    return taken;
  }
  // The next byte, which is not taken; 0 at the end.
  int peek() const { return bytes_.empty() ? 0 : bytes_[0]; }

  // Throws Problem (damaged): the name and what is wrong.
  [[noreturn]] void bad(const std::string& what) const { fail(Kind::damaged, name_ + " " + what); }

 private:
  ByteSpan bytes_;
  std::string name_;
  const char* shortage_;
};

// Appends to the bytes of a file.
class ByteWriter {
 public:
  explicit ByteWriter(Bytes& to) : to_(to) {}

  // Takes any integer or enumerator; the bits above `size` bytes are dropped.
  template <class Value>
  void number(Value value, int size) {
    const auto bits = static_cast<std::uint64_t>(value);
    while (size-- > 0) to_.push_back(static_cast<std::uint8_t>(bits >> 8 * size));
  }
  template <class Value>
  void u8(Value value) {
    number(value, 1);
  }
  template <class Value>
  void u16(Value value) {
    number(value, 2);
  }
  template <class Value>
  void u32(Value value) {
    number(value, 4);
  }

 private:
  Bytes& to_;
};

}  // namespace moxj
